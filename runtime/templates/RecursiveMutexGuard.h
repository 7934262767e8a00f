#pragma once

#include "runtime/templates/Guard.h"
#include "runtime/templates/RecursiveMutex.h"

namespace orva::templates::platform {

// Holds a RecursiveMutex for its scope; acquires without time limit.
class SCOPED_CAPABILITY RecursiveMutexGuard : public patterns::Guard<RecursiveMutex*> {
public:
    explicit RecursiveMutexGuard(RecursiveMutex& mutex) ACQUIRE(mutex);
    ~RecursiveMutexGuard() override RELEASE();
};

} // namespace orva::templates::platform
