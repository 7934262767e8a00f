#include "DeviceContext.h"

#include "BoardAccess.h"
#include "SimError.h"
#include "orva_sim.h"

#include <string>

namespace orva::sim {

uint32_t DeviceContext::linkCount() const {
    return board_.block().cameras[camera_].linkCount;
}

uint32_t DeviceContext::portOfLink(uint32_t link) const {
    const layout::CameraSlot& slot = board_.block().cameras[camera_];
    if (link >= slot.linkCount) {
        throw SimError(ORVA_SIM_ERR_INTERNAL,
                       "camera model used link " + std::to_string(link) + " of " + std::to_string(slot.linkCount));
    }
    return slot.ports[link];
}

bool DeviceContext::portPowered(uint32_t link) const {
    return board_.block().ports[portOfLink(link)].power == ORVA_SIM_POWER_ON;
}

bool DeviceContext::plugged(uint32_t link) const {
    return board_.block().ports[portOfLink(link)].plugged != 0;
}

uint32_t DeviceContext::dataPathState(uint32_t link) const {
    return board_.block().ports[portOfLink(link)].dataPathState;
}

uint32_t DeviceContext::dataPathSpeed(uint32_t link) const {
    return board_.block().ports[portOfLink(link)].dataPathSpeed;
}

uint32_t DeviceContext::cxpVersion(uint32_t link) const {
    return board_.block().ports[portOfLink(link)].cxpVersion;
}

uint32_t DeviceContext::serialBaud(uint32_t link) const {
    return board_.block().ports[portOfLink(link)].serialBaud;
}

bool DeviceContext::sendToHost(uint32_t link, Channel channel, std::span<const uint8_t> bytes, uint64_t delayNs) {
    return board_.deliverToHost(portOfLink(link), channel, bytes, board_.nowNs() + delayNs);
}

bool DeviceContext::takeFault(uint32_t link, std::string_view name) {
    return board_.takeFault(portOfLink(link), name);
}

std::span<uint8_t> DeviceContext::memory() {
    return board_.block().cameras[camera_].memory;
}

void DeviceContext::tripPort(uint32_t link) {
    const uint32_t port = portOfLink(link);
    layout::PortSlot& slot = board_.block().ports[port];
    if (slot.power == ORVA_SIM_POWER_ON) {
        slot.power = ORVA_SIM_POWER_TRIPPED;
        board_.powerChanged(port);
    }
}

uint64_t DeviceContext::nowNs() const {
    return board_.nowNs();
}

uint64_t DeviceContext::hostCallNs() const {
    return board_.enteredNs();
}

} // namespace orva::sim
