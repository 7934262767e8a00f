#include "impl/cxp/CxpBootstrap.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iomanip>
#include <span>
#include <sstream>
#include <string_view>
#include <vector>

#include "impl/core/DescriptionBlock.h"
#include "impl/core/LazyLogger.h"
#include "impl/cxp/CxpBootstrapRegisters.h"
#include "impl/cxp/CxpControlChannel.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logger.h"
#include "runtime/templates/RecursiveMutexGuard.h"

namespace orva::cxp {

namespace {

using orva::templates::platform::MutexLock;
using orva::templates::platform::RecursiveMutexGuard;
using orva::tools::logging::LevelDebug;
using orva::tools::logging::LevelInfo;
using orva::tools::logging::LevelWarning;
using namespace bootstrap;

constexpr uint32_t kUrlBytes = 256;
constexpr uint32_t kStringBytes = 32;
constexpr uint32_t kShortStringBytes = 16;
// Largest description the port fetches from a camera.
constexpr uint32_t kMaxDescriptionBytes = 64u << 20;
// Versions the board's core is told.
constexpr uint32_t kFirmwareVersion11 = 2;
constexpr uint32_t kFirmwareVersion20 = 3;

// The identity strings in the order they are read, with their log labels.
using orva::core::CCameraInfo;
struct IdentityField {
    uint32_t address;
    uint32_t size;
    const char* label;
    void (CCameraInfo::*set)(std::string);
};
constexpr std::array<IdentityField, 6> kIdentityFields{{
    {kDeviceName, kStringBytes, "Device name: ", &CCameraInfo::SetDeviceName},
    {kModelName, kStringBytes, "Model name: ", &CCameraInfo::SetModelName},
    {kManufacturerInfo, kStringBytes, "ManufacturerInfo name: ", &CCameraInfo::SetManufacturerInfo},
    {kDeviceVersion, kStringBytes, "Version: ", &CCameraInfo::SetDeviceVersion},
    {kSerialNumber, kShortStringBytes, "SerialNumber : ", &CCameraInfo::SetSerialNumber},
    {kUserId, kShortStringBytes, "UserId: ", &CCameraInfo::SetUserId},
}};

// A hexadecimal number of at most 32 bits; false if there is no digit or it
// doesn't fit.
bool ParseHex32(std::string_view text, uint32_t& value) {
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
    }
    uint64_t parsed = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), parsed, 16);
    if (ec != std::errc() || end == text.data() || parsed >= 0xFFFFFFFFull) {
        return false;
    }
    value = static_cast<uint32_t>(parsed);
    return true;
}

} // namespace

CxpBootstrap::CxpBootstrap(const Setup& setup, const CxpCoreTraits& traits, CxpControlChannel& channel,
                           orva::templates::platform::RecursiveMutex& portMutex, core::LazyLogger& logger)
    : traits_(traits), portNumber_(setup.portNumber), device_(setup.device),
      streamPacketSizeRegister_(setup.streamPacketSize), enableCxp2Extensions_(setup.enableCxp2Extensions),
      channel_(channel), logger_(logger), portMutex_(portMutex) {}

int32_t CxpBootstrap::ReadString(uint32_t address, uint32_t size, std::string& text) {
    std::vector<uint8_t> block(size, 0);
    const int32_t status = channel_.ReadMem(address, block.data(), size, CxpControlChannel::kAccessTimeoutMs);
    if (status == 0) {
        text = orva::core::TextOfBlock(block);
    }
    return status;
}

void CxpBootstrap::ReadIdentityField(uint32_t address, uint32_t size, const char* label, Setter set) {
    std::string text;
    const int32_t result = ReadString(address, size, text);
    if (result == 0) {
        (cameraInfo_.*set)(text);
        ORVA_LOG(logger_.Get(), LevelDebug, label << text);
    } else {
        ORVA_LOG(logger_.Get(), LevelDebug, label << "<none> Error code: " << result);
    }
}

int32_t CxpBootstrap::ReadManifestUrl(std::string& url) {
    uint32_t urlAddress = 0;
    int32_t status = channel_.ReadRegister32(kXmlUrlAddress, urlAddress);
    if (status == 0) {
        status = ReadString(urlAddress, kUrlBytes, url);
    }
    return status;
}

// ---------------------------------------------------------------------------
// identity

