#pragma once

#include "runtime/templates/ConfigFile.h"
#include "runtime/templates/RecursiveMutex.h"
#include "runtime/templates/TweakTable.h"

#include <string>
#include <string_view>
#include <unordered_map>

namespace orva::templates::platform {

// Reads the tunables of TweakTable. A value comes from the first of these
// sources that has one that converts (sources that don't convert are passed
// over in silence):
//   1. the command line, "name=value" with the row's legacy name (leading
//      dashes dropped, name without regard to case, the last occurrence first),
//   2. the user's file, $XDG_CONFIG_HOME/orva/rt.conf, else
//      $HOME/.config/orva/rt.conf (the orva directory is created on use),
//   3. the installation's file, FindInstallationDirectory() + "/rt.conf",
//   4. the row's environment variable,
//   5. the row's default.
// Numbers convert by stream extraction ("12abc" is 12, "abc" fails, values out
// of the type's range fail); Booleans are true for "yes", "true", "on" and
// "1" in any case and false for anything else.
//
// An object serves one query: nothing is cached across objects, so a change
// of a file or the environment counts from the next query on. Each object is
// for one thread; separate objects may be used concurrently.
class TweakProperties {
public:
    // Files at their usual places, found on first use.
    TweakProperties();
    // Files at the given paths; "" means no such file.
    TweakProperties(std::string userFile, std::string installationFile);
    virtual ~TweakProperties();

    TweakProperties(const TweakProperties&) = delete;
    TweakProperties& operator=(const TweakProperties&) = delete;
    TweakProperties(TweakProperties&&) = delete;
    TweakProperties& operator=(TweakProperties&&) = delete;

    // Throws std::runtime_error for a key that isn't in the table and when
    // not even the default converts. Instantiated for int32_t, uint32_t,
    // uint16_t and bool.
    template <typename T> T get(const std::string& key, int argc = 0, const char* const* argv = nullptr);

    // Path of the user's file, creating its directory; "" if there is none.
    static std::string UserFilePath();
    // Path of the installation's file; "" if there is no installation.
    static std::string InstallationFilePath();

private:
    struct FileSource {
        // Held over the load and lookups of this file.
        RecursiveMutex mutex;
        bool pathKnown = false;
        bool loaded = false;
        std::string path;
        ConfigFile file;
    };

    const TweakRow* findRow(const std::string& key);
    bool fromFile(FileSource& source, std::string (*locate)(), const std::string& key, std::string& value);

    FileSource user_;
    FileSource installation_;
    // Held while rows_ is built and searched.
    RecursiveMutex rowsMutex_;
    bool rowsLoaded_ = false;
    std::unordered_map<std::string_view, const TweakRow*> rows_;
};

// One query with a fresh TweakProperties at the usual file places. Pass a
// tool's main() arguments to let its command line override.
template <typename T> T GetTweakValue(const std::string& key, int argc = 0, const char* const* argv = nullptr);

} // namespace orva::templates::platform
