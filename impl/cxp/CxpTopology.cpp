#include "impl/cxp/CxpTopology.h"

#include <algorithm>

#include "impl/core/DiscoverySelector.h"
#include "include/tgx_genicam.h"

namespace orva::cxp {

namespace {

struct SpeedCodeRow {
    uint32_t speed;
    uint32_t code;
};

constexpr std::array kSpeedCodes = {
    SpeedCodeRow{1250, 0x28}, SpeedCodeRow{2500, 0x30},  SpeedCodeRow{3125, 0x38},  SpeedCodeRow{5000, 0x40},
    SpeedCodeRow{6250, 0x48}, SpeedCodeRow{10000, 0x50}, SpeedCodeRow{12500, 0x58},
};

constexpr std::array<uint32_t, 5> kDetectionSpeeds = {3125, 1250, 6250, 5000, 2500};

constexpr uint64_t Selector(uint32_t high, uint32_t low) {
    return (static_cast<uint64_t>(high) << 32) | low;
}

constexpr std::array kSelectors2 = {
    Selector(0x76543210, 0x76543210),
    Selector(0x76543201, 0x76543201),
};

constexpr std::array kSelectors4 = {
    Selector(0x76543210, 0x76543210), Selector(0x76542310, 0x76542310), Selector(0x76543120, 0x76543120),
    Selector(0x76542130, 0x76541320), Selector(0x76541320, 0x76542130), Selector(0x76541230, 0x76541230),
    Selector(0x76543201, 0x76543201), Selector(0x76542301, 0x76542301), Selector(0x76543102, 0x76543021),
    Selector(0x76542103, 0x76540321), Selector(0x76541302, 0x76542031), Selector(0x76541203, 0x76540231),
    Selector(0x76543021, 0x76543102), Selector(0x76542031, 0x76541302), Selector(0x76543012, 0x76543012),
    Selector(0x76542013, 0x76540312), Selector(0x76541032, 0x76541032), Selector(0x76541023, 0x76540132),
    Selector(0x76540321, 0x76542103), Selector(0x76540231, 0x76541203), Selector(0x76540312, 0x76542013),
    Selector(0x76540213, 0x76540213), Selector(0x76540132, 0x76541023), Selector(0x76540123, 0x76540123),
};

constexpr uint32_t Nibble(uint64_t value, uint32_t index) {
    return static_cast<uint32_t>((value >> (4 * index)) & 0xF);
}

// Status by the single bit that is set in the selecting field; 0 marks a bit
// that selects no status.
uint32_t StatusOfSingleBit(uint64_t field, const std::array<uint32_t, 9>& statusOfBit) {
    for (uint32_t bit = 0; bit < statusOfBit.size(); ++bit) {
        if (field == (uint64_t{1} << bit)) {
            return statusOfBit[bit];
        }
    }
    return 0;
}

} // namespace

bool InBoardGroup1(uint32_t boardType) {
    return boardType >= 0xA51 && boardType <= 0xA5A;
}

bool InBoardGroup2(uint32_t boardType) {
    return (boardType >= 0x750 && boardType <= 0x759) || boardType == 0x7510 || boardType == 0x7511 ||
           boardType == 0x7540 || boardType == 0x7541 || boardType == 0x7591;
}

bool InBoardGroup3(uint32_t boardType) {
    return boardType == 0xB61 || boardType == 0xB68 || InBoardGroup4(boardType);
}

bool InBoardGroup4(uint32_t boardType) {
    return boardType == 0xA61 || boardType == 0xA62 || (boardType >= 0xA64 && boardType <= 0xA67) || boardType == 0xB63;
}

bool HasSelectorRegisters(uint32_t boardType) {
    return InBoardGroup1(boardType) || InBoardGroup2(boardType) || InBoardGroup3(boardType) ||
           (boardType >= 0xB50 && boardType <= 0xB53) || boardType == 0xB5F || boardType == 0xB500 ||
           boardType == 0xB501;
}

int32_t ValidateLinkSpeed(uint32_t boardType, uint32_t speed) {
    switch (speed) {
    case 0:
    case 1250:
    case 2500:
    case 3125:
    case 5000:
    case 6250:
        return TGX_OK;
    case 10000:
    case 12500:
        return InBoardGroup3(boardType) ? TGX_OK : TGX_ERR_INVALID_LINK_SPEED;
    default:
        return TGX_ERR_INVALID_LINK_SPEED;
    }
}

std::vector<uint32_t> SpeedDetectionOrder(uint32_t firstSpeed) {
    std::vector<uint32_t> order;
    order.reserve(kDetectionSpeeds.size() + 1);
    if (firstSpeed != 0) {
        order.push_back(firstSpeed);
    }
    for (uint32_t speed : kDetectionSpeeds) {
        if (speed != firstSpeed) {
            order.push_back(speed);
        }
    }
    return order;
}

uint32_t SpeedCode(uint32_t speed) {
    const auto* row = std::find_if(kSpeedCodes.begin(), kSpeedCodes.end(),
                                   [speed](const SpeedCodeRow& r) { return r.speed == speed; });
    return row != kSpeedCodes.end() ? row->code : 0;
}

uint32_t SpeedOfCode(uint32_t code) {
    const auto* row =
        std::find_if(kSpeedCodes.begin(), kSpeedCodes.end(), [code](const SpeedCodeRow& r) { return r.code == code; });
    return row != kSpeedCodes.end() ? row->speed : 0;
}

uint32_t ConnectionConfigWord(uint32_t links, uint32_t speed) {
    return ((links & 0xFFFF) << 16) | SpeedCode(speed);
}

ConnectionConfig DecodeConnectionConfigWord(uint32_t word) {
    return ConnectionConfig{word >> 16, SpeedOfCode(word & 0xFFFF)};
}

ConnectionConfig DecodeLinkConfigProperty(uint32_t value) {
    return ConnectionConfig{(value >> 24) & 0xF, value & 0xFFFFFF};
}

DesignLayout BuildDesignLayout(uint64_t masterValue, uint64_t extensionValue, uint32_t nrPorts) {
    DesignLayout layout;
    uint32_t made = 0;
    layout.masterIds[made++] = Nibble(masterValue, 0);
    for (uint32_t port = 1; port < nrPorts && made < kMasterIdCount; ++port) {
        const uint32_t nibble = Nibble(masterValue, port);
        if (nibble != layout.masterIds[made - 1]) {
            layout.masterIds[made++] = nibble;
        }
    }
    for (; made < kMasterIdCount; ++made) {
        layout.masterIds[made] = layout.masterIds[made - 1] + 1;
    }

    layout.designPorts.reserve(nrPorts);
    for (uint32_t port = 0; port < nrPorts; ++port) {
        layout.designPorts.push_back(
            DesignPort{(Nibble(masterValue, port) << 16) | Nibble(extensionValue, port), port});
    }
    return layout;
}

uint64_t SelectorOfDiscoveryConfig(uint32_t nrPorts, uint64_t configValue) {
    if (nrPorts == 2 && configValue < kSelectors2.size()) {
        return kSelectors2[configValue];
    }
    if (nrPorts == 4 && configValue < kSelectors4.size()) {
        return kSelectors4[configValue];
    }
    return core::kUnknownSelector;
}

PowerStatusDecode DecodePowerStatus(uint32_t boardType, uint64_t raw, uint32_t& status) {
    status = kPowerStatusUnknown;
    uint32_t decoded = 0;
    if (InBoardGroup1(boardType)) {
        if ((raw & (uint64_t{1} << 7)) != 0) {
            decoded = 9;
        } else {
            decoded = StatusOfSingleBit(raw & 0xFF, {1, 2, 3, 4, 5, 6, 7, 0, 0});
        }
    } else if (InBoardGroup2(boardType)) {
        if ((raw & (uint64_t{1} << 8)) != 0) {
            decoded = 9;
        } else {
            decoded = StatusOfSingleBit(raw & 0x1FF, {1, 2, 3, 4, 5, 6, 7, 8, 0});
        }
    } else if (InBoardGroup3(boardType)) {
        const uint64_t field = (raw >> 30) & 0x3F;
        if ((field & 0x20) != 0) {
            decoded = 9;
        } else {
            decoded = StatusOfSingleBit(field, {1, 4, 6, 7, 0, 0, 0, 0, 0});
        }
    } else {
        return PowerStatusDecode::BoardNotSupported;
    }
    if (decoded == 0) {
        return PowerStatusDecode::InvalidValue;
    }
    status = decoded;
    return PowerStatusDecode::Ok;
}

} // namespace orva::cxp
