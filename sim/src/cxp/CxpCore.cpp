#include "CxpCore.h"

#include "Board.h"
#include "Clock.h"
#include "CxpWire.h"
#include "DataQueue.h"
#include "Device.h"
#include "RegisterBehaviour.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <vector>

namespace orva::sim::cxp {

namespace {

using layout::LinkSlot;

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
constexpr uint32_t kTxFifoWords = 1024;
constexpr uint32_t kRecordBytes = 8;

constexpr uint32_t kSegmentUnknown = 2;

// Core reset bits.
constexpr uint32_t kResetTransmitter = 0x1;
constexpr uint32_t kResetAckReceiver = 0x2;
constexpr uint32_t kResetReceiver = 0x4;
constexpr uint32_t kResetBits = 0x7;

// Command FIFO flags in the high word.
constexpr uint64_t kTxKCode = uint64_t{1} << 32;
constexpr uint64_t kTxSend = uint64_t{2} << 32;
// Acknowledge FIFO words.
constexpr uint64_t kAckEmpty = uint64_t{2} << 32;
constexpr uint64_t kAckEnd = (uint64_t{1} << 32) | 0xFDFDFDFDu;

// Queue path: the word in front of a packet.
constexpr uint32_t kQueueWordCountMask = 0xFFFF;
constexpr uint32_t kQueueTagFlag = 1u << 21;
// The camera control version that switches a port to CoaXPress 2.0.
constexpr uint32_t kPortVersion20 = 3;

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

// Selectors of the CxpDiscoveryConfig designs, high word << 32 | low word.
constexpr std::array<uint64_t, 2> kSelectors2{0x7654321076543210ull, 0x7654320176543201ull};
constexpr std::array<uint64_t, 24> kSelectors4{
    0x7654321076543210ull, 0x7654231076542310ull, 0x7654312076543120ull, 0x7654213076541320ull, 0x7654132076542130ull,
    0x7654123076541230ull, 0x7654320176543201ull, 0x7654230176542301ull, 0x7654310276543021ull, 0x7654210376540321ull,
    0x7654130276542031ull, 0x7654120376540231ull, 0x7654302176543102ull, 0x7654203176541302ull, 0x7654301276543012ull,
    0x7654201376540312ull, 0x7654103276541032ull, 0x7654102376540132ull, 0x7654032176542103ull, 0x7654023176541203ull,
    0x7654031276542013ull, 0x7654021376540213ull, 0x7654013276541023ull, 0x7654012376540123ull,
};
constexpr uint64_t kIdentitySelector = 0x7654321076543210ull;
constexpr uint64_t kNoSelector = ~uint64_t{0};

// Power over the cable.
constexpr uint32_t kSupplyMv = 24000;
constexpr uint64_t kAdInReading = 3450;

Fn functionOf(const layout::RegisterSlot& slot) {
    return static_cast<Fn>((slot.param >> 8) & 0xFF);
}
uint32_t portOf(const layout::RegisterSlot& slot) {
    return static_cast<uint32_t>(slot.param & 0xFF) % layout::kMaxPorts;
}

LinkSlot& linkOf(BoardAccess& board, uint32_t port) {
    return board.block().ports[port % layout::kMaxPorts].cxp;
}

bool isBoardPort(BoardAccess& board, uint32_t port) {
    return port < board.block().portCount;
}

bool registerPath(BoardAccess& board) {
    return board.block().linkCore == static_cast<uint32_t>(LinkCore::CxpRegister);
}

// ---- routing ----

std::optional<uint32_t> nibble(BoardAccess& board, uint64_t selector, uint32_t at) {
    const auto value = static_cast<uint32_t>((selector >> (4 * at)) & 0xF);
    if (!isBoardPort(board, value)) {
        return std::nullopt;
    }
    return value;
}

// The physical port the engine of design port d talks to.
std::optional<uint32_t> physicalOf(BoardAccess& board, uint32_t designPort) {
    if (!registerPath(board)) {
        return designPort;
    }
    return designPort < 8 ? nibble(board, board.block().portMap, designPort) : std::nullopt;
}

// The design port whose engine takes what arrives at physical port p.
std::optional<uint32_t> designOf(BoardAccess& board, uint32_t physicalPort) {
    if (!registerPath(board)) {
        return physicalPort;
    }
    return physicalPort < 8 ? nibble(board, board.block().portMap, 8 + physicalPort) : std::nullopt;
}

// ---- internal FIFOs ----

layout::QueueSlot* internalQueue(BoardAccess& board, uint32_t port, Direction direction) {
    for (auto& slot : board.block().queues) {
        if (slot.present != 0 && slot.internal != 0 && slot.port == port &&
            slot.direction == static_cast<uint32_t>(direction)) {
            return &slot;
        }
    }
    return nullptr;
}

void clearFifo(BoardAccess& board, uint32_t port, Direction direction) {
    if (layout::QueueSlot* slot = internalQueue(board, port, direction)) {
        DataQueue(*slot).reset(port, Channel::Control, direction, false);
    }
}

void storeRecord(uint8_t* at, uint64_t value) {
    std::memcpy(at, &value, sizeof(value));
}
uint64_t loadRecord(const uint8_t* at) {
    uint64_t value = 0;
    std::memcpy(&value, at, sizeof(value));
    return value;
}

// ---- transceivers ----

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

// The receiver starts again at `startNs` with its counters cleared.
void restartReceiver(LinkSlot& link, uint64_t startNs) {
    link.rxStartNs = startNs;
    link.segStartNs = startNs;
    link.segMismatch = kSegmentUnknown;
    link.nitAccum = 0;
}

uint64_t errorsBetween(uint64_t fromNs, uint64_t toNs) {
    return toNs < fromNs ? 0 : 1 + (toNs - fromNs) / kNsPerNitError;
}

struct Receiver {
    bool running = false;
    bool locked = false;
    uint64_t errors = 0;
};

// The receiver's state now. Its counter is worked out from the segments of
// constant signal since the receiver started: while there is no signal at
// the receiver's rate, errors pile up.
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

// NIT counter as the registers show it; an armed burst lands on it here.
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

uint32_t rateOfCode(uint64_t code, uint32_t codes) {
    return code < codes ? kSpeedsMbps[code] : 0;
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

void applyCoreReset(BoardAccess& board, uint32_t port, uint32_t bits) {
    LinkSlot& link = linkOf(board, port);
    const uint32_t old = link.coreReset;
    link.coreReset = bits & kResetBits;
    const uint32_t raised = link.coreReset & ~old;
    if ((old & kResetReceiver) != 0 && (link.coreReset & kResetReceiver) == 0) {
        restartReceiver(link, std::max(board.nowNs(), link.rxStartNs));
    }
    if ((raised & kResetAckReceiver) != 0) {
        clearFifo(board, port, Direction::ToHost);
    }
    if ((raised & kResetTransmitter) != 0) {
        clearFifo(board, port, Direction::ToCamera);
    }
}

// Characters down the cable of a physical port, unless its transmitter is
// held in reset.
bool sendToCamera(BoardAccess& board, uint32_t port, std::span<const uint8_t> wire) {
    if (!isBoardPort(board, port) || (linkOf(board, port).coreReset & kResetTransmitter) != 0) {
        return false;
    }
    board.deliverToCamera(port, Channel::Control, wire);
    return true;
}

// ---- power ----

uint32_t currentMa(BoardAccess& board, uint32_t port) {
    const layout::PortSlot& slot = board.block().ports[port];
    if (slot.power != ORVA_SIM_POWER_ON || slot.plugged == 0) {
        return 0;
    }
    uint32_t camera = 0;
    uint32_t link = 0;
    Device* device = board.cameraAt(port, camera, link);
    if (device == nullptr) {
        return 0;
    }
    DeviceContext ctx(board, camera);
    return device->currentDrawMa(ctx, link);
}

uint64_t powerStatus(BoardAccess& board, uint32_t port) {
    const uint32_t power = board.block().ports[port].power;
    const uint32_t group = boardGroup(board.block().type);
    const uint32_t current = power == ORVA_SIM_POWER_ON ? currentMa(board, port) : 0;
    if (group == 1 || group == 2) {
        if (power == ORVA_SIM_POWER_TRIPPED) {
            return 0x10;
        }
        if (power == ORVA_SIM_POWER_OFF) {
            return 0x01;
        }
        return current > 0 ? 0x04 : 0x02;
    }
    uint64_t state = 0x01;
    if (power == ORVA_SIM_POWER_ON) {
        state = 0x02;
    } else if (power == ORVA_SIM_POWER_TRIPPED) {
        state = 0x04;
    }
    uint64_t value = state << 30;
    const uint32_t type = board.block().type;
    const bool senses = type == 0xA61 || type == 0xA62 || (type >= 0xA64 && type <= 0xA67) || type == 0xB63;
    if (senses && power == ORVA_SIM_POWER_ON) {
        value |= (uint64_t{current} * 5) & 0xFFFF;
        value |= uint64_t{kSupplyMv / 4} << 16;
    }
    return value;
}

void setPowerEnable(BoardAccess& board, uint64_t mask) {
    for (uint32_t p = 0; p < board.block().portCount; ++p) {
        layout::PortSlot& slot = board.block().ports[p];
        const bool enable = ((mask >> p) & 1u) != 0;
        // A tripped port stays tripped until its enable goes off and on.
        uint32_t next = slot.power;
        if (enable && slot.power == ORVA_SIM_POWER_OFF) {
            next = ORVA_SIM_POWER_ON;
        } else if (!enable) {
            next = ORVA_SIM_POWER_OFF;
        }
        if (next != slot.power) {
            slot.power = next;
            board.powerChanged(p);
        }
    }
}

// ---- register path engines ----

void writeCommandWord(BoardAccess& board, uint32_t designPort, uint64_t value) {
    LinkSlot& link = linkOf(board, designPort);
    layout::QueueSlot* slot = internalQueue(board, designPort, Direction::ToCamera);
    if (slot == nullptr) {
        return;
    }
    DataQueue fifo(*slot);
    link.packetSent = 0;
    if (fifo.visibleBytes(0) / kRecordBytes >= kTxFifoWords) {
        ++link.txDropped;
    } else {
        std::array<uint8_t, kRecordBytes> record{};
        storeRecord(record.data(), value);
        fifo.push(record, 0);
    }
    if ((value & kTxSend) == 0) {
        return;
    }
    std::vector<uint8_t> words(static_cast<size_t>(fifo.visibleBytes(0)));
    fifo.pop(words, 0);
    Transmission wire;
    for (size_t at = 0; at + kRecordBytes <= words.size(); at += kRecordBytes) {
        const uint64_t record = loadRecord(words.data() + at);
        wire.word(static_cast<uint32_t>(record), (record & kTxKCode) != 0);
    }
    const auto port = physicalOf(board, designPort);
    if (!port || !sendToCamera(board, *port, wire.bytes())) {
        ++link.txDropped;
    }
    link.packetSent = 1;
}

uint64_t readAckWord(BoardAccess& board, uint32_t designPort) {
    if ((linkOf(board, designPort).coreReset & kResetAckReceiver) != 0) {
        return kAckEmpty;
    }
    layout::QueueSlot* slot = internalQueue(board, designPort, Direction::ToHost);
    if (slot == nullptr) {
        return kAckEmpty;
    }
    std::array<uint8_t, kRecordBytes> record{};
    if (DataQueue(*slot).pop(record, board.nowNs()) != kRecordBytes) {
        return kAckEmpty;
    }
    return loadRecord(record.data());
}

// The register path hands the acknowledge over as it came, without markers
// and type: the host checks its CRC.
bool takeAckByRegisters(BoardAccess& board, uint32_t port, const Packet& packet, uint64_t readyNs) {
    const auto designPort = designOf(board, port);
    if (!designPort || (linkOf(board, *designPort).coreReset & kResetAckReceiver) != 0) {
        return false;
    }
    layout::QueueSlot* slot = internalQueue(board, *designPort, Direction::ToHost);
    if (slot == nullptr) {
        return false;
    }
    std::vector<uint8_t> records;
    const auto append = [&](uint64_t value) {
        records.resize(records.size() + kRecordBytes);
        storeRecord(records.data() + records.size() - kRecordBytes, value);
    };
    for (size_t at = 0; at + 4 <= packet.body.size(); at += 4) {
        append(loadWord(packet.body.data() + at));
    }
    append(kAckEnd);
    return DataQueue(*slot).push(records, readyNs);
}

// The queue path checks the CRC, strips it, and puts a word with the count
// of words in front.
bool takeAckByQueue(BoardAccess& board, uint32_t port, const Packet& packet, uint64_t readyNs) {
    if ((linkOf(board, port).coreReset & kResetAckReceiver) != 0) {
        return false;
    }
    const bool tagged = packet.type == static_cast<uint8_t>(PacketType::TaggedAck);
    const size_t head = tagged ? 4 : 0;
    const std::vector<uint8_t>& body = packet.body;
    if (body.size() < head + 4) {
        return false;
    }
    const uint32_t status = loadWord(body.data() + head);
    size_t keep = body.size();
    // A final acknowledge with payload and a wait acknowledge carry a size
    // word, then as many bytes (the payload, or the delay word), then a CRC.
    if (status == 0x00000000u || status == 0x04040404u) {
        size_t expected = head + 8 + 4;
        if (body.size() >= head + 8) {
            expected += (size_t{loadBe32(body.data() + head + 4)} + 3) / 4 * 4;
        }
        if (body.size() != expected || !crcMatches(body)) {
            return false;
        }
        keep = body.size() - 4;
    }
    layout::QueueSlot* slot = board.findQueue(port, Channel::Control, Direction::ToHost);
    if (slot == nullptr) {
        return false;
    }
    std::vector<uint8_t> out(4 + keep);
    const auto words = static_cast<uint32_t>(keep / 4);
    storeWord(out.data(), (words & kQueueWordCountMask) | (tagged ? kQueueTagFlag : 0));
    std::copy(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(keep), out.begin() + 4);
    return DataQueue(*slot).push(out, readyNs);
}

// ---- registers ----

uint64_t bitsOfPorts(BoardAccess& board, bool (*test)(BoardAccess&, uint32_t)) {
    uint64_t bits = 0;
    for (uint32_t p = 0; p < board.block().portCount; ++p) {
        if (test(board, p)) {
            bits |= uint64_t{1} << p;
        }
    }
    return bits;
}

class CoreRegister : public RegisterBehaviour {
public:
    uint64_t read(BoardAccess& board, layout::RegisterSlot& slot) const override {
        const uint32_t port = portOf(slot);
        LinkSlot& link = linkOf(board, port);
        const uint64_t now = board.nowNs();
        switch (functionOf(slot)) {
        case Fn::RxCmdAckPacketData:
            return readAckWord(board, port);
        case Fn::TxCmdPacketSent:
            return bitsOfPorts(board, [](BoardAccess& b, uint32_t p) { return linkOf(b, p).packetSent != 0; });
        case Fn::ControlCoreReset:
            return link.coreReset;
        case Fn::LedModeRead:
            return link.ledMode;
        case Fn::NotInTable:
            return nitCount(board, port);
        case Fn::DisparityError:
            return disparityCount(board, port);
        case Fn::DrpAddress:
            return link.drpAddress;
        case Fn::DrpReady:
            return bitsOfPorts(board, [](BoardAccess& b, uint32_t p) { return b.nowNs() >= linkOf(b, p).busyUntilNs; });
        case Fn::GtxRxReset:
            return bitsOfPorts(board, [](BoardAccess& b, uint32_t p) { return linkOf(b, p).gtxReset != 0; });
        case Fn::RxPllLock:
            return bitsOfPorts(board, [](BoardAccess& b, uint32_t p) {
                const LinkSlot& l = linkOf(b, p);
                return l.gtxReset == 0 && b.nowNs() + kRxResetNs >= l.rxStartNs + kPllLockNs;
            });
        case Fn::RxResetDone:
            return bitsOfPorts(board, [](BoardAccess& b, uint32_t p) {
                const LinkSlot& l = linkOf(b, p);
                return l.gtxReset == 0 && b.nowNs() >= l.rxStartNs;
            });
        case Fn::RxStatus: {
            uint64_t bits = 0;
            for (uint32_t p = 0; p < board.block().portCount; ++p) {
                const LinkSlot& l = linkOf(board, p);
                if (l.gtxReset == 0 && now >= l.rxStartNs) {
                    bits |= uint64_t{1} << (2 * p);
                }
                if (evaluate(board, p).locked) {
                    bits |= uint64_t{1} << (2 * p + 1);
                }
            }
            return bits;
        }
        case Fn::SetBitRateDone:
            return bitsOfPorts(board, [](BoardAccess& b, uint32_t p) { return b.nowNs() >= linkOf(b, p).busyUntilNs; });
        case Fn::TransceiverStatus: {
            uint64_t value = nitCount(board, port);
            value |= disparityCount(board, port) << 24;
            if (evaluate(board, port).locked) {
                value |= kStatusLocked;
            }
            if (now >= link.busyUntilNs) {
                value |= kStatusReady;
            }
            return value;
        }
        case Fn::SelectWrite:
        case Fn::SelectRead:
            return board.block().portMap;
        case Fn::PowerEnableRead:
            return bitsOfPorts(
                board, [](BoardAccess& b, uint32_t p) { return b.block().ports[p].power != ORVA_SIM_POWER_OFF; });
        case Fn::PowerStatus:
            return isBoardPort(board, port) ? powerStatus(board, port) : 0;
        case Fn::PowerSense:
            return isBoardPort(board, port) ? currentMa(board, port) * 5 / 2 : 0;
        case Fn::PowerShuntVoltage:
            return isBoardPort(board, port) ? currentMa(board, port) * 5 : 0;
        case Fn::PowerVin:
        case Fn::PowerBusVoltage: {
            if (!isBoardPort(board, port) || board.block().ports[port].power != ORVA_SIM_POWER_ON) {
                return 0;
            }
            return functionOf(slot) == Fn::PowerVin ? kSupplyMv / 25 : kSupplyMv / 4;
        }
        case Fn::PowerAdIn:
            return kAdInReading;
        default:
            return slot.value;
        }
    }

    void write(BoardAccess& board, layout::RegisterSlot& slot, uint64_t value) const override {
        const uint32_t port = portOf(slot);
        LinkSlot& link = linkOf(board, port);
        const uint64_t now = board.nowNs();
        const uint32_t gtxIf = board.block().gtxIf;
        switch (functionOf(slot)) {
        case Fn::TxCmdWriteData:
            writeCommandWord(board, port, value);
            break;
        case Fn::ControlCoreReset:
            applyCoreReset(board, port, static_cast<uint32_t>(value));
            break;
        case Fn::LedModeWrite:
            slot.value = value;
            link.ledMode = static_cast<uint32_t>(value);
            if (const auto physical = physicalOf(board, port)) {
                board.block().ports[*physical].ledState = static_cast<uint32_t>(value);
            }
            break;
        case Fn::DrpAddress:
            link.drpAddress = static_cast<uint32_t>(value & 0xFFFF);
            break;
        case Fn::DrpWriteData: {
            slot.value = value;
            const auto addresses = drpAddresses(gtxIf);
            const auto at = std::find(addresses.begin(), addresses.end(), link.drpAddress);
            if (at != addresses.end()) {
                link.drp[at - addresses.begin()] = static_cast<uint32_t>(value & 0xFFFF);
            }
            link.busyUntilNs = now + kDrpWriteNs;
            break;
        }
        case Fn::GtxRxReset:
            for (uint32_t p = 0; p < board.block().portCount; ++p) {
                LinkSlot& l = linkOf(board, p);
                const bool hold = ((value >> p) & 1u) != 0;
                if (hold) {
                    l.gtxReset = 1;
                } else if (l.gtxReset != 0) {
                    // The configuration words take effect as the receiver
                    // comes out of reset.
                    l.gtxReset = 0;
                    if (gtxIf == 1 || gtxIf == 2) {
                        l.rxRateMbps = drpRate(gtxIf, l);
                    }
                    restartReceiver(l, now + kRxResetNs);
                }
            }
            break;
        case Fn::SetBitRate:
        case Fn::DownLinkBitRate:
            slot.value = value;
            link.rxRateMbps = rateOfCode(value, functionOf(slot) == Fn::SetBitRate ? 5 : 7);
            link.busyUntilNs = now + kRateChangeNs;
            restartReceiver(link, link.busyUntilNs);
            break;
        case Fn::UpLinkBitRate:
            slot.value = value;
            link.uplinkHigh = (value & 1u) != 0 ? 1 : 0;
            link.busyUntilNs = now + kRateChangeNs;
            break;
        case Fn::SelectWrite:
            board.block().portMap = value;
            break;
        case Fn::DiscoveryConfig: {
            slot.value = value;
            // The port field of a board-wide register holds the design's ports.
            if (port == 2) {
                board.block().portMap = value < kSelectors2.size() ? kSelectors2[value] : kNoSelector;
            } else if (port == 4) {
                board.block().portMap = value < kSelectors4.size() ? kSelectors4[value] : kNoSelector;
            } else {
                board.block().portMap = value == 0 ? kIdentitySelector : kNoSelector;
            }
            break;
        }
        case Fn::PowerEnableWrite:
            slot.value = value;
            setPowerEnable(board, value);
            break;
        default:
            // Status and counters: writes change nothing.
            break;
        }
    }
};

} // namespace

const RegisterBehaviour& registerBehaviour() {
    static const CoreRegister behaviour;
    return behaviour;
}

uint32_t boardGroup(uint32_t type) {
    if (type >= 0xA51 && type <= 0xA5A) {
        return 1;
    }
    if ((type >= 0x750 && type <= 0x759) || type == 0x7510 || type == 0x7511 || type == 0x7540 || type == 0x7541 ||
        type == 0x7591) {
        return 2;
    }
    if (type == 0xA61 || type == 0xA62 || (type >= 0xA64 && type <= 0xA67) || type == 0xB61 || type == 0xB63 ||
        type == 0xB68) {
        return 3;
    }
    return 0;
}

void loadBoard(BoardAccess& board) {
    layout::BoardBlock& block = board.block();
    const uint64_t now = board.nowNs();
    const bool queuePath = block.linkCore == static_cast<uint32_t>(LinkCore::CxpQueue);
    for (uint32_t p = 0; p < layout::kMaxPorts; ++p) {
        LinkSlot& link = block.ports[p].cxp;
        link = LinkSlot{};
        // Transceivers come up at 3125; on the queue path the host gives the
        // rate through the camera control interface first.
        link.rxRateMbps = queuePath ? 0 : kPowerUpRateMbps;
        if (block.gtxIf == 1 || block.gtxIf == 2) {
            setDrpWords(block.gtxIf, link, kPowerUpRateMbps);
        }
        link.packetSent = 1;
        restartReceiver(link, now);
    }
}

bool isDataPathSpeed(uint32_t speed) {
    return speed == 0 || isSpeed(speed);
}

void portSettingsChanged(BoardAccess& board, uint32_t port) {
    if (board.block().linkCore != static_cast<uint32_t>(LinkCore::CxpQueue)) {
        return;
    }
    const layout::PortSlot& slot = board.port(port);
    LinkSlot& link = linkOf(board, port);
    if (link.rxRateMbps != slot.dataPathSpeed) {
        link.rxRateMbps = slot.dataPathSpeed;
        link.uplinkHigh = needsHighUplink(slot.dataPathSpeed) ? 1 : 0;
        restartReceiver(link, std::max(board.nowNs(), link.rxStartNs));
    }
    // Data path states: 2 all held, 3 receivers held, 4 only the acknowledge
    // receiver held, 5 running; any other state runs as after power-up.
    uint32_t bits = 0;
    switch (slot.dataPathState) {
    case 2:
        bits = kResetTransmitter | kResetAckReceiver | kResetReceiver;
        break;
    case 3:
        bits = kResetAckReceiver | kResetReceiver;
        break;
    case 4:
        bits = kResetAckReceiver;
        break;
    default:
        break;
    }
    applyCoreReset(board, port, bits);
}

void sendQueueCommand(BoardAccess& board, uint32_t port, std::span<const uint8_t> bytes) {
    LinkSlot& link = linkOf(board, port);
    if (bytes.size() < 8 || bytes.size() % 4 != 0) {
        ++link.txDropped;
        return;
    }
    const uint32_t header = loadWord(bytes.data());
    const bool tagged = (header & kQueueTagFlag) != 0;
    if ((header & kQueueWordCountMask) != bytes.size() / 4 - 1 ||
        (tagged && board.block().ports[port].cxpVersion != kPortVersion20)) {
        ++link.txDropped;
        return;
    }
    std::vector<uint8_t> body(bytes.begin() + 4, bytes.end());
    appendCrc(body);
    const auto wire = framePacket(tagged ? PacketType::TaggedCommand : PacketType::Command, body);
    if (!sendToCamera(board, port, wire)) {
        ++link.txDropped;
    }
}

bool receiveFromCamera(BoardAccess& board, uint32_t port, std::span<const uint8_t> wire, uint64_t readyNs) {
    if (!isBoardPort(board, port)) {
        return false;
    }
    LinkSlot& link = linkOf(board, port);
    const Receiver receiver = evaluate(board, port);
    const auto packet = parsePacket(wire);
    const bool isAck = packet && (packet->type == static_cast<uint8_t>(PacketType::Ack) ||
                                  packet->type == static_cast<uint8_t>(PacketType::TaggedAck));
    if (!receiver.locked || !isAck || packet->body.size() % 4 != 0) {
        ++link.rxDropped;
        return false;
    }
    const bool taken = registerPath(board) ? takeAckByRegisters(board, port, *packet, readyNs)
                                           : takeAckByQueue(board, port, *packet, readyNs);
    if (!taken) {
        ++link.rxDropped;
    }
    return taken;
}

} // namespace orva::sim::cxp
