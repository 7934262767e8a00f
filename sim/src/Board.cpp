#include "Board.h"

#include "Clock.h"
#include "DataQueue.h"
#include "Device.h"
#include "NamespaceControl.h"
#include "ProcessIdentity.h"
#include "RegisterBehaviour.h"
#include "Scenario.h"
#include "SimError.h"
#include "cxp/CxpCore.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

namespace orva::sim {

namespace {

using layout::ObjectState;

// Identity map: position n takes port n.
constexpr uint64_t kIdentityPortMap = 0x7654321076543210ull;
constexpr uint32_t kFirmwareBytes = 16u * 1024u * 1024u;
constexpr uint32_t kFirmwareHeaderBytes = 256;
// A reader looks at its queue at least this often, even if a wake-up got
// lost (a process that died inside the condition's bookkeeping).
constexpr uint64_t kMaxWaitSliceNs = 100 * kNsPerMs;
constexpr std::array<uint32_t, 8> kSerialBaudRates{9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};

std::string boardText(const layout::BoardBlock& block) {
    return "board " + std::to_string(block.index);
}

void copyName(char (&to)[layout::kNameBytes], std::string_view from) {
    std::memset(to, 0, sizeof(to));
    std::memcpy(to, from.data(), std::min(from.size(), sizeof(to) - 1));
}

std::string_view nameOf(const char (&name)[layout::kNameBytes]) {
    return {name, strnlen(name, sizeof(name))};
}

layout::QueueSlot& checkedQueue(BoardAccess& access, uint32_t queue) {
    if (queue >= layout::kMaxQueues || access.block().queues[queue].present == 0 ||
        access.block().queues[queue].internal != 0) {
        throw SimError(ORVA_SIM_ERR_NO_SUCH_QUEUE,
                       boardText(access.block()) + " has no data queue " + std::to_string(queue));
    }
    return access.block().queues[queue];
}

DataQueue checkedQueue(BoardAccess& access, uint32_t queue, Direction direction) {
    DataQueue q(checkedQueue(access, queue));
    if (q.direction() != direction) {
        throw SimError(ORVA_SIM_ERR_WRONG_DIRECTION,
                       "data queue " + std::to_string(queue) + " of " + boardText(access.block()) + " carries data " +
                           (q.direction() == Direction::ToHost ? "from the camera" : "to the camera"));
    }
    return q;
}

layout::RegisterSlot& checkedRegister(BoardAccess& access, uint32_t number) {
    layout::BoardBlock& block = access.block();
    if (number == 0 || number > block.registerCount || block.registers[number - 1].present == 0) {
        throw SimError(ORVA_SIM_ERR_NO_SUCH_REGISTER, "design '" + std::string(nameOf(block.design)) + "' of " +
                                                          boardText(block) + " has no register " +
                                                          std::to_string(number));
    }
    return block.registers[number - 1];
}

void requireCameraControl(BoardAccess& access) {
    if (access.block().cameraControl == 0) {
        throw SimError(ORVA_SIM_ERR_NOT_SUPPORTED,
                       boardText(access.block()) + " has no camera control interface in its design");
    }
}

void requireSerialPorts(BoardAccess& access) {
    if (access.block().serialPorts == 0) {
        throw SimError(ORVA_SIM_ERR_NOT_SUPPORTED, boardText(access.block()) + " has no serial ports in its design");
    }
}

void checkBaudRate(uint32_t baudRate) {
    if (std::find(kSerialBaudRates.begin(), kSerialBaudRates.end(), baudRate) == kSerialBaudRates.end()) {
        throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT,
                       "baud rate " + std::to_string(baudRate) + " is not one of the serial port's rates");
    }
}

layout::FaultSlot* findFault(layout::PortSlot& port, std::string_view name) {
    for (auto& fault : port.faults) {
        if (fault.count > 0 && nameOf(fault.name) == name) {
            return &fault;
        }
    }
    return nullptr;
}

} // namespace

// ---- BoardAccess ----

BoardAccess::BoardAccess(Board& board, SharedLock& lock)
    : board_(board), lock_(lock), block_(*board.block_), enteredNs_(monotonicNs()) {}

uint64_t BoardAccess::nowNs() const {
    return monotonicNs();
}

