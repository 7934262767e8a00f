#pragma once

#include "runtime/templates/Guard.h"
#include "runtime/templates/RecursiveMutex.h"

namespace orva::templates::platform {

// Holds a RecursiveMutex for its scope; acquires without time limit.
class RecursiveMutexGuard : public patterns::Guard<RecursiveMutex*> {
public:
    explicit RecursiveMutexGuard(RecursiveMutex& mutex);
    ~RecursiveMutexGuard() override;
};

} // namespace orva::templates::platform
