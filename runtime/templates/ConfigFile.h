#pragma once

#include "runtime/templates/RecursiveMutex.h"

#include <map>
#include <string>

namespace orva::templates::platform {

// In-memory form of a key=value file such as rt.conf:
//
//   # comment (from '#' to the end of the line; no quoting)
//   [Section]
//   Name = value
//
// Full keys are "SECTION::NAME"; with sections off, just "NAME". Keys are
// upper-cased unless case-sensitive. Lines before the first section, lines
// without '=' and malformed section headers are ignored; a later line with
// the same key wins. Thread-safe.
class ConfigFile {
public:
    // Files larger than this are not read: rt.conf holds a few dozen lines.
    static constexpr std::size_t kMaxFileSize = std::size_t{1024} * 1024;

    explicit ConfigFile(bool sections = true, bool caseSensitiveKeys = false);
    virtual ~ConfigFile();

    ConfigFile(const ConfigFile&) = delete;
    ConfigFile& operator=(const ConfigFile&) = delete;
    ConfigFile(ConfigFile&&) = delete;
    ConfigFile& operator=(ConfigFile&&) = delete;

    // Replaces the content with that of the file. A file that can't be
    // opened, isn't a regular file or is too large counts as empty (false).
    bool load(const std::string& path);
    // Replaces the content with the parsed text.
    void parse(const std::string& text);

    // The value of a key (normalised like the file's keys); false if absent.
    bool lookup(const std::string& key, std::string& value) const;
    std::size_t size() const;

private:
    std::string normaliseKey(const std::string& key) const;
    void parseLine(const std::string& line, std::map<std::string, std::string>& entries, std::string& section,
                   bool& inSection) const;

    const bool sections_;
    const bool caseSensitiveKeys_;
    // Held over every load and read of entries_.
    mutable RecursiveMutex mutex_;
    std::map<std::string, std::string> entries_;
};

} // namespace orva::templates::platform