layout::PortSlot& BoardAccess::port(uint32_t port) {
    if (port >= block_.portCount) {
        throw SimError(ORVA_SIM_ERR_NO_SUCH_PORT, boardText(block_) + " has no port " + std::to_string(port) +
                                                      " (it has " + std::to_string(block_.portCount) + ")");
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
    if (block_.linkCore != static_cast<uint32_t>(LinkCore::None) && channel == Channel::Control) {
        const bool taken = cxp::receiveFromCamera(*this, port, bytes, readyNs);
        lock_.notifyAll();
        return taken;
    }
    layout::QueueSlot* slot = findQueue(port, channel, Direction::ToHost);
    if (slot == nullptr) {
        return false;
    }
    const bool taken = DataQueue(*slot).push(bytes, readyNs);
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
    layout::FaultSlot* fault = findFault(this->port(port), name);
    if (fault == nullptr) {
        return false;
    }
    if (--fault->count == 0) {
        std::memset(fault->name, 0, sizeof(fault->name));
    }
    return true;
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
    uint32_t camera = 0;
    uint32_t link = 0;
    if (Device* device = cameraAt(port, camera, link)) {
        DeviceContext ctx(*this, camera);
        device->onPortSettingsChanged(ctx, link);
    }
}

// ---- DeviceContext ----

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

// ---- Board ----

Board::Board(std::unique_ptr<SharedMemory> memory)
    : memory_(std::move(memory)), block_(static_cast<layout::BoardBlock*>(memory_->data())), index_(block_->index) {}

Board::~Board() = default;

std::shared_ptr<Board> Board::adopt(std::unique_ptr<SharedMemory> memory) {
    return std::shared_ptr<Board>(new Board(std::move(memory)));
}

std::shared_ptr<Board> Board::open(uint32_t index) {
    return NamespaceControl::open(currentNamespace())->openBoard(index);
}

void Board::enter(BoardAccess& access) {
    const auto state = static_cast<ObjectState>(std::atomic_ref<uint32_t>(block_->header.state).load());
    if (state != ObjectState::Live) {
        throw SimError(ORVA_SIM_ERR_STATE, "board " + std::to_string(index_) +
                                               " is gone: its namespace was destroyed or a new scenario dropped it");
    }
    if (generation_ == block_->generation) {
        return;
    }
    std::vector<std::unique_ptr<Device>> devices(layout::kMaxCameras);
    for (uint32_t c = 0; c < layout::kMaxCameras; ++c) {
        const layout::CameraSlot& slot = access.block().cameras[c];
        if (slot.present == 0) {
            continue;
        }
        const DeviceModel* model = findDeviceModel(nameOf(slot.model));
        if (model == nullptr) {
            throw SimError(ORVA_SIM_ERR_STATE, "camera model '" + std::string(nameOf(slot.model)) + "' on board " +
                                                   std::to_string(index_) + " is unknown to this program");
        }
        const auto params =
            nlohmann::json::parse(std::string_view(slot.params, strnlen(slot.params, sizeof(slot.params))));
        devices[c] = model->create(params, slot.linkCount);
    }
    devices_ = std::move(devices);
    generation_ = block_->generation;
}

void Board::load(const BoardSetup& setup) {
    SharedLock lock(block_->sync);
    BoardAccess access(*this, lock);
    layout::BoardBlock& b = *block_;
    const DesignDef& design = *setup.design.base;

    ++b.generation;
    b.serial = setup.serial;
    b.portMap = kIdentityPortMap;
    b.index = setup.index;
    b.type = setup.type;
    b.portCount = setup.ports;
    b.cameraControl = design.cameraControl ? 1 : 0;
    b.serialPorts = design.serialPorts ? 1 : 0;
    b.linkCore = static_cast<uint32_t>(design.core);
    b.gtxIf = design.gtxIf;
    copyName(b.design, setup.design.name);
    copyName(b.baseDesign, design.name);
    index_ = setup.index;

    std::memset(b.registers, 0, sizeof(b.registers));
    b.registerCount = static_cast<uint32_t>(design.registers.size());
    for (uint32_t i = 0; i < b.registerCount; ++i) {
        const RegisterDef& def = design.registers[i];
        const auto& without = setup.design.without;
        if (std::find(without.begin(), without.end(), def.name) != without.end()) {
            continue;
        }
        layout::RegisterSlot& slot = b.registers[i];
        slot.present = 1;
        slot.behaviour = static_cast<uint32_t>(def.kind);
        copyName(slot.name, def.name);
        RegisterDef loaded = def;
        for (const auto& [name, value] : setup.design.initial) {
            if (name == def.name) {
                loaded.initial = value;
            }
        }
        behaviourOf(def.kind).load(access, slot, loaded);
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

    std::memset(b.ports, 0, sizeof(b.ports));
    for (uint32_t p = 0; p < layout::kMaxPorts; ++p) {
        b.ports[p].camera = -1;
        b.ports[p].power = p < setup.ports && setup.portPowerOn ? ORVA_SIM_POWER_ON : ORVA_SIM_POWER_OFF;
    }

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

    for (auto& queue : b.queues) {
        queue.present = 0;
    }
    for (uint32_t p = 0; p < setup.ports; ++p) {
        for (const QueueDef& def : design.queues) {
            const uint32_t number = design.queueBase + p * design.queueStride + def.offset;
            DataQueue(b.queues[number]).reset(p, def.channel, def.direction, def.packet);
            b.queues[number].internal = def.internal ? 1 : 0;
        }
    }
    if (design.core != LinkCore::None) {
        cxp::loadBoard(access);
    }

    enter(access);
    for (uint32_t c = 0; c < setup.cameras.size(); ++c) {
        DeviceContext ctx(access, c);
        devices_[c]->onLoad(ctx);
    }
    // Readers waiting on queues that were just replaced look again.
    lock.notifyAll();
}

void Board::markRemoved() {
    SharedLock lock(block_->sync);
    std::atomic_ref<uint32_t>(block_->header.state).store(static_cast<uint32_t>(ObjectState::Removed));
    lock.notifyAll();
}

int32_t Board::registerNumber(std::string_view name) {
    return withAccess([&](BoardAccess& access) -> int32_t {
        const layout::BoardBlock& b = access.block();
        for (uint32_t i = 0; i < b.registerCount; ++i) {
            if (b.registers[i].present != 0 && nameOf(b.registers[i].name) == name) {
                return static_cast<int32_t>(i + 1);
            }
        }
        throw SimError(ORVA_SIM_ERR_NO_SUCH_REGISTER, "design '" + std::string(nameOf(b.design)) + "' of " +
                                                          boardText(b) + " has no register '" + std::string(name) +
                                                          "'");
    });
}

uint64_t Board::readRegister(uint32_t number) {
    return withAccess([&](BoardAccess& access) {
        layout::RegisterSlot& slot = checkedRegister(access, number);
        return behaviourOf(static_cast<BehaviourKind>(slot.behaviour)).read(access, slot);
    });
}

void Board::writeRegister(uint32_t number, uint64_t value) {
    withAccess([&](BoardAccess& access) {
        layout::RegisterSlot& slot = checkedRegister(access, number);
        behaviourOf(static_cast<BehaviourKind>(slot.behaviour)).write(access, slot, value);
    });
}

int64_t Board::boardInfo(std::string_view key) {
    return withAccess([&](BoardAccess& access) -> int64_t {
        const layout::BoardBlock& b = access.block();
        if (key == "board/type") {
            return b.type;
        }
        if (key == "board/serial") {
            return static_cast<int64_t>(b.serial);
        }
        if (key == "board/ports") {
            return b.portCount;
        }
        throw SimError(ORVA_SIM_ERR_UNKNOWN_KEY, "no board information '" + std::string(key) + "'");
    });
}

uint32_t Board::readQueue(uint32_t queue, std::span<uint8_t> buffer, uint32_t timeoutMs) {
    return withAccess([&](BoardAccess& access) -> uint32_t {
        checkedQueue(access, queue, Direction::ToHost);
        if (buffer.empty()) {
            return 0;
        }
        const uint64_t deadline = access.nowNs() + uint64_t{timeoutMs} * kNsPerMs;
        for (;;) {
            // The queue may have been replaced or the board removed while we
            // waited: check again on every round.
            enter(access);
            DataQueue q(checkedQueue(access, queue, Direction::ToHost));
            const uint64_t now = access.nowNs();
            const uint32_t taken = q.pop(buffer, now);
            if (taken > 0) {
                return taken;
            }
            if (now >= deadline) {
                return 0;
            }
            const uint64_t wake = std::min({deadline, q.nextReadyNs(now).value_or(deadline), now + kMaxWaitSliceNs});
            access.lock().waitUntil(wake);
        }
    });
}

uint32_t Board::writeQueue(uint32_t queue, std::span<const uint8_t> bytes) {
    return withAccess([&](BoardAccess& access) {
        DataQueue q = checkedQueue(access, queue, Direction::ToCamera);
        // The board sends at once: the bytes go to the camera, or nowhere
        // when no camera is at the other end of the cable.
        if (access.block().linkCore == static_cast<uint32_t>(LinkCore::CxpQueue) && q.channel() == Channel::Control) {
            cxp::sendQueueCommand(access, q.port(), bytes);
        } else {
            access.deliverToCamera(q.port(), q.channel(), bytes);
        }
        return static_cast<uint32_t>(bytes.size());
    });
}

uint32_t Board::queueWords(uint32_t queue) {
    return withAccess([&](BoardAccess& access) -> uint32_t {
        DataQueue q(checkedQueue(access, queue));
        if (q.direction() == Direction::ToCamera) {
            return 0;
        }
        // A partial word counts: the reader must not take the queue as empty.
        return static_cast<uint32_t>((q.visibleBytes(access.nowNs()) + 3) / 4);
    });
}

void Board::clearQueue(uint32_t queue) {
    withAccess([&](BoardAccess& access) {
        DataQueue q(checkedQueue(access, queue));
        if (q.direction() == Direction::ToHost) {
            q.dropVisible(access.nowNs());
        }
    });
}

void Board::flushQueue(uint32_t queue) {
    // Downstream data leaves at once; there is never anything to push out.
    withAccess([&](BoardAccess& access) { checkedQueue(access, queue); });
}

void Board::acquireQueue(uint32_t queue) {
    withAccess([&](BoardAccess& access) {
        layout::QueueSlot& slot = checkedQueue(access, queue);
        const pid_t self = ::getpid();
        if (slot.ownerPid == self) {
            return;
        }
        if (slot.ownerPid != 0 && processStartTime(slot.ownerPid) == slot.ownerStart) {
            throw SimError(ORVA_SIM_ERR_BUSY, "data queue " + std::to_string(queue) + " of " +
                                                  boardText(access.block()) + " is owned by process " +
                                                  std::to_string(slot.ownerPid));
        }
        // Free, or its owner has ended.
        slot.ownerPid = self;
        slot.ownerStart = processStartTime(self);
    });
}

void Board::releaseQueue(uint32_t queue) {
    withAccess([&](BoardAccess& access) {
        layout::QueueSlot& slot = checkedQueue(access, queue);
        if (slot.ownerPid != ::getpid()) {
            throw SimError(ORVA_SIM_ERR_NOT_OWNER,
                           "data queue " + std::to_string(queue) + " is not owned by this process");
        }
        slot.ownerPid = 0;
        slot.ownerStart = 0;
    });
}

std::pair<uint32_t, uint32_t> Board::openSerial(uint32_t port, uint32_t baudRate) {
    return withAccess([&](BoardAccess& access) {
        requireSerialPorts(access);
        layout::PortSlot& slot = access.port(port);
        checkBaudRate(baudRate);
        layout::QueueSlot* rx = access.findQueue(port, Channel::Serial, Direction::ToHost);
        layout::QueueSlot* tx = access.findQueue(port, Channel::Serial, Direction::ToCamera);
        if (rx == nullptr || tx == nullptr) {
            throw SimError(ORVA_SIM_ERR_NOT_SUPPORTED, "port " + std::to_string(port) + " of " +
                                                           boardText(access.block()) + " has no serial queues");
        }
        slot.serialOpen = 1;
        slot.serialBaud = baudRate;
        access.portSettingsChanged(port);
        const auto number = [&](const layout::QueueSlot* q) {
            return static_cast<uint32_t>(q - access.block().queues);
        };
        return std::pair{number(rx), number(tx)};
    });
}

void Board::setSerialBaudRate(uint32_t port, uint32_t baudRate) {
    withAccess([&](BoardAccess& access) {
        requireSerialPorts(access);
        layout::PortSlot& slot = access.port(port);
        checkBaudRate(baudRate);
        slot.serialBaud = baudRate;
        access.portSettingsChanged(port);
    });
}

uint32_t Board::cameraStatus(uint32_t port) {
    return withAccess([&](BoardAccess& access) -> uint32_t {
        uint32_t camera = 0;
        uint32_t link = 0;
        Device* device = access.cameraAt(port, camera, link);
        if (device == nullptr || access.port(port).plugged == 0) {
            return 0;
        }
        DeviceContext ctx(access, camera);
        return device->present(ctx, link) ? 1u : 0u;
    });
}

bool Board::hasCameraControl() {
    return withAccess([](BoardAccess& access) { return access.block().cameraControl != 0; });
}

void Board::resetCameraControl() {
    withAccess([](BoardAccess& access) {
        requireCameraControl(access);
        layout::BoardBlock& b = access.block();
        b.portMap = kIdentityPortMap;
        // Port power stays as it is: a reset of the controller doesn't cycle
        // the cameras.
        for (uint32_t p = 0; p < b.portCount; ++p) {
            b.ports[p].dataPathState = 0;
            b.ports[p].dataPathSpeed = 0;
            b.ports[p].cxpVersion = 0;
            b.ports[p].ledState = 0;
            cxp::portSettingsChanged(access, p);
            access.portSettingsChanged(p);
        }
    });
}

void Board::setPortMap(uint64_t map) {
    withAccess([&](BoardAccess& access) {
        requireCameraControl(access);
        access.block().portMap = map;
    });
}

void Board::setPortPower(uint32_t port, bool on) {
    withAccess([&](BoardAccess& access) {
        requireCameraControl(access);
        layout::PortSlot& slot = access.port(port);
        const uint32_t state = on ? ORVA_SIM_POWER_ON : ORVA_SIM_POWER_OFF;
        if (slot.power != state) {
            slot.power = state;
            access.powerChanged(port);
        }
    });
}

void Board::setPortSetting(uint32_t port, PortSetting setting, uint32_t value) {
    withAccess([&](BoardAccess& access) {
        requireCameraControl(access);
        layout::PortSlot& slot = access.port(port);
        if (setting == PortSetting::DataPathSpeed && access.block().linkCore != static_cast<uint32_t>(LinkCore::None) &&
            !cxp::isDataPathSpeed(value)) {
            throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, "the transceivers of " + boardText(access.block()) +
                                                              " have no rate of " + std::to_string(value) + " Mbit/s");
        }
        switch (setting) {
        case PortSetting::DataPathState:
            slot.dataPathState = value;
            break;
        case PortSetting::DataPathSpeed:
            slot.dataPathSpeed = value;
            break;
        case PortSetting::CxpVersion:
            slot.cxpVersion = value;
            break;
        case PortSetting::LedState:
            slot.ledState = value;
            break;
        }
        cxp::portSettingsChanged(access, port);
        access.portSettingsChanged(port);
    });
}

void Board::readFirmware(uint32_t address, std::span<uint8_t> buffer) {
    withAccess([&](BoardAccess& access) {
        if (address > kFirmwareBytes || buffer.size() > kFirmwareBytes - address) {
            throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT,
                           "firmware read past the end of the " + std::to_string(kFirmwareBytes) + "-byte flash");
        }
        // A short text header, the rest erased flash.
        std::array<char, kFirmwareHeaderBytes> header{};
        const layout::BoardBlock& b = access.block();
        std::snprintf(header.data(), header.size(), "orva-sim firmware\ntype 0x%X\nserial %llu\ndesign %s\n", b.type,
                      static_cast<unsigned long long>(b.serial), std::string(nameOf(b.design)).c_str());
        for (size_t i = 0; i < buffer.size(); ++i) {
            const size_t at = address + i;
            buffer[i] = at < header.size() ? static_cast<uint8_t>(header[at]) : uint8_t{0xFF};
        }
    });
}

