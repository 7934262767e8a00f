// What the CoaXPress controller works out without touching the board: board
// groups, link speeds and their codes, connection configuration words, the
// design's port layout and master ids, the selector tables of designs that
// choose from a list, and the power status of a port.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace orva::cxp {

// ---- board groups (numbers of the hardware) ----

// 0xA51 to 0xA5A.
bool InBoardGroup1(uint32_t boardType);
// 0x750 to 0x759 and the extended types of that family.
bool InBoardGroup2(uint32_t boardType);
// The boards with 10 and 12.5 Gbit/s transceivers.
bool InBoardGroup3(uint32_t boardType);
// The part of group 3 whose power status register carries the sense values.
bool InBoardGroup4(uint32_t boardType);
// Boards whose design has a selector in "wDiscoverySelect"/"rDiscoverySelect".
bool HasSelectorRegisters(uint32_t boardType);

// ---- speeds and connection configuration ----

inline constexpr uint32_t kNoLinkSpeed = 0xFFFFFFFF;

// 0 or TGX_ERR_INVALID_LINK_SPEED. 0 ("none given") and 1250 to 6250 are
// valid everywhere, 10000 and 12500 on boards of group 3 only.
int32_t ValidateLinkSpeed(uint32_t boardType, uint32_t speed);

// The order in which a port tries speeds until it locks: `firstSpeed` if not
// 0, then 3125, 1250, 6250, 5000, 2500, each once. The two high speeds are
// never tried here: a camera is told to go there.
std::vector<uint32_t> SpeedDetectionOrder(uint32_t firstSpeed);

// Speed code of the camera's connection configuration; 0 for an unknown speed.
uint32_t SpeedCode(uint32_t speed);
// Speed of a code; 0 for an unknown code.
uint32_t SpeedOfCode(uint32_t code);

// Camera registers 0x4014 and 0x4018: bits 31..16 links, 15..0 speed code.
struct ConnectionConfig {
    uint32_t links = 0;
    uint32_t speed = 0;
};
uint32_t ConnectionConfigWord(uint32_t links, uint32_t speed);
ConnectionConfig DecodeConnectionConfigWord(uint32_t word);

// The board property "LinkConfig": bits 23..0 speed in Mbit/s, 27..24 links.
// A part that is 0 is taken from the camera.
ConnectionConfig DecodeLinkConfigProperty(uint32_t value);

// ---- the design's layout ----

inline constexpr uint32_t kMasterIdCount = 16;

// One physical port of the board as the design expects it: the link key
// (bits 31..16 master id, 15..0 link in the camera) and the design port.
struct DesignPort {
    uint32_t key = 0;
    uint32_t designPort = 0;
};

struct DesignLayout {
    // The master ids cameras are given, in order of use.
    std::array<uint32_t, kMasterIdCount> masterIds{};
    // One entry per port of the board, in port order.
    std::vector<DesignPort> designPorts;
};

// Layout from "DiscoveryAppletMasterID" and "DiscoveryAppletExtensionID"
// (nibble i for port i). A design without them counts as master value 1 and
// extension value 0. Master ids: the master nibbles of the ports in port
// order, each that differs from the entry before it; behind them each entry
// is the one before plus 1.
DesignLayout BuildDesignLayout(uint64_t masterValue, uint64_t extensionValue, uint32_t nrPorts);

// Selector of a design that offers "CxpDiscoveryConfig": the register's value
// picks an entry of the design's list, for 2 or 4 ports. Anything else gives
// kUnknownSelector.
uint64_t SelectorOfDiscoveryConfig(uint32_t nrPorts, uint64_t configValue);

// ---- power over the cable ----

// Power status of a port, 1 to 10; 5 to 10 count as tripped.
inline constexpr uint32_t kPowerStatusUnknown = 10;
inline constexpr uint32_t kFirstTrippedPowerStatus = 5;

enum class PowerStatusDecode : uint8_t { Ok, InvalidValue, BoardNotSupported };

// Works out the status from the 64-bit value of "CxpPowerStatus_<n>" by the
// board's group. Anything but Ok leaves `status` at kPowerStatusUnknown.
PowerStatusDecode DecodePowerStatus(uint32_t boardType, uint64_t raw, uint32_t& status);

constexpr bool IsTrippedPowerStatus(uint32_t status) {
    return status >= kFirstTrippedPowerStatus && status <= kPowerStatusUnknown;
}

} // namespace orva::cxp
