#pragma once

// The discovery selector of the CoaXPress core: nibble d of its low word is
// the physical port the engine of design port d sends to, nibble p of its
// high word the design port whose engine takes what physical port p
// receives. It is the board's port map, set through registers, chosen from
// the design's list, or (queue path) set by the camera control, where the
// control queues stay with their physical port.

#include "BoardAccess.h"

#include <cstdint>
#include <optional>

namespace orva::sim::cxp {

// The physical port the engine of design port d talks to.
std::optional<uint32_t> physicalOf(BoardAccess& board, uint32_t designPort);
// The design port whose engine takes what arrives at physical port p.
std::optional<uint32_t> designOf(BoardAccess& board, uint32_t physicalPort);
// Entry `index` of the list of a design of `ports` ports: 2 ports identity
// and swapped, 4 ports the 24 orders; another index routes nothing.
void selectFromList(BoardAccess& board, uint32_t ports, uint64_t index);

} // namespace orva::sim::cxp
