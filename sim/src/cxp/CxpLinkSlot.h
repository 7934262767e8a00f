#pragma once

// What the CoaXPress core keeps for each port, in the port's core area of
// the board's shared memory: the transceiver of physical port n and the
// control packet engine of design port n. And the reset lines of both.

#include "BoardAccess.h"
#include "BoardCore.h"
#include "Design.h"
#include "SharedLayout.h"

#include <cstdint>
#include <span>

namespace orva::sim::cxp {

struct LinkSlot {
    uint32_t rxRateMbps;  // bit rate the receiver runs at, 0 for none it knows
    uint32_t drpAddress;  // transceiver configuration port: address last written
    uint32_t drp[4];      // configuration words at the rate addresses, in table order
    uint32_t gtxReset;    // the receiver's reset line is held
    uint32_t coreReset;   // control core reset bits of this number
    uint32_t uplinkHigh;  // the transmitter runs at the high uplink rate
    uint32_t ledMode;     // LED mode selected for design port n
    uint32_t packetSent;  // the engine of design port n has sent its last packet
    uint32_t segMismatch; // the current signal segment has no usable signal (2: not yet seen)
    uint64_t busyUntilNs; // a rate change or configuration write is under way until then
    uint64_t rxStartNs;   // the receiver (re)starts with cleared counters at this time
    uint64_t segStartNs;  // start of the current segment of one signal state
    uint64_t nitAccum;    // errors of the finished segments since the start
    uint64_t txDropped;   // command packets the engine could not send
    uint64_t rxDropped;   // acknowledges the engine discarded
};

// Core reset bits of number n: the transmitter of port n, the acknowledge
// receiver of design port n, the receiver of port n.
constexpr uint32_t kResetTransmitter = 0x1;
constexpr uint32_t kResetAckReceiver = 0x2;
constexpr uint32_t kResetReceiver = 0x4;
constexpr uint32_t kResetBits = 0x7;

// The transceiver interface of the queue path; all others have the register
// path.
constexpr uint32_t kQueuePathGtxIf = 16;

inline LinkSlot& linkOf(BoardAccess& board, uint32_t port) {
    return portCoreState<LinkSlot>(board.block().ports[port % layout::kMaxPorts]);
}

inline bool isBoardPort(BoardAccess& board, uint32_t port) {
    return port < board.block().portCount;
}

// The design's transceiver interface.
inline uint32_t gtxIfOf(BoardAccess& board) {
    return board.block().coreVariant;
}

// Control packets built word by word in registers, rather than through
// data queues.
inline bool registerPath(BoardAccess& board) {
    return gtxIfOf(board) != kQueuePathGtxIf;
}

// Bit p set for each port p of the board that passes `test`.
template <class Test> uint64_t portBits(BoardAccess& board, Test test) {
    uint64_t bits = 0;
    for (uint32_t p = 0; p < board.block().portCount; ++p) {
        if (test(p)) {
            bits |= uint64_t{1} << p;
        }
    }
    return bits;
}

// Sets the reset bits of number n: a receiver let go starts counting anew,
// a FIFO held in reset is emptied.
void applyCoreReset(BoardAccess& board, uint32_t port, uint32_t bits);

// Characters down the cable of a physical port, unless its transmitter is
// held in reset; false if they don't leave.
bool sendToCamera(BoardAccess& board, uint32_t port, std::span<const uint8_t> wire);

// The design's own FIFO of a design port (register path), null if none.
layout::QueueSlot* internalQueue(BoardAccess& board, uint32_t port, Direction direction);

} // namespace orva::sim::cxp
