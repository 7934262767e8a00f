#include "runtime/templates/TweakProperties.h"

#include "runtime/templates/Environment.h"
#include "runtime/templates/InstallationDirectory.h"
#include "runtime/templates/RecursiveMutexGuard.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <strings.h>
#include <sys/stat.h>
#include <type_traits>
#include <utility>

namespace orva::templates::platform {

namespace {

// Stream extraction into a wide type, then a range check: extraction into an
// unsigned type would accept "-1" and wrap it.
template <typename T> bool Convert(const std::string& text, T& out) {
    if constexpr (std::is_same_v<T, bool>) {
        out = ::strcasecmp(text.c_str(), "yes") == 0 || ::strcasecmp(text.c_str(), "true") == 0 ||
              ::strcasecmp(text.c_str(), "on") == 0 || text == "1";
        return true;
    } else {
        std::istringstream stream(text);
        int64_t wide = 0;
        stream >> wide;
        if (stream.fail()) {
            return false;
        }
        if (wide < static_cast<int64_t>(std::numeric_limits<T>::min()) ||
            wide > static_cast<int64_t>(std::numeric_limits<T>::max())) {
            return false;
        }
        out = static_cast<T>(wide);
        return true;
    }
}

template <typename T> bool FromCommandLine(const char* legacyName, int argc, const char* const* argv, T& out) {
    if (legacyName[0] == '\0' || argc < 1 || argv == nullptr) {
        return false;
    }
    for (int i = argc - 1; i >= 0; --i) {
        if (argv[i] == nullptr) {
            continue;
        }
        std::string argument = argv[i];
        const std::size_t start = argument.find_first_not_of('-');
        if (start == std::string::npos) {
            continue; // dashes only
        }
        argument.erase(0, start);
        const std::size_t equals = argument.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        if (::strcasecmp(argument.substr(0, equals).c_str(), legacyName) == 0 &&
            Convert(argument.substr(equals + 1), out)) {
            return true;
        }
    }
    return false;
}

// mkdir that tolerates an existing directory.
bool EnsureDirectory(const std::string& path, mode_t mode) {
    if (::mkdir(path.c_str(), mode) == 0) {
        return true;
    }
    struct stat info {};
    return errno == EEXIST && ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

} // namespace

TweakProperties::TweakProperties() = default;

TweakProperties::TweakProperties(std::string userFile, std::string installationFile) {
    user_.path = std::move(userFile);
    user_.pathKnown = true;
    installation_.path = std::move(installationFile);
    installation_.pathKnown = true;
}

TweakProperties::~TweakProperties() = default;

std::string TweakProperties::UserFilePath() {
    // XDG base directories: a relative XDG_CONFIG_HOME is to be ignored.
    std::string base;
    const std::optional<std::string> configHome = GetEnvironmentVariable("XDG_CONFIG_HOME");
    if (configHome && configHome->starts_with('/')) {
        base = *configHome;
    } else {
        const std::optional<std::string> home = GetEnvironmentVariable("HOME");
        if (!home || !home->starts_with('/')) {
            return {};
        }
        base = *home + "/.config";
    }
    if (!EnsureDirectory(base, 0700)) {
        return {};
    }
    const std::string directory = base + "/orva";
    if (!EnsureDirectory(directory, 0755)) {
        return {};
    }
    return directory + "/rt.conf";
}

std::string TweakProperties::InstallationFilePath() {
    const char* directory = FindInstallationDirectory();
    if (directory == nullptr) {
        return {};
    }
    std::string path = directory;
    if (path.back() != '/') {
        path += '/';
    }
    return path + "rt.conf";
}

const TweakRow* TweakProperties::findRow(const std::string& key) {
    RecursiveMutexGuard guard(rowsMutex_);
    if (!rowsLoaded_) {
        for (const TweakRow* row = TweakTable::Rows(); row->key != nullptr; ++row) {
            rows_.emplace(row->key, row);
        }
        rowsLoaded_ = true;
    }
    const auto found = rows_.find(key);
    return found == rows_.end() ? nullptr : found->second;
}

bool TweakProperties::fromFile(FileSource& source, std::string (*locate)(), const std::string& key,
                               std::string& value) {
    RecursiveMutexGuard guard(source.mutex);
    if (!source.pathKnown) {
        source.path = locate();
        source.pathKnown = true;
    }
    if (source.path.empty() || key.empty()) {
        return false;
    }
    if (!source.loaded) {
        source.file.load(source.path);
        source.loaded = true; // also when there was no file to read
    }
    return source.file.lookup(key, value) && !value.empty();
}

template <typename T> T TweakProperties::get(const std::string& key, int argc, const char* const* argv) {
    const TweakRow* row = findRow(key);
    if (row == nullptr) {
        throw std::runtime_error("TweakProperties: Unknown property requested: '" + key + "'");
    }
    T result{};
    if (FromCommandLine(row->legacyName, argc, argv, result)) {
        return result;
    }
    std::string text;
    if (fromFile(user_, &UserFilePath, key, text) && Convert(text, result)) {
        return result;
    }
    if (fromFile(installation_, &InstallationFilePath, key, text) && Convert(text, result)) {
        return result;
    }
    if (row->environmentVariable[0] != '\0') {
        const std::optional<std::string> value = GetEnvironmentVariable(row->environmentVariable);
        if (value && Convert(*value, result)) {
            return result;
        }
    }
    if (Convert(std::string(row->defaultValue), result)) {
        return result;
    }
    throw std::runtime_error("TweakProperties: No valid value found for property '" + key + "'");
}

template <typename T> T GetTweakValue(const std::string& key, int argc, const char* const* argv) {
    TweakProperties properties;
    return properties.get<T>(key, argc, argv);
}

template int32_t TweakProperties::get<int32_t>(const std::string&, int, const char* const*);
template uint32_t TweakProperties::get<uint32_t>(const std::string&, int, const char* const*);
template uint16_t TweakProperties::get<uint16_t>(const std::string&, int, const char* const*);
template bool TweakProperties::get<bool>(const std::string&, int, const char* const*);

template int32_t GetTweakValue<int32_t>(const std::string&, int, const char* const*);
template uint32_t GetTweakValue<uint32_t>(const std::string&, int, const char* const*);
template uint16_t GetTweakValue<uint16_t>(const std::string&, int, const char* const*);
template bool GetTweakValue<bool>(const std::string&, int, const char* const*);

} // namespace orva::templates::platform
