#pragma once

// The CoaXPress designs: register sets for each transceiver interface
// (gtxIf 1, 2, 3, 6 and 10 with the register path, 16 with the queue path
// and the camera control interface), for 1, 2 or 4 ports, with the discovery
// selector in registers or chosen from a table. All carry the CoaXPress
// core, with their transceiver interface as its variant.

#include "Design.h"

#include <span>

namespace orva::sim::cxp {

// "coaxpress", the design of the default set-up, first.
std::span<const DesignDef> designs();

} // namespace orva::sim::cxp
