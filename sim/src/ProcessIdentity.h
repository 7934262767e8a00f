#pragma once

#include <sys/types.h>

#include <cstdint>

namespace orva::sim {

// Start time of a process in clock ticks since boot: with the pid it tells
// one process apart from a later one that got the same pid. 0 when there is
// no such process or it has ended (a zombie counts as ended).
uint64_t processStartTime(pid_t pid);

} // namespace orva::sim
