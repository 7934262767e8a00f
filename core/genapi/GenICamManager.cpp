#include "core/genapi/GenICamManager.h"

#include <array>
#include <cstdlib>
#include <mutex>
#include <string_view>

#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logging.h"
#include "runtime/templates/InstallationDirectory.h"

namespace orva::core::genapi {

namespace {

struct Variable {
    const char* name;
    const char* overrideName;
};

// In the order of the saved entries.
constexpr std::array<Variable, 3> kVariables{{
    {"GENICAM_ROOT", "ORVA_GENICAM_ROOT"},
    {"GENICAM_CACHE_V3_1", "ORVA_GENICAM_CACHE_V3_1"},
    {"GENICAM_LOG_CONFIG_V3_1", "ORVA_GENICAM_LOG_CONFIG_V3_1"},
}};

// Serialises our own changes; code outside that touches the environment at
// the same time isn't covered (see the header).
std::mutex environmentMutex;

const char* Get(const char* name) {
    return std::getenv(name); // NOLINT(concurrency-mt-unsafe): under environmentMutex
}

void Set(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1); // NOLINT(concurrency-mt-unsafe): under environmentMutex
}

std::string Installation() {
    const char* directory = orva::templates::platform::FindInstallationDirectory();
    return directory != nullptr ? directory : "";
}

// The user's cache folder by the XDG rules: a relative XDG_CACHE_HOME is
// ignored. Empty if neither it nor HOME gives one.
std::string CacheHome() {
    const char* cacheHome = Get("XDG_CACHE_HOME");
    if (cacheHome != nullptr && cacheHome[0] == '/') {
        return cacheHome;
    }
    const char* home = Get("HOME");
    if (home != nullptr && home[0] != '\0') {
        return std::string(home) + "/.cache";
    }
    return {};
}

std::array<std::string, 3> Defaults() {
    const std::string genicam = Installation() + "/genicam";
    const std::string cacheHome = CacheHome();
    return {
        genicam,
        cacheHome.empty() ? genicam : cacheHome + "/GenICam/xml/cache",
        genicam + "/log/config/OrvaLogging.properties",
    };
}

// The first entry of PATH, up to the first ':'.
bool HeadsPath(std::string_view path, std::string_view folder) {
    return path.substr(0, path.find(':')) == folder;
}

orva::tools::logging::Logger* GetManagerLogger() {
    return orva::tools::logging::Logging::instance()->GetLogger(kGenICamManagerLoggerName);
}

} // namespace

const char* GenICamPlatformFolder() {
#if defined(__x86_64__)
    return "Linux64_x64";
#elif defined(__aarch64__)
    return "Linux64_ARM";
#elif defined(__i386__)
    return "Linux32_i86";
#elif defined(__arm__)
    return "Linux32_ARMhf";
#else
#error "no GenICam library folder is known for this processor"
#endif
}

void SetGenICamEnvironment(std::vector<std::string>& savedEnvironment, bool set) {
    std::lock_guard lock(environmentMutex);
    if (!set) {
        if (savedEnvironment.size() != kVariables.size()) {
            return;
        }
        for (std::size_t i = 0; i < kVariables.size(); ++i) {
            if (!savedEnvironment[i].empty()) {
                Set(kVariables[i].name, savedEnvironment[i]);
            }
        }
        return;
    }

    if (savedEnvironment.empty()) {
        savedEnvironment.assign(kVariables.size(), std::string());
        for (std::size_t i = 0; i < kVariables.size(); ++i) {
            if (const char* value = Get(kVariables[i].name)) {
                savedEnvironment[i] = value;
            }
        }
    }

    std::array<std::string, 3> values = Defaults();
    for (std::size_t i = 0; i < kVariables.size(); ++i) {
        if (const char* value = Get(kVariables[i].overrideName)) {
            values[i] = value;
        }
    }

    orva::tools::logging::Logger* logger = GetManagerLogger();
    for (std::size_t i = 0; i < kVariables.size(); ++i) {
        Set(kVariables[i].name, values[i]);
        ORVA_LOG(logger, orva::tools::logging::LevelInfo,
                 "setting environment variable " << kVariables[i].name << '=' << values[i]);
    }

    const std::string folder = values[0] + "/bin/" + GenICamPlatformFolder();
    const char* pathValue = Get("PATH");
    const std::string path = pathValue != nullptr ? pathValue : "";
    if (!HeadsPath(path, folder)) {
        // No ':' after the folder when PATH was empty: an empty entry would
        // put the working directory on the search path.
        Set("PATH", path.empty() ? folder : folder + ":" + path);
        ORVA_LOG(logger, orva::tools::logging::LevelInfo, "prepending '" << folder << "' to PATH");
    }
}

} // namespace orva::core::genapi
