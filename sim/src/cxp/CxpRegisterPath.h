#pragma once

// The register path of the CoaXPress core: per design port a command FIFO
// that sends a packet to the camera when its last word comes, and an
// acknowledge FIFO the host reads word by word. Both FIFOs are the design's
// own queues; the discovery selector routes them to physical ports.

#include "BoardAccess.h"
#include "CxpWire.h"

#include <cstdint>

namespace orva::sim::cxp {

// A word written to the command FIFO of a design port. Low word: four
// characters, the first in bits 7..0; high word bit 0: they are K-codes,
// bit 1: the packet is complete and goes out.
void writeCommandWord(BoardAccess& board, uint32_t designPort, uint64_t value);
// The next word of the acknowledge FIFO: high word bit 1 empty, bit 0 end
// of a packet.
uint64_t readAckWord(BoardAccess& board, uint32_t designPort);
// Bit d: the engine of design port d has sent its last packet.
uint64_t packetSentBits(BoardAccess& board);
// An acknowledge from the camera at a physical port, handed to the design
// port the selector gives, as it came without markers and type: the host
// checks its CRC.
bool takeAckByRegisters(BoardAccess& board, uint32_t port, const Packet& packet, uint64_t readyNs);

} // namespace orva::sim::cxp
