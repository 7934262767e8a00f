#pragma once

#include "SharedLayout.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace orva::sim {

// Names in shared memory: zero-padded, cut to fit with room for the end.
inline void copyName(char (&to)[layout::kNameBytes], std::string_view from) {
    std::memset(to, 0, sizeof(to));
    std::memcpy(to, from.data(), std::min(from.size(), sizeof(to) - 1));
}

inline std::string_view nameOf(const char (&name)[layout::kNameBytes]) {
    return {name, strnlen(name, sizeof(name))};
}

} // namespace orva::sim
