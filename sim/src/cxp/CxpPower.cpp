#include "CxpPower.h"

#include "CxpLinkSlot.h"
#include "Device.h"
#include "DeviceContext.h"
#include "orva_sim.h"

namespace orva::sim::cxp {

namespace {

constexpr uint32_t kSupplyMv = 24000;
constexpr uint64_t kAdInReading = 3450;

uint32_t currentMa(BoardAccess& board, uint32_t port) {
    const layout::PortSlot& slot = board.block().ports[port];
    if (slot.power != ORVA_SIM_POWER_ON || slot.plugged == 0) {
        return 0;
    }
    uint32_t camera = 0;
    uint32_t link = 0;
    Device* device = board.cameraAt(port, camera, link);
    if (device == nullptr) {
        return 0;
    }
    DeviceContext ctx(board, camera);
    return device->currentDrawMa(ctx, link);
}

} // namespace

uint32_t boardGroup(uint32_t type) {
    if (type >= 0xA51 && type <= 0xA5A) {
        return 1;
    }
    if ((type >= 0x750 && type <= 0x759) || type == 0x7510 || type == 0x7511 || type == 0x7540 || type == 0x7541 ||
        type == 0x7591) {
        return 2;
    }
    if (type == 0xA61 || type == 0xA62 || (type >= 0xA64 && type <= 0xA67) || type == 0xB61 || type == 0xB63 ||
        type == 0xB68) {
        return 3;
    }
    return 0;
}

uint64_t powerEnableBits(BoardAccess& board) {
    return portBits(board, [&](uint32_t p) { return board.block().ports[p].power != ORVA_SIM_POWER_OFF; });
}

void setPowerEnable(BoardAccess& board, uint64_t mask) {
    for (uint32_t p = 0; p < board.block().portCount; ++p) {
        layout::PortSlot& slot = board.block().ports[p];
        const bool enable = ((mask >> p) & 1u) != 0;
        uint32_t next = slot.power;
        if (enable && slot.power == ORVA_SIM_POWER_OFF) {
            next = ORVA_SIM_POWER_ON;
        } else if (!enable) {
            next = ORVA_SIM_POWER_OFF;
        }
        if (next != slot.power) {
            slot.power = next;
            board.powerChanged(p);
        }
    }
}

uint64_t powerStatus(BoardAccess& board, uint32_t port) {
    if (!isBoardPort(board, port)) {
        return 0;
    }
    const uint32_t power = board.block().ports[port].power;
    const uint32_t group = boardGroup(board.block().type);
    const uint32_t current = power == ORVA_SIM_POWER_ON ? currentMa(board, port) : 0;
    if (group == 1 || group == 2) {
        if (power == ORVA_SIM_POWER_TRIPPED) {
            return 0x10;
        }
        if (power == ORVA_SIM_POWER_OFF) {
            return 0x01;
        }
        return current > 0 ? 0x04 : 0x02;
    }
    uint64_t state = 0x01;
    if (power == ORVA_SIM_POWER_ON) {
        state = 0x02;
    } else if (power == ORVA_SIM_POWER_TRIPPED) {
        state = 0x04;
    }
    uint64_t value = state << 30;
    const uint32_t type = board.block().type;
    const bool senses = type == 0xA61 || type == 0xA62 || (type >= 0xA64 && type <= 0xA67) || type == 0xB63;
    if (senses && power == ORVA_SIM_POWER_ON) {
        value |= (uint64_t{current} * 5) & 0xFFFF;
        value |= uint64_t{kSupplyMv / 4} << 16;
    }
    return value;
}

uint64_t sensorReading(BoardAccess& board, uint32_t port, Sensor sensor) {
    if (sensor == Sensor::AuxiliaryIn) {
        return kAdInReading;
    }
    if (!isBoardPort(board, port)) {
        return 0;
    }
    switch (sensor) {
    case Sensor::CurrentSense:
        return uint64_t{currentMa(board, port)} * 5 / 2; // 0.4 mA a step
    case Sensor::ShuntVoltage:
        return uint64_t{currentMa(board, port)} * 5; // 0.2 mA a step
    case Sensor::SupplyVin:
    case Sensor::BusVoltage:
        if (board.block().ports[port].power != ORVA_SIM_POWER_ON) {
            return 0;
        }
        return sensor == Sensor::SupplyVin ? kSupplyMv / 25 : kSupplyMv / 4;
    case Sensor::AuxiliaryIn:
        break;
    }
    return 0;
}

} // namespace orva::sim::cxp
