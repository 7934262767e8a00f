#include "runtime/logging/Logging.h"

#include "runtime/templates/Environment.h"

namespace orva::tools::logging {

using orva::templates::platform::LoadRuntimeLibrary;
using orva::templates::platform::ReadWriteLockGuard;

namespace {
constexpr const char* kDispatcherLibrary = "common-logging-dispatcher";
constexpr uint32_t kDefaultLoggerId = 0;
} // namespace

void Logger::Log(uint32_t level, const std::string& text, uint32_t reserved0, uint32_t reserved1) const {
    Logging::instance()->Forward(id_, level, text, reserved0, reserved1);
}

Logging::Logging() : defaultLogger_(std::make_unique<Logger>(kDefaultLoggerId, LevelOff)) {}

Logging::~Logging() {
    {
        ReadWriteLockGuard guard(lock_, ReadWriteLockGuard::Write);
        loggers_.clear();
    }
    if (const auto* descriptor = descriptor_.exchange(nullptr); descriptor != nullptr) {
        descriptor->disconnect(this);
    }
    if (library_) {
        library_->unload();
    }
}

void Logging::initialize() {
    library_ = LoadRuntimeLibrary(kDispatcherLibrary);
    if (!library_) {
        return;
    }
    const auto* descriptor =
        static_cast<const LoggingDispatcherDescriptor*>(library_->symbol(LOGGING_DISPATCHER_DESCRIPTOR_SYMBOL));
    if (descriptor == nullptr || descriptor->connect == nullptr || descriptor->disconnect == nullptr) {
        library_->unload();
        library_.reset();
        return;
    }
    int32_t connected = -1;
    {
        // The dispatcher reads its settings from the environment when it
        // connects: under the library's lock, like every other reader.
        const templates::platform::EnvironmentGuard environment;
        connected = descriptor->connect(this, &Logging::OnDisconnect, &Logging::OnSetLevel, &getLoggerFn_, &logFn_);
    }
    if (connected != 0 || getLoggerFn_ == nullptr || logFn_ == nullptr) {
        library_->unload();
        library_.reset();
        return;
    }
    descriptor_.store(descriptor, std::memory_order_release);
}

Logger* Logging::GetLogger(const std::string& name) {
    if (descriptor_.load(std::memory_order_acquire) == nullptr) {
        return defaultLogger_.get();
    }
    uint32_t id = 0;
    uint32_t level = LevelOff;
    getLoggerFn_(name.c_str(), &id, &level);
    ReadWriteLockGuard guard(lock_, ReadWriteLockGuard::Write);
    auto& slot = loggers_[id];
    if (!slot) {
        slot = std::make_unique<Logger>(id, level);
    }
    return slot.get();
}

void Logging::Forward(uint32_t id, uint32_t level, const std::string& text, uint32_t reserved0,
                      uint32_t reserved1) const {
    if (descriptor_.load(std::memory_order_acquire) != nullptr) {
        logFn_(id, level, text.c_str(), reserved0, reserved1);
    }
}

void Logging::OnDisconnect() {
    if (Logging* logging = instance()) {
        logging->descriptor_.store(nullptr, std::memory_order_release);
    }
}

void Logging::OnSetLevel(uint32_t id, uint32_t level) {
    Logging* logging = instance();
    if (logging == nullptr) {
        return;
    }
    ReadWriteLockGuard guard(logging->lock_, ReadWriteLockGuard::Read);
    if (auto it = logging->loggers_.find(id); it != logging->loggers_.end()) {
        it->second->setLevel(level);
    }
}

} // namespace orva::tools::logging
