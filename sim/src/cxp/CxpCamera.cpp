#include "CxpCamera.h"

#include "Clock.h"
#include "CxpDescription.h"
#include "CxpWire.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <type_traits>

namespace orva::sim {

namespace {

using cxp::AckCode;
using nlohmann::json;
namespace address = cxp::address;

constexpr std::string_view kDropNextAck = "drop-next-ack";
constexpr std::string_view kLateNextAck = "late-next-ack";
constexpr std::string_view kCorruptNextAck = "corrupt-next-ack";
constexpr std::string_view kWaitNextAck = "wait-next-ack";
constexpr std::string_view kTentativeNextAck = "tentative-next-ack";
constexpr std::string_view kCorruptNextCommand = "corrupt-next-command";
// Taken by the board's receiver: the camera's signal is disturbed.
constexpr std::string_view kNitBurst = "nit-burst";
constexpr std::array<std::string_view, 7> kFaults{kDropNextAck,      kLateNextAck,        kCorruptNextAck, kWaitNextAck,
                                                  kTentativeNextAck, kCorruptNextCommand, kNitBurst};

constexpr uint32_t kMaxLinks = 4;
constexpr uint32_t kStateMagic = 0x43585043; // "CPXC"
constexpr uint32_t kManifestEntries = 1;
constexpr uint32_t kXmlVersion = 0x00010000;       // 1.0.0
constexpr uint32_t kXmlSchemaVersion = 0x00010100; // 1.1.0
// Where the URL text goes; below the description if the description's own
// registers are at 0x6000.
constexpr uint32_t kUrlAddress = 0x6000;
constexpr uint32_t kUrlBytes = 0x100;
constexpr uint32_t kDescriptionAddress = 0x100000;
constexpr uint32_t kDefaultStreamPacketSize = 1024;
constexpr uint32_t kMaxDescriptionBytes = 16u * 1024u * 1024u;
constexpr uint32_t kAlternativeUrlAddress = kDescriptionAddress - kUrlBytes;
// A description in a zip container may unpack to this much.
constexpr size_t kMaxUnpackedDescriptionBytes = 4 * size_t{kMaxDescriptionBytes};
// How long a camera serving a description file takes to carry out a command.
constexpr uint64_t kDefaultCommandNs = 10 * kNsPerMs;
// The final acknowledge after a tentative one.
constexpr uint64_t kTentativeGapNs = 200 * kNsPerUs;
constexpr uint64_t kBitsPerCharacter = 10;

// What the camera keeps in its persistent memory, in native byte order.
// The counters come first, at offsets the README gives.
struct CameraState {
    uint32_t commands;
    uint32_t acks;
    uint32_t crcErrors;
    uint32_t unframed;
    uint32_t ignored;
    uint32_t acksDropped;
    uint32_t magic;
    uint32_t powered;
    uint64_t poweredAtNs;
    uint64_t unpoweredAtNs;
    uint64_t cableChangedNs[kMaxLinks];
    // The connection: `links` x `speed` from `configAtNs` on, and before
    // that `prevLinks` x `prevSpeed` from `prevAtNs` on.
    uint32_t links;
    uint32_t speed;
    uint64_t configAtNs;
    uint32_t prevLinks;
    uint32_t prevSpeed;
    uint64_t prevAtNs;
    uint32_t masterHostId;
    uint32_t manifestSelector;
    uint32_t versionUsed;
    uint32_t streamPacketSize;
    uint32_t testMode;
    uint32_t reserved;
};
static_assert(std::is_trivially_copyable_v<CameraState>);
static_assert(offsetof(CameraState, commands) == CxpCamera::kCommandsOffset);
static_assert(offsetof(CameraState, acks) == CxpCamera::kAcksOffset);
static_assert(offsetof(CameraState, crcErrors) == CxpCamera::kCrcErrorsOffset);
static_assert(offsetof(CameraState, unframed) == CxpCamera::kUnframedOffset);
static_assert(offsetof(CameraState, ignored) == CxpCamera::kIgnoredOffset);
static_assert(offsetof(CameraState, acksDropped) == CxpCamera::kAcksDroppedOffset);
static_assert(sizeof(CameraState) <= CxpCamera::kUserIdOffset);
static_assert(CxpCamera::kUserIdOffset + 16 <= CxpCamera::kRegisterStoreOffset);

CameraState loadState(DeviceContext& ctx) {
    CameraState s{};
    std::memcpy(&s, ctx.memory().data(), sizeof(s));
    return s;
}

void storeState(DeviceContext& ctx, const CameraState& s) {
    std::memcpy(ctx.memory().data(), &s, sizeof(s));
}

struct Connection {
    uint32_t links = 0;
    uint32_t speed = 0;
    uint64_t sinceNs = 0;
};

Connection connectionAt(const CameraState& s, uint64_t now) {
    if (s.powered == 0) {
        return {0, 0, s.unpoweredAtNs};
    }
    if (now >= s.configAtNs) {
        return {s.links, s.speed, s.configAtNs};
    }
    return {s.prevLinks, s.prevSpeed, s.prevAtNs};
}

// ---- parameters ----

std::string hexText(uint32_t value) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    do {
        text.insert(text.begin(), kDigits[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    return text;
}

[[noreturn]] void refuse(const std::string& key, const std::string& message) {
    throw std::invalid_argument(key + ": " + message);
}

uint64_t wholeNumber(const json& value, const std::string& key, uint64_t min, uint64_t max) {
    if (!value.is_number_unsigned() || value.get<uint64_t>() < min || value.get<uint64_t>() > max) {
        refuse(key, "expected a whole number from " + std::to_string(min) + " to " + std::to_string(max) + ", got " +
                        value.dump());
    }
    return value.get<uint64_t>();
}

bool truthValue(const json& value, const std::string& key) {
    if (!value.is_boolean()) {
        refuse(key, "expected true or false");
    }
    return value.get<bool>();
}

std::string text(const json& value, const std::string& key, size_t maxBytes) {
    if (!value.is_string()) {
        refuse(key, "expected a text, got " + value.dump());
    }
    std::string s = value.get<std::string>();
    if (s.size() > maxBytes) {
        refuse(key, "'" + s + "' is longer than the register's " + std::to_string(maxBytes) + " bytes");
    }
    if (s.find('\0') != std::string::npos) {
        refuse(key, "a text can't hold a zero byte");
    }
    return s;
}

uint32_t speed(const json& value, const std::string& key) {
    if (!value.is_number_unsigned() || !cxp::isSpeed(value.get<uint32_t>())) {
        refuse(key,
               "expected a link speed in Mbit/s (1250, 2500, 3125, 5000, 6250, 10000, 12500), got " + value.dump());
    }
    return value.get<uint32_t>();
}

uint32_t revisionOf(const json& value) {
    if (value == "1.0") {
        return cxp::kVersion10;
    }
    if (value == "1.1") {
        return cxp::kVersion11;
    }
    if (value == "2.0") {
        return cxp::kVersion20;
    }
    refuse("revision", "expected \"1.0\", \"1.1\" or \"2.0\", got " + value.dump());
}

uint32_t versionBits(const json& value) {
    if (!value.is_array() || value.empty()) {
        refuse("versionsSupported", "expected a non-empty list of \"1.0\", \"1.1\", \"2.0\"");
    }
    uint32_t bits = 0;
    for (const auto& v : value) {
        if (v == "1.0") {
            bits |= cxp::kSupports10;
        } else if (v == "1.1") {
            bits |= cxp::kSupports11;
        } else if (v == "2.0") {
            bits |= cxp::kSupports20;
        } else {
            refuse("versionsSupported", "unknown version " + v.dump());
        }
    }
    return bits;
}

std::vector<uint8_t> readDescriptionFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        refuse("descriptionFile", "can't open '" + path + "'");
    }
    std::vector<uint8_t> bytes;
    char buffer[4096];
    while (in.read(buffer, sizeof(buffer)) || in.gcount() > 0) {
        bytes.insert(bytes.end(), buffer, buffer + in.gcount());
        if (bytes.size() > kMaxDescriptionBytes) {
            refuse("descriptionFile",
                   "'" + path + "' is larger than " + std::to_string(kMaxDescriptionBytes) + " bytes");
        }
    }
    if (in.bad()) {
        refuse("descriptionFile", "can't read '" + path + "'");
    }
    if (bytes.empty()) {
        refuse("descriptionFile", "'" + path + "' is empty");
    }
    return bytes;
}

// A file name for the URL: letters, digits, '.', '-' and '_' only.
std::string fileNameOf(std::string_view path) {
    const auto slash = path.find_last_of('/');
    if (slash != std::string_view::npos) {
        path.remove_prefix(slash + 1);
    }
    std::string name;
    for (const char c : path) {
        const bool plain = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-' || c == '_';
        name += plain ? c : '_';
    }
    return name.substr(0, 64);
}

std::string withExtension(const std::string& name, std::string_view extension) {
    const auto dot = name.find_last_of('.');
    return (dot == std::string::npos || dot == 0 ? name : name.substr(0, dot)) + std::string(extension);
}

constexpr std::string_view kKnownParams =
    "revision, versionsSupported, deviceName, modelName, manufacturerInfo, deviceVersion, firmwareVersion, "
    "serialNumber, userId, controlPacketSize, nativeSpeed, defaultLinks, defaultSpeed, maxSpeed, linksAtReset, "
    "latencyUs, resetUs, bootMs, configSwitchUs, waitAckMs, tentativeAcks, lateAckMs, externalPower, currentMa, "
    "overCurrent, descriptionFile, descriptionFormat, commandUs";

void deriveRegisters(CxpCameraConfig& c, const std::string& file);

CxpCameraConfig parseConfig(const json& params, uint32_t links) {
    if (links == 0 || links > kMaxLinks) {
        throw std::invalid_argument("a CoaXPress camera has 1 to " + std::to_string(kMaxLinks) + " links, not " +
                                    std::to_string(links));
    }
    CxpCameraConfig c;
    c.links = links;
    c.revision = cxp::kVersion20;
    c.deviceName = "orva-sim";
    c.modelName = "cxp-camera";
    c.manufacturerInfo = "simulated CoaXPress camera";
    c.deviceVersion = "1.0";
    c.firmwareVersion = "1.0.0";
    c.serialNumber = "CXP-SIM-0001";
    c.controlPacketSize = 1024;
    c.nativeSpeed = 3125;
    c.defaultLinks = links;
    c.defaultSpeed = 6250;
    c.latencyNs = 20 * kNsPerUs;
    c.resetNs = 1000 * kNsPerUs;
    c.configSwitchNs = 100 * kNsPerUs;
    c.lateAckMs = 1000;
    c.currentMa = 300;
    std::optional<uint32_t> versions;
    std::optional<uint32_t> maxSpeed;
    std::string format = "zip";
    std::string file;
    std::optional<uint64_t> commandNs;

    for (const auto& [key, value] : params.items()) {
        if (key == "revision") {
            c.revision = revisionOf(value);
        } else if (key == "versionsSupported") {
            versions = versionBits(value);
        } else if (key == "deviceName") {
            c.deviceName = text(value, key, 32);
        } else if (key == "modelName") {
            c.modelName = text(value, key, 32);
        } else if (key == "manufacturerInfo") {
            c.manufacturerInfo = text(value, key, 48);
        } else if (key == "deviceVersion") {
            c.deviceVersion = text(value, key, 32);
        } else if (key == "firmwareVersion") {
            c.firmwareVersion = text(value, key, 32);
        } else if (key == "serialNumber") {
            c.serialNumber = text(value, key, 16);
        } else if (key == "userId") {
            c.userId = text(value, key, 16);
        } else if (key == "controlPacketSize") {
            c.controlPacketSize = static_cast<uint32_t>(wholeNumber(value, key, 64, 65536));
            if (c.controlPacketSize % 4 != 0) {
                refuse(key, "expected a multiple of 4");
            }
        } else if (key == "nativeSpeed") {
            c.nativeSpeed = speed(value, key);
        } else if (key == "defaultLinks") {
            c.defaultLinks = static_cast<uint32_t>(wholeNumber(value, key, 1, links));
        } else if (key == "defaultSpeed") {
            c.defaultSpeed = speed(value, key);
        } else if (key == "maxSpeed") {
            maxSpeed = speed(value, key);
        } else if (key == "linksAtReset") {
            if (value != "all" && value != "master") {
                refuse(key, "expected \"all\" or \"master\", got " + value.dump());
            }
            c.masterOnlyAtReset = value == "master";
        } else if (key == "latencyUs") {
            c.latencyNs = wholeNumber(value, key, 0, 1000000) * kNsPerUs;
        } else if (key == "resetUs") {
            c.resetNs = wholeNumber(value, key, 0, 10000000) * kNsPerUs;
        } else if (key == "bootMs") {
            c.bootNs = wholeNumber(value, key, 0, 60000) * kNsPerMs;
        } else if (key == "configSwitchUs") {
            c.configSwitchNs = wholeNumber(value, key, 0, 10000000) * kNsPerUs;
        } else if (key == "waitAckMs") {
            c.waitAckMs = static_cast<uint32_t>(wholeNumber(value, key, 0, 60000));
        } else if (key == "tentativeAcks") {
            c.tentativeAcks = truthValue(value, key);
        } else if (key == "lateAckMs") {
            c.lateAckMs = static_cast<uint32_t>(wholeNumber(value, key, 1, 60000));
        } else if (key == "externalPower") {
            c.externalPower = truthValue(value, key);
        } else if (key == "currentMa") {
            c.currentMa = static_cast<uint32_t>(wholeNumber(value, key, 0, 2000));
        } else if (key == "overCurrent") {
            c.overCurrent = truthValue(value, key);
        } else if (key == "descriptionFile") {
            file = text(value, key, 4096);
            if (file.empty()) {
                refuse(key, "expected a file name");
            }
        } else if (key == "descriptionFormat") {
            if (value != "zip" && value != "plain") {
                refuse(key, "expected \"zip\" or \"plain\", got " + value.dump());
            }
            format = value.get<std::string>();
        } else if (key == "commandUs") {
            commandNs = wholeNumber(value, key, 0, 10000000) * kNsPerUs;
        } else {
            throw std::invalid_argument("unknown parameter '" + key + "' (known: " + std::string(kKnownParams) + ")");
        }
    }

    if (c.revision == cxp::kVersion20) {
        c.versionsSupported = versions.value_or(cxp::kSupports11 | cxp::kSupports20);
    } else if (versions) {
        refuse("versionsSupported", "only a camera of revision 2.0 tells its versions");
    }
    c.maxSpeed = maxSpeed.value_or(std::max(c.nativeSpeed, c.defaultSpeed));
    if (c.maxSpeed < c.nativeSpeed || c.maxSpeed < c.defaultSpeed) {
        refuse("maxSpeed", std::to_string(c.maxSpeed) + " is below the native or the default speed");
    }

    std::vector<uint8_t> content;
    std::string name = fileNameOf(c.modelName.empty() ? "camera" : c.modelName);
    if (!file.empty()) {
        content = readDescriptionFile(file);
        name = fileNameOf(file);
    } else {
        const std::string xml = cxp::builtInDescription(c.deviceName, c.modelName);
        content.assign(xml.begin(), xml.end());
        c.builtInDescription = true;
    }
    c.commandNs = commandNs.value_or(kDefaultCommandNs);
    if (format == "zip") {
        if (cxp::isZipContainer(content)) {
            c.description = std::move(content);
            name = withExtension(name, ".zip");
        } else {
            c.description = cxp::zipContainer(withExtension(name, ".xml"), content);
            name = withExtension(name, ".zip");
        }
    } else {
        if (cxp::isZipContainer(content)) {
            refuse("descriptionFile",
                   "'" + file + "' is a zip container; offer it with \"descriptionFormat\": \"zip\"");
        }
        c.description = std::move(content);
        name = withExtension(name, ".xml");
    }
    c.descriptionUrl = "Local:" + name + ";" + hexText(kDescriptionAddress) + ";" +
                       hexText(static_cast<uint32_t>(c.description.size()));
    deriveRegisters(c, file);
    return c;
}

// ---- acknowledges ----

std::vector<uint8_t> ackBody(bool tagged, uint8_t tag, AckCode code) {
    std::vector<uint8_t> body;
    if (tagged) {
        body.insert(body.end(), 4, tag);
    }
    body.insert(body.end(), 4, static_cast<uint8_t>(code));
    return body;
}

void appendBe32(std::vector<uint8_t>& bytes, uint32_t value) {
    const size_t at = bytes.size();
    bytes.resize(at + 4);
    cxp::storeBe32(bytes.data() + at, value);
}

// ---- the camera's address space ----

enum class Access : uint8_t { Read, Write, ReadWrite };

enum class AreaKind : uint8_t { Register, Text, UserId, Url, Described, Description };

struct Area {
    uint32_t start = 0;
    uint32_t size = 0;
    Access access = Access::Read;
    AreaKind kind = AreaKind::Register;
};

struct RegisterInfo {
    uint32_t address;
    Access access;
    uint32_t fromRevision;
};

constexpr std::array<RegisterInfo, 18> kRegisters{{
    {address::kStandard, Access::Read, 0},
    {address::kRevision, Access::Read, 0},
    {address::kXmlManifestSize, Access::Read, 0},
    {address::kXmlManifestSelector, Access::ReadWrite, 0},
    {address::kXmlVersion, Access::Read, 0},
    {address::kXmlSchemaVersion, Access::Read, 0},
    {address::kXmlUrlAddress, Access::Read, 0},
    {address::kIidc2Address, Access::Read, 0},
    {address::kConnectionReset, Access::Write, 0},
    {address::kDeviceConnectionId, Access::Read, 0},
    {address::kMasterHostConnectionId, Access::ReadWrite, 0},
    {address::kControlPacketSize, Access::Read, 0},
    {address::kStreamPacketSize, Access::ReadWrite, 0},
    {address::kConnectionConfig, Access::ReadWrite, 0},
    {address::kConnectionConfigDefault, Access::Read, 0},
    {address::kTestMode, Access::ReadWrite, 0},
    {address::kVersionsSupported, Access::Read, cxp::kVersion20},
    {address::kVersionUsed, Access::ReadWrite, cxp::kVersion20},
}};

struct TextField {
    uint32_t address;
    uint32_t size;
};
constexpr std::array<TextField, 6> kTextFields{{
    {address::kDeviceName, 32},
    {address::kModelName, 32},
    {address::kManufacturerInfo, 48},
    {address::kDeviceVersion, 32},
    {address::kFirmwareVersion, 32},
    {address::kSerialNumber, 16},
}};
constexpr uint32_t kUserIdBytes = 16;

bool within(uint32_t at, uint32_t start, uint64_t size) {
    return at >= start && at - start < size;
}

// The registers and texts of the standard that the camera serves itself.
std::optional<Area> bootstrapAreaAt(const CxpCameraConfig& config, uint32_t at) {
    if (at < 0x100 || within(at, 0x4000, 0x100)) {
        for (const RegisterInfo& r : kRegisters) {
            if (within(at, r.address, 4) && config.revision >= r.fromRevision) {
                return Area{r.address, 4, r.access, AreaKind::Register};
            }
        }
        return std::nullopt;
    }
    for (const TextField& f : kTextFields) {
        const bool present = f.address != address::kFirmwareVersion || config.revision < cxp::kVersion20;
        if (present && within(at, f.address, f.size)) {
            return Area{f.address, f.size, Access::Read, AreaKind::Text};
        }
    }
    if (within(at, address::kUserId, kUserIdBytes)) {
        return Area{address::kUserId, kUserIdBytes, Access::ReadWrite, AreaKind::UserId};
    }
    return std::nullopt;
}

// The camera's register map, read from the description it serves; the URL
// text placed where the description's registers leave room.
void deriveRegisters(CxpCameraConfig& c, const std::string& file) {
    std::string xml;
    if (cxp::isZipContainer(c.description)) {
        // One it can't unpack is served all the same, without registers.
        xml = cxp::unzippedContent(c.description, kMaxUnpackedDescriptionBytes).value_or(std::string());
    } else {
        xml.assign(c.description.begin(), c.description.end());
    }
    const auto served = [&](uint32_t at) { return bootstrapAreaAt(c, at).has_value(); };
    c.registers = cxp::RegisterSpace::fromDescription(xml, served);
    if (c.builtInDescription) {
        // Its own power-up values, where the general rule would give minimums.
        const auto put = [&](uint32_t reg, uint32_t value) {
            std::array<uint8_t, 4> bytes{};
            cxp::storeBe32(bytes.data(), value);
            c.registers.setInitial(reg, bytes);
        };
        put(cxp::userspace::kWidth, 1024);
        put(cxp::userspace::kHeight, 768);
        put(cxp::userspace::kPixelFormat, 0x01080001); // Mono8
        put(cxp::userspace::kExposureTime, std::bit_cast<uint32_t>(10000.0f));
        put(cxp::userspace::kGain, std::bit_cast<uint32_t>(1.0f));
    }
    const std::string what = file.empty() ? std::string("its own description") : "'" + file + "'";
    if (c.registers.storeBytes() > CxpCamera::kRegisterStoreBytes) {
        refuse("descriptionFile", "the registers of " + what + " need " + std::to_string(c.registers.storeBytes()) +
                                      " bytes of the camera's memory; it has " +
                                      std::to_string(CxpCamera::kRegisterStoreBytes));
    }
    c.urlAddress = kUrlAddress;
    if (c.registers.overlaps(kUrlAddress, kUrlBytes)) {
        c.urlAddress = kAlternativeUrlAddress;
    }
    if (c.registers.overlaps(c.urlAddress, kUrlBytes) ||
        c.registers.overlaps(kDescriptionAddress, c.description.size())) {
        refuse("descriptionFile", "the registers of " + what + " leave no room for the description at " +
                                      hexText(c.urlAddress) + " and " + hexText(kDescriptionAddress));
    }
}

// What a command asks of the camera, and what the camera answers.
struct Reply {
    AckCode code = AckCode::Final;
    std::vector<uint8_t> data;
    bool silent = false;    // no acknowledge at all
    bool linkReset = false; // the links go through a reset
    std::optional<uint32_t> connectionConfig;
};

Reply errorReply(AckCode code) {
    Reply reply;
    reply.code = code;
    return reply;
}

class Session {
public:
    Session(const CxpCameraConfig& config, DeviceContext& ctx, CameraState& state, uint32_t link)
        : config_(config), ctx_(ctx), state_(state), link_(link) {}