void CxpBootstrap::SaveCameraInfo() {
    MutexLock info(cameraInfoMutex_);
    cameraInfo_.Reset();

    uint32_t revision = 0;
    int32_t status = channel_.ReadRegister32(kRevision, revision);
    if (status == 0) {
        cameraInfo_.SetRevision(revision);
    }
    ORVA_LOG(logger_.Get(), LevelDebug,
             "Revision: 0x" << std::hex << cameraInfo_.GetRevision() << std::dec << " Error code: " << status);

    if (cameraInfo_.GetRevision() >= kRevision20) {
        NegotiateVersion();
    }

    const bool useTags = enableCxp2Extensions_ && cameraInfo_.GetVersionUsed() >= kRevision20 && traits_.taggedPackets;
    channel_.SetTagMode(useTags);
    if (useTags) {
        uint32_t versionUsed = 0;
        if (channel_.ReadRegister32(kVersionUsed, versionUsed) != 0) {
            channel_.SetTagMode(false);
            ORVA_LOG(logger_.Get(), LevelDebug,
                     "Camera failed to respond to packet with tags, reverting to communication without tags");
        }
    }

    uint32_t packetSize = 0;
    status = channel_.ReadRegister32(kControlPacketSize, packetSize);
    if (status == 0) {
        cameraInfo_.SetControlPacketSizeLimit(packetSize);
        channel_.LowerControlPacketSize(packetSize);
    }
    ORVA_LOG(logger_.Get(), LevelDebug, "Control Packet Size: " << packetSize << " Error code: " << status);

    uint64_t streamPacketSize = 0;
    if (ReadDesignRegister(device_, streamPacketSizeRegister_, streamPacketSize) == 0) {
        const auto value = static_cast<uint32_t>(streamPacketSize);
        status = channel_.WriteRegister32(kStreamPacketSize, value);
        if (status == 0) {
            ORVA_LOG(logger_.Get(), LevelDebug, "Stream Packet Size: " << value);
        } else {
            ORVA_LOG(logger_.Get(), LevelWarning,
                     "Failed to set Stream Packet Size: " << value << " Error code: " << status);
        }
    }

    for (const IdentityField& field : kIdentityFields) {
        ReadIdentityField(field.address, field.size, field.label, field.set);
    }
    // Newer cameras dropped the firmware version register.
    if (cameraInfo_.GetRevision() <= kRevision11) {
        ReadIdentityField(kFirmwareVersion, kStringBytes, "FirmwareVer: ", &CCameraInfo::SetFirmwareVersion);
    }

    ORVA_LOG(logger_.Get(), LevelInfo,
             "Found " << cameraInfo_.GetDeviceName() << " " << cameraInfo_.GetModelName() << " on link "
                      << portNumber_);
    cameraInfo_.Publish(); // readers on other threads saw the last identity until here
}

void CxpBootstrap::NegotiateVersion() {
    uint32_t versions = 0;
    const int32_t status = channel_.ReadRegister32(kVersionsSupported, versions);
    if (status == 0) {
        cameraInfo_.SetVersionsSupported(versions);
    }
    ORVA_LOG(logger_.Get(), LevelDebug,
             "Versions Supported: 0x" << std::hex << cameraInfo_.GetVersionsSupported() << std::dec
                                      << " Error code: " << status);

    // The board's core is told the version before the camera, so that it
    // frames the camera's answer already in the new version.
    auto tellFirmware = [this](uint32_t version) {
        const int32_t result = orva::board::OHalCameraCtrlSetPortCxpStandardVersion(device_, portNumber_, version);
        if (result < 0) {
            ORVA_LOG(logger_.Get(), LevelWarning,
                     "Failed to set Version in the Firmware: " << version << " Error code: " << result);
        }
        return result;
    };
    if (enableCxp2Extensions_ && cameraInfo_.IsVersionSupported(kVersionBit20) &&
        tellFirmware(kFirmwareVersion20) >= 0) {
        WriteVersionUsed(kRevision20);
        return;
    }
    if (cameraInfo_.IsVersionSupported(kVersionBit11)) {
        tellFirmware(kFirmwareVersion11);
        WriteVersionUsed(kRevision11);
        return;
    }
    ORVA_LOG(logger_.Get(), LevelWarning, "Version Supported does not include either CXP 1.1 or CXP 2.0");
}

void CxpBootstrap::WriteVersionUsed(uint32_t version) {
    const int32_t status = channel_.WriteRegister32(kVersionUsed, version);
    if (status == 0) {
        cameraInfo_.SetVersionUsed(version);
        ORVA_LOG(logger_.Get(), LevelDebug, "Version Used: 0x" << std::hex << version);
    } else {
        ORVA_LOG(logger_.Get(), LevelWarning,
                 "Failed to set Version Used: 0x" << std::hex << version << std::dec << " Error code: " << status);
    }
}

void CxpBootstrap::UpdateCameraInfo() {
    MutexLock info(cameraInfoMutex_);
    std::string userId;
    const int32_t status = ReadString(kUserId, kShortStringBytes, userId);
    if (status == 0) {
        cameraInfo_.SetUserId(userId);
        ORVA_LOG(logger_.Get(), LevelDebug, "UserId: " << userId);
    }
}

