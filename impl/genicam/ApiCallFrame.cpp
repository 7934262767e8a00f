#include "impl/genicam/ApiCallFrame.h"

#include <atomic>
#include <cstdlib>
#include <cxxabi.h>

#include "runtime/logging/Logging.h"
#include "runtime/templates/LibraryInitController.h"
#include "runtime/templates/ThreadId.h"

namespace orva::genicam {

using tools::logging::LevelError;
using tools::logging::LevelTrace;
using tools::logging::Logger;

namespace {
constexpr const char* kLibraryLoggerName = "orva.genicam.lib";
std::atomic<Logger*> gLibraryLogger{nullptr};
} // namespace

Logger* LibraryLogger() {
    Logger* logger = gLibraryLogger.load(std::memory_order_acquire);
    if (logger == nullptr) {
        logger = tools::logging::Logging::instance()->GetLogger(kLibraryLoggerName);
        gLibraryLogger.store(logger, std::memory_order_release);
    }
    return logger;
}

void ResetLibraryLogger() {
    gLibraryLogger.store(nullptr, std::memory_order_release);
}

int32_t GiveBackLibraryUse() {
    const int32_t count = templates::platform::LibraryInitController::Deinit();
    if (count == 0) {
        ResetLibraryLogger(); // Logging, and the logger with it, is gone
    }
    return count;
}

std::string DemangledName(const char* mangled) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(mangled, nullptr, nullptr, &status), std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(mangled);
}

namespace detail {

std::unique_ptr<ApiCallTrace> OpenTrace(Logger* logger, const char* functionName, const char* file, int line) {
    auto trace = std::make_unique<ApiCallTrace>();
    trace->logger = logger;
    trace->functionName = functionName;
    std::ostringstream location;
    location << "source-file=" << file << ",source-line=" << line
             << ",thread-id=" << templates::platform::CurrentThreadId();
    trace->location = location.str();
    return trace;
}

void LogEntry(const ApiCallTrace& trace, const std::string& handleText, const std::string& enterText) {
    std::string line = trace.location + handleText + "|Entering " + trace.functionName;
    if (!enterText.empty()) {
        line += "; " + enterText;
    }
    trace.logger->Log(LevelTrace, line);
}

void LogExit(const ApiCallTrace& trace, const std::string& handleText, int32_t result) {
    trace.logger->Log(LevelTrace, trace.location + handleText + "|Leaving " + trace.functionName + trace.leaveText +
                                      ",return=" + std::to_string(result));
}

void LogFailure(Logger* logger, const std::string& handleText, const char* message) {
    std::ostringstream line;
    line << "thread-id=" << templates::platform::CurrentThreadId() << handleText << '|' << message;
    logger->Log(LevelError, line.str());
}

} // namespace detail
} // namespace orva::genicam
