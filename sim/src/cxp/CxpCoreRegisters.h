#pragma once

// The registers of the CoaXPress core. A register's `param` holds its
// function in bits 15..8 and its port (or, for a board-wide register, the
// design's number of ports) in bits 7..0.

#include <cstdint>

namespace orva::sim {
class RegisterBehaviour;
} // namespace orva::sim

namespace orva::sim::cxp {

// What a register of the core does.
enum class Fn : uint32_t {
    TxCmdWriteData = 1,     // per design port: command FIFO; high word bit 0 K-code, bit 1 send
    RxCmdAckPacketData = 2, // per design port: acknowledge FIFO; high word bit 1 empty, bit 0 end of packet
    TxCmdPacketSent = 3,    // board: bit d, the engine of design port d has sent its last packet
    ControlCoreReset = 4,   // bit 0 transmitter of port n, bit 1 acknowledge receiver of design port n,
                            // bit 2 receiver of port n; a set bit holds it in reset
    LedModeWrite = 5,
    LedModeRead = 6,
    NotInTable = 7,         // per port: NIT errors, 24 bits
    DisparityError = 8,     // per port: disparity errors, 24 bits
    DrpAddress = 9,         // per port: transceiver configuration address
    DrpWriteData = 10,      // per port: writes a configuration word at that address
    DrpReady = 11,          // board: bit p, port p takes a configuration word
    GtxRxReset = 12,        // board: bit p holds the receiver of port p in reset; its rate is taken on release
    RxPllLock = 13,         // board: bit p, the receiver PLL of port p is locked
    RxResetDone = 14,       // board: bit p, the receiver of port p is out of reset
    RxStatus = 15,          // board: bit 2p reset done, bit 2p + 1 locked
    SetBitRate = 16,        // per port: rate code 0 to 4
    SetBitRateDone = 17,    // board: bit p, port p runs at the rate last set
    TransceiverStatus = 18, // per port: bits 23..0 NIT, 47..24 disparity, 48 locked, 49 ready for a rate change
    DownLinkBitRate = 19,   // per port: rate code 0 to 6
    UpLinkBitRate = 20,     // per port: 1 high uplink rate, 0 low
    SelectWrite = 21,       // board: sets the discovery selector
    SelectRead = 22,        // board: the discovery selector
    DiscoveryConfig = 23,   // board: index of the selector in the design's table
    PowerEnableRead = 24,   // board: bit p, power of port p is enabled
    PowerEnableWrite = 25,  // board: bit p switches power of port p on, a clear bit off
    PowerStatus = 26,       // per port: state of the power switch, coded by board group
    PowerSense = 27,        // per port, group 1: current, 0.4 mA a step
    PowerVin = 28,          // per port, group 1: supply, 25 mV a step
    PowerAdIn = 29,         // per port, group 1: auxiliary sensor
    PowerShuntVoltage = 30, // per port, group 2: current, 0.2 mA a step
    PowerBusVoltage = 31,   // per port, group 2: supply, 4 mV a step
};

constexpr uint64_t registerParam(Fn fn, uint32_t port) {
    return (static_cast<uint64_t>(fn) << 8) | port;
}

// The behaviour of every register of the core.
const RegisterBehaviour& coreRegisters();

} // namespace orva::sim::cxp
