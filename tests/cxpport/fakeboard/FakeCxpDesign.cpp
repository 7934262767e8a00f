// libdsgrt.so of the scripted board: register numbers come from the board.
#include <cstdint>

#include "runtime/board/OrvaBoardApi.h"

extern "C" int32_t FakeCxp_RegisterByName(const char* name);

extern "C" __attribute__((visibility("default"))) int32_t DsgLoadDsgFileWithType(DsgDesign** design, const char*,
                                                                                 int32_t) {
    *design = nullptr;
    return 0;
}

extern "C" __attribute__((visibility("default"))) int32_t DsgGetRegisterByName(DsgDesign*, const char* name) {
    return FakeCxp_RegisterByName(name);
}
