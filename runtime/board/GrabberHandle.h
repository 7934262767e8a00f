// The one place that reads gblib5's grabber structure.
#pragma once

#include "runtime/board/OrvaBoardApi.h"

namespace orva::board {

struct BoardHandles {
    OHalDevice* device = nullptr;
    DsgDesign* design = nullptr;
};

// The device and design handles of a live grabber handle; false for null or
// a structure that isn't one.
inline bool GetBoardHandles(const Gb_Struct_s* grabber, BoardHandles& out) {
    if (grabber == nullptr || grabber->magic != GB_STRUCT_MAGIC || grabber->device == nullptr) {
        return false;
    }
    out.device = grabber->device;
    out.design = grabber->design;
    return true;
}

} // namespace orva::board