    Reply read(uint32_t at, uint32_t size) {
        if (size > config_.controlPacketSize) {
            return error(AckCode::SizeTooLarge);
        }
        if (size == 0 || size % 4 != 0) {
            return error(AckCode::InvalidData);
        }
        if (at % 4 != 0) {
            return error(AckCode::InvalidAddress);
        }
        Reply reply;
        reply.code = AckCode::FinalWithData;
        reply.data.resize(size);
        const uint64_t end = uint64_t{at} + size;
        for (uint64_t pos = at; pos < end;) {
            const auto area = areaAt(static_cast<uint32_t>(pos));
            if (!area) {
                return error(AckCode::InvalidAddress);
            }
            if (area->access == Access::Write) {
                return error(AckCode::ReadOfWriteOnly);
            }
            const uint64_t stop = std::min<uint64_t>(end, uint64_t{area->start} + area->size);
            fill(*area, static_cast<uint32_t>(pos - area->start), std::span(reply.data).subspan(pos - at, stop - pos));
            pos = stop;
        }
        return reply;
    }

    Reply write(uint32_t at, std::span<const uint8_t> data) {
        if (data.size() > config_.controlPacketSize) {
            return error(AckCode::SizeTooLarge);
        }
        if (data.empty() || data.size() % 4 != 0) {
            return error(AckCode::InvalidData);
        }
        if (at % 4 != 0) {
            return error(AckCode::InvalidAddress);
        }
        // Nothing is written unless all of it can be.
        const uint64_t end = uint64_t{at} + data.size();
        for (uint64_t pos = at; pos < end;) {
            const auto area = areaAt(static_cast<uint32_t>(pos));
            if (!area) {
                return error(AckCode::InvalidAddress);
            }
            if (area->access == Access::Read) {
                return error(AckCode::WriteToReadOnly);
            }
            const uint64_t stop = std::min<uint64_t>(end, uint64_t{area->start} + area->size);
            if (area->kind == AreaKind::Register) {
                if (pos != area->start || stop - pos != 4) {
                    return error(AckCode::InvalidData);
                }
                if (!registerValueFits(area->start, cxp::loadBe32(data.data() + (pos - at)))) {
                    return error(AckCode::InvalidData);
                }
            }
            pos = stop;
        }
        Reply reply;
        for (uint64_t pos = at; pos < end;) {
            const auto area = areaAt(static_cast<uint32_t>(pos));
            const uint64_t stop = std::min<uint64_t>(end, uint64_t{area->start} + area->size);
            store(*area, static_cast<uint32_t>(pos - area->start), data.subspan(pos - at, stop - pos), reply);
            pos = stop;
        }
        return reply;
    }

private:
    static Reply error(AckCode code) { return errorReply(code); }

