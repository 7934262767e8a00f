#pragma once

// The CoaXPress cable, as the simulated cameras and the boards' CoaXPress
// cores put characters on it: K-codes, control packets and their CRC, and
// the byte order of every field. Every conversion between numbers and bytes
// of the simulator's CoaXPress side lives here.
//
// A character on the simulated cable takes two bytes: a flag byte (bit 0 set
// for a K-code) and the character's value. One hand-over down or up a link
// holds whole characters; the receiving side finds packets by their markers.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace orva::sim::cxp {

constexpr uint8_t kStartOfPacket = 0xFB; // K27.7
constexpr uint8_t kEndOfPacket = 0xFD;   // K29.7
constexpr uint8_t kKCodeFlag = 0x01;

enum class PacketType : uint8_t {
    Command = 0x02,
    Ack = 0x03,
    TaggedCommand = 0x05,
    TaggedAck = 0x06,
};

// Acknowledge codes; the camera sends each four times in a row.
enum class AckCode : uint8_t {
    FinalWithData = 0x00,
    Final = 0x01,
    Tentative = 0x02,
    ChannelReset = 0x03,
    Wait = 0x04,
    InvalidAddress = 0x40,
    InvalidData = 0x41,
    InvalidOpcode = 0x42,
    WriteToReadOnly = 0x43,
    ReadOfWriteOnly = 0x44,
    SizeTooLarge = 0x45,
    SizeInconsistent = 0x46,
    Malformed = 0x47,
    BadCrc = 0x80,
};

enum class Opcode : uint8_t { Read = 0, Write = 1 };

// ---- byte order ----

// Camera registers and packet fields: big-endian on the wire.
constexpr uint32_t loadBe32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}
constexpr void storeBe32(uint8_t* p, uint32_t value) {
    p[0] = static_cast<uint8_t>(value >> 24);
    p[1] = static_cast<uint8_t>(value >> 16);
    p[2] = static_cast<uint8_t>(value >> 8);
    p[3] = static_cast<uint8_t>(value);
}
constexpr uint32_t loadBe24(const uint8_t* p) {
    return (uint32_t{p[0]} << 16) | (uint32_t{p[1]} << 8) | uint32_t{p[2]};
}

// A 32-bit word of a board register or data queue carries its first wire
// byte in bits 7..0; so does the CRC on the wire.
constexpr uint32_t loadWord(const uint8_t* p) {
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}
constexpr void storeWord(uint8_t* p, uint32_t value) {
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
    p[2] = static_cast<uint8_t>(value >> 16);
    p[3] = static_cast<uint8_t>(value >> 24);
}

// Little-endian fields of the zip container that holds a description.
constexpr void storeLe16(uint8_t* p, uint16_t value) {
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
}
constexpr void storeLe32(uint8_t* p, uint32_t value) {
    storeWord(p, value);
}

// ---- CRC ----

namespace detail {
constexpr std::array<uint32_t, 256> makeCrcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit) {
            c = (c & 1u) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        }
        table[i] = c;
    }
    return table;
}
inline constexpr std::array<uint32_t, 256> kCrcTable = makeCrcTable();
} // namespace detail

// CRC of a control packet: reflected CRC-32 over the bytes in wire order,
// started at all ones and sent as it stands, without a final inversion.
constexpr uint32_t packetCrc(std::span<const uint8_t> bytes) {
    uint32_t crc = 0xFFFFFFFFu;
    for (const uint8_t b : bytes) {
        crc = (crc >> 8) ^ detail::kCrcTable[(crc ^ b) & 0xFFu];
    }
    return crc;
}

// ---- characters and packets ----

