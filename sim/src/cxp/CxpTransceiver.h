#pragma once

// The transceivers of the CoaXPress core, one per physical port: a receiver
// that runs at the bit rate the host programs (through configuration words,
// a rate register, or the camera control interface) and locks only on a
// camera that sends at that rate; otherwise its not-in-table (NIT) counter
// counts, about one error a microsecond.

#include "CxpLinkSlot.h"

#include <cstdint>

namespace orva::sim::cxp {

// Power-up: receivers run at 3125 on the register path; on the queue path
// they wait for the rate the host gives through the camera control.
void powerUpTransceiver(BoardAccess& board, uint32_t port);
// The receiver starts again at `startNs` with its counters cleared.
void restartReceiver(LinkSlot& link, uint64_t startNs);

struct Receiver {
    bool running = false;
    bool locked = false;
    uint64_t errors = 0;
};

// The receiver's state now, worked out from the segments of constant signal
// since it started.
Receiver evaluate(BoardAccess& board, uint32_t port);
// Counters as the registers show them (24 bits); an armed "nit-burst" lands
// on the NIT counter here.
uint64_t nitCount(BoardAccess& board, uint32_t port);
uint64_t disparityCount(BoardAccess& board, uint32_t port);

// Status registers.
// Bits 23..0 NIT, 47..24 disparity, 48 locked, 49 ready for a rate change.
uint64_t transceiverStatus(BoardAccess& board, uint32_t port);
// Bit 2p reset done, bit 2p + 1 locked.
uint64_t rxStatusBits(BoardAccess& board);
// Bit p: port p takes a rate or a configuration word.
uint64_t readyBits(BoardAccess& board);
// Bit p: the receiver of port p is held in reset.
uint64_t rxResetBits(BoardAccess& board);
uint64_t pllLockBits(BoardAccess& board);
uint64_t resetDoneBits(BoardAccess& board);

// Rate setting: configuration words (gtxIf 1, 2), taken as the receiver
// leaves reset; rate codes (gtxIf 3, 6, 10); the camera control's speed
// (queue path).
void writeDrpAddress(BoardAccess& board, uint32_t port, uint64_t value);
void writeDrpData(BoardAccess& board, uint32_t port, uint64_t value);
void writeRxReset(BoardAccess& board, uint64_t heldPorts);
// Code 0 to `codes` - 1 picks a rate of 1250, 2500, ... Mbit/s.
void setRateCode(BoardAccess& board, uint32_t port, uint64_t code, uint32_t codes);
void setUplinkHigh(BoardAccess& board, uint32_t port, bool high);
void setDataPathSpeed(BoardAccess& board, uint32_t port, uint32_t mbps);

} // namespace orva::sim::cxp
