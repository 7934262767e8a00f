#include "runtime/templates/MonotonicTime.h"

#include <ctime>

namespace orva::templates::platform {

int GetMonotonicTime(int /*clockId*/, MonotonicTime* out) {
    if (out == nullptr) {
        return -1;
    }
    timespec now{};
    if (::clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        return -1;
    }
    out->seconds = static_cast<int64_t>(now.tv_sec);
    out->nanoseconds = static_cast<int32_t>(now.tv_nsec);
    return 0;
}

} // namespace orva::templates::platform
