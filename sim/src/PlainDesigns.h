#pragma once

// Designs without a core of their own: their queues carry bytes to and from
// the cable as they are, and their registers have the behaviours of the
// board model alone.

#include "Design.h"

#include <span>

namespace orva::sim::plain {

// The designs of these technologies until their cores come: version,
// scratch and time registers, and the technology's queues.
std::span<const DesignDef> clhsDesigns();
std::span<const DesignDef> cameraLinkDesigns();
std::span<const DesignDef> gigeDesigns();
// A board self-test design with one register of each behaviour and every
// kind of queue, to try out cameras and tools on one board.
std::span<const DesignDef> selfTestDesigns();

} // namespace orva::sim::plain
