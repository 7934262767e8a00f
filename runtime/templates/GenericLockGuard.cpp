#include "runtime/templates/GenericLockGuard.h"

namespace orva::templates::patterns {

GenericLockGuard::GenericLockGuard(GenericLock* lock, bool deleteLock)
    : Guard<GenericLock*>(lock, lock != nullptr), deleteLock_(deleteLock) {
    if (value != nullptr) {
        value->lock();
        value->locked = true;
    }
}

GenericLockGuard::~GenericLockGuard() {
    if (owns && value != nullptr && value->locked) {
        // Cleared before the release: the flag may only change while the
        // lock is held.
        value->locked = false;
        value->unlock();
    }
    if (deleteLock_) {
        delete value;
    }
}

} // namespace orva::templates::patterns
