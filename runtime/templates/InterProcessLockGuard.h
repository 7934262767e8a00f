#pragma once

#include "runtime/templates/GenericLockGuard.h"
#include "runtime/templates/InterProcessLock.h"

namespace orva::templates::platform {

// GenericLockGuard for an InterProcessLock; the name says what is held.
class SCOPED_CAPABILITY InterProcessLockGuard : public patterns::GenericLockGuard {
public:
    explicit InterProcessLockGuard(InterProcessLock* lock) ACQUIRE(lock) : patterns::GenericLockGuard(lock) {}
    ~InterProcessLockGuard() override RELEASE() = default;

    InterProcessLockGuard(const InterProcessLockGuard&) = delete;
    InterProcessLockGuard& operator=(const InterProcessLockGuard&) = delete;
    InterProcessLockGuard(InterProcessLockGuard&&) = delete;
    InterProcessLockGuard& operator=(InterProcessLockGuard&&) = delete;
};

} // namespace orva::templates::platform
