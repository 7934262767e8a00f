#pragma once

#include "runtime/templates/GenericLockGuard.h"
#include "runtime/templates/InterProcessLock.h"

namespace orva::templates::platform {

// GenericLockGuard for an InterProcessLock; the name says what is held.
class InterProcessLockGuard : public patterns::GenericLockGuard {
public:
    using patterns::GenericLockGuard::GenericLockGuard;
};

} // namespace orva::templates::platform
