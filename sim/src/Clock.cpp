#include "Clock.h"

namespace orva::sim {

uint64_t monotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<uint64_t>(now.tv_nsec);
}

timespec toTimespec(uint64_t ns) {
    timespec t{};
    t.tv_sec = static_cast<time_t>(ns / kNsPerSecond);
    t.tv_nsec = static_cast<long>(ns % kNsPerSecond);
    return t;
}

} // namespace orva::sim
