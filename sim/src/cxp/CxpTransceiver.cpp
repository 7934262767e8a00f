#include "CxpTransceiver.h"

#include "Clock.h"
#include "CxpWire.h"
#include "Device.h"
#include "DeviceContext.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace orva::sim::cxp {

namespace {

// A receiver without a usable signal sees about one character a microsecond
// that isn't in its table.
constexpr uint64_t kNsPerNitError = kNsPerUs;
constexpr uint64_t kNitBurstErrors = 1000;
constexpr uint64_t kCounterMask = 0xFFFFFF;
constexpr std::string_view kNitBurstFault = "nit-burst";

// Settling times of the transceivers.
constexpr uint64_t kRateChangeNs = 50 * kNsPerUs;
constexpr uint64_t kDrpWriteNs = 5 * kNsPerUs;
constexpr uint64_t kRxResetNs = 20 * kNsPerUs;
constexpr uint64_t kPllLockNs = 10 * kNsPerUs;

constexpr uint32_t kPowerUpRateMbps = 3125;
constexpr uint32_t kSegmentUnknown = 2;

// Transceiver status bits.
constexpr uint64_t kStatusLocked = uint64_t{1} << 48;
constexpr uint64_t kStatusReady = uint64_t{1} << 49;

// Configuration words of the transceivers of gtxIf 1 (table A) and 2
// (table B), one row a rate.
struct DrpRow {
    uint32_t mbps;
    std::array<uint32_t, 4> words;
};
constexpr std::array<uint32_t, 4> kDrpAddressesA{0x1B, 0x1C, 0x1F, 0x20};
constexpr std::array kDrpTableA{
    DrpRow{1250, {0x78C0, 0x20, 0x78C0, 0x20}}, DrpRow{2500, {0x38C0, 0x20, 0x38C0, 0x20}},
    DrpRow{3125, {0x78C6, 0x20, 0x78C6, 0x20}}, DrpRow{5000, {0x38C4, 0x20, 0x38C4, 0x20}},
    DrpRow{6250, {0x38C6, 0x20, 0x38C6, 0x20}},
};
constexpr std::array<uint32_t, 3> kDrpAddressesB{0xA9, 0x5E, 0x88};
constexpr std::array kDrpTableB{
    DrpRow{1250, {0x1010, 0x1082, 0x22, 0}}, DrpRow{2500, {0x1020, 0x1082, 0x11, 0}},
    DrpRow{3125, {0x1020, 0x1083, 0x11, 0}}, DrpRow{5000, {0x1040, 0x1082, 0, 0}},
    DrpRow{6250, {0x1040, 0x1083, 0, 0}},
};

bool programmedByWords(uint32_t gtxIf) {
    return gtxIf == 1 || gtxIf == 2;
}

std::span<const uint32_t> drpAddresses(uint32_t gtxIf) {
    if (gtxIf == 1) {
        return kDrpAddressesA;
    }
    return kDrpAddressesB;
}

std::span<const DrpRow> drpTable(uint32_t gtxIf) {
    if (gtxIf == 1) {
        return kDrpTableA;
    }
    return kDrpTableB;
}

// The rate the configuration words describe; 0 if no rate has these words.
uint32_t drpRate(uint32_t gtxIf, const LinkSlot& link) {
    const size_t words = drpAddresses(gtxIf).size();
    for (const DrpRow& row : drpTable(gtxIf)) {
        if (std::equal(row.words.begin(), row.words.begin() + static_cast<std::ptrdiff_t>(words), link.drp)) {
            return row.mbps;
        }
    }
    return 0;
}

void setDrpWords(uint32_t gtxIf, LinkSlot& link, uint32_t mbps) {
    for (const DrpRow& row : drpTable(gtxIf)) {
        if (row.mbps == mbps) {
            std::copy(row.words.begin(), row.words.end(), link.drp);
        }
    }
}

uint32_t rateOfCode(uint64_t code, uint32_t codes) {
    return code < codes ? kSpeedsMbps[code] : 0;
}

LinkSignal signalAt(BoardAccess& board, uint32_t port) {
    uint32_t camera = 0;
    uint32_t link = 0;
    Device* device = board.cameraAt(port, camera, link);
    if (device == nullptr) {
        return {};
    }
    DeviceContext ctx(board, camera);
    LinkSignal signal = device->signal(ctx, link);
    if (board.block().ports[port].plugged == 0) {
        signal.present = false;
    }
    return signal;
}

bool receiverHeld(const LinkSlot& link, uint64_t now) {
    return (link.coreReset & kResetReceiver) != 0 || link.gtxReset != 0 || now < link.rxStartNs;
}

uint64_t errorsBetween(uint64_t fromNs, uint64_t toNs) {
    return toNs < fromNs ? 0 : 1 + (toNs - fromNs) / kNsPerNitError;
}

bool resetDone(const LinkSlot& link, uint64_t now) {
    return link.gtxReset == 0 && now >= link.rxStartNs;
}

} // namespace

