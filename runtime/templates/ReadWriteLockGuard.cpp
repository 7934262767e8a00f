#include "runtime/templates/ReadWriteLockGuard.h"

namespace orva::templates::platform {

ReadWriteLockGuard::ReadWriteLockGuard(ReadWriteLock& lock, Mode lockMode)
    : patterns::Guard<ReadWriteLock*>(&lock, false), mode(lockMode) {
    if (mode == Write) {
        value->lockWrite();
    } else {
        value->lockRead();
    }
    owns = true;
}

ReadWriteLockGuard::~ReadWriteLockGuard() {
    if (owns) {
        value->unlock();
    }
}

} // namespace orva::templates::platform
