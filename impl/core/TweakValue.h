// The typed rt.conf reader every controller and port uses at construction,
// and the "Using ..." line that records each value read.
#pragma once

#include <cstdint>
#include <exception>
#include <iomanip>
#include <sstream>
#include <string>

#include "runtime/templates/TweakProperties.h"

namespace orva::core {

// The tunable's value, or `fallback` when the key or every source of it
// fails: a missing table row must not keep a port from coming up.
template <typename T> T TweakOr(const char* key, T fallback) {
    try {
        return templates::platform::GetTweakValue<T>(key);
    } catch (const std::exception&) {
        return fallback;
    }
}

// "Using <variable>" padded to one column, then `unit` ("(ms) = ",
// "     = ", "(bytes) = ", ...) and the value.
inline std::string TweakLine(const char* variable, const char* unit, uint64_t value) {
    std::ostringstream text;
    text << "Using " << std::left << std::setw(51) << variable << unit << value;
    return text.str();
}

} // namespace orva::core