    std::optional<Area> areaAt(uint32_t at) const {
        if (const auto area = bootstrapAreaAt(config_, at)) {
            return area;
        }
        if (within(at, config_.urlAddress, uint64_t{kUrlBytes} * kManifestEntries)) {
            const uint32_t entry = (at - config_.urlAddress) / kUrlBytes;
            return Area{config_.urlAddress + entry * kUrlBytes, kUrlBytes, Access::Read, AreaKind::Url};
        }
        if (const cxp::RegisterSpace::Extent* extent = config_.registers.find(at)) {
            const Access access = !extent->writable   ? Access::Read
                                  : !extent->readable ? Access::Write
                                                      : Access::ReadWrite;
            return Area{extent->address, extent->length, access, AreaKind::Described};
        }
        // Hosts read whole words: the last one is padded with zeros.
        const auto described = static_cast<uint32_t>((config_.description.size() + 3) / 4 * 4);
        if (within(at, kDescriptionAddress, described)) {
            return Area{kDescriptionAddress, described, Access::Read, AreaKind::Description};
        }
        return std::nullopt;
    }

    const std::string& textAt(uint32_t at) const {
        switch (at) {
        case address::kDeviceName:
            return config_.deviceName;
        case address::kModelName:
            return config_.modelName;
        case address::kManufacturerInfo:
            return config_.manufacturerInfo;
        case address::kDeviceVersion:
            return config_.deviceVersion;
        case address::kFirmwareVersion:
            return config_.firmwareVersion;
        default:
            return config_.serialNumber;
        }
    }

