#pragma once

#include "runtime/templates/GenericLock.h"
#include "runtime/templates/Guard.h"

namespace orva::templates::patterns {

// Holds a GenericLock for its scope (waiting without limit). With deleteLock
// the guard also deletes the lock when it is done with it.
class GenericLockGuard : public Guard<GenericLock*> {
public:
    explicit GenericLockGuard(GenericLock* lock, bool deleteLock = false);
    ~GenericLockGuard() override;

private:
    bool deleteLock_;
};

} // namespace orva::templates::patterns
