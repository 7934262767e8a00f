#include "runtime/templates/RecursiveMutex.h"

#include <cassert>

namespace orva::templates::platform {

RecursiveMutex::RecursiveMutex() = default;

RecursiveMutex::~RecursiveMutex() = default;

void RecursiveMutex::lock() {
    mutex_.lock();
    ++entries_;
}

void RecursiveMutex::unlock() {
    assert(entries_ > 0 && "unlock of a RecursiveMutex that is not held");
    --entries_;
    mutex_.unlock();
}

bool RecursiveMutex::try_lock() {
    if (!mutex_.try_lock()) {
        return false;
    }
    ++entries_;
    return true;
}

} // namespace orva::templates::platform
