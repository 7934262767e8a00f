#include "core/genapi/GenICamManager.h"

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logging.h"
#include "runtime/templates/Environment.h"
#include "runtime/templates/InstallationDirectory.h"
#include "runtime/templates/Mutex.h"

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

// Makes one save, set and prepend (or one restore) a whole against another
// connection's; each access itself takes the library's environment lock.
orva::templates::platform::Mutex sequenceMutex;

std::optional<std::string> Get(const char* name) {
    return orva::templates::platform::GetEnvironmentVariable(name);
}

void Set(const char* name, const std::string& value) {
    orva::templates::platform::SetEnvironmentVariable(name, value);
}

std::string Installation() {
    const char* directory = orva::templates::platform::FindInstallationDirectory();
    return directory != nullptr ? directory : "";
}

// The user's cache folder by the XDG rules: a relative XDG_CACHE_HOME is
// ignored. Empty if neither it nor HOME gives one.
std::string CacheHome() {
    const std::optional<std::string> cacheHome = Get("XDG_CACHE_HOME");
    if (cacheHome && cacheHome->starts_with('/')) {
        return *cacheHome;
    }
    const std::optional<std::string> home = Get("HOME");
    if (home && !home->empty()) {
        return *home + "/.cache";
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
    orva::templates::platform::MutexLock lock(sequenceMutex);
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
            savedEnvironment[i] = Get(kVariables[i].name).value_or(std::string());
        }
    }

    std::array<std::string, 3> values = Defaults();
    for (std::size_t i = 0; i < kVariables.size(); ++i) {
        if (std::optional<std::string> value = Get(kVariables[i].overrideName)) {
            values[i] = std::move(*value);
        }
    }

    orva::tools::logging::Logger* logger = GetManagerLogger();
    for (std::size_t i = 0; i < kVariables.size(); ++i) {
        Set(kVariables[i].name, values[i]);
        ORVA_LOG(logger, orva::tools::logging::LevelInfo,
                 "setting environment variable " << kVariables[i].name << '=' << values[i]);
    }

    const std::string folder = values[0] + "/bin/" + GenICamPlatformFolder();
    const std::string path = Get("PATH").value_or(std::string());
    if (!HeadsPath(path, folder)) {
        // No ':' after the folder when PATH was empty: an empty entry would
        // put the working directory on the search path.
        Set("PATH", path.empty() ? folder : folder + ":" + path);
        ORVA_LOG(logger, orva::tools::logging::LevelInfo, "prepending '" << folder << "' to PATH");
    }
}

} // namespace orva::core::genapi
