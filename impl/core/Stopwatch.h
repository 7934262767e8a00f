// Elapsed time on the monotonic clock, for the bounded waits of every
// technology (flag polls, lock windows, command time-outs, worker periods).
#pragma once

#include <cstdint>

#include "runtime/templates/MonotonicTime.h"

namespace orva::core {

// Microseconds on the monotonic clock; 0 if the clock can't be read.
inline uint64_t MonotonicNowUs() {
    templates::platform::MonotonicTime now{};
    if (templates::platform::GetMonotonicTime(0, &now) != 0) {
        return 0;
    }
    return static_cast<uint64_t>(now.seconds) * 1000000u + static_cast<uint64_t>(now.nanoseconds) / 1000u;
}

// Nanoseconds on the monotonic clock; 0 if the clock can't be read.
inline int64_t MonotonicNowNs() {
    templates::platform::MonotonicTime now{};
    if (templates::platform::GetMonotonicTime(0, &now) != 0) {
        return 0;
    }
    return now.seconds * 1000000000 + now.nanoseconds;
}

// Started at construction; for one thread.
class Stopwatch {
public:
    Stopwatch() : start_(MonotonicNowUs()) {}
    uint64_t ElapsedUs() const { return MonotonicNowUs() - start_; }
    uint64_t ElapsedMs() const { return ElapsedUs() / 1000; }

private:
    uint64_t start_;
};

} // namespace orva::core