orva_sim_board_info Board::info() {
    return withAccess([](BoardAccess& access) {
        const layout::BoardBlock& b = access.block();
        orva_sim_board_info info{};
        info.index = b.index;
        info.type = b.type;
        info.serial = b.serial;
        info.ports = b.portCount;
        std::memcpy(info.design, b.design, sizeof(info.design));
        info.design[sizeof(info.design) - 1] = '\0';
        return info;
    });
}

orva_sim_port_info Board::portInfo(uint32_t port) {
    return withAccess([&](BoardAccess& access) {
        const layout::PortSlot& slot = access.port(port);
        orva_sim_port_info info{};
        info.power = slot.power;
        info.plugged = slot.plugged;
        info.dataPathState = slot.dataPathState;
        info.dataPathSpeed = slot.dataPathSpeed;
        info.cxpVersion = slot.cxpVersion;
        info.ledState = slot.ledState;
        info.serialBaud = slot.serialOpen != 0 ? slot.serialBaud : 0;
        info.camera = slot.camera;
        info.link = slot.link;
        info.portMap = access.block().portMap;
        if (slot.camera >= 0) {
            std::memcpy(info.model, access.block().cameras[slot.camera].model, sizeof(info.model));
            info.model[sizeof(info.model) - 1] = '\0';
        }
        return info;
    });
}

