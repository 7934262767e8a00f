#pragma once

#include <cstdint>

#include "runtime/templates/ThreadSafety.h"

namespace orva::templates::patterns {

// Abstract lockable thing, taken through GenericLockGuard.
class CAPABILITY("mutex") GenericLock {
public:
    GenericLock() = default;
    virtual ~GenericLock();

    GenericLock(const GenericLock&) = delete;
    GenericLock& operator=(const GenericLock&) = delete;
    GenericLock(GenericLock&&) = delete;
    GenericLock& operator=(GenericLock&&) = delete;

    // Waits without limit.
    virtual void lock() ACQUIRE() = 0;
    // Waits at most timeoutMs; true only if the lock was obtained.
    virtual bool tryLock(uint32_t timeoutMs) TRY_ACQUIRE(true) = 0;
    virtual void unlock() RELEASE() = 0;

    // Set while a GenericLockGuard holds the lock. One flag for the whole
    // process; written only by a thread that holds the lock.
    bool locked = false;
};

} // namespace orva::templates::patterns
