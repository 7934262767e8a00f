#pragma once

#include <cstdint>

namespace orva::templates::platform {

// The operating system's id of the calling thread. Never 0, so 0 can stand
// for "no thread" in owner variables. Cheap: cached per thread, and renewed
// in a child process after fork().
uint32_t CurrentThreadId();

} // namespace orva::templates::platform
