// State behind the exported functions: connections, loggers, thresholds and
// the output sink.
#pragma once

#include "LevelRules.h"
#include "LoggingDispatcher.h"

#include <spdlog/common.h>
#include <spdlog/logger.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

namespace orva::logging::dispatcher {

class Dispatcher {
public:
    // Never destroyed: the library may log from its own teardown, after this
    // library's static objects are gone. shutdown() releases what it holds.
    static Dispatcher& Instance();

    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    int32_t connect(void* token, LoggingOnDisconnect onDisconnect, LoggingOnSetLevel onSetLevel);
    void disconnect(void* token);
    void getLogger(const char* name, uint32_t* id, uint32_t* level);
    void log(uint32_t id, uint32_t level, const char* text);
    int32_t setLevels(const char* rules);

    // The library is being unloaded: tell the remaining connections, close
    // the output, and refuse everything from now on.
    void shutdown();

private:
    Dispatcher() = default;

    struct Logger {
        std::string name;
        uint32_t threshold = kDefaultThreshold;
        std::shared_ptr<spdlog::logger> out; // null while nothing is connected
    };

    struct Connection {
        void* token;
        LoggingOnDisconnect onDisconnect;
        LoggingOnSetLevel onSetLevel;
    };

    // Both called with mutex_ held exclusively.
    void openOutput();
    void closeOutput();

    // Serialises connect, disconnect, setLevels and shutdown including their
    // callbacks, so that the library sees level changes in the order they
    // were made. Recursive because a callback may come back into us.
    std::recursive_mutex configMutex_;
    // Guards everything below; log() takes it shared.
    std::shared_mutex mutex_;
    bool shutDown_ = false;
    std::vector<Connection> connections_;
    LevelRules rules_;
    spdlog::sink_ptr sink_;
    std::vector<std::unique_ptr<Logger>> loggers_; // id is index + 1
    std::map<std::string, uint32_t, std::less<>> ids_;
};

} // namespace orva::logging::dispatcher
