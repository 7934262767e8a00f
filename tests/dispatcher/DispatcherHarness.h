// Loads the dispatcher the way the library does and plays the library's part.
#pragma once

#include "CommonLoggingDispatcher.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orva::logging::dispatcher::test {

inline constexpr const char* kOwnLogger = "common-logging-dispatcher";

// What the dispatcher called back on one connection. The callbacks carry no
// context, so every slot has its own pair of functions.
inline constexpr int kSlots = 2;
std::vector<std::pair<uint32_t, uint32_t>> LevelCalls(int slot);
int DisconnectCalls(int slot);
LoggingOnSetLevel OnSetLevelOf(int slot);
LoggingOnDisconnect OnDisconnectOf(int slot);
void* TokenOf(int slot);

// The two functions a connection hands out.
struct Connection {
    LoggingGetLogger getLogger = nullptr;
    LoggingLog log = nullptr;

    std::pair<uint32_t, uint32_t> idAndLevel(const std::string& name) const;
    uint32_t id(const std::string& name) const { return idAndLevel(name).first; }
    uint32_t level(const std::string& name) const { return idAndLevel(name).second; }
    void write(const std::string& name, uint32_t level, const std::string& text) const;
};

struct LogLine {
    std::string time;
    std::string level;
    std::string logger;
    std::string text;
};
// Null when `line` isn't "<time> [<level>] [<logger>] <text>".
std::optional<LogLine> ParseLine(const std::string& line);
std::vector<std::string> ReadLines(const std::string& path);

// Only called while the test has a single thread.
void SetEnv(const char* name, const std::string& value);

// Points file descriptor 2 at a file for as long as it lives.
class StderrCapture {
public:
    explicit StderrCapture(std::string path);
    ~StderrCapture();
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;
    // Restores standard error and returns what was written meanwhile.
    std::vector<std::string> finish();

private:
    std::string path_;
    int saved_ = -1;
};

class DispatcherTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Connect `slot`'s token with `callbackSlot`'s callbacks; throws when the
    // dispatcher refuses.
    Connection connect(int slot = 0) { return connectWith(slot, slot); }
    Connection connectWith(int slot, int callbackSlot);
    void disconnect(int slot = 0) const { descriptor_->disconnect(TokenOf(slot)); }
    int32_t setLevels(const char* rules) const { return setLevels_(rules); }

    // Sends the output to logPath().
    void useLogFile() const;
    const std::string& logPath() const { return logPath_; }
    std::vector<std::string> logLines() const { return ReadLines(logPath_); }
    std::string tempPath(const std::string& suffix) const;

    std::string libraryPath() const;
    // dlclose; true when the library is really gone from the process.
    bool unload();

    void* handle_ = nullptr;
    const LoggingDispatcherDescriptor* descriptor_ = nullptr;
    LoggingDispatcherSetLevels setLevels_ = nullptr;

private:
    std::string logPath_;
};

} // namespace orva::logging::dispatcher::test
