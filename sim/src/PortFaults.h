#pragma once

#include "SharedLayout.h"

#include <cstdint>
#include <string_view>

namespace orva::sim {

// The faults armed on a port, kept in its slot: a name and how many times
// it is still to happen. The caller holds the board's lock.
class PortFaults {
public:
    PortFaults(layout::PortSlot& port, uint32_t number) : port_(port), number_(number) {}

    // Consumes one occurrence; false if none is armed.
    bool take(std::string_view name);
    uint32_t pending(std::string_view name);
    // Arms `count` occurrences in place of what was armed; 0 disarms.
    // Throws ORVA_SIM_ERR_INVALID_ARGUMENT for a name too long and
    // ORVA_SIM_ERR_BUSY when the port has no room for another fault.
    void arm(std::string_view name, uint32_t count);

private:
    layout::FaultSlot* find(std::string_view name);

    layout::PortSlot& port_;
    uint32_t number_;
};

} // namespace orva::sim
