// libdsgrt.so: the design runtime of the simulated boards.

#include "BoardAbi.h"
#include "runtime/board/OrvaBoardApi.h"

#include <type_traits>

namespace abi = orva::sim::abi;

#define DSG_EXPORT extern "C" __attribute__((visibility("default")))
#define CHECK_SIGNATURE(name) static_assert(std::is_same_v<decltype(&(name)), name##_t>, #name)

DSG_EXPORT int32_t DsgGetRegisterByName(DsgDesign* design, const char* name) {
    return abi::getRegisterByName(design, name);
}
CHECK_SIGNATURE(DsgGetRegisterByName);

// `file` names a design of the simulator ("coaxpress", "/x/coaxpress.dsg").
DSG_EXPORT int32_t DsgLoadDsgFileWithType(DsgDesign** design, const char* file, int32_t type) {
    return abi::loadDesign(design, file, type);
}
CHECK_SIGNATURE(DsgLoadDsgFileWithType);

// Gives back a handle of DsgLoadDsgFileWithType.
DSG_EXPORT int32_t DsgUnloadDsgFile(DsgDesign* design) {
    return abi::unloadDesign(design);
}