    uint32_t registerValue(uint32_t at) const {
        switch (at) {
        case address::kStandard:
            return cxp::kStandardMagic;
        case address::kRevision:
            return config_.revision;
        case address::kXmlManifestSize:
            return kManifestEntries;
        case address::kXmlManifestSelector:
            return state_.manifestSelector;
        case address::kXmlVersion:
            return kXmlVersion;
        case address::kXmlSchemaVersion:
            return kXmlSchemaVersion;
        case address::kXmlUrlAddress:
            return config_.urlAddress + state_.manifestSelector * kUrlBytes;
        case address::kDeviceConnectionId:
            return link_;
        case address::kMasterHostConnectionId:
            return state_.masterHostId;
        case address::kControlPacketSize:
            return config_.controlPacketSize;
        case address::kStreamPacketSize:
            return state_.streamPacketSize;
        case address::kConnectionConfig:
            return cxp::connectionConfig(state_.links, state_.speed);
        case address::kConnectionConfigDefault:
            return cxp::connectionConfig(config_.defaultLinks, config_.defaultSpeed);
        case address::kTestMode:
            return state_.testMode;
        case address::kVersionsSupported:
            return config_.versionsSupported;
        case address::kVersionUsed:
            return state_.versionUsed;
        default:
            return 0;
        }
    }

