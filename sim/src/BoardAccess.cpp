#include "BoardAccess.h"

#include "Board.h"
#include "BoardCore.h"
#include "Clock.h"
#include "DataQueue.h"
#include "Device.h"
#include "DeviceContext.h"
#include "PortFaults.h"
#include "SimError.h"
#include "SlotNames.h"

namespace orva::sim {

BoardAccess::BoardAccess(Board& board, SharedLock& lock)
    : board_(board), lock_(lock), block_(*board.block_), enteredNs_(monotonicNs()) {}

uint64_t BoardAccess::nowNs() const {
    return monotonicNs();
}

const BoardCore& BoardAccess::core() const {
    return *board_.core_;
}

std::string BoardAccess::boardText() const {
    return "board " + std::to_string(block_.index);
}

layout::PortSlot& BoardAccess::port(uint32_t port) {
    if (port >= block_.portCount) {
        throw SimError(ORVA_SIM_ERR_NO_SUCH_PORT, boardText() + " has no port " + std::to_string(port) + " (it has " +
                                                      std::to_string(block_.portCount) + ")");
    }
    return block_.ports[port];
}

layout::QueueSlot* BoardAccess::findQueue(uint32_t port, Channel channel, Direction direction) {
    for (auto& slot : block_.queues) {
        DataQueue q(slot);
        if (q.present() && slot.internal == 0 && q.port() == port && q.channel() == channel &&
            q.direction() == direction) {
            return &slot;
        }
    }
    return nullptr;
}

layout::QueueSlot& BoardAccess::hostQueue(uint32_t queue) {
    if (queue >= layout::kMaxQueues || block_.queues[queue].present == 0 || block_.queues[queue].internal != 0) {
        throw SimError(ORVA_SIM_ERR_NO_SUCH_QUEUE, boardText() + " has no data queue " + std::to_string(queue));
    }
    return block_.queues[queue];
}

DataQueue BoardAccess::hostQueue(uint32_t queue, Direction direction) {
    DataQueue q(hostQueue(queue));
    if (q.direction() != direction) {
        throw SimError(ORVA_SIM_ERR_WRONG_DIRECTION,
                       "data queue " + std::to_string(queue) + " of " + boardText() + " carries data " +
                           (q.direction() == Direction::ToHost ? "from the camera" : "to the camera"));
    }
    return q;
}

layout::RegisterSlot& BoardAccess::designRegister(uint32_t number) {
    if (number == 0 || number > block_.registerCount || block_.registers[number - 1].present == 0) {
        throw SimError(ORVA_SIM_ERR_NO_SUCH_REGISTER, "design '" + std::string(nameOf(block_.design)) + "' of " +
                                                          boardText() + " has no register " + std::to_string(number));
    }
    return block_.registers[number - 1];
}

void BoardAccess::requireCameraControl() {
    if (block_.cameraControl == 0) {
        throw SimError(ORVA_SIM_ERR_NOT_SUPPORTED, boardText() + " has no camera control interface in its design");
    }
}

void BoardAccess::requireSerialPorts() {
    if (block_.serialPorts == 0) {
        throw SimError(ORVA_SIM_ERR_NOT_SUPPORTED, boardText() + " has no serial ports in its design");
    }
}

Device* BoardAccess::device(uint32_t camera) {
    return camera < board_.devices_.size() ? board_.devices_[camera].get() : nullptr;
}

Device* BoardAccess::cameraAt(uint32_t port, uint32_t& camera, uint32_t& link) {
    const layout::PortSlot& slot = this->port(port);
    if (slot.camera < 0) {
        return nullptr;
    }
    camera = static_cast<uint32_t>(slot.camera);
    link = slot.link;
    return device(camera);
}

bool BoardAccess::deliverToHost(uint32_t port, Channel channel, std::span<const uint8_t> bytes, uint64_t readyNs) {
    if (this->port(port).plugged == 0) {
        return false;
    }
    const bool taken = core().cameraSent(*this, port, channel, bytes, readyNs);
    lock_.notifyAll();
    return taken;
}

void BoardAccess::deliverToCamera(uint32_t port, Channel channel, std::span<const uint8_t> bytes) {
    uint32_t camera = 0;
    uint32_t link = 0;
    Device* device = cameraAt(port, camera, link);
    if (device == nullptr || this->port(port).plugged == 0) {
        return; // into an open cable
    }
    DeviceContext ctx(*this, camera);
    device->onHostData(ctx, link, channel, bytes);
}

bool BoardAccess::takeFault(uint32_t port, std::string_view name) {
    return PortFaults(this->port(port), port).take(name);
}

void BoardAccess::powerChanged(uint32_t port) {
    uint32_t camera = 0;
    uint32_t link = 0;
    if (Device* device = cameraAt(port, camera, link)) {
        DeviceContext ctx(*this, camera);
        device->onPowerChanged(ctx, link);
    }
}

void BoardAccess::cableChanged(uint32_t port) {
    uint32_t camera = 0;
    uint32_t link = 0;
    if (Device* device = cameraAt(port, camera, link)) {
        DeviceContext ctx(*this, camera);
        device->onCableChanged(ctx, link);
    }
}

void BoardAccess::portSettingsChanged(uint32_t port) {
    core().portSettingsChanged(*this, port);
    uint32_t camera = 0;
    uint32_t link = 0;
    if (Device* device = cameraAt(port, camera, link)) {
        DeviceContext ctx(*this, camera);
        device->onPortSettingsChanged(ctx, link);
    }
}

} // namespace orva::sim
