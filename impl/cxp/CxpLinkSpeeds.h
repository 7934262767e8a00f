// The link speeds of CoaXPress: which a board takes, the order in which a
// port tries them, and their codes in the camera's connection configuration
// word (camera registers 0x4014 and 0x4018).
#pragma once

#include <cstdint>
#include <vector>

#include "impl/core/BoardTypeFacts.h"

namespace orva::cxp {

// 0 or TGX_ERR_INVALID_LINK_SPEED. 0 ("none given") and 1250 to 6250 are
// valid everywhere, 10000 and 12500 on boards of group 3 only.
int32_t ValidateLinkSpeed(const core::BoardTypeFacts& board, uint32_t speed);

// The order in which a port tries speeds until it locks: `firstSpeed` if not
// 0, then 3125, 1250, 6250, 5000, 2500, each once. The two high speeds are
// never tried here: a camera is told to go there.
std::vector<uint32_t> SpeedDetectionOrder(uint32_t firstSpeed);

// Speed code of the connection configuration; 0 for an unknown speed.
uint32_t SpeedCode(uint32_t speed);
// Speed of a code; 0 for an unknown code.
uint32_t SpeedOfCode(uint32_t code);

// Bits 31..16 links, 15..0 speed code.
struct ConnectionConfig {
    uint32_t links = 0;
    uint32_t speed = 0;
};
uint32_t ConnectionConfigWord(uint32_t links, uint32_t speed);
ConnectionConfig DecodeConnectionConfigWord(uint32_t word);

// The board property "LinkConfig": bits 23..0 speed in Mbit/s, 27..24 links.
// A part that is 0 is taken from the camera.
ConnectionConfig DecodeLinkConfigProperty(uint32_t value);

} // namespace orva::cxp