    bool registerValueFits(uint32_t at, uint32_t value) const {
        switch (at) {
        case address::kXmlManifestSelector:
            return value < kManifestEntries;
        case address::kStreamPacketSize:
            return value >= 4 && value <= 65536 && value % 4 == 0;
        case address::kConnectionConfig: {
            const uint32_t links = cxp::configLinks(value);
            const uint32_t speed = cxp::configSpeed(value);
            return links >= 1 && links <= config_.links && speed != 0 && speed <= config_.maxSpeed;
        }
        case address::kTestMode:
            return value <= 1;
        case address::kVersionUsed:
            return (value == cxp::kVersion10 && (config_.versionsSupported & cxp::kSupports10) != 0) ||
                   (value == cxp::kVersion11 && (config_.versionsSupported & cxp::kSupports11) != 0) ||
                   (value == cxp::kVersion20 && (config_.versionsSupported & cxp::kSupports20) != 0);
        default:
            return true;
        }
    }

    void fill(const Area& area, uint32_t offset, std::span<uint8_t> out) const {
        std::array<uint8_t, 4> word{};
        switch (area.kind) {
        case AreaKind::Register:
            cxp::storeBe32(word.data(), registerValue(area.start));
            std::copy_n(word.begin() + offset, out.size(), out.begin());
            break;
        case AreaKind::Text: {
            const std::string& s = textAt(area.start);
            for (size_t i = 0; i < out.size(); ++i) {
                out[i] = offset + i < s.size() ? static_cast<uint8_t>(s[offset + i]) : 0;
            }
            break;
        }
        case AreaKind::UserId:
            std::copy_n(ctx_.memory().begin() + CxpCamera::kUserIdOffset + offset, out.size(), out.begin());
            break;
        case AreaKind::Url: {
            const std::string& s = config_.descriptionUrl;
            for (size_t i = 0; i < out.size(); ++i) {
                out[i] = offset + i < s.size() ? static_cast<uint8_t>(s[offset + i]) : 0;
            }
            break;
        }
        case AreaKind::Described: {
            const auto bytes = describedBytes(*config_.registers.find(area.start));
            std::copy_n(bytes.begin() + offset, out.size(), out.begin());
            break;
        }
        case AreaKind::Description:
            for (size_t i = 0; i < out.size(); ++i) {
                out[i] = offset + i < config_.description.size() ? config_.description[offset + i] : 0;
            }
            break;
        }
    }

