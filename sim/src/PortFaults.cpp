#include "PortFaults.h"

#include "SimError.h"
#include "SlotNames.h"
#include "orva_sim.h"

#include <cstring>
#include <string>

namespace orva::sim {

layout::FaultSlot* PortFaults::find(std::string_view name) {
    for (auto& fault : port_.faults) {
        if (fault.count > 0 && nameOf(fault.name) == name) {
            return &fault;
        }
    }
    return nullptr;
}

bool PortFaults::take(std::string_view name) {
    layout::FaultSlot* fault = find(name);
    if (fault == nullptr) {
        return false;
    }
    if (--fault->count == 0) {
        std::memset(fault->name, 0, sizeof(fault->name));
    }
    return true;
}

uint32_t PortFaults::pending(std::string_view name) {
    const layout::FaultSlot* fault = find(name);
    return fault == nullptr ? 0 : fault->count;
}

void PortFaults::arm(std::string_view name, uint32_t count) {
    if (name.size() >= layout::kNameBytes) {
        throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, "fault name too long");
    }
    layout::FaultSlot* fault = find(name);
    if (fault == nullptr) {
        if (count == 0) {
            return;
        }
        for (auto& free : port_.faults) {
            if (free.count == 0) {
                fault = &free;
                break;
            }
        }
        if (fault == nullptr) {
            throw SimError(ORVA_SIM_ERR_BUSY, "too many different faults armed on port " + std::to_string(number_));
        }
        copyName(fault->name, name);
    }
    fault->count = count;
    if (count == 0) {
        std::memset(fault->name, 0, sizeof(fault->name));
    }
}

} // namespace orva::sim
