// The exported entry points. Nothing may escape them: the callers are C.
#include "CommonLoggingDispatcher.h"

#include "Dispatcher.h"

namespace {

using orva::logging::dispatcher::Dispatcher;

void GetLogger(const char* name, uint32_t* id, uint32_t* level) noexcept {
    try {
        Dispatcher::Instance().getLogger(name, id, level);
    } catch (...) {
        if (id != nullptr && level != nullptr) {
            *id = 0;
            *level = orva::logging::dispatcher::kLevelOff;
        }
    }
}

void Log(uint32_t id, uint32_t level, const char* text, uint32_t, uint32_t) noexcept {
    try {
        Dispatcher::Instance().log(id, level, text);
    } catch (...) {
        // A line that can't be written is dropped; logging never fails the caller.
    }
}

int32_t Connect(void* logging, LoggingOnDisconnect onDisconnect, LoggingOnSetLevel onSetLevel,
                LoggingGetLogger* getLogger, LoggingLog* log) noexcept {
    if (getLogger == nullptr || log == nullptr) {
        return -1;
    }
    try {
        if (Dispatcher::Instance().connect(logging, onDisconnect, onSetLevel) != 0) {
            return -1;
        }
    } catch (...) {
        return -1;
    }
    *getLogger = &GetLogger;
    *log = &Log;
    return 0;
}

void Disconnect(void* logging) noexcept {
    try {
        Dispatcher::Instance().disconnect(logging);
    } catch (...) {
    }
}

// Runs when the library is unloaded, by dlclose or at exit.
struct UnloadNotifier {
    UnloadNotifier() = default;
    UnloadNotifier(const UnloadNotifier&) = delete;
    UnloadNotifier& operator=(const UnloadNotifier&) = delete;
    ~UnloadNotifier() {
        try {
            Dispatcher::Instance().shutdown();
        } catch (...) {
        }
    }
};

const UnloadNotifier unloadNotifier;

} // namespace

extern "C" {

const LoggingDispatcherDescriptor logging_dispatcher_descriptor = {&Connect, &Disconnect};

int32_t logging_dispatcher_set_levels(const char* rules) {
    try {
        return Dispatcher::Instance().setLevels(rules);
    } catch (...) {
        return -1;
    }
}
}
