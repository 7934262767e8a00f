// The discovery selector: which camera link the design sees on which port.
//
// 64 bits, one nibble per position. Low word, nibble d: the physical port
// that design port d sees. High word, nibble p: the design port that physical
// port p serves. Positions 4 to 7 of both words always map to themselves, so
// each word starts with 0x7654.
#pragma once

#include <cstdint>
#include <span>

#include "impl/core/IControllerInterface.h"

namespace orva::core {

// A selector value that nobody knows, e.g. a configuration entry out of range.
inline constexpr uint64_t kUnknownSelector = ~uint64_t{0};

// Ports a selector can route; positions above are fixed.
inline constexpr uint32_t kSelectorPorts = 4;

struct SelectorPair {
    uint32_t designPort;
    uint32_t physicalPort;
};

// The selector that routes each pair's physical port to its design port. The
// ports no pair uses are paired off in rising order, the lowest free design
// port with the lowest free physical port. No pairs give the identity. A pair
// with a port of 4 or more, or with a port that an earlier pair already uses,
// is passed over: a port can serve one position only.
uint64_t ComputeSelector(std::span<const SelectorPair> pairs);

// Nibble p of the high word: the design port that physical port p serves.
constexpr uint32_t DesignPortOfPhysical(uint64_t selector, uint32_t physicalPort) {
    return static_cast<uint32_t>((selector >> (32 + 4 * physicalPort)) & 0xF);
}

// Nibble d of the low word: the physical port that design port d sees.
constexpr uint32_t PhysicalPortOfDesign(uint64_t selector, uint32_t designPort) {
    return static_cast<uint32_t>((selector >> (4 * designPort)) & 0xF);
}

} // namespace orva::core
