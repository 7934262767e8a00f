#pragma once

#include "runtime/templates/GenericLock.h"
#include "runtime/templates/Guard.h"

namespace orva::templates::patterns {

// Holds a GenericLock for its scope (waiting without limit). With deleteLock
// the guard also deletes the lock when it is done with it.
class SCOPED_CAPABILITY GenericLockGuard : public Guard<GenericLock*> {
public:
    explicit GenericLockGuard(GenericLock* lock, bool deleteLock = false) ACQUIRE(lock);
    ~GenericLockGuard() override RELEASE();

private:
    bool deleteLock_;
};

} // namespace orva::templates::patterns
