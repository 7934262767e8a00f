#pragma once

#include "runtime/templates/Guard.h"
#include "runtime/templates/ReadWriteLock.h"

namespace orva::templates::platform {

// Holds a ReadWriteLock for its scope, as a reader or as the writer.
class ReadWriteLockGuard : public patterns::Guard<ReadWriteLock*> {
public:
    enum Mode { Read = 1, Write = 2 };

    ReadWriteLockGuard(ReadWriteLock& lock, Mode mode);
    ~ReadWriteLockGuard() override;

    const Mode mode;
};

} // namespace orva::templates::platform
