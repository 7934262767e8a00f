// The process's loggers, connected to an optional dispatcher library.
//
// Without the dispatcher ("common-logging-dispatcher" in the installation's
// lib folder) every name gives the default logger, whose threshold lets no
// line pass: logging then costs one comparison per site.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "runtime/logging/Logger.h"
#include "runtime/logging/LoggingDispatcher.h"
#include "runtime/templates/GuardedSingleton.h"
#include "runtime/templates/ReadWriteLock.h"
#include "runtime/templates/ReadWriteLockGuard.h"
#include "runtime/templates/RuntimeLibrary.h"

namespace orva::tools::logging {

class Logging : public orva::templates::patterns::GuardedSingleton<Logging> {
public:
    Logging();
    ~Logging() override;
    Logging(const Logging&) = delete;
    Logging& operator=(const Logging&) = delete;

    // Loads and connects the dispatcher; runs once, at creation.
    void initialize() override;

    // Never null. The same object for every name that the dispatcher gives
    // the same id.
    Logger* GetLogger(const std::string& name);

    // Forwards one line of a logger; dropped when no dispatcher is connected.
    void Forward(uint32_t id, uint32_t level, const std::string& text, uint32_t reserved0, uint32_t reserved1) const;

    bool HasDispatcher() const { return descriptor_.load(std::memory_order_acquire) != nullptr; }

private:
    static void OnDisconnect();
    static void OnSetLevel(uint32_t id, uint32_t level);

    std::unique_ptr<Logger> defaultLogger_;
    LoggingGetLogger getLoggerFn_ = nullptr;
    LoggingLog logFn_ = nullptr;
    std::atomic<const LoggingDispatcherDescriptor*> descriptor_{nullptr};
    // Guards loggers_: written by GetLogger, read by OnSetLevel.
    orva::templates::platform::ReadWriteLock lock_;
    std::map<uint32_t, std::unique_ptr<Logger>> loggers_;
    std::unique_ptr<orva::templates::platform::RuntimeLibrary> library_;
};

} // namespace orva::tools::logging
