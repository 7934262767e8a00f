// A named logger with a level threshold. Loggers belong to Logging, which
// creates and deletes them; classes keep a plain pointer.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace orva::tools::logging {

// Levels: a higher number is more severe. A logger passes a line when its
// level is not below the threshold.
enum LogLevel : uint32_t {
    LevelTrace = 1,
    LevelDebug = 2,
    LevelInfo = 3,
    LevelWarning = 4,
    LevelError = 5,
    LevelOff = 7,
};

class Logging;

class Logger {
public:
    Logger(uint32_t id, uint32_t level) : id_(id), level_(level) {}
    virtual ~Logger() = default;
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // One relaxed load and one comparison: this is all a disabled log site costs.
    bool IsEnabled(uint32_t level) const { return level >= level_.load(std::memory_order_relaxed); }

    // Forwards a finished line to the dispatcher; the two last arguments are
    // reserved and always 0.
    void Log(uint32_t level, const std::string& text, uint32_t reserved0 = 0, uint32_t reserved1 = 0) const;

    uint32_t id() const { return id_; }
    uint32_t level() const { return level_.load(std::memory_order_relaxed); }
    void setLevel(uint32_t level) { level_.store(level, std::memory_order_relaxed); }

private:
    const uint32_t id_;
    // Written by the dispatcher's level callback on any thread, read at every
    // log site without a lock.
    std::atomic<uint32_t> level_;
};

} // namespace orva::tools::logging
