// Byte order between host values and the big-endian registers of cameras.
#pragma once

#include <cstdint>

namespace orva::templates::platform {

// Exchanges the four bytes of a 32-bit word.
constexpr uint32_t swap32(uint32_t value) {
    return __builtin_bswap32(value);
}

} // namespace orva::templates::platform
