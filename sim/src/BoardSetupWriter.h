#pragma once

#include <cstdint>

namespace orva::sim {

class BoardAccess;
class BoardCore;
struct BoardSetup;

// Lays a scenario's board out in the board's shared memory: its identity,
// its design's registers with their load values, its ports, cameras and
// queues, and a new generation for the handles to take up. The state of the
// core and of the cameras is theirs to set up.
void writeBoardSetup(BoardAccess& access, const BoardSetup& setup, const BoardCore& core);

} // namespace orva::sim
