// Wire format of CoaXPress control packets: markers, field layouts, the byte
// order of camera values, the packet CRC and a dump for debug logs.
//
// Byte order lives here and nowhere else. A camera's register values are
// big-endian; a 32-bit word that travels through a design register or a
// data queue carries its first wire byte in bits 7..0. So a host number
// becomes a wire word by exchanging its four bytes, and the big-endian bytes
// that ReadMem/WriteMem move are turned into host numbers by the functions
// below.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "runtime/templates/ByteOrder.h"

namespace orva::cxp::wire {

// ---- byte order ----

// Host number <-> wire word (and back: the exchange is its own inverse).
constexpr uint32_t ToWire(uint32_t host) {
    return orva::templates::platform::swap32(host);
}
constexpr uint32_t FromWire(uint32_t word) {
    return orva::templates::platform::swap32(word);
}

// Host number of the four big-endian bytes at `bytes`.
constexpr uint32_t LoadBigEndian32(const uint8_t* bytes) {
    return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | uint32_t{bytes[3]};
}
// The four big-endian bytes of `host`.
constexpr std::array<uint8_t, 4> StoreBigEndian32(uint32_t host) {
    return {static_cast<uint8_t>(host >> 24), static_cast<uint8_t>(host >> 16), static_cast<uint8_t>(host >> 8),
            static_cast<uint8_t>(host)};
}
// ---- command packet ----

inline constexpr uint32_t kStartOfPacket = 0xFBFBFBFB;
inline constexpr uint32_t kEndOfPacket = 0xFDFDFDFD;
inline constexpr uint32_t kCommandType = 0x02020202;
inline constexpr uint32_t kTaggedCommandType = 0x05050505;
// Queue path header: bits 15..0 words behind the header, this bit with a tag.
inline constexpr uint32_t kQueueTagFlag = 0x00200000;
inline constexpr uint32_t kQueueWordCountMask = 0x0000FFFF;

// High words of the command register rows.
inline constexpr uint32_t kRowData = 0;
inline constexpr uint32_t kRowStart = 1; // the four bytes are K-codes
inline constexpr uint32_t kRowEnd = 3;   // K-codes, last word: transmission starts

// Acknowledge FIFO register: high word flags.
inline constexpr uint32_t kAckFifoEndOfPacket = 1u << 0;
inline constexpr uint32_t kAckFifoEmpty = 1u << 1;

// The tag in all four bytes.
constexpr uint32_t TagWord(uint8_t tag) {
    return uint32_t{tag} * 0x01010101u;
}
// The tag as received: the OR of the four bytes.
constexpr uint8_t TagOfWord(uint32_t word) {
    return static_cast<uint8_t>((word | (word >> 8) | (word >> 16) | (word >> 24)) & 0xFF);
}
// First wire byte the operation (0 read, 1 write), then 24 bits of size.
constexpr uint32_t SizeAndOperationWord(bool isWrite, uint32_t bytes) {
    return ToWire(bytes & 0x00FFFFFF) | (isWrite ? 1u : 0u);
}
constexpr uint32_t AddressWord(uint32_t address) {
    return ToWire(address);
}

// ---- acknowledge packet ----

inline constexpr uint32_t kAckFinalWithData = 0x00000000;
inline constexpr uint32_t kAckFinal = 0x01010101;
inline constexpr uint32_t kAckTentative = 0x02020202;
inline constexpr uint32_t kAckChannelReset = 0x03030303;
inline constexpr uint32_t kAckWait = 0x04040404;
inline constexpr uint32_t kAckErrorFirst = 0x40404040; // 0x40..0x47 in every byte
inline constexpr uint32_t kAckErrorLast = 0x47474747;
inline constexpr uint32_t kAckBadCrc = 0x80808080;

// Result codes of an acknowledge status word that isn't an error.
inline constexpr int32_t kAckResultFinalWithData = 0;
inline constexpr int32_t kAckResultFinal = 1;
inline constexpr int32_t kAckResultTentative = 2;
inline constexpr int32_t kAckResultChannelReset = 3;
inline constexpr int32_t kAckResultWait = 4;

// Size field of an acknowledge in bytes (host number).
constexpr uint32_t AckSizeBytes(uint32_t sizeWord) {
    return FromWire(sizeWord);
}

// ---- CRC ----

namespace detail {
constexpr std::array<uint32_t, 256> MakeCrcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int k = 0; k < 8; ++k) {
            c = (c & 1u) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        }
        table[i] = c;
    }
    return table;
}
inline constexpr std::array<uint32_t, 256> kCrcTable = MakeCrcTable();
} // namespace detail

// CRC-32 (reflected 0xEDB88320, start all ones, no final inversion) of a
// list of 32-bit words, the low byte of each word first. The packet carries
// this value as it is.
constexpr uint32_t PacketCrc(std::span<const uint32_t> words) {
    uint32_t crc = 0xFFFFFFFFu;
    for (uint32_t word : words) {
        for (int shift = 0; shift < 32; shift += 8) {
            const auto byte = static_cast<uint8_t>(word >> shift);
            crc = (crc >> 8) ^ detail::kCrcTable[(crc ^ byte) & 0xFFu];
        }
    }
    return crc;
}

// ---- register path rows ----

// One 64-bit write to the command register.
struct Row {
    uint32_t low = 0;
    uint32_t high = 0;
    constexpr uint64_t Value() const { return (uint64_t{high} << 32) | low; }
    friend constexpr bool operator==(const Row&, const Row&) = default;
};

// The rows of a command on the register path for a packet built with the
// packet type as its first word: start marker, the packet, its CRC from the
// second word on, end marker.
inline std::vector<Row> RegisterPathRows(std::span<const uint32_t> packet) {
    std::vector<Row> rows;
    rows.reserve(packet.size() + 3);
    rows.push_back({kStartOfPacket, kRowStart});
    for (uint32_t word : packet) {
        rows.push_back({word, kRowData});
    }
    rows.push_back({PacketCrc(packet.empty() ? packet : packet.subspan(1)), kRowData});
    rows.push_back({kEndOfPacket, kRowEnd});
    return rows;
}

// ---- debug dump ----

// "n words: 0x........ 0x........ ..." with at most `maxWords` words.
inline std::string DumpPacket(std::span<const uint32_t> words, std::size_t maxWords = 16) {
    std::ostringstream out;
    out << words.size() << " words:" << std::hex << std::setfill('0');
    std::size_t shown = 0;
    for (uint32_t word : words) {
        if (shown++ == maxWords) {
            out << " ...";
            break;
        }
        out << " 0x" << std::setw(8) << word;
    }
    return out.str();
}

} // namespace orva::cxp::wire
