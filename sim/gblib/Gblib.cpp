// libgblib5.so: the grabber library of the simulated boards.

#include "BoardAbi.h"
#include "runtime/board/OrvaBoardApi.h"

#include <type_traits>

namespace abi = orva::sim::abi;

#define GB_EXPORT extern "C" __attribute__((visibility("default")))
#define CHECK_SIGNATURE(name) static_assert(std::is_same_v<decltype(&(name)), name##_t>, #name)

GB_EXPORT Gb_Struct_s* Gb_InitEx(uint32_t boardIndex, const char* design, int32_t flags) {
    return abi::initGrabber(boardIndex, design, flags);
}
CHECK_SIGNATURE(Gb_InitEx);

GB_EXPORT int32_t Gb_FreeGrabber(Gb_Struct_s* grabber) {
    return abi::freeGrabber(grabber);
}
CHECK_SIGNATURE(Gb_FreeGrabber);

GB_EXPORT int32_t Gb_FreeLibraries(void) {
    return abi::freeLibraries();
}
CHECK_SIGNATURE(Gb_FreeLibraries);
