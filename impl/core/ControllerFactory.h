// The one place that builds the controller of a board's camera technology,
// from the technology column of the board-type table.
#pragma once

#include <cstdint>
#include <memory>

#include "impl/core/IControllerInterface.h"
#include "runtime/board/GrabberHandle.h"

namespace orva::core {

// Constructs the controller of the board's technology. Null when the type is
// in no row, or when this build has no controller for its technology yet.
// `forceCoreReset` goes to the Camera Link HS controller only. Controllers'
// constructors may throw (a named lock that can't be opened).
std::unique_ptr<IControllerInterface> CreateController(int64_t boardType, const board::BoardHandles& handles,
                                                       bool forceCoreReset);

// Replaces the choice of the table for every board type, so that tests of the
// core and of the API can bring a technology of their own; null restores the
// table.
using ControllerCreator = std::unique_ptr<IControllerInterface> (*)(int64_t boardType,
                                                                    const board::BoardHandles& handles,
                                                                    bool forceCoreReset);
void SetControllerCreatorForTesting(ControllerCreator creator);

} // namespace orva::core
