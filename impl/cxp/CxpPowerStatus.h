// The power status of a CoaXPress port, a number from 1 to 10, as each board
// group codes it in the design register "CxpPowerStatus_<n>". 5 to 10 count
// as tripped.
#pragma once

#include <cstdint>

#include "impl/core/BoardTypeFacts.h"

namespace orva::cxp {

inline constexpr uint32_t kPowerStatusUnknown = 10;
inline constexpr uint32_t kFirstTrippedPowerStatus = 5;

enum class PowerStatusDecode : uint8_t { Ok, InvalidValue, BoardNotSupported };

// Works out the status from the register's 64-bit value by the coding of the
// board's group. Anything but Ok leaves `status` at kPowerStatusUnknown.
PowerStatusDecode DecodePowerStatus(const core::BoardTypeFacts& board, uint64_t raw, uint32_t& status);

constexpr bool IsTrippedPowerStatus(uint32_t status) {
    return status >= kFirstTrippedPowerStatus && status <= kPowerStatusUnknown;
}

} // namespace orva::cxp
