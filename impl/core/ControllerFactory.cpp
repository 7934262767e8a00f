#include "impl/core/ControllerFactory.h"

#include <algorithm>
#include <array>
#include <atomic>

#include "impl/cxp/CxpController.h"

namespace orva::core {

namespace {

struct BoardTypeRange {
    int64_t first;
    int64_t last;
    Technology technology;
};

constexpr BoardTypeRange Type(int64_t type, Technology technology) {
    return {type, type, technology};
}

// Board types by technology. A type in no row has no controller.
constexpr std::array kBoardTypes = {
    Type(0x752, Technology::CameraLinkHS),
    Type(0x758, Technology::CameraLinkHS),
    Type(0xA52, Technology::CameraLinkHS),
    Type(0xA55, Technology::CameraLinkHS),
    Type(0xA59, Technology::CameraLinkHS),
    Type(0xA61, Technology::CameraLinkHS),
    Type(0xA62, Technology::CameraLinkHS),

    Type(0x753, Technology::CoaXPress),
    Type(0x755, Technology::CoaXPress),
    Type(0x756, Technology::CoaXPress),
    Type(0x757, Technology::CoaXPress),
    Type(0xA51, Technology::CoaXPress),
    Type(0xA53, Technology::CoaXPress),
    Type(0xA54, Technology::CoaXPress),
    Type(0xA56, Technology::CoaXPress),
    Type(0xA57, Technology::CoaXPress),
    Type(0xA64, Technology::CoaXPress),
    Type(0xA65, Technology::CoaXPress),
    Type(0xB63, Technology::CoaXPress),
    Type(0xB68, Technology::CoaXPress),

    Type(0x750, Technology::CameraLink),
    Type(0x751, Technology::CameraLink),
    Type(0x754, Technology::CameraLink),
    Type(0x759, Technology::CameraLink),
    BoardTypeRange{0xA40, 0xA45, Technology::CameraLink},
    Type(0xA58, Technology::CameraLink),
    Type(0xA5A, Technology::CameraLink),
    Type(0x7510, Technology::CameraLink),
    Type(0x7511, Technology::CameraLink),
    Type(0x7540, Technology::CameraLink),
    Type(0x7541, Technology::CameraLink),
    Type(0x7591, Technology::CameraLink),

    Type(0xA66, Technology::GigEVision),
    Type(0xA67, Technology::GigEVision),
    Type(0xB51, Technology::GigEVision),
    Type(0xB52, Technology::GigEVision),
    Type(0xB53, Technology::GigEVision),
    Type(0xB61, Technology::GigEVision),
    Type(0xE42, Technology::GigEVision),
    Type(0xE44, Technology::GigEVision),
};

std::atomic<ControllerCreator> gCreatorForTesting{nullptr};

} // namespace

void SetControllerCreatorForTesting(ControllerCreator creator) {
    gCreatorForTesting.store(creator);
}

Technology TechnologyOfBoardType(int64_t boardType) {
    const auto* row = std::find_if(kBoardTypes.begin(), kBoardTypes.end(), [boardType](const BoardTypeRange& r) {
        return boardType >= r.first && boardType <= r.last;
    });
    return row != kBoardTypes.end() ? row->technology : Technology::None;
}

std::unique_ptr<IControllerInterface> CreateController(int64_t boardType, const board::BoardHandles& handles,
                                                       bool forceCoreReset) {
    if (ControllerCreator creator = gCreatorForTesting.load(); creator != nullptr) {
        return creator(boardType, handles, forceCoreReset);
    }
    switch (TechnologyOfBoardType(boardType)) {
    case Technology::CoaXPress:
        return std::make_unique<cxp::CxpController>(handles.device, handles.design);
    case Technology::CameraLinkHS:
    case Technology::CameraLink:
    case Technology::GigEVision:
        // The controllers of the technologies join this switch as they are
        // built; until then their boards are reported as unsupported.
        return nullptr;
    case Technology::None:
        break;
    }
    return nullptr;
}

} // namespace orva::core
