// What sets the transceiver core types of the board designs (`gtxIf`) apart,
// one row per type: the path of the control packets, how the transceivers,
// control core reset and LED are driven, the rates of the core and the words
// or codes that program them, the receiver reset sequence, and where the NIT
// counter and the link-up flag are. The controller tells the port its type;
// the port takes the row once, at construction, and from then on reads its
// fields and never tests the type. A new core type is a new row of the table
// in CxpCoreTraits.cpp.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "impl/cxp/CxpDesignRegisters.h"

namespace orva::cxp {

// How control packets travel between software and the camera.
enum class ChannelPath : uint8_t {
    // Software frames the whole packet and moves it word by word through
    // design registers; the acknowledge comes back the same way.
    Registers,
    // Board data queues carry a short header and the packet body; markers and
    // CRC are the board's work.
    Queues,
};

// How the transceivers, the control core reset and the LED are driven.
enum class PortControl : uint8_t {
    DesignRegisters, // registers of the design, under txcLock
    CameraControl,   // the camera control operations of orva_hal
};

// How the receivers are set to a rate, with design registers.
enum class DownlinkProgramming : uint8_t {
    Unsupported,        // no known way: -2031
    ConfigurationWords, // transceiver configuration (DRP) words per rate
    BitRateRegister,    // a rate code into a register, between done flags
};

// How the uplink (low-speed direction) is set, with design registers.
enum class UplinkProgramming : uint8_t {
    Unsupported,   // no known way: TGX_ERR_INTERNAL
    Fixed,         // the core has one uplink rate; nothing to set
    ClassRegister, // high or low class into a register, after a ready flag
};

// One bit of a board register: bit bitsPerPort x port + offset of `reg`.
struct RegisterBit {
    int32_t CxpBoardRegisters::*reg = nullptr; // null: the core has no such flag
    uint32_t bitsPerPort = 0;
    uint32_t offset = 0;

    constexpr bool Present() const { return reg != nullptr; }
    constexpr uint32_t BitOf(uint32_t port) const { return bitsPerPort * port + offset; }
};

// One transceiver configuration write: the data word for a DRP address.
struct DrpWord {
    uint32_t address = 0;
    uint32_t data = 0;
};

// The configuration words of one rate, written in this order.
struct DrpSetting {
    uint32_t speed = 0;
    std::array<DrpWord, 4> words{};
    uint32_t count = 0;
};

// One step of a receiver reset.
struct ResetStep {
    enum class Action : uint8_t {
        WritePortBit, // the port's bit (1 << port) into `flag.reg`
        WriteZero,    // 0 into `flag.reg`
        Sleep,        // `sleepMs`
        WaitSet,      // until `flag` reads as set
        WaitClear,    // until `flag` reads as clear
    };
    Action action = Action::Sleep;
    RegisterBit flag{};
    uint32_t sleepMs = 0;
    const char* what = ""; // the flag, as the time-out line names it
};

struct CxpCoreTraits {
    uint32_t gtxIf = 0;
    ChannelPath path = ChannelPath::Registers;
    PortControl control = PortControl::DesignRegisters;
    // Control packets may carry tags (CXP 2.0 with the extensions on).
    bool taggedPackets = false;

    // Downlink rates, when the control is by design registers.
    DownlinkProgramming downlink = DownlinkProgramming::Unsupported;
    // ConfigurationWords: the words of each rate; with `drpReady` the flag
    // is awaited before the first word and after each, else each word is
    // given `drpSettleMs`.
    std::span<const DrpSetting> drpSettings{};
    RegisterBit drpReady{};
    uint32_t drpSettleMs = 0;
    // BitRateRegister: the rate of each code (the code is the position), the
    // register that takes it, and the flag awaited before and after.
    std::span<const uint32_t> rateCodes{};
    int32_t CxpBoardRegisters::*rateRegister = nullptr;
    RegisterBit rateDone{};

    // Uplink class, when the control is by design registers.
    UplinkProgramming uplink = UplinkProgramming::Unsupported;
    int32_t CxpBoardRegisters::*uplinkRegister = nullptr;
    RegisterBit uplinkReady{};

    // Reset of the receivers after a rate change; empty: none needed.
    std::span<const ResetStep> receiverReset{};

    // NIT counter: the register and the bits of it that count; null for a
    // core whose counter isn't known.
    int32_t CxpBoardRegisters::*nitCounter = nullptr;
    uint64_t nitMask = 0;
    // Checked once the NIT counter shows a lock; none: the counter decides.
    RegisterBit linkUp{};

    // The row of `gtxIf`. A type without a row gets one that refuses rates
    // (-2031 downlink, TGX_ERR_INTERNAL uplink), resets nothing and has no
    // NIT counter, on the register path.
    static const CxpCoreTraits& Of(uint32_t gtxIf);
};

} // namespace orva::cxp
