#include "impl/cxp/CxpPowerStatus.h"

#include <array>

namespace orva::cxp {

namespace {

// A status is selected by the single bit that is set in a field of the
// register; one bit of the field stands for status 9 whatever else is set.
struct PowerStatusCoding {
    core::CxpBoardGroups group;
    uint32_t shift;
    uint64_t fieldMask;
    uint64_t statusNineBit;
    // Status of bit n of the field; 0 where a bit selects none.
    std::array<uint32_t, 9> statusOfBit;
};

constexpr uint32_t kStatusNine = 9;

constexpr std::array kCodings = {
    PowerStatusCoding{core::kCxpGroup1, 0, 0xFF, uint64_t{1} << 7, {1, 2, 3, 4, 5, 6, 7, 0, 0}},
    PowerStatusCoding{core::kCxpGroup2, 0, 0x1FF, uint64_t{1} << 8, {1, 2, 3, 4, 5, 6, 7, 8, 0}},
    // Bits 35..30.
    PowerStatusCoding{core::kCxpGroup3, 30, 0x3F, uint64_t{1} << 5, {1, 4, 6, 7, 0, 0, 0, 0, 0}},
};

uint32_t StatusOfSingleBit(uint64_t field, const std::array<uint32_t, 9>& statusOfBit) {
    for (uint32_t bit = 0; bit < statusOfBit.size(); ++bit) {
        if (field == (uint64_t{1} << bit)) {
            return statusOfBit[bit];
        }
    }
    return 0;
}

} // namespace

PowerStatusDecode DecodePowerStatus(const core::BoardTypeFacts& board, uint64_t raw, uint32_t& status) {
    status = kPowerStatusUnknown;
    for (const PowerStatusCoding& coding : kCodings) {
        if (!board.InCxpGroup(coding.group)) {
            continue;
        }
        const uint64_t field = (raw >> coding.shift) & coding.fieldMask;
        const uint32_t decoded =
            (field & coding.statusNineBit) != 0 ? kStatusNine : StatusOfSingleBit(field, coding.statusOfBit);
        if (decoded == 0) {
            return PowerStatusDecode::InvalidValue;
        }
        status = decoded;
        return PowerStatusDecode::Ok;
    }
    return PowerStatusDecode::BoardNotSupported;
}

} // namespace orva::cxp
