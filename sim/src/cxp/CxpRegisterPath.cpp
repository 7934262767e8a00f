#include "CxpRegisterPath.h"

#include "CxpLinkSlot.h"
#include "CxpSelector.h"
#include "DataQueue.h"

#include <array>
#include <cstring>
#include <vector>

namespace orva::sim::cxp {

namespace {

constexpr uint32_t kTxFifoWords = 1024;
// A FIFO word as the design's queues hold it: the 64-bit register value.
constexpr uint32_t kRecordBytes = 8;

// Command FIFO flags in the high word.
constexpr uint64_t kTxKCode = uint64_t{1} << 32;
constexpr uint64_t kTxSend = uint64_t{2} << 32;
// Acknowledge FIFO words.
constexpr uint64_t kAckEmpty = uint64_t{2} << 32;
constexpr uint64_t kAckEnd = (uint64_t{1} << 32) | 0xFDFDFDFDu;

void storeRecord(uint8_t* at, uint64_t value) {
    std::memcpy(at, &value, sizeof(value));
}

uint64_t loadRecord(const uint8_t* at) {
    uint64_t value = 0;
    std::memcpy(&value, at, sizeof(value));
    return value;
}

} // namespace

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

uint64_t packetSentBits(BoardAccess& board) {
    return portBits(board, [&](uint32_t d) { return linkOf(board, d).packetSent != 0; });
}

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

} // namespace orva::sim::cxp
