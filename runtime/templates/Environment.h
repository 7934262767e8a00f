// The process's environment as the library reads and changes it.
//
// glibc's getenv must not run while setenv changes the environment, and the
// library does both from any thread (tweak queries, the installation
// directory, the GenICam environment of a connection, the logging
// dispatcher's set-up). Every such access goes through here, under one
// process-wide lock, and still reads the environment anew at each query.
// The application's own getenv, setenv and putenv calls know nothing of this
// lock: they must not run while the library may touch the environment.
#pragma once

#include <optional>
#include <string>

#include "runtime/templates/Mutex.h"

namespace orva::templates::platform {

// The lock over every access of the library to the environment. A leaf:
// nothing else is taken, nor any logging done, while it is held.
extern Mutex environmentMutex;

// The value of `name`, copied under the lock; nothing if it is unset.
std::optional<std::string> GetEnvironmentVariable(const char* name) EXCLUDES(environmentMutex);
// Sets `name` to `value`, replacing an earlier value.
void SetEnvironmentVariable(const char* name, const std::string& value) EXCLUDES(environmentMutex);

// Holds the lock for a scope, for code that reads the environment itself
// while the library calls it (the logging dispatcher when it connects).
class SCOPED_CAPABILITY EnvironmentGuard {
public:
    EnvironmentGuard() ACQUIRE(environmentMutex);
    ~EnvironmentGuard() RELEASE();
    EnvironmentGuard(const EnvironmentGuard&) = delete;
    EnvironmentGuard& operator=(const EnvironmentGuard&) = delete;
    EnvironmentGuard(EnvironmentGuard&&) = delete;
    EnvironmentGuard& operator=(EnvironmentGuard&&) = delete;
};

} // namespace orva::templates::platform