int32_t CxpBootstrap::ReadManifestInfo() {
    RecursiveMutexGuard lock(portMutex_);
    uint32_t count = 0;
    int32_t status = channel_.ReadRegister32(kManifestCount, count);
    if (status != 0) {
        return status;
    }
    xmlManifestSize_ = count;
    status = channel_.WriteRegister32(kManifestSelect, 0);
    if (status != 0) {
        return status;
    }
    std::string url;
    status = ReadManifestUrl(url);
    if (status != 0) {
        return status;
    }
    uint32_t xmlVersion = 0;
    uint32_t schemaVersion = 0;
    status = channel_.ReadRegister32(kXmlVersion, xmlVersion);
    if (status == 0) {
        status = channel_.ReadRegister32(kXmlSchemaVersion, schemaVersion);
    }
    if (status != 0) {
        return status;
    }
    std::ostringstream text;
    text << std::hex << xmlVersion << ';' << schemaVersion << ';' << url;
    xmlInfo_ = text.str();
    return 0;
}

uint32_t CxpBootstrap::GetXmlManifestSize() {
    RecursiveMutexGuard lock(portMutex_);
    return xmlManifestSize_;
}

std::string CxpBootstrap::GetXmlManifestInfo() {
    RecursiveMutexGuard lock(portMutex_);
    return xmlInfo_;
}

orva::core::ICameraInfo* CxpBootstrap::GetCameraInfo() {
    MutexLock info(cameraInfoMutex_);
    return &cameraInfo_;
}

uint32_t CxpBootstrap::GetCameraRevision() {
    MutexLock info(cameraInfoMutex_);
    return cameraInfo_.GetRevision();
}

int32_t CxpBootstrap::GetXmlInfo(std::string& xml, uint32_t index) {
    RecursiveMutexGuard lock(portMutex_);
    ORVA_LOG(logger_.Get(), LevelDebug, "LoadXML from Index: " << index);

    uint32_t count = 0;
    int32_t status = channel_.ReadRegister32(kManifestCount, count);
    if (status != 0) {
        return status;
    }
    if (index >= count) {
        return TGX_ERR_GENCP_INVALID_ADDRESS;
    }
    // The selector goes out as the host holds it: callers only ever ask for
    // entry 0, where the byte order makes no difference.
    status = channel_.WriteMem(kManifestSelect, &index, sizeof index, CxpControlChannel::kAccessTimeoutMs);
    if (status != 0) {
        return status;
    }
    std::string url;
    status = ReadManifestUrl(url);
    if (status != 0) {
        return status;
    }

    // "Local:<name>;<address>;<size>", both numbers hexadecimal.
    constexpr std::string_view kLocal = "Local:";
    std::string_view rest(url);
    if (rest.substr(0, kLocal.size()) != kLocal) {
        ORVA_LOG(logger_.Get(), LevelWarning, "Unsupported XML location: " << url);
        return TGX_ERR_INTERNAL;
    }
    rest.remove_prefix(kLocal.size());
    const size_t nameEnd = rest.find(';');
    if (nameEnd == std::string_view::npos) {
        return TGX_ERR_INTERNAL;
    }
    rest.remove_prefix(nameEnd + 1);
    const size_t addressEnd = rest.find(';');
    if (addressEnd == std::string_view::npos) {
        return TGX_ERR_INTERNAL;
    }
    uint32_t address = 0;
    uint32_t size = 0;
    if (!ParseHex32(rest.substr(0, addressEnd), address) || !ParseHex32(rest.substr(addressEnd + 1), size)) {
        ORVA_LOG(logger_.Get(), LevelWarning, "Malformed XML location: " << url);
        return TGX_ERR_INTERNAL;
    }
    if (size > kMaxDescriptionBytes) {
        ORVA_LOG(logger_.Get(), LevelWarning, "XML size " << size << " is beyond what the port fetches");
        return TGX_ERR_INVALID_DATA;
    }

    std::vector<uint8_t> block(size, 0);
    status = channel_.ReadMem(address, block.data(), size, CxpControlChannel::kAccessTimeoutMs);
    if (status != 0) {
        return status;
    }

    // The first bytes decide, not the name: a zip container starts with its
    // local header signature.
    constexpr std::array<uint8_t, 4> kZipSignature{0x50, 0x4B, 0x03, 0x04};
    if (size < kZipSignature.size() || !std::equal(kZipSignature.begin(), kZipSignature.end(), block.begin())) {
        xml = orva::core::TextOfBlock(block);
        return 0;
    }

    switch (orva::core::UnzipDescription(block, logger_.Get(), xml)) {
    case orva::core::UnzipOutcome::Unpacked:
        return 0;
    case orva::core::UnzipOutcome::NoEntries:
        return TGX_ERR_INTERNAL;
    case orva::core::UnzipOutcome::EntryRefused:
        break;
    }
    return TGX_ERR_INVALID_DATA;
}

} // namespace orva::cxp
