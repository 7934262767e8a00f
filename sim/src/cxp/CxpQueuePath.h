#pragma once

// The queue path of the CoaXPress core (gtxIf 16): queue 4p + 3 takes the
// commands for physical port p, queue 4p gives its acknowledges. A packet
// in a queue is a header word (bits 15..0 the number of words behind it,
// bit 21 a tag) and the packet's words from the tag on; the core adds
// markers, packet type and CRC on the way out and checks and strips them on
// the way in. The camera control interface drives the port's transceiver.

#include "BoardAccess.h"
#include "CxpWire.h"

#include <cstdint>
#include <span>

namespace orva::sim::cxp {

// One write of the host to the command queue of a physical port; dropped if
// its header doesn't match its length, or if it has a tag while the port's
// CoaXPress version isn't 2.0.
void sendQueueCommand(BoardAccess& board, uint32_t port, std::span<const uint8_t> bytes);
// An acknowledge from the camera at a physical port into its queue; one with
// data or a wait time whose CRC fails is dropped.
bool takeAckByQueue(BoardAccess& board, uint32_t port, const Packet& packet, uint64_t readyNs);
// The camera control set the port's data path state or speed.
void applyPortSettings(BoardAccess& board, uint32_t port);

} // namespace orva::sim::cxp
