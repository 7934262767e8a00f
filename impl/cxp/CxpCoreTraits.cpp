#include "impl/cxp/CxpCoreTraits.h"

#include <algorithm>

namespace orva::cxp {

namespace {

using Regs = CxpBoardRegisters;
using Step = ResetStep::Action;

// Configuration words of the cores programmed word by word (DRP).
constexpr std::array<DrpSetting, 5> kDrpWordsA{{
    {1250, {{{0x1B, 0x78C0}, {0x1C, 0x20}, {0x1F, 0x78C0}, {0x20, 0x20}}}, 4},
    {2500, {{{0x1B, 0x38C0}, {0x1C, 0x20}, {0x1F, 0x38C0}, {0x20, 0x20}}}, 4},
    {3125, {{{0x1B, 0x78C6}, {0x1C, 0x20}, {0x1F, 0x78C6}, {0x20, 0x20}}}, 4},
    {5000, {{{0x1B, 0x38C4}, {0x1C, 0x20}, {0x1F, 0x38C4}, {0x20, 0x20}}}, 4},
    {6250, {{{0x1B, 0x38C6}, {0x1C, 0x20}, {0x1F, 0x38C6}, {0x20, 0x20}}}, 4},
}};
constexpr std::array<DrpSetting, 5> kDrpWordsB{{
    {1250, {{{0xA9, 0x1010}, {0x5E, 0x1082}, {0x88, 0x22}}}, 3},
    {2500, {{{0xA9, 0x1020}, {0x5E, 0x1082}, {0x88, 0x11}}}, 3},
    {3125, {{{0xA9, 0x1020}, {0x5E, 0x1083}, {0x88, 0x11}}}, 3},
    {5000, {{{0xA9, 0x1040}, {0x5E, 0x1082}, {0x88, 0}}}, 3},
    {6250, {{{0xA9, 0x1040}, {0x5E, 0x1083}, {0x88, 0}}}, 3},
}};

// Rates of the bit rate registers in code order; the 6250 cores stop at
// code 4, the 12500 cores go on.
constexpr std::array<uint32_t, 7> kRateCodes{1250, 2500, 3125, 5000, 6250, 10000, 12500};
constexpr std::span<const uint32_t> kRateCodesTo6250 = std::span(kRateCodes).first(5);

// Status register of the 12500 cores: bits 23..0 the NIT count, bit 48 link
// up, bit 49 ready for a rate change.
constexpr uint64_t kStatusNitMask = 0xFFFFFF;
constexpr RegisterBit kStatusLinkUp{&Regs::transceiverStatus, 0, 48};
constexpr RegisterBit kStatusReady{&Regs::transceiverStatus, 0, 49};
// The NIT register of the older cores counts in all its bits.
constexpr uint64_t kWholeRegister = ~uint64_t{0};

constexpr RegisterBit kRxReset{&Regs::gtxRxReset, 0, 0};
constexpr RegisterBit kPortBit(int32_t Regs::*reg) {
    return {reg, 1, 0};
}

// Receiver resets. The direct configuration core needs its reset held a
// moment and reports PLL lock and reset done; the one with a ready flag
// shows its reset by clearing "done"; the one with a receive status
// register reports in its even bit.
constexpr std::array<ResetStep, 5> kResetWithPllLock{{
    {Step::WritePortBit, kRxReset},
    {Step::Sleep, {}, 2},
    {Step::WriteZero, kRxReset},
    {Step::WaitSet, kPortBit(&Regs::rxPllDet), 0, "PLL lock"},
    {Step::WaitSet, kPortBit(&Regs::rxResetDone), 0, "receiver reset done"},
}};
constexpr std::array<ResetStep, 4> kResetSeenInDone{{
    {Step::WritePortBit, kRxReset},
    {Step::WaitClear, kPortBit(&Regs::rxResetDone), 0, "receiver reset start"},
    {Step::WriteZero, kRxReset},
    {Step::WaitSet, kPortBit(&Regs::rxResetDone), 0, "receiver reset done"},
}};
constexpr std::array<ResetStep, 3> kResetSeenInRxStatus{{
    {Step::WritePortBit, kRxReset},
    {Step::WriteZero, kRxReset},
    {Step::WaitSet, {&Regs::rxStatus, 2, 0}, 0, "receiver reset done"},
}};

constexpr std::array<CxpCoreTraits, 6> kCoreTypes{{
    // Direct transceiver configuration writes; no ready flag, so each word
    // is given time to settle.
    {.gtxIf = 1,
     .downlink = DownlinkProgramming::ConfigurationWords,
     .drpSettings = kDrpWordsA,
     .drpSettleMs = 10,
     .uplink = UplinkProgramming::Fixed,
     .receiverReset = kResetWithPllLock,
     .nitCounter = &Regs::notInTable,
     .nitMask = kWholeRegister},
    // Configuration writes with a ready flag.
    {.gtxIf = 2,
     .downlink = DownlinkProgramming::ConfigurationWords,
     .drpSettings = kDrpWordsB,
     .drpReady = kPortBit(&Regs::gtxDrpReady),
     .uplink = UplinkProgramming::Fixed,
     .receiverReset = kResetSeenInDone,
     .nitCounter = &Regs::notInTable,
     .nitMask = kWholeRegister},
    // Bit rate register with a done flag.
    {.gtxIf = 3,
     .downlink = DownlinkProgramming::BitRateRegister,
     .rateCodes = kRateCodesTo6250,
     .rateRegister = &Regs::gtxSetBitRate,
     .rateDone = kPortBit(&Regs::gtxSetBitRateDone),
     .uplink = UplinkProgramming::Fixed,
     .nitCounter = &Regs::notInTable,
     .nitMask = kWholeRegister},
    // As 3, and a receive status register with reset done and link up.
    {.gtxIf = 6,
     .downlink = DownlinkProgramming::BitRateRegister,
     .rateCodes = kRateCodesTo6250,
     .rateRegister = &Regs::gtxSetBitRate,
     .rateDone = kPortBit(&Regs::gtxSetBitRateDone),
     .uplink = UplinkProgramming::Fixed,
     .receiverReset = kResetSeenInRxStatus,
     .nitCounter = &Regs::notInTable,
     .nitMask = kWholeRegister,
     .linkUp = {&Regs::rxStatus, 2, 1}},
    // Separate downlink and uplink rate registers, up to 12500, and a status
    // register.
    {.gtxIf = 10,
     .downlink = DownlinkProgramming::BitRateRegister,
     .rateCodes = kRateCodes,
     .rateRegister = &Regs::downLinkBitRate,
     .rateDone = kStatusReady,
     .uplink = UplinkProgramming::ClassRegister,
     .uplinkRegister = &Regs::upLinkBitRate,
     .uplinkReady = kStatusReady,
     .nitCounter = &Regs::transceiverStatus,
     .nitMask = kStatusNitMask,
     .linkUp = kStatusLinkUp},
    // The camera control interface of orva_hal and the data queues; the
    // status register is the design's still.
    {.gtxIf = 16,
     .path = ChannelPath::Queues,
     .control = PortControl::CameraControl,
     .taggedPackets = true,
     .nitCounter = &Regs::transceiverStatus,
     .nitMask = kStatusNitMask,
     .linkUp = kStatusLinkUp},
}};

constexpr CxpCoreTraits kUnknownCoreType{};

} // namespace

const CxpCoreTraits& CxpCoreTraits::Of(uint32_t gtxIf) {
    const auto* row = std::find_if(kCoreTypes.begin(), kCoreTypes.end(),
                                   [gtxIf](const CxpCoreTraits& t) { return t.gtxIf == gtxIf; });
    return row == kCoreTypes.end() ? kUnknownCoreType : *row;
}

} // namespace orva::cxp
