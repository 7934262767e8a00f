#include "runtime/templates/Environment.h"

#include <cstdlib>

namespace orva::templates::platform {

// Constant-initialised: usable before and after the process's static
// constructors and destructors run.
constinit Mutex environmentMutex;

std::optional<std::string> GetEnvironmentVariable(const char* name) {
    MutexLock lock(environmentMutex);
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): under environmentMutex
    if (value == nullptr) {
        return std::nullopt;
    }
    return std::string(value);
}

void SetEnvironmentVariable(const char* name, const std::string& value) {
    MutexLock lock(environmentMutex);
    ::setenv(name, value.c_str(), 1); // NOLINT(concurrency-mt-unsafe): under environmentMutex
}

EnvironmentGuard::EnvironmentGuard() {
    environmentMutex.lock();
}

EnvironmentGuard::~EnvironmentGuard() {
    environmentMutex.unlock();
}

} // namespace orva::templates::platform
