#include "CxpCameraRegisters.h"

#include "CxpDescription.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace orva::sim::cxp {

namespace {

constexpr uint32_t kManifestEntries = 1;
constexpr uint32_t kXmlVersion = 0x00010000;       // 1.0.0
constexpr uint32_t kXmlSchemaVersion = 0x00010100; // 1.1.0

using Access = AreaAccess;

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
    {address::kVersionsSupported, Access::Read, kVersion20},
    {address::kVersionUsed, Access::ReadWrite, kVersion20},
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

bool within(uint32_t at, uint32_t start, uint64_t size) {
    return at >= start && at - start < size;
}
} // namespace

std::optional<CxpCameraRegisters::Area> CxpCameraRegisters::bootstrapAreaAt(const CxpCameraConfig& config,
                                                                            uint32_t at) {
    if (at < 0x100 || within(at, 0x4000, 0x100)) {
        for (const RegisterInfo& r : kRegisters) {
            if (within(at, r.address, 4) && config.revision >= r.fromRevision) {
                return Area{r.address, 4, r.access, AreaKind::Register};
            }
        }
        return std::nullopt;
    }
    for (const TextField& f : kTextFields) {
        const bool present = f.address != address::kFirmwareVersion || config.revision < kVersion20;
        if (present && within(at, f.address, f.size)) {
            return Area{f.address, f.size, Access::Read, AreaKind::Text};
        }
    }
    if (within(at, address::kUserId, kUserIdBytes)) {
        return Area{address::kUserId, kUserIdBytes, Access::ReadWrite, AreaKind::UserId};
    }
    return std::nullopt;
}

CxpCameraRegisters::Reply CxpCameraRegisters::error(AckCode code) {
    Reply reply;
    reply.code = code;
    return reply;
}

bool CxpCameraRegisters::servesBootstrap(const CxpCameraConfig& config, uint32_t at) {
    return bootstrapAreaAt(config, at).has_value();
}

CxpCameraRegisters::Reply CxpCameraRegisters::read(uint32_t at, uint32_t size) {
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

CxpCameraRegisters::Reply CxpCameraRegisters::write(uint32_t at, std::span<const uint8_t> data) {
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
            if (!registerValueFits(area->start, loadBe32(data.data() + (pos - at)))) {
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

std::optional<CxpCameraRegisters::Area> CxpCameraRegisters::areaAt(uint32_t at) const {
    if (const auto area = bootstrapAreaAt(config_, at)) {
        return area;
    }
    if (within(at, config_.urlAddress, uint64_t{kUrlBytes} * kManifestEntries)) {
        const uint32_t entry = (at - config_.urlAddress) / kUrlBytes;
        return Area{config_.urlAddress + entry * kUrlBytes, kUrlBytes, Access::Read, AreaKind::Url};
    }
    if (const RegisterSpace::Extent* extent = config_.registers.find(at)) {
        const Access access = !extent->writable ? Access::Read : !extent->readable ? Access::Write : Access::ReadWrite;
        return Area{extent->address, extent->length, access, AreaKind::Described};
    }
    // Hosts read whole words: the last one is padded with zeros.
    const auto described = static_cast<uint32_t>((config_.description.size() + 3) / 4 * 4);
    if (within(at, kDescriptionAddress, described)) {
        return Area{kDescriptionAddress, described, Access::Read, AreaKind::Description};
    }
    return std::nullopt;
}

const std::string& CxpCameraRegisters::textAt(uint32_t at) const {
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

uint32_t CxpCameraRegisters::registerValue(uint32_t at) const {
    switch (at) {
    case address::kStandard:
        return kStandardMagic;
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
        return connectionConfig(state_.links, state_.speed);
    case address::kConnectionConfigDefault:
        return connectionConfig(config_.defaultLinks, config_.defaultSpeed);
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

bool CxpCameraRegisters::registerValueFits(uint32_t at, uint32_t value) const {
    switch (at) {
    case address::kXmlManifestSelector:
        return value < kManifestEntries;
    case address::kStreamPacketSize:
        return value >= 4 && value <= 65536 && value % 4 == 0;
    case address::kConnectionConfig: {
        const uint32_t links = configLinks(value);
        const uint32_t speed = configSpeed(value);
        return links >= 1 && links <= config_.links && speed != 0 && speed <= config_.maxSpeed;
    }
    case address::kTestMode:
        return value <= 1;
    case address::kVersionUsed:
        return (value == kVersion10 && (config_.versionsSupported & kSupports10) != 0) ||
               (value == kVersion11 && (config_.versionsSupported & kSupports11) != 0) ||
               (value == kVersion20 && (config_.versionsSupported & kSupports20) != 0);
    default:
        return true;
    }
}

void CxpCameraRegisters::fill(const Area& area, uint32_t offset, std::span<uint8_t> out) const {
    std::array<uint8_t, 4> word{};
    switch (area.kind) {
    case AreaKind::Register:
        storeBe32(word.data(), registerValue(area.start));
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
        std::copy_n(ctx_.memory().begin() + kUserIdOffset + offset, out.size(), out.begin());
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

void CxpCameraRegisters::store(const Area& area, uint32_t offset, std::span<const uint8_t> in, Reply& reply) {
    switch (area.kind) {
    case AreaKind::Register:
        storeRegister(area.start, loadBe32(in.data()), reply);
        break;
    case AreaKind::UserId:
        std::copy(in.begin(), in.end(), ctx_.memory().begin() + kUserIdOffset + offset);
        break;
    case AreaKind::Described:
        storeDescribed(*config_.registers.find(area.start), offset, in);
        break;
    default:
        break;
    }
}

void CxpCameraRegisters::storeRegister(uint32_t at, uint32_t value, Reply& reply) {
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

std::span<uint8_t> CxpCameraRegisters::describedBytes(const RegisterSpace::Extent& extent) const {
    const auto store = ctx_.memory().subspan(kRegisterStoreOffset, kRegisterStoreBytes);
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

void CxpCameraRegisters::storeDescribed(const RegisterSpace::Extent& extent, uint32_t offset,
                                        std::span<const uint8_t> in) {
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
        const auto store = ctx_.memory().subspan(kRegisterStoreOffset, kRegisterStoreBytes);
        std::memcpy(store.data() + *extent.stampedAt, &dueNs, sizeof(dueNs));
    }
}

void CxpCameraRegisters::actOnAcquisitionCommand(uint32_t reg) {
    const bool start = reg == userspace::kAcquisitionStart;
    if (!start && reg != userspace::kAcquisitionStop) {
        return;
    }
    if (loadBe32(describedBytes(*config_.registers.find(reg)).data()) == 0) {
        return;
    }
    const auto status = describedBytes(*config_.registers.find(userspace::kAcquisitionStatus));
    storeBe32(status.data(), start ? 1 : 0);
}

} // namespace orva::sim::cxp
