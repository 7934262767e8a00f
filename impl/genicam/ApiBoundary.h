// Nothing crosses the C boundary as an exception: each exported function
// runs its body through CallGuarded, which turns an escaped exception into a
// status and a level 5 line.
#pragma once

#include <cstdint>
#include <exception>

namespace orva::genicam {

void LogEscapedException(const char* functionName, const char* what);

template <class Result, class Body>
Result CallGuarded(const char* functionName, Result onException, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception& e) {
        LogEscapedException(functionName, e.what());
    } catch (...) {
        LogEscapedException(functionName, "unknown exception");
    }
    return onException;
}

} // namespace orva::genicam
