#include "runtime/templates/ConfigFile.h"

#include "runtime/templates/RecursiveMutexGuard.h"

#include <array>
#include <cctype>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orva::templates::platform {

namespace {

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string Trim(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && IsSpace(text[begin])) {
        ++begin;
    }
    while (end > begin && IsSpace(text[end - 1])) {
        --end;
    }
    return text.substr(begin, end - begin);
}

std::string Upper(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

class ReadOnlyFile {
public:
    // Non-blocking open: a FIFO in place of the file must not hang the reader.
    explicit ReadOnlyFile(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    ~ReadOnlyFile() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    ReadOnlyFile(const ReadOnlyFile&) = delete;
    ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;
    ReadOnlyFile(ReadOnlyFile&&) = delete;
    ReadOnlyFile& operator=(ReadOnlyFile&&) = delete;

    // The whole content of a regular file of at most maxSize bytes.
    bool readAll(std::size_t maxSize, std::string& content) const {
        struct stat info {};
        if (fd_ < 0 || ::fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode)) {
            return false;
        }
        content.clear();
        std::array<char, 4096> chunk{};
        while (true) {
            const ssize_t got = ::read(fd_, chunk.data(), chunk.size());
            if (got < 0) {
                if (errno == EINTR) {
                    continue;
                }
                return false;
            }
            if (got == 0) {
                return true;
            }
            // Checked while reading: the file may grow after fstat.
            if (content.size() + static_cast<std::size_t>(got) > maxSize) {
                return false;
            }
            content.append(chunk.data(), static_cast<std::size_t>(got));
        }
    }

private:
    int fd_;
};

} // namespace

ConfigFile::ConfigFile(bool sections, bool caseSensitiveKeys)
    : sections_(sections), caseSensitiveKeys_(caseSensitiveKeys) {}

ConfigFile::~ConfigFile() = default;

bool ConfigFile::load(const std::string& path) {
    std::string content;
    const bool readable = !path.empty() && ReadOnlyFile(path).readAll(kMaxFileSize, content);
    parse(readable ? content : std::string());
    return readable;
}

void ConfigFile::parse(const std::string& text) {
    std::map<std::string, std::string> entries;
    std::string section;
    bool inSection = false;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) {
            end = text.size();
        }
        parseLine(text.substr(begin, end - begin), entries, section, inSection);
        begin = end + 1;
    }
    RecursiveMutexGuard guard(mutex_);
    entries_.swap(entries);
}

void ConfigFile::parseLine(const std::string& rawLine, std::map<std::string, std::string>& entries,
                           std::string& section, bool& inSection) const {
    std::string line = rawLine.substr(0, rawLine.find('#'));
    line = Trim(line);
    if (line.empty()) {
        return;
    }
    if (sections_ && line.front() == '[') {
        if (line.size() < 3) {
            return;
        }
        if (line.back() == ']') {
            section = Upper(Trim(line.substr(1, line.size() - 2)));
            inSection = true;
            return;
        }
        // Without the closing bracket it is an ordinary line.
    }
    if (sections_ && !inSection) {
        return;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) {
        return;
    }
    const std::string name = Trim(line.substr(0, equals));
    std::string key = sections_ ? section + "::" + name : name;
    if (!caseSensitiveKeys_) {
        key = Upper(std::move(key));
    }
    entries[key] = Trim(line.substr(equals + 1));
}

std::string ConfigFile::normaliseKey(const std::string& key) const {
    return caseSensitiveKeys_ ? key : Upper(key);
}

bool ConfigFile::lookup(const std::string& key, std::string& value) const {
    const std::string normalised = normaliseKey(key);
    RecursiveMutexGuard guard(mutex_);
    const auto found = entries_.find(normalised);
    if (found == entries_.end()) {
        return false;
    }
    value = found->second;
    return true;
}

std::size_t ConfigFile::size() const {
    RecursiveMutexGuard guard(mutex_);
    return entries_.size();
}

} // namespace orva::templates::platform
