#include "Dispatcher.h"

#include "CommonLoggingDispatcher.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>

namespace orva::logging::dispatcher {
namespace {

constexpr const char* kOwnLoggerName = "common-logging-dispatcher";
constexpr const char* kPattern = "%Y-%m-%dT%H:%M:%S.%e%z [%l] [%n] %v";

// Our levels 1..6 are spdlog's trace..critical.
spdlog::level::level_enum ToSpdlogLevel(uint32_t level) {
    return static_cast<spdlog::level::level_enum>(level - kLevelTrace + spdlog::level::trace);
}

std::shared_ptr<spdlog::logger> MakeOutput(const std::string& name, const spdlog::sink_ptr& sink) {
    auto out = std::make_shared<spdlog::logger>(name, sink);
    // Thresholds are applied before a line gets here.
    out->set_level(spdlog::level::trace);
    // Every line is flushed: the lines before a crash are the ones wanted.
    out->flush_on(spdlog::level::trace);
    return out;
}

std::string JoinQuoted(const std::vector<std::string>& items) {
    std::string joined;
    for (const std::string& item : items) {
        joined += joined.empty() ? "\"" : ", \"";
        joined += item;
        joined += '"';
    }
    return joined;
}

} // namespace

Dispatcher& Dispatcher::Instance() {
    alignas(Dispatcher) static unsigned char storage[sizeof(Dispatcher)];
    static Dispatcher* const instance = new (storage) Dispatcher();
    return *instance;
}

void Dispatcher::openOutput() {
    std::vector<std::string> warnings;

    // Read only when the first connection opens, inside connect(): the library
    // calls that under the lock it takes for all its uses of the environment.
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    const char* levels = std::getenv(COMMON_LOGGING_DISPATCHER_ENV_LEVELS);
    LevelRules::ParseResult parsed = LevelRules::Parse(levels != nullptr ? levels : "");
    rules_ = std::move(parsed.rules);
    if (!parsed.malformed.empty()) {
        warnings.push_back(std::string(COMMON_LOGGING_DISPATCHER_ENV_LEVELS) + ": ignored malformed item(s) " +
                           JoinQuoted(parsed.malformed) + "; expected pattern=level with level 1..7 or trace, " +
                           "debug, info, warning, error, off");
    }

    sink_.reset();
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    const char* file = std::getenv(COMMON_LOGGING_DISPATCHER_ENV_FILE);
    if (file != nullptr && *file != '\0') {
        try {
            sink_ = std::make_shared<spdlog::sinks::basic_file_sink_mt>(file, false);
        } catch (const std::exception& error) {
            warnings.push_back(std::string("cannot open log file \"") + file + "\" (" + error.what() +
                               "); writing to standard error");
        }
    }
    if (!sink_) {
        sink_ = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    }
    sink_->set_pattern(kPattern);

    for (const auto& logger : loggers_) {
        logger->threshold = rules_.thresholdFor(logger->name);
        logger->out = MakeOutput(logger->name, sink_);
    }
    if (!warnings.empty()) {
        const auto own = MakeOutput(kOwnLoggerName, sink_);
        for (const std::string& warning : warnings) {
            own->log(spdlog::level::warn, std::string_view(warning));
        }
    }
}

void Dispatcher::closeOutput() {
    for (const auto& logger : loggers_) {
        logger->out.reset();
    }
    if (sink_) {
        sink_->flush();
        sink_.reset();
    }
}

int32_t Dispatcher::connect(void* token, LoggingOnDisconnect onDisconnect, LoggingOnSetLevel onSetLevel) {
    const std::lock_guard config(configMutex_);
    const std::unique_lock lock(mutex_);
    if (shutDown_) {
        return -1;
    }
    const auto known = std::find_if(connections_.begin(), connections_.end(),
                                    [token](const Connection& c) { return c.token == token; });
    if (known != connections_.end()) {
        known->onDisconnect = onDisconnect;
        known->onSetLevel = onSetLevel;
        return 0;
    }
    if (connections_.empty()) {
        openOutput();
    }
    connections_.push_back({token, onDisconnect, onSetLevel});
    return 0;
}

void Dispatcher::disconnect(void* token) {
    const std::lock_guard config(configMutex_);
    const std::unique_lock lock(mutex_);
    const auto removed = std::remove_if(connections_.begin(), connections_.end(),
                                        [token](const Connection& c) { return c.token == token; });
    if (removed == connections_.end()) {
        return;
    }
    connections_.erase(removed, connections_.end());
    if (connections_.empty()) {
        closeOutput();
    }
}

void Dispatcher::getLogger(const char* name, uint32_t* id, uint32_t* level) {
    if (id == nullptr || level == nullptr) {
        return;
    }
    *id = 0;
    *level = kLevelOff;
    if (name == nullptr) {
        return;
    }
    const std::unique_lock lock(mutex_);
    if (connections_.empty()) {
        return;
    }
    auto known = ids_.find(std::string_view(name));
    if (known == ids_.end()) {
        auto logger = std::make_unique<Logger>();
        logger->name = name;
        logger->threshold = rules_.thresholdFor(logger->name);
        logger->out = MakeOutput(logger->name, sink_);
        loggers_.push_back(std::move(logger));
        known = ids_.emplace(name, static_cast<uint32_t>(loggers_.size())).first;
    }
    *id = known->second;
    *level = loggers_[known->second - 1]->threshold;
}

void Dispatcher::log(uint32_t id, uint32_t level, const char* text) {
    if (text == nullptr || level < kLevelTrace || level >= kLevelOff) {
        return;
    }
    const std::shared_lock lock(mutex_);
    if (connections_.empty() || id == 0 || id > loggers_.size()) {
        return;
    }
    const Logger& logger = *loggers_[id - 1];
    // The library filters too, but may still hold an old threshold while a
    // change is on its way to it.
    if (level < logger.threshold || !logger.out) {
        return;
    }
    // The text is written as is: no formatting of braces in it.
    logger.out->log(ToSpdlogLevel(level), std::string_view(text));
}

int32_t Dispatcher::setLevels(const char* rules) {
    if (rules == nullptr) {
        return -1;
    }
    LevelRules::ParseResult parsed = LevelRules::Parse(rules);
    if (!parsed.malformed.empty()) {
        return -1;
    }

    const std::lock_guard config(configMutex_);
    std::vector<std::pair<uint32_t, uint32_t>> changed;
    std::vector<Connection> connections;
    {
        const std::unique_lock lock(mutex_);
        if (shutDown_) {
            return -1;
        }
        rules_ = std::move(parsed.rules);
        for (size_t index = 0; index < loggers_.size(); ++index) {
            Logger& logger = *loggers_[index];
            const uint32_t threshold = rules_.thresholdFor(logger.name);
            if (threshold != logger.threshold) {
                logger.threshold = threshold;
                changed.emplace_back(static_cast<uint32_t>(index + 1), threshold);
            }
        }
        connections = connections_;
    }
    // Outside mutex_: the library takes its own locks in onSetLevel and may
    // ask us for loggers meanwhile on other threads.
    for (const Connection& connection : connections) {
        if (connection.onSetLevel == nullptr) {
            continue;
        }
        for (const auto& [id, threshold] : changed) {
            connection.onSetLevel(id, threshold);
        }
    }
    return 0;
}

void Dispatcher::shutdown() {
    std::vector<Connection> connections;
    {
        const std::lock_guard config(configMutex_);
        const std::unique_lock lock(mutex_);
        shutDown_ = true;
        connections.swap(connections_);
        closeOutput();
        std::vector<std::unique_ptr<Logger>>().swap(loggers_);
        ids_.clear();
        rules_ = LevelRules{};
    }
    for (const Connection& connection : connections) {
        if (connection.onDisconnect != nullptr) {
            connection.onDisconnect();
        }
    }
}

} // namespace orva::logging::dispatcher