void Board::setPlugged(uint32_t port, bool plugged) {
    withAccess([&](BoardAccess& access) {
        layout::PortSlot& slot = access.port(port);
        const uint32_t state = plugged ? 1 : 0;
        if (slot.plugged != state) {
            slot.plugged = state;
            access.cableChanged(port);
        }
    });
}

void Board::setPowerState(uint32_t port, uint32_t state) {
    withAccess([&](BoardAccess& access) {
        layout::PortSlot& slot = access.port(port);
        if (state != ORVA_SIM_POWER_OFF && state != ORVA_SIM_POWER_ON && state != ORVA_SIM_POWER_TRIPPED) {
            throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, "no power state " + std::to_string(state));
        }
        if (slot.power != state) {
            slot.power = state;
            access.powerChanged(port);
        }
    });
}

uint32_t Board::powerState(uint32_t port) {
    return withAccess([&](BoardAccess& access) { return access.port(port).power; });
}

void Board::injectFault(uint32_t port, std::string_view name, uint32_t count) {
    withAccess([&](BoardAccess& access) {
        layout::PortSlot& slot = access.port(port);
        uint32_t camera = 0;
        uint32_t link = 0;
        Device* device = access.cameraAt(port, camera, link);
        if (device == nullptr) {
            throw SimError(ORVA_SIM_ERR_NO_CAMERA,
                           "no camera on port " + std::to_string(port) + " of " + boardText(access.block()));
        }
        const auto known = device->faultNames();
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            std::string list;
            for (auto k : known) {
                list += (list.empty() ? "" : ", ") + std::string(k);
            }
            throw SimError(ORVA_SIM_ERR_UNKNOWN_FAULT,
                           "camera model '" + std::string(nameOf(access.block().cameras[camera].model)) +
                               "' knows no fault '" + std::string(name) + "' (known: " + list + ")");
        }
        if (name.size() >= layout::kNameBytes) {
            throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, "fault name too long");
        }
        layout::FaultSlot* fault = findFault(slot, name);
        if (fault == nullptr) {
            if (count == 0) {
                return;
            }
            for (auto& free : slot.faults) {
                if (free.count == 0) {
                    fault = &free;
                    break;
                }
            }
            if (fault == nullptr) {
                throw SimError(ORVA_SIM_ERR_BUSY, "too many different faults armed on port " + std::to_string(port));
            }
            copyName(fault->name, name);
        }
        fault->count = count;
        if (count == 0) {
            std::memset(fault->name, 0, sizeof(fault->name));
        }
    });
}

uint32_t Board::pendingFault(uint32_t port, std::string_view name) {
    return withAccess([&](BoardAccess& access) -> uint32_t {
        const layout::FaultSlot* fault = findFault(access.port(port), name);
        return fault == nullptr ? 0 : fault->count;
    });
}

uint32_t Board::readCameraMemory(uint32_t port, uint32_t offset, std::span<uint8_t> buffer) {
    return withAccess([&](BoardAccess& access) {
        const layout::PortSlot& slot = access.port(port);
        if (slot.camera < 0) {
            throw SimError(ORVA_SIM_ERR_NO_CAMERA,
                           "no camera on port " + std::to_string(port) + " of " + boardText(access.block()));
        }
        const auto& memory = access.block().cameras[slot.camera].memory;
        if (offset > sizeof(memory) || buffer.size() > sizeof(memory) - offset) {
            throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT,
                           "camera memory holds " + std::to_string(sizeof(memory)) + " bytes");
        }
        std::memcpy(buffer.data(), memory + offset, buffer.size());
        return static_cast<uint32_t>(buffer.size());
    });
}

} // namespace orva::sim
