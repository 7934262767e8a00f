#include "impl/cxp/CxpLinkSpeeds.h"

#include <algorithm>
#include <array>

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

} // namespace

int32_t ValidateLinkSpeed(const core::BoardTypeFacts& board, uint32_t speed) {
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
        return board.InCxpGroup(core::kCxpGroup3) ? TGX_OK : TGX_ERR_INVALID_LINK_SPEED;
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

} // namespace orva::cxp
