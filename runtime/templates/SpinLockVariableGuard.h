#pragma once

#include <atomic>
#include <cstdint>

namespace orva::templates::platform {

// Busy-waiting lock over a zero-initialised 32-bit variable: the one lock
// that works before anything else is set up, as it needs no handle. It
// spins without sleeping, so it may guard only short sections (creation of
// singletons, the library's use count, the installation directory).
//
// With an owner variable the guard is re-entrant: a thread that already
// holds the spin variable passes through and `acquired` stays false. Without
// one, taking the same variable twice on one thread deadlocks, so every
// section that may re-enter must pass an owner variable.
struct SpinLockVariableGuard {
    SpinLockVariableGuard(std::atomic<int32_t>* spin, std::atomic<int32_t>* owner);
    ~SpinLockVariableGuard();

    SpinLockVariableGuard(const SpinLockVariableGuard&) = delete;
    SpinLockVariableGuard& operator=(const SpinLockVariableGuard&) = delete;
    SpinLockVariableGuard(SpinLockVariableGuard&&) = delete;
    SpinLockVariableGuard& operator=(SpinLockVariableGuard&&) = delete;

    std::atomic<int32_t>* spinVariable;
    std::atomic<int32_t>* ownerVariable;
    // True if this guard took the spin variable (and releases it).
    bool acquired = false;
};

} // namespace orva::templates::platform
