#include "runtime/templates/InstallationDirectory.h"

#include "runtime/templates/Environment.h"
#include "runtime/templates/SpinLockVariableGuard.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <strings.h>
#include <unistd.h>

namespace orva::templates::platform {

namespace {

constexpr std::size_t kBufferSize = 1024;

// Filled once, under the spin guard; `filled` publishes the text.
std::array<char, kBufferSize> directoryBuffer{};
constinit std::atomic<bool> filled{false};
constinit std::atomic<int32_t> fillSpin{0};
constinit std::atomic<int32_t> fillOwner{0};

bool IsInstallationSubdirectory(const std::string& component) {
    static constexpr const char* kNames[] = {"bin", "dll", "Hardware Applets", "lib", "lib64"};
    for (const char* name : kNames) {
        if (::strcasecmp(component.c_str(), name) == 0) {
            return true;
        }
    }
    return false;
}

// Path of the module that holds this function. For the main program the
// loader reports argv[0], which may be relative, so /proc/self/exe is read
// instead.
std::string OwnModulePath() {
    Dl_info info{};
    link_map* map = nullptr;
    if (::dladdr1(reinterpret_cast<void*>(&OwnModulePath), &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) ==
        0) {
        return {};
    }
    if (map != nullptr && map->l_name != nullptr && map->l_name[0] != '\0') {
        return map->l_name;
    }
    std::array<char, kBufferSize> exe{};
    const ssize_t length = ::readlink("/proc/self/exe", exe.data(), exe.size());
    if (length <= 0 || static_cast<std::size_t>(length) >= exe.size()) {
        return {};
    }
    return std::string(exe.data(), static_cast<std::size_t>(length));
}

// Copies text into the buffer; false if it doesn't fit with its terminator.
bool Store(const std::string& text) {
    if (text.empty() || text.size() >= kBufferSize) {
        return false;
    }
    std::memcpy(directoryBuffer.data(), text.c_str(), text.size() + 1);
    return true;
}

std::string FromEnvironment() {
    for (const char* variable : {"ORVADIR5_32", "ORVADIR5"}) {
        std::string directory = GetEnvironmentVariable(variable).value_or(std::string());
        if (directory.empty()) {
            continue;
        }
        while (directory.size() > 1 && directory.back() == '/') {
            directory.pop_back();
        }
        if (directory.size() < kBufferSize) {
            return directory;
        }
    }
    return {};
}

} // namespace

std::string InstallationDirectoryFromModulePath(const std::string& modulePath) {
    // Split into directory components; the last component is the file itself.
    std::size_t end = modulePath.find_last_of('/');
    if (end == std::string::npos) {
        return {};
    }
    while (true) {
        // Step back over the run of separators in front of `end`.
        std::size_t componentEnd = end;
        while (componentEnd > 0 && modulePath[componentEnd - 1] == '/') {
            --componentEnd;
        }
        if (componentEnd == 0) {
            return {};
        }
        const std::size_t slash = modulePath.find_last_of('/', componentEnd - 1);
        const std::size_t componentStart = slash == std::string::npos ? 0 : slash + 1;
        if (IsInstallationSubdirectory(modulePath.substr(componentStart, componentEnd - componentStart))) {
            if (slash == std::string::npos) {
                return {}; // relative path: the holder is the unknown current directory
            }
            std::size_t holderEnd = slash;
            while (holderEnd > 0 && modulePath[holderEnd - 1] == '/') {
                --holderEnd;
            }
            return holderEnd == 0 ? std::string("/") : modulePath.substr(0, holderEnd);
        }
        if (slash == std::string::npos) {
            return {};
        }
        end = slash;
    }
}

const char* FindInstallationDirectory() {
    if (filled.load(std::memory_order_acquire)) {
        return directoryBuffer.data();
    }
    SpinLockVariableGuard guard(&fillSpin, &fillOwner);
    if (filled.load(std::memory_order_relaxed)) {
        return directoryBuffer.data();
    }
    const std::string modulePath = OwnModulePath();
    std::string directory;
    if (!modulePath.empty() && modulePath.size() < kBufferSize) {
        directory = InstallationDirectoryFromModulePath(modulePath);
    }
    if (directory.empty()) {
        directory = FromEnvironment();
    }
    if (!Store(directory)) {
        return nullptr;
    }
    filled.store(true, std::memory_order_release);
    return directoryBuffer.data();
}

} // namespace orva::templates::platform
