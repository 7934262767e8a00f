#include "runtime/templates/RecursiveMutexGuard.h"

namespace orva::templates::platform {

RecursiveMutexGuard::RecursiveMutexGuard(RecursiveMutex& mutex) : patterns::Guard<RecursiveMutex*>(&mutex, false) {
    value->lock();
    owns = true;
}

RecursiveMutexGuard::~RecursiveMutexGuard() {
    if (owns) {
        value->unlock();
    }
}

} // namespace orva::templates::platform