    void store(const Area& area, uint32_t offset, std::span<const uint8_t> in, Reply& reply) {
        switch (area.kind) {
        case AreaKind::Register:
            storeRegister(area.start, cxp::loadBe32(in.data()), reply);
            break;
        case AreaKind::UserId:
            std::copy(in.begin(), in.end(), ctx_.memory().begin() + CxpCamera::kUserIdOffset + offset);
            break;
        case AreaKind::Described:
            storeDescribed(*config_.registers.find(area.start), offset, in);
            break;
        default:
            break;
        }
    }

    void storeRegister(uint32_t at, uint32_t value, Reply& reply) {
        switch (at) {
        case address::kXmlManifestSelector:
            state_.manifestSelector = value;
            break;
        case address::kConnectionReset:
            if (value == 1) {
                reply.silent = true;
                reply.linkReset = true;
            }
            break;
        case address::kMasterHostConnectionId:
            state_.masterHostId = value;
            break;
        case address::kStreamPacketSize:
            state_.streamPacketSize = value;
            break;
        case address::kConnectionConfig:
            reply.connectionConfig = value;
            break;
        case address::kTestMode:
            state_.testMode = value;
            break;
        case address::kVersionUsed:
            state_.versionUsed = value;
            break;
        default:
            break;
        }
    }

    // The bytes of a described register in the store. A command the camera
    // has carried out by now reads back as 0.
    std::span<uint8_t> describedBytes(const cxp::RegisterSpace::Extent& extent) const {
        const auto store = ctx_.memory().subspan(CxpCamera::kRegisterStoreOffset, CxpCamera::kRegisterStoreBytes);
        const auto bytes = store.subspan(extent.offset, extent.length);
        if (extent.stampedAt) {
            uint64_t dueNs = 0;
            std::memcpy(&dueNs, store.data() + *extent.stampedAt, sizeof(dueNs));
            if (dueNs != 0 && ctx_.nowNs() >= dueNs) {
                std::fill(bytes.begin(), bytes.end(), uint8_t{0});
                dueNs = 0;
                std::memcpy(store.data() + *extent.stampedAt, &dueNs, sizeof(dueNs));
            }
        }
        return bytes;
    }

    void storeDescribed(const cxp::RegisterSpace::Extent& extent, uint32_t offset, std::span<const uint8_t> in) {
        const auto bytes = describedBytes(extent);
        std::copy(in.begin(), in.end(), bytes.begin() + offset);
        if (!extent.stampedAt) {
            return;
        }
        if (config_.builtInDescription) {
            actOnAcquisitionCommand(extent.address);
        }
        const bool given = std::any_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b != 0; });
        if (given && config_.commandNs == 0) {
            std::fill(bytes.begin(), bytes.end(), uint8_t{0});
        } else if (given) {
            const uint64_t dueNs = ctx_.nowNs() + config_.commandNs;
            const auto store = ctx_.memory().subspan(CxpCamera::kRegisterStoreOffset, CxpCamera::kRegisterStoreBytes);
            std::memcpy(store.data() + *extent.stampedAt, &dueNs, sizeof(dueNs));
        }
    }

    // The camera's own description: its acquisition status follows the two
    // commands.
    void actOnAcquisitionCommand(uint32_t reg) {
        const bool start = reg == cxp::userspace::kAcquisitionStart;
        if (!start && reg != cxp::userspace::kAcquisitionStop) {
            return;
        }
        if (cxp::loadBe32(describedBytes(*config_.registers.find(reg)).data()) == 0) {
            return;
        }
        const auto status = describedBytes(*config_.registers.find(cxp::userspace::kAcquisitionStatus));
        cxp::storeBe32(status.data(), start ? 1 : 0);
    }

    const CxpCameraConfig& config_;
    DeviceContext& ctx_;
    CameraState& state_;
    uint32_t link_;
};

} // namespace

std::unique_ptr<Device> CxpCamera::create(const nlohmann::json& params, uint32_t links) {
    return std::make_unique<CxpCamera>(parseConfig(params, links));
}

std::span<const std::string_view> CxpCamera::faultNames() const {
    return kFaults;
}

