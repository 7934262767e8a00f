// The board runtime's functions the tool calls itself, as any application
// does: it opens the grabber and asks the hardware library for the board's
// identity. The library takes the grabber handle from there.
#pragma once

#include <cstdint>

#include "runtime/board/OrvaBoardApi.h"

extern "C" {
Gb_Struct_s* Gb_InitEx(uint32_t boardIndex, const char* design, int32_t flags);
int32_t Gb_FreeGrabber(Gb_Struct_s* grabber);
int64_t OHalGetBoardInfoInt(OHalDevice* device, const char* key);
}
