#include "runtime/templates/RecursiveMutex.h"

#include <cassert>

namespace orva::templates::platform {

RecursiveMutex::RecursiveMutex() = default;

RecursiveMutex::~RecursiveMutex() = default;

void RecursiveMutex::lock() {
    mutex_.lock();
    entries_.fetch_add(1, std::memory_order_relaxed);
}

void RecursiveMutex::unlock() {
    assert(entries_.load(std::memory_order_relaxed) > 0 && "unlock of a RecursiveMutex that is not held");
    entries_.fetch_sub(1, std::memory_order_relaxed);
    mutex_.unlock();
}

bool RecursiveMutex::try_lock() {
    if (!mutex_.try_lock()) {
        return false;
    }
    entries_.fetch_add(1, std::memory_order_relaxed);
    return true;
}

} // namespace orva::templates::platform
