#pragma once

// The CoaXPress core of the boards' designs: what the FPGA does between the
// host's registers and queues and the coaxial cables.
//
// - Transceivers, one per physical port (CxpTransceiver.h).
// - Control packet engines, one per design port: on the register path a
//   command FIFO and an acknowledge FIFO in registers (CxpRegisterPath.h);
//   on the queue path the core frames what the host queues and unframes
//   what comes back (CxpQueuePath.h).
// - The discovery selector between the two (CxpSelector.h).
// - Power over the cable (CxpPower.h).
//
// A design's core variant is its transceiver interface (gtxIf): 1, 2, 3, 6
// or 10 with the register path, 16 with the queue path. Everything the core
// keeps lives in the board's shared memory: the ports' LinkSlot, register
// slots and internal FIFOs.

#include "BoardCore.h"

namespace orva::sim::cxp {

class CxpCore : public BoardCore {
public:
    // Every port's link layer starts as after power-up.
    void load(BoardAccess& board) const override;
    const RegisterBehaviour& registers() const override;
    void hostWrote(BoardAccess& board, uint32_t port, Channel channel, std::span<const uint8_t> bytes) const override;
    bool cameraSent(BoardAccess& board, uint32_t port, Channel channel, std::span<const uint8_t> bytes,
                    uint64_t readyNs) const override;
    // The transceivers run at the link speeds alone (or 0, none).
    void checkPortSetting(BoardAccess& board, PortSetting setting, uint32_t value) const override;
    void portSettingsChanged(BoardAccess& board, uint32_t port) const override;
};

// The one core all CoaXPress designs name.
const BoardCore& boardCore();

} // namespace orva::sim::cxp
