#include "impl/core/ControllerFactory.h"

#include <atomic>

#include "impl/core/BoardTypeFacts.h"
#include "impl/cxp/CxpController.h"

namespace orva::core {

namespace {
std::atomic<ControllerCreator> gCreatorForTesting{nullptr};
} // namespace

void SetControllerCreatorForTesting(ControllerCreator creator) {
    gCreatorForTesting.store(creator);
}

std::unique_ptr<IControllerInterface> CreateController(int64_t boardType, const board::BoardHandles& handles,
                                                       bool forceCoreReset) {
    if (ControllerCreator creator = gCreatorForTesting.load(); creator != nullptr) {
        return creator(boardType, handles, forceCoreReset);
    }
    switch (FactsOfBoardType(boardType).technology) {
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