void powerUpTransceiver(BoardAccess& board, uint32_t port) {
    LinkSlot& link = linkOf(board, port);
    const uint32_t gtxIf = gtxIfOf(board);
    link.rxRateMbps = registerPath(board) ? kPowerUpRateMbps : 0;
    if (programmedByWords(gtxIf)) {
        setDrpWords(gtxIf, link, kPowerUpRateMbps);
    }
    restartReceiver(link, board.nowNs());
}

void restartReceiver(LinkSlot& link, uint64_t startNs) {
    link.rxStartNs = startNs;
    link.segStartNs = startNs;
    link.segMismatch = kSegmentUnknown;
    link.nitAccum = 0;
}

// While there is no signal at the receiver's rate, errors pile up.
Receiver evaluate(BoardAccess& board, uint32_t port) {
    LinkSlot& link = linkOf(board, port);
    const uint64_t now = board.nowNs();
    if (!isBoardPort(board, port) || receiverHeld(link, now)) {
        return {};
    }
    const LinkSignal signal = signalAt(board, port);
    const bool mismatch = !signal.present || link.rxRateMbps == 0 || signal.rateMbps != link.rxRateMbps;
    const uint64_t start = std::max(link.segStartNs, link.rxStartNs);
    if (link.segMismatch == kSegmentUnknown) {
        link.segMismatch = mismatch ? 1 : 0;
        link.segStartNs = start;
    } else if ((mismatch ? 1u : 0u) != link.segMismatch || signal.sinceNs > start) {
        const uint64_t boundary = std::clamp(signal.sinceNs, start, now);
        if (link.segMismatch != 0) {
            link.nitAccum += errorsBetween(start, boundary);
        }
        link.segStartNs = boundary;
        link.segMismatch = mismatch ? 1 : 0;
    }
    Receiver r;
    r.running = true;
    r.locked = !mismatch;
    r.errors = link.nitAccum + (link.segMismatch != 0 ? errorsBetween(link.segStartNs, now) : 0);
    return r;
}

uint64_t nitCount(BoardAccess& board, uint32_t port) {
    const Receiver r = evaluate(board, port);
    if (!r.running) {
        return 0;
    }
    uint64_t errors = r.errors;
    if (isBoardPort(board, port) && board.takeFault(port, kNitBurstFault)) {
        linkOf(board, port).nitAccum += kNitBurstErrors;
        errors += kNitBurstErrors;
    }
    return errors & kCounterMask;
}

uint64_t disparityCount(BoardAccess& board, uint32_t port) {
    return (evaluate(board, port).errors / 4) & kCounterMask;
}

uint64_t transceiverStatus(BoardAccess& board, uint32_t port) {
    uint64_t value = nitCount(board, port);
    value |= disparityCount(board, port) << 24;
    if (evaluate(board, port).locked) {
        value |= kStatusLocked;
    }
    if (board.nowNs() >= linkOf(board, port).busyUntilNs) {
        value |= kStatusReady;
    }
    return value;
}

