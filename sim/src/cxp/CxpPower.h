#pragma once

// Power over the cable on CoaXPress designs: the enable registers of the
// register path, and the status and sense registers coded by the board's
// group.

#include "BoardAccess.h"

#include <cstdint>

namespace orva::sim::cxp {

// Board groups of the board types, 0 for a type outside them.
uint32_t boardGroup(uint32_t type);

// Bit p: power of port p is enabled (on or tripped).
uint64_t powerEnableBits(BoardAccess& board);
// A set bit switches an off port on, a clear bit switches a port off; a
// tripped port stays tripped until its bit goes 0 and 1 again.
void setPowerEnable(BoardAccess& board, uint64_t mask);
// The state of a port's power switch in the coding of the board's group.
uint64_t powerStatus(BoardAccess& board, uint32_t port);
// Sensors of the board's port: current drawn and supply.
enum class Sensor { CurrentSense, ShuntVoltage, SupplyVin, BusVoltage, AuxiliaryIn };
uint64_t sensorReading(BoardAccess& board, uint32_t port, Sensor sensor);

} // namespace orva::sim::cxp
