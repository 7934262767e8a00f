// A logger fetched by its dotted name on first use, for an object (and the
// parts it lends it to) that logs from several threads. Thread-safe.
#pragma once

#include <atomic>

#include "runtime/logging/Logging.h"

namespace orva::core {

class LazyLogger {
public:
    explicit LazyLogger(const char* name) : name_(name) {}

    tools::logging::Logger* Get() {
        auto* logger = logger_.load(std::memory_order_acquire);
        if (logger == nullptr) {
            logger = tools::logging::Logging::instance()->GetLogger(name_);
            logger_.store(logger, std::memory_order_release);
        }
        return logger;
    }

private:
    const char* const name_;
    std::atomic<tools::logging::Logger*> logger_{nullptr};
};

} // namespace orva::core