uint64_t rxStatusBits(BoardAccess& board) {
    const uint64_t now = board.nowNs();
    uint64_t bits = 0;
    for (uint32_t p = 0; p < board.block().portCount; ++p) {
        if (resetDone(linkOf(board, p), now)) {
            bits |= uint64_t{1} << (2 * p);
        }
        if (evaluate(board, p).locked) {
            bits |= uint64_t{1} << (2 * p + 1);
        }
    }
    return bits;
}

uint64_t readyBits(BoardAccess& board) {
    const uint64_t now = board.nowNs();
    return portBits(board, [&](uint32_t p) { return now >= linkOf(board, p).busyUntilNs; });
}

uint64_t rxResetBits(BoardAccess& board) {
    return portBits(board, [&](uint32_t p) { return linkOf(board, p).gtxReset != 0; });
}

uint64_t pllLockBits(BoardAccess& board) {
    const uint64_t now = board.nowNs();
    return portBits(board, [&](uint32_t p) {
        const LinkSlot& l = linkOf(board, p);
        return l.gtxReset == 0 && now + kRxResetNs >= l.rxStartNs + kPllLockNs;
    });
}

uint64_t resetDoneBits(BoardAccess& board) {
    const uint64_t now = board.nowNs();
    return portBits(board, [&](uint32_t p) { return resetDone(linkOf(board, p), now); });
}

void writeDrpAddress(BoardAccess& board, uint32_t port, uint64_t value) {
    linkOf(board, port).drpAddress = static_cast<uint32_t>(value & 0xFFFF);
}

void writeDrpData(BoardAccess& board, uint32_t port, uint64_t value) {
    LinkSlot& link = linkOf(board, port);
    const auto addresses = drpAddresses(gtxIfOf(board));
    const auto at = std::find(addresses.begin(), addresses.end(), link.drpAddress);
    if (at != addresses.end()) {
        link.drp[at - addresses.begin()] = static_cast<uint32_t>(value & 0xFFFF);
    }
    link.busyUntilNs = board.nowNs() + kDrpWriteNs;
}

void writeRxReset(BoardAccess& board, uint64_t heldPorts) {
    const uint32_t gtxIf = gtxIfOf(board);
    const uint64_t now = board.nowNs();
    for (uint32_t p = 0; p < board.block().portCount; ++p) {
        LinkSlot& l = linkOf(board, p);
        const bool hold = ((heldPorts >> p) & 1u) != 0;
        if (hold) {
            l.gtxReset = 1;
        } else if (l.gtxReset != 0) {
            // The configuration words take effect as the receiver comes out
            // of reset.
            l.gtxReset = 0;
            if (programmedByWords(gtxIf)) {
                l.rxRateMbps = drpRate(gtxIf, l);
            }
            restartReceiver(l, now + kRxResetNs);
        }
    }
}

void setRateCode(BoardAccess& board, uint32_t port, uint64_t code, uint32_t codes) {
    LinkSlot& link = linkOf(board, port);
    link.rxRateMbps = rateOfCode(code, codes);
    link.busyUntilNs = board.nowNs() + kRateChangeNs;
    restartReceiver(link, link.busyUntilNs);
}

void setUplinkHigh(BoardAccess& board, uint32_t port, bool high) {
    LinkSlot& link = linkOf(board, port);
    link.uplinkHigh = high ? 1 : 0;
    link.busyUntilNs = board.nowNs() + kRateChangeNs;
}

void setDataPathSpeed(BoardAccess& board, uint32_t port, uint32_t mbps) {
    LinkSlot& link = linkOf(board, port);
    if (link.rxRateMbps != mbps) {
        link.rxRateMbps = mbps;
        link.uplinkHigh = needsHighUplink(mbps) ? 1 : 0;
        restartReceiver(link, std::max(board.nowNs(), link.rxStartNs));
    }
}

} // namespace orva::sim::cxp
