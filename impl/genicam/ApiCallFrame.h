// The frame every exported function runs in: entry and exit trace lines at
// level 1, one level 5 line per failed check, and the status it returns.
//
// With tracing off a frame costs one level test: no allocation and no text.
// The handle text is built by the function's `describe` callable, which
// captures the call's arguments by reference, so the exit line shows their
// final values.
#pragma once

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <typeinfo>

#include "runtime/logging/Logger.h"

namespace orva::genicam {

// The logger "orva.genicam.lib" of the exported functions, obtained on first
// use. Reset by GenICamDeinit, and whenever the last use of the library is
// given back (which destroys the logger), so that a later call obtains it
// anew.
tools::logging::Logger* LibraryLogger();
void ResetLibraryLogger();
// LibraryInitController::Deinit for the exported functions: resets the
// logger when that was the last use. Returns the new use count.
int32_t GiveBackLibraryUse();

// Readable run-time name of a type, computed once per type.
std::string DemangledName(const char* mangled);
template <class T> const std::string& TypeName() {
    static const std::string name = DemangledName(typeid(T).name());
    return name;
}

// ",handle=(<pointer type>)<pointer>", the pointer shown as a `Shown*`.
template <class Shown, class Handle> std::string HandleTextAs(Handle* handle) {
    std::ostringstream out;
    out << ",handle=(" << TypeName<Shown*>() << ')' << static_cast<const void*>(handle);
    return out.str();
}
template <class Handle> std::string HandleText(Handle* handle) {
    return HandleTextAs<Handle>(handle);
}

struct ApiCallTrace {
    tools::logging::Logger* logger;
    std::string location;
    const char* functionName;
    std::string leaveText;
};

namespace detail {
std::unique_ptr<ApiCallTrace> OpenTrace(tools::logging::Logger* logger, const char* functionName, const char* file,
                                        int line);
void LogEntry(const ApiCallTrace& trace, const std::string& handleText, const std::string& enterText);
void LogExit(const ApiCallTrace& trace, const std::string& handleText, int32_t result);
void LogFailure(tools::logging::Logger* logger, const std::string& handleText, const char* message);
} // namespace detail

struct NoEnterText {
    std::string operator()() const { return {}; }
};

template <class Describe> class ApiCallFrame {
public:
    template <class EnterText = NoEnterText>
    ApiCallFrame(const char* functionName, const char* file, int line, Describe describe,
                 EnterText enterText = EnterText())
        : describe_(describe) {
        tools::logging::Logger* logger = LibraryLogger();
        if (logger->IsEnabled(tools::logging::LevelTrace)) {
            trace_ = detail::OpenTrace(logger, functionName, file, line);
            detail::LogEntry(*trace_, describe_(), enterText());
        }
    }
    ~ApiCallFrame() { Close(); }
    ApiCallFrame(const ApiCallFrame&) = delete;
    ApiCallFrame& operator=(const ApiCallFrame&) = delete;

    // A failed check: logs `message` at level 5 and makes `code` the result.
    int32_t Fail(const char* message, int32_t code) {
        tools::logging::Logger* logger = LibraryLogger();
        if (logger->IsEnabled(tools::logging::LevelError)) {
            detail::LogFailure(logger, describe_(), message);
        }
        result_ = code;
        return code;
    }
    int32_t Fail(const std::string& message, int32_t code) { return Fail(message.c_str(), code); }
    int32_t Return(int32_t result) {
        result_ = result;
        return result;
    }
    // Appends to the exit line; `text` runs only while tracing.
    template <class Text> void AppendLeaveText(Text text) {
        if (trace_) {
            trace_->leaveText += text();
        }
    }
    // Logs the exit line now; for a function whose last step may end the
    // logging itself (the last use of the library).
    void Close() {
        if (trace_) {
            detail::LogExit(*trace_, describe_(), result_);
            trace_.reset();
        }
    }

private:
    Describe describe_;
    std::unique_ptr<ApiCallTrace> trace_;
    int32_t result_ = 0;
};

} // namespace orva::genicam

// Opens the frame `frame` of the exported function `name`.
#define TGX_API_FRAME(name, ...) ::orva::genicam::ApiCallFrame frame(name, __FILE__, __LINE__, __VA_ARGS__)