namespace {

bool poweredNow(const CxpCameraConfig& config, DeviceContext& ctx) {
    if (config.externalPower) {
        return true;
    }
    for (uint32_t link = 0; link < ctx.linkCount(); ++link) {
        if (ctx.portPowered(link) && ctx.plugged(link)) {
            return true;
        }
    }
    return false;
}

uint32_t defaultVersionUsed(const CxpCameraConfig& config) {
    if (config.revision < cxp::kVersion20) {
        return config.revision;
    }
    if ((config.versionsSupported & cxp::kSupports10) != 0) {
        return cxp::kVersion10;
    }
    if ((config.versionsSupported & cxp::kSupports11) != 0) {
        return cxp::kVersion11;
    }
    return cxp::kVersion20;
}

// After power-up or a link reset: the links are silent until `upAtNs`, then
// come up at the native speed, all of them or the master link alone.
void resetConnection(const CxpCameraConfig& config, CameraState& s, uint64_t now, uint64_t upAtNs) {
    s.prevLinks = 0;
    s.prevSpeed = 0;
    s.prevAtNs = now;
    s.links = config.masterOnlyAtReset ? 1 : config.links;
    s.speed = config.nativeSpeed;
    s.configAtNs = upAtNs;
    s.masterHostId = 0;
    s.manifestSelector = 0;
    s.versionUsed = defaultVersionUsed(config);
    s.streamPacketSize = kDefaultStreamPacketSize;
    s.testMode = 0;
}

// The described registers go back to their initial values.
void setRegisterDefaults(const CxpCameraConfig& config, DeviceContext& ctx) {
    auto store = ctx.memory().subspan(CxpCamera::kRegisterStoreOffset, CxpCamera::kRegisterStoreBytes);
    const auto initial = config.registers.initialStore();
    std::copy(initial.begin(), initial.end(), store.begin());
}

void powerUp(const CxpCameraConfig& config, DeviceContext& ctx, CameraState& s, uint64_t now, uint64_t upAtNs) {
    s.powered = 1;
    s.poweredAtNs = now;
    resetConnection(config, s, now, upAtNs);
    setRegisterDefaults(config, ctx);
}

// Brings the camera's state up to its power: a camera that was without
// power and has it now boots.
void syncPower(const CxpCameraConfig& config, DeviceContext& ctx, CameraState& s) {
    const bool powered = poweredNow(config, ctx);
    if (powered == (s.powered != 0)) {
        return;
    }
    const uint64_t now = ctx.nowNs();
    if (powered) {
        powerUp(config, ctx, s, now, now + config.bootNs);
    } else {
        s.powered = 0;
        s.unpoweredAtNs = now;
    }
}

void tripIfOverCurrent(const CxpCameraConfig& config, DeviceContext& ctx, uint32_t link) {
    if (config.overCurrent && !config.externalPower && ctx.portPowered(link) && ctx.plugged(link)) {
        ctx.tripPort(link);
    }
}

uint64_t wireTimeNs(size_t wireBytes, uint32_t speedMbps) {
    if (speedMbps == 0) {
        return 0;
    }
    // Two bytes a character on the simulated cable, ten bits a character on a real one.
    return (wireBytes / 2) * kBitsPerCharacter * 1000 / speedMbps;
}

} // namespace

void CxpCamera::onLoad(DeviceContext& ctx) {
    CameraState s{};
    s.magic = kStateMagic;
    auto userId = ctx.memory().subspan(kUserIdOffset, kUserIdBytes);
    std::copy(config_.userId.begin(), config_.userId.end(), userId.begin());
    const uint64_t now = ctx.nowNs();
    if (poweredNow(config_, ctx)) {
        // Powered since before the load: up at once.
        powerUp(config_, ctx, s, now, now);
    } else {
        s.unpoweredAtNs = now;
    }
    storeState(ctx, s);
    for (uint32_t link = 0; link < ctx.linkCount(); ++link) {
        tripIfOverCurrent(config_, ctx, link);
    }
}

void CxpCamera::onPowerChanged(DeviceContext& ctx, uint32_t link) {
    CameraState s = loadState(ctx);
    syncPower(config_, ctx, s);
    storeState(ctx, s);
    tripIfOverCurrent(config_, ctx, link);
}

void CxpCamera::onCableChanged(DeviceContext& ctx, uint32_t link) {
    CameraState s = loadState(ctx);
    if (link < kMaxLinks) {
        s.cableChangedNs[link] = ctx.nowNs();
    }
    syncPower(config_, ctx, s);
    storeState(ctx, s);
    tripIfOverCurrent(config_, ctx, link);
}

bool CxpCamera::present(DeviceContext& ctx, uint32_t link) const {
    return poweredNow(config_, ctx);
}

LinkSignal CxpCamera::signal(DeviceContext& ctx, uint32_t link) const {
    CameraState s = loadState(ctx);
    syncPower(config_, ctx, s);
    storeState(ctx, s);
    const Connection c = connectionAt(s, ctx.nowNs());
    LinkSignal signal;
    signal.present = link < c.links;
    signal.rateMbps = c.speed;
    signal.sinceNs = std::max(c.sinceNs, link < kMaxLinks ? s.cableChangedNs[link] : 0);
    return signal;
}

uint32_t CxpCamera::currentDrawMa(DeviceContext& ctx, uint32_t link) const {
    if (config_.externalPower) {
        return 0;
    }
    // The camera draws from the first of its links whose port feeds it.
    for (uint32_t l = 0; l < ctx.linkCount(); ++l) {
        if (ctx.portPowered(l) && ctx.plugged(l)) {
            return l == link ? config_.currentMa : 0;
        }
    }
    return 0;
}

