#include "runtime/templates/RuntimeLibrary.h"

#include <mutex>

#include "runtime/templates/InstallationDirectory.h"

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <utility>

namespace orva::templates::platform {

RuntimeLibrary::RuntimeLibrary(std::string path) : path_(std::move(path)) {}

RuntimeLibrary::~RuntimeLibrary() {
    if (autoUnload_) {
        unload();
    }
}

void RuntimeLibrary::keepError(int error) {
    lastError_ = error;
    const char* text = ::dlerror(); // NOLINT(concurrency-mt-unsafe): glibc keeps the text per thread
    lastErrorText_ = text != nullptr ? text : std::strerror(error); // NOLINT(concurrency-mt-unsafe)
}

bool RuntimeLibrary::load() {
    errno = 0;
    handle_ = ::dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
        keepError(errno != 0 ? errno : ENOENT);
        return false;
    }
    return true;
}

void* RuntimeLibrary::symbol(const char* name) const {
    if (handle_ == nullptr || name == nullptr) {
        return nullptr;
    }
    return ::dlsym(handle_, name);
}

void RuntimeLibrary::unload() {
    if (handle_ == nullptr) {
        return;
    }
    errno = 0;
    if (::dlclose(handle_) != 0) {
        keepError(errno != 0 ? errno : EINVAL);
    }
    handle_ = nullptr;
}

namespace {
std::mutex gOverrideMutex;
std::string gOverrideDirectory; // guarded by gOverrideMutex; empty: none
} // namespace

void SetRuntimeLibraryDirectory(const char* directory) {
    std::lock_guard<std::mutex> lock(gOverrideMutex);
    gOverrideDirectory = directory != nullptr ? directory : "";
}

std::unique_ptr<RuntimeLibrary> LoadRuntimeLibrary(const char* name, const char* directory) {
    if (name == nullptr || name[0] == '\0') {
        return nullptr;
    }
    std::string overrideDirectory;
    if (directory == nullptr) {
        std::lock_guard<std::mutex> lock(gOverrideMutex);
        overrideDirectory = gOverrideDirectory;
    }
    if (!overrideDirectory.empty()) {
        directory = overrideDirectory.c_str();
    }
    if (directory == nullptr) {
        directory = FindInstallationDirectory();
        if (directory == nullptr) {
            return nullptr;
        }
    }
    std::string path = directory;
    if (path.empty() || path.back() != '/') {
        path += '/';
    }
    path += "lib/lib";
    path += name;
    path += ".so";
    std::unique_ptr<RuntimeLibrary> library(new RuntimeLibrary(std::move(path)));
    if (!library->load()) {
        return nullptr;
    }
    return library;
}

} // namespace orva::templates::platform