// Builds a transmission character by character.
class Transmission {
public:
    void kcodes(uint8_t value, size_t count = 4) {
        for (size_t i = 0; i < count; ++i) {
            bytes_.push_back(kKCodeFlag);
            bytes_.push_back(value);
        }
    }
    void data(uint8_t value) {
        bytes_.push_back(0);
        bytes_.push_back(value);
    }
    void data(std::span<const uint8_t> values) {
        for (const uint8_t v : values) {
            data(v);
        }
    }
    void repeated(uint8_t value) {
        for (int i = 0; i < 4; ++i) {
            data(value);
        }
    }
    // A register or queue word: its bits 7..0 first.
    void word(uint32_t value, bool kcode) {
        for (int i = 0; i < 4; ++i) {
            bytes_.push_back(kcode ? kKCodeFlag : 0);
            bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
    }
    const std::vector<uint8_t>& bytes() const { return bytes_; }
    std::vector<uint8_t> take() { return std::move(bytes_); }

private:
    std::vector<uint8_t> bytes_;
};

// A packet off the cable: its type and the data characters between the
// type and the end marker (tag, fields, payload and CRC).
struct Packet {
    uint8_t type = 0;
    std::vector<uint8_t> body;
};

// SOP x4, type x4, data..., EOP x4, and nothing else: anything that breaks
// this framing gives nothing, as a receiver can't tell where a packet is.
inline std::optional<Packet> parsePacket(std::span<const uint8_t> wire) {
    // Markers and type: twelve characters of two bytes.
    constexpr size_t kShortest = 24;
    if (wire.size() % 2 != 0 || wire.size() < kShortest) {
        return std::nullopt;
    }
    const size_t chars = wire.size() / 2;
    const auto isK = [&](size_t i) { return (wire[2 * i] & kKCodeFlag) != 0; };
    const auto value = [&](size_t i) { return wire[2 * i + 1]; };
    for (size_t i = 0; i < 4; ++i) {
        if (!isK(i) || value(i) != kStartOfPacket || !isK(chars - 1 - i) || value(chars - 1 - i) != kEndOfPacket) {
            return std::nullopt;
        }
    }
    Packet packet;
    packet.type = value(4);
    for (size_t i = 4; i < 8; ++i) {
        if (isK(i) || value(i) != packet.type) {
            return std::nullopt;
        }
    }
    for (size_t i = 8; i < chars - 4; ++i) {
        if (isK(i)) {
            return std::nullopt;
        }
        packet.body.push_back(value(i));
    }
    return packet;
}

// A packet with its markers and type; `body` must already hold its CRC.
inline std::vector<uint8_t> framePacket(PacketType type, std::span<const uint8_t> body) {
    Transmission t;
    t.kcodes(kStartOfPacket);
    t.repeated(static_cast<uint8_t>(type));
    t.data(body);
    t.kcodes(kEndOfPacket);
    return t.take();
}

// Appends the CRC of everything in `body` to it.
inline void appendCrc(std::vector<uint8_t>& body) {
    const uint32_t crc = packetCrc(body);
    const size_t at = body.size();
    body.resize(at + 4);
    storeWord(body.data() + at, crc);
}

// True if the last four bytes of `body` are the CRC of the bytes before.
inline bool crcMatches(std::span<const uint8_t> body) {
    if (body.size() < 4) {
        return false;
    }
    return packetCrc(body.first(body.size() - 4)) == loadWord(body.data() + body.size() - 4);
}

// ---- link speeds and connection configuration ----

inline constexpr std::array<uint32_t, 7> kSpeedsMbps{1250, 2500, 3125, 5000, 6250, 10000, 12500};

constexpr bool isSpeed(uint32_t mbps) {
    for (const uint32_t s : kSpeedsMbps) {
        if (s == mbps) {
            return true;
        }
    }
    return false;
}

// Speed code of a connection configuration word; 0 for an unknown speed.
constexpr uint32_t speedCode(uint32_t mbps) {
    for (uint32_t i = 0; i < kSpeedsMbps.size(); ++i) {
        if (kSpeedsMbps[i] == mbps) {
            return 0x28 + 8 * i;
        }
    }
    return 0;
}
constexpr uint32_t speedOfCode(uint32_t code) {
    for (const uint32_t s : kSpeedsMbps) {
        if (speedCode(s) == code) {
            return s;
        }
    }
    return 0;
}

// Connection configuration: bits 31..16 number of links, 15..0 speed code.
constexpr uint32_t connectionConfig(uint32_t links, uint32_t mbps) {
    return (links << 16) | speedCode(mbps);
}
constexpr uint32_t configLinks(uint32_t word) {
    return word >> 16;
}
constexpr uint32_t configSpeed(uint32_t word) {
    return speedOfCode(word & 0xFFFFu);
}

// Links at 10000 and 12500 take the host's uplink at the high rate.
constexpr bool needsHighUplink(uint32_t mbps) {
    return mbps >= 10000;
}

// ---- bootstrap registers ----

namespace address {
constexpr uint32_t kStandard = 0x0000;
constexpr uint32_t kRevision = 0x0004;
constexpr uint32_t kXmlManifestSize = 0x0008;
constexpr uint32_t kXmlManifestSelector = 0x000C;
constexpr uint32_t kXmlVersion = 0x0010;
constexpr uint32_t kXmlSchemaVersion = 0x0014;
constexpr uint32_t kXmlUrlAddress = 0x0018;
constexpr uint32_t kIidc2Address = 0x001C;
constexpr uint32_t kDeviceName = 0x2000;
constexpr uint32_t kModelName = 0x2020;
constexpr uint32_t kManufacturerInfo = 0x2040;
constexpr uint32_t kDeviceVersion = 0x2070;
constexpr uint32_t kFirmwareVersion = 0x2090;
constexpr uint32_t kSerialNumber = 0x20B0;
constexpr uint32_t kUserId = 0x20C0;
constexpr uint32_t kConnectionReset = 0x4000;
constexpr uint32_t kDeviceConnectionId = 0x4004;
constexpr uint32_t kMasterHostConnectionId = 0x4008;
constexpr uint32_t kControlPacketSize = 0x400C;
constexpr uint32_t kStreamPacketSize = 0x4010;
constexpr uint32_t kConnectionConfig = 0x4014;
constexpr uint32_t kConnectionConfigDefault = 0x4018;
constexpr uint32_t kTestMode = 0x401C;
constexpr uint32_t kVersionsSupported = 0x4044;
constexpr uint32_t kVersionUsed = 0x4048;
} // namespace address

constexpr uint32_t kStandardMagic = 0xC0A79AE5u;

// Revisions and versions as 16.16 numbers; the supported versions as bits.
constexpr uint32_t kVersion10 = 0x00010000u;
constexpr uint32_t kVersion11 = 0x00010001u;
constexpr uint32_t kVersion20 = 0x00020000u;
constexpr uint32_t kSupports10 = 0x1;
constexpr uint32_t kSupports11 = 0x2;
constexpr uint32_t kSupports20 = 0x4;

} // namespace orva::sim::cxp