void CxpCamera::onHostData(DeviceContext& ctx, uint32_t link, Channel channel, std::span<const uint8_t> bytes) {
    if (channel != Channel::Control) {
        return;
    }
    CameraState s = loadState(ctx);
    syncPower(config_, ctx, s);
    const uint64_t now = ctx.nowNs();
    const Connection connection = connectionAt(s, now);
    if (s.powered == 0 || link >= connection.links) {
        // Booting, in a link reset, or a link it doesn't use now.
        ++s.ignored;
        storeState(ctx, s);
        return;
    }
    const auto packet = cxp::parsePacket(bytes);
    if (!packet) {
        ++s.unframed;
        storeState(ctx, s);
        return;
    }
    const bool tagged = packet->type == static_cast<uint8_t>(cxp::PacketType::TaggedCommand);
    // Tags are part of version 2.0 only; an older camera, or one that runs
    // an older version, doesn't know the packet type.
    if ((packet->type != static_cast<uint8_t>(cxp::PacketType::Command) && !tagged) ||
        (tagged && s.versionUsed != cxp::kVersion20)) {
        ++s.ignored;
        storeState(ctx, s);
        return;
    }
    ++s.commands;

    const std::vector<uint8_t>& body = packet->body;
    const size_t head = tagged ? 4 : 0;
    const uint8_t tag = tagged && !body.empty() ? body[0] : 0;
    Reply reply;
    // A command too short to hold a CRC can't be checked at all.
    const bool checkable = body.size() >= head + 4;
    const bool crcOk = checkable && cxp::crcMatches(body) && !ctx.takeFault(link, kCorruptNextCommand);
    const bool tagMismatch =
        tagged && checkable && !std::all_of(body.begin(), body.begin() + 4, [&](uint8_t b) { return b == tag; });
    if (checkable && !crcOk) {
        ++s.crcErrors;
        reply.code = AckCode::BadCrc;
    } else if (!checkable || tagMismatch || body.size() < head + 8 + 4) {
        reply.code = AckCode::Malformed;
    } else {
        const uint8_t opcode = body[head];
        const uint32_t size = cxp::loadBe24(body.data() + head + 1);
        const uint32_t at = cxp::loadBe32(body.data() + head + 4);
        const auto payload = std::span(body).subspan(head + 8, body.size() - head - 8 - 4);
        Session session(config_, ctx, s, link);
        if (opcode == static_cast<uint8_t>(cxp::Opcode::Read)) {
            reply = payload.empty() ? session.read(at, size) : errorReply(AckCode::SizeInconsistent);
        } else if (opcode == static_cast<uint8_t>(cxp::Opcode::Write)) {
            reply = payload.size() == size ? session.write(at, payload) : errorReply(AckCode::SizeInconsistent);
        } else {
            reply.code = AckCode::InvalidOpcode;
        }
    }

    // An answer's time counts from the host's sending of the command: the
    // camera's own work is part of its answer time, and the time the board
    // and camera models take to play that work out on the host's processor
    // must not add to it.
    const uint64_t arrivedNs = ctx.hostCallNs();
    const auto send = [&](std::vector<uint8_t> ackBytes, uint64_t delayNs) {
        const auto wire = cxp::framePacket(tagged ? cxp::PacketType::TaggedAck : cxp::PacketType::Ack, ackBytes);
        const uint64_t readyNs = arrivedNs + delayNs + wireTimeNs(wire.size(), connection.speed);
        const uint64_t sentNs = ctx.nowNs();
        ctx.sendToHost(link, Channel::Control, wire, readyNs > sentNs ? readyNs - sentNs : 0);
        ++s.acks;
    };

    uint64_t finalAt = config_.latencyNs;
    if (!reply.silent) {
        const bool isWrite = body.size() > head && body[head] == static_cast<uint8_t>(cxp::Opcode::Write);
        if (config_.tentativeAcks || ctx.takeFault(link, kTentativeNextAck)) {
            send(ackBody(tagged, tag, AckCode::Tentative), finalAt);
            finalAt += kTentativeGapNs;
        }
        const bool waitFault = ctx.takeFault(link, kWaitNextAck);
        if ((config_.waitAckMs > 0 && isWrite) || waitFault) {
            const uint32_t waitMs = config_.waitAckMs > 0 ? config_.waitAckMs : 100;
            // Status, then the size of what follows (the delay word), then the delay.
            auto wait = ackBody(tagged, tag, AckCode::Wait);
            appendBe32(wait, 4);
            appendBe32(wait, waitMs);
            cxp::appendCrc(wait);
            send(std::move(wait), finalAt);
            finalAt += uint64_t{waitMs} * kNsPerMs / 2;
        }
        if (ctx.takeFault(link, kLateNextAck)) {
            finalAt += uint64_t{config_.lateAckMs} * kNsPerMs;
        }
        auto ack = ackBody(tagged, tag, reply.code);
        const bool withCrc = reply.code == AckCode::FinalWithData;
        if (withCrc) {
            appendBe32(ack, static_cast<uint32_t>(reply.data.size()));
            ack.insert(ack.end(), reply.data.begin(), reply.data.end());
            cxp::appendCrc(ack);
        }
        if (ctx.takeFault(link, kCorruptNextAck)) {
            // A bit error on the cable, after the CRC was made.
            ack[withCrc ? ack.size() - 5 : head] ^= 0x01;
        }
        if (ctx.takeFault(link, kDropNextAck)) {
            ++s.acksDropped;
        } else {
            send(std::move(ack), finalAt);
        }
    }

    if (reply.linkReset) {
        resetConnection(config_, s, now, now + config_.resetNs);
    } else if (reply.connectionConfig) {
        // The acknowledge leaves at the old speed; then the links change.
        const Connection current = connectionAt(s, now);
        s.prevLinks = current.links;
        s.prevSpeed = current.speed;
        s.prevAtNs = current.sinceNs;
        s.links = cxp::configLinks(*reply.connectionConfig);
        s.speed = cxp::configSpeed(*reply.connectionConfig);
        s.configAtNs = now + finalAt + config_.configSwitchNs;
    }
    storeState(ctx, s);
}

} // namespace orva::sim
