#include "CxpCameraConfig.h"

#include "Clock.h"
#include "CxpCameraRegisters.h"
#include "CxpCameraState.h"
#include "CxpDescription.h"
#include "CxpWire.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace orva::sim::cxp {

namespace {

using nlohmann::json;

constexpr uint32_t kMaxDescriptionBytes = 16u * 1024u * 1024u;
// A description in a zip container may unpack to this much.
constexpr size_t kMaxUnpackedDescriptionBytes = 4 * size_t{kMaxDescriptionBytes};
// How long a camera serving a description file takes to carry out a command.
constexpr uint64_t kDefaultCommandNs = 10 * kNsPerMs;

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
    if (!value.is_number_unsigned() || !isSpeed(value.get<uint32_t>())) {
        refuse(key,
               "expected a link speed in Mbit/s (1250, 2500, 3125, 5000, 6250, 10000, 12500), got " + value.dump());
    }
    return value.get<uint32_t>();
}

uint32_t revisionOf(const json& value) {
    if (value == "1.0") {
        return kVersion10;
    }
    if (value == "1.1") {
        return kVersion11;
    }
    if (value == "2.0") {
        return kVersion20;
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
            bits |= kSupports10;
        } else if (v == "1.1") {
            bits |= kSupports11;
        } else if (v == "2.0") {
            bits |= kSupports20;
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

// The camera's register map, read from the description it serves; the URL
// text placed where the description's registers leave room.
void deriveRegisters(CxpCameraConfig& c, const std::string& file) {
    std::string xml;
    if (isZipContainer(c.description)) {
        // One it can't unpack is served all the same, without registers.
        xml = unzippedContent(c.description, kMaxUnpackedDescriptionBytes).value_or(std::string());
    } else {
        xml.assign(c.description.begin(), c.description.end());
    }
    const auto served = [&](uint32_t at) { return CxpCameraRegisters::servesBootstrap(c, at); };
    c.registers = RegisterSpace::fromDescription(xml, served);
    if (c.builtInDescription) {
        // Its own power-up values, where the general rule would give minimums.
        const auto put = [&](uint32_t reg, uint32_t value) {
            std::array<uint8_t, 4> bytes{};
            storeBe32(bytes.data(), value);
            c.registers.setInitial(reg, bytes);
        };
        put(userspace::kWidth, 1024);
        put(userspace::kHeight, 768);
        put(userspace::kPixelFormat, 0x01080001); // Mono8
        put(userspace::kExposureTime, std::bit_cast<uint32_t>(10000.0f));
        put(userspace::kGain, std::bit_cast<uint32_t>(1.0f));
    }
    const std::string what = file.empty() ? std::string("its own description") : "'" + file + "'";
    if (c.registers.storeBytes() > kRegisterStoreBytes) {
        refuse("descriptionFile", "the registers of " + what + " need " + std::to_string(c.registers.storeBytes()) +
                                      " bytes of the camera's memory; it has " + std::to_string(kRegisterStoreBytes));
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

} // namespace

CxpCameraConfig parseCameraConfig(const json& params, uint32_t links) {
    if (links == 0 || links > kMaxLinks) {
        throw std::invalid_argument("a CoaXPress camera has 1 to " + std::to_string(kMaxLinks) + " links, not " +
                                    std::to_string(links));
    }
    CxpCameraConfig c;
    c.links = links;
    c.revision = kVersion20;
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

    if (c.revision == kVersion20) {
        c.versionsSupported = versions.value_or(kSupports11 | kSupports20);
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
        const std::string xml = builtInDescription(c.deviceName, c.modelName);
        content.assign(xml.begin(), xml.end());
        c.builtInDescription = true;
    }
    c.commandNs = commandNs.value_or(kDefaultCommandNs);
    if (format == "zip") {
        if (isZipContainer(content)) {
            c.description = std::move(content);
            name = withExtension(name, ".zip");
        } else {
            c.description = zipContainer(withExtension(name, ".xml"), content);
            name = withExtension(name, ".zip");
        }
    } else {
        if (isZipContainer(content)) {
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

} // namespace orva::sim::cxp
