#include "BoardSetupWriter.h"

#include "BoardAccess.h"
#include "BoardCore.h"
#include "DataQueue.h"
#include "RegisterBehaviour.h"
#include "Scenario.h"
#include "SlotNames.h"
#include "orva_sim.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace orva::sim {

namespace {

void writeRegisters(BoardAccess& access, const DesignChoice& choice, const BoardCore& core) {
    layout::BoardBlock& b = access.block();
    const DesignDef& design = *choice.base;
    std::memset(b.registers, 0, sizeof(b.registers));
    b.registerCount = static_cast<uint32_t>(design.registers.size());
    for (uint32_t i = 0; i < b.registerCount; ++i) {
        const RegisterDef& def = design.registers[i];
        const auto& without = choice.without;
        if (std::find(without.begin(), without.end(), def.name) != without.end()) {
            continue;
        }
        layout::RegisterSlot& slot = b.registers[i];
        slot.present = 1;
        slot.behaviour = static_cast<uint32_t>(def.kind);
        copyName(slot.name, def.name);
        RegisterDef loaded = def;
        for (const auto& [name, value] : choice.initial) {
            if (name == def.name) {
                loaded.initial = value;
            }
        }
        behaviourOf(def.kind, core).load(access, slot, loaded);
    }
    // Links between registers go by name, resolved now that all are in place.
    for (uint32_t i = 0; i < b.registerCount; ++i) {
        const RegisterDef& def = design.registers[i];
        if (def.link.empty() || b.registers[i].present == 0) {
            continue;
        }
        b.registers[i].param = 0;
        for (uint32_t j = 0; j < b.registerCount; ++j) {
            if (b.registers[j].present != 0 && nameOf(b.registers[j].name) == def.link) {
                b.registers[i].param = j + 1;
            }
        }
    }
}

void writePorts(layout::BoardBlock& b, const BoardSetup& setup) {
    std::memset(b.ports, 0, sizeof(b.ports));
    for (uint32_t p = 0; p < layout::kMaxPorts; ++p) {
        b.ports[p].camera = -1;
        b.ports[p].power = p < setup.ports && setup.portPowerOn ? ORVA_SIM_POWER_ON : ORVA_SIM_POWER_OFF;
    }
}

void writeCameras(layout::BoardBlock& b, const BoardSetup& setup) {
    for (auto& camera : b.cameras) {
        camera.present = 0;
    }
    for (uint32_t c = 0; c < setup.cameras.size(); ++c) {
        const CameraSetup& cameraSetup = setup.cameras[c];
        layout::CameraSlot& slot = b.cameras[c];
        slot.present = 1;
        slot.linkCount = static_cast<uint32_t>(cameraSetup.ports.size());
        std::memset(slot.ports, 0, sizeof(slot.ports));
        copyName(slot.model, cameraSetup.model);
        const std::string& params = cameraSetup.params;
        std::memset(slot.params, 0, sizeof(slot.params));
        std::memcpy(slot.params, params.data(), std::min(params.size(), sizeof(slot.params) - 1));
        std::memset(slot.memory, 0, sizeof(slot.memory));
        for (uint32_t link = 0; link < slot.linkCount; ++link) {
            const uint32_t port = cameraSetup.ports[link];
            slot.ports[link] = port;
            b.ports[port].camera = static_cast<int32_t>(c);
            b.ports[port].link = link;
            b.ports[port].plugged = cameraSetup.plugged ? 1 : 0;
        }
    }
}

void writeQueues(layout::BoardBlock& b, const DesignDef& design, uint32_t ports) {
    for (auto& queue : b.queues) {
        queue.present = 0;
    }
    for (uint32_t p = 0; p < ports; ++p) {
        for (const QueueDef& def : design.queues) {
            const uint32_t number = design.queueBase + p * design.queueStride + def.offset;
            DataQueue(b.queues[number]).reset(p, def.channel, def.direction, def.packet);
            b.queues[number].internal = def.internal ? 1 : 0;
        }
    }
}

} // namespace

void writeBoardSetup(BoardAccess& access, const BoardSetup& setup, const BoardCore& core) {
    layout::BoardBlock& b = access.block();
    const DesignDef& design = *setup.design.base;
    ++b.generation;
    b.serial = setup.serial;
    b.portMap = layout::kIdentityPortMap;
    b.index = setup.index;
    b.type = setup.type;
    b.portCount = setup.ports;
    b.cameraControl = design.cameraControl ? 1 : 0;
    b.serialPorts = design.serialPorts ? 1 : 0;
    b.coreVariant = design.coreVariant;
    copyName(b.design, setup.design.name);
    copyName(b.baseDesign, design.name);

    writeRegisters(access, setup.design, core);
    writePorts(b, setup);
    writeCameras(b, setup);
    writeQueues(b, design, setup.ports);
}

} // namespace orva::sim
