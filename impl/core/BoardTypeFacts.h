// What a board type tells the library, in one table: the camera technology
// that the factory builds a controller for, and the CoaXPress board groups
// that decide transceiver detection, link speeds, power coding and the
// discovery selector registers. The numbers are those of the hardware; a
// type in no row is a board without a controller.
//
// A new board is a new row; code reads the facts of its board once, at
// construction, and tests fields, never board types.
#pragma once

#include <cstdint>

namespace orva::core {

enum class Technology : uint8_t { None, CameraLinkHS, CoaXPress, CameraLink, GigEVision };

// CoaXPress board groups as bits; a board may be in several (4 is a part of
// 3) or in none. The groups cover the boards of other technologies too: they
// tell the family of the board's FPGA, not its camera interface.
using CxpBoardGroups = uint8_t;
inline constexpr CxpBoardGroups kCxpGroup1 = 1U << 0;
inline constexpr CxpBoardGroups kCxpGroup2 = 1U << 1;
inline constexpr CxpBoardGroups kCxpGroup3 = 1U << 2;
inline constexpr CxpBoardGroups kCxpGroup4 = 1U << 3;

struct BoardTypeFacts {
    Technology technology = Technology::None;
    CxpBoardGroups cxpGroups = 0;
    // The design's "wDiscoverySelect"/"rDiscoverySelect" route the links on
    // this board: all boards of groups 1 to 3, and a few others.
    bool discoverySelectRegisters = false;

    bool InCxpGroup(CxpBoardGroups groups) const { return (cxpGroups & groups) != 0; }
};

// The row of a board type; all fields empty for a type in no row.
BoardTypeFacts FactsOfBoardType(int64_t boardType);

} // namespace orva::core
