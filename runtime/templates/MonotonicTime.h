#pragma once

#include <cstdint>

namespace orva::templates::platform {

struct MonotonicTime {
    int64_t seconds;
    int32_t nanoseconds;
};

// Reads the monotonic clock (CLOCK_MONOTONIC whatever clockId says, kept
// for the callers' signature). 0 on success, -1 if out is null or the clock
// can't be read.
int GetMonotonicTime(int clockId, MonotonicTime* out);

} // namespace orva::templates::platform
