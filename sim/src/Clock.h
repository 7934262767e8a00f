#pragma once

#include <cstdint>
#include <ctime>

namespace orva::sim {

// Nanoseconds of CLOCK_MONOTONIC: one time base for every process on the host.
uint64_t monotonicNs();

timespec toTimespec(uint64_t ns);

constexpr uint64_t kNsPerMs = 1000000ull;
constexpr uint64_t kNsPerUs = 1000ull;
constexpr uint64_t kNsPerSecond = 1000000000ull;

} // namespace orva::sim
