#include "impl/core/BoardTypeFacts.h"

#include <algorithm>
#include <array>

namespace orva::core {

namespace {

constexpr Technology kNone = Technology::None;
constexpr Technology kClhs = Technology::CameraLinkHS;
constexpr Technology kCxp = Technology::CoaXPress;
constexpr Technology kCl = Technology::CameraLink;
constexpr Technology kGige = Technology::GigEVision;

constexpr CxpBoardGroups kNoGroup = 0;
constexpr CxpBoardGroups kGroups3And4 = kCxpGroup3 | kCxpGroup4;

constexpr bool kSelect = true;
constexpr bool kNoSelect = false;

// Board types `first` to `last` share the facts of the row.
struct BoardTypeRow {
    int64_t first;
    int64_t last;
    BoardTypeFacts facts;
};

// By family of the board. The ranges don't overlap.
constexpr std::array kBoardTypes = {
    // first   last     technology  CoaXPress groups  selector registers
    BoardTypeRow{0x750, 0x751, {kCl, kCxpGroup2, kSelect}},
    BoardTypeRow{0x752, 0x752, {kClhs, kCxpGroup2, kSelect}},
    BoardTypeRow{0x753, 0x753, {kCxp, kCxpGroup2, kSelect}},
    BoardTypeRow{0x754, 0x754, {kCl, kCxpGroup2, kSelect}},
    BoardTypeRow{0x755, 0x757, {kCxp, kCxpGroup2, kSelect}},
    BoardTypeRow{0x758, 0x758, {kClhs, kCxpGroup2, kSelect}},
    BoardTypeRow{0x759, 0x759, {kCl, kCxpGroup2, kSelect}},
    BoardTypeRow{0x7510, 0x7511, {kCl, kCxpGroup2, kSelect}},
    BoardTypeRow{0x7540, 0x7541, {kCl, kCxpGroup2, kSelect}},
    BoardTypeRow{0x7591, 0x7591, {kCl, kCxpGroup2, kSelect}},

    BoardTypeRow{0xA40, 0xA45, {kCl, kNoGroup, kNoSelect}},

    BoardTypeRow{0xA51, 0xA51, {kCxp, kCxpGroup1, kSelect}},
    BoardTypeRow{0xA52, 0xA52, {kClhs, kCxpGroup1, kSelect}},
    BoardTypeRow{0xA53, 0xA54, {kCxp, kCxpGroup1, kSelect}},
    BoardTypeRow{0xA55, 0xA55, {kClhs, kCxpGroup1, kSelect}},
    BoardTypeRow{0xA56, 0xA57, {kCxp, kCxpGroup1, kSelect}},
    BoardTypeRow{0xA58, 0xA58, {kCl, kCxpGroup1, kSelect}},
    BoardTypeRow{0xA59, 0xA59, {kClhs, kCxpGroup1, kSelect}},
    BoardTypeRow{0xA5A, 0xA5A, {kCl, kCxpGroup1, kSelect}},

    BoardTypeRow{0xA61, 0xA62, {kClhs, kGroups3And4, kSelect}},
    BoardTypeRow{0xA64, 0xA65, {kCxp, kGroups3And4, kSelect}},
    BoardTypeRow{0xA66, 0xA67, {kGige, kGroups3And4, kSelect}},
    BoardTypeRow{0xB61, 0xB61, {kGige, kCxpGroup3, kSelect}},
    BoardTypeRow{0xB63, 0xB63, {kCxp, kGroups3And4, kSelect}},
    BoardTypeRow{0xB68, 0xB68, {kCxp, kCxpGroup3, kSelect}},

    BoardTypeRow{0xB50, 0xB50, {kNone, kNoGroup, kSelect}},
    BoardTypeRow{0xB51, 0xB53, {kGige, kNoGroup, kSelect}},
    BoardTypeRow{0xB5F, 0xB5F, {kNone, kNoGroup, kSelect}},
    BoardTypeRow{0xB500, 0xB501, {kNone, kNoGroup, kSelect}},

    BoardTypeRow{0xE42, 0xE42, {kGige, kNoGroup, kNoSelect}},
    BoardTypeRow{0xE44, 0xE44, {kGige, kNoGroup, kNoSelect}},
};

} // namespace

BoardTypeFacts FactsOfBoardType(int64_t boardType) {
    const auto* row = std::find_if(kBoardTypes.begin(), kBoardTypes.end(), [boardType](const BoardTypeRow& r) {
        return boardType >= r.first && boardType <= r.last;
    });
    return row != kBoardTypes.end() ? row->facts : BoardTypeFacts{};
}

} // namespace orva::core
