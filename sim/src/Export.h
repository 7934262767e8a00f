#pragma once

// Marks what liborva_sim.so offers to the board libraries that link it;
// everything else stays hidden.
#define ORVA_SIM_EXPORT __attribute__((visibility("default")))
