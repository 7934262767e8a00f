#include "Board.h"

#include "BoardSetupWriter.h"
#include "Clock.h"
#include "DataQueue.h"
#include "Device.h"
#include "DeviceContext.h"
#include "NamespaceControl.h"
#include "PortFaults.h"
#include "ProcessIdentity.h"
#include "RegisterBehaviour.h"
#include "Scenario.h"
#include "SimError.h"
#include "SlotNames.h"
#include "Technologies.h"

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

constexpr uint32_t kFirmwareBytes = 16u * 1024u * 1024u;
constexpr uint32_t kFirmwareHeaderBytes = 256;
// A reader looks at its queue at least this often, even if a wake-up got
// lost (a process that died inside the condition's bookkeeping).
constexpr uint64_t kMaxWaitSliceNs = 100 * kNsPerMs;
constexpr std::array<uint32_t, 8> kSerialBaudRates{9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};

void checkBaudRate(uint32_t baudRate) {
    if (std::find(kSerialBaudRates.begin(), kSerialBaudRates.end(), baudRate) == kSerialBaudRates.end()) {
        throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT,
                       "baud rate " + std::to_string(baudRate) + " is not one of the serial port's rates");
    }
}

} // namespace

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
    // Another program may have loaded a scenario with a design or a camera
    // model this one was built without.
    const DesignDef* design = findDesign(nameOf(block_->baseDesign));
    if (design == nullptr) {
        throw SimError(ORVA_SIM_ERR_STATE, "design '" + std::string(nameOf(block_->baseDesign)) + "' of board " +
                                               std::to_string(index_) + " is unknown to this program");
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
    core_ = &coreOf(*design);
    devices_ = std::move(devices);
    generation_ = block_->generation;
}

void Board::load(const BoardSetup& setup) {
    SharedLock lock(block_->sync);
    BoardAccess access(*this, lock);
    const BoardCore& core = coreOf(*setup.design.base);

    writeBoardSetup(access, setup, core);
    index_ = setup.index;
    core_ = &core;
    core.load(access);

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
                                                          access.boardText() + " has no register '" +
                                                          std::string(name) + "'");
    });
}

uint64_t Board::readRegister(uint32_t number) {
    return withAccess([&](BoardAccess& access) {
        layout::RegisterSlot& slot = access.designRegister(number);
        return behaviourOf(static_cast<BehaviourKind>(slot.behaviour), access.core()).read(access, slot);
    });
}

void Board::writeRegister(uint32_t number, uint64_t value) {
    withAccess([&](BoardAccess& access) {
        layout::RegisterSlot& slot = access.designRegister(number);
        behaviourOf(static_cast<BehaviourKind>(slot.behaviour), access.core()).write(access, slot, value);
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
        access.hostQueue(queue, Direction::ToHost);
        if (buffer.empty()) {
            return 0;
        }
        const uint64_t deadline = access.nowNs() + uint64_t{timeoutMs} * kNsPerMs;
        for (;;) {
            // The queue may have been replaced or the board removed while we
            // waited: check again on every round.
            enter(access);
            DataQueue q(access.hostQueue(queue, Direction::ToHost));
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
        DataQueue q = access.hostQueue(queue, Direction::ToCamera);
        // The board sends at once: through the core, to the camera or
        // nowhere when no camera is at the other end of the cable.
        access.core().hostWrote(access, q.port(), q.channel(), bytes);
        return static_cast<uint32_t>(bytes.size());
    });
}

uint32_t Board::queueWords(uint32_t queue) {
    return withAccess([&](BoardAccess& access) -> uint32_t {
        DataQueue q(access.hostQueue(queue));
        if (q.direction() == Direction::ToCamera) {
            return 0;
        }
        // A partial word counts: the reader must not take the queue as empty.
        return static_cast<uint32_t>((q.visibleBytes(access.nowNs()) + 3) / 4);
    });
}

void Board::clearQueue(uint32_t queue) {
    withAccess([&](BoardAccess& access) {
        DataQueue q(access.hostQueue(queue));
        if (q.direction() == Direction::ToHost) {
            q.dropVisible(access.nowNs());
        }
    });
}

void Board::flushQueue(uint32_t queue) {
    // Downstream data leaves at once; there is never anything to push out.
    withAccess([&](BoardAccess& access) { access.hostQueue(queue); });
}

void Board::acquireQueue(uint32_t queue) {
    withAccess([&](BoardAccess& access) {
        layout::QueueSlot& slot = access.hostQueue(queue);
        const pid_t self = ::getpid();
        if (slot.ownerPid == self) {
            return;
        }
        if (slot.ownerPid != 0 && processStartTime(slot.ownerPid) == slot.ownerStart) {
            throw SimError(ORVA_SIM_ERR_BUSY, "data queue " + std::to_string(queue) + " of " + access.boardText() +
                                                  " is owned by process " + std::to_string(slot.ownerPid));
        }
        // Free, or its owner has ended.
        slot.ownerPid = self;
        slot.ownerStart = processStartTime(self);
    });
}

void Board::releaseQueue(uint32_t queue) {
    withAccess([&](BoardAccess& access) {
        layout::QueueSlot& slot = access.hostQueue(queue);
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
        access.requireSerialPorts();
        layout::PortSlot& slot = access.port(port);
        checkBaudRate(baudRate);
        layout::QueueSlot* rx = access.findQueue(port, Channel::Serial, Direction::ToHost);
        layout::QueueSlot* tx = access.findQueue(port, Channel::Serial, Direction::ToCamera);
        if (rx == nullptr || tx == nullptr) {
            throw SimError(ORVA_SIM_ERR_NOT_SUPPORTED,
                           "port " + std::to_string(port) + " of " + access.boardText() + " has no serial queues");
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
        access.requireSerialPorts();
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
        access.requireCameraControl();
        layout::BoardBlock& b = access.block();
        b.portMap = layout::kIdentityPortMap;
        // Port power stays as it is: a reset of the controller doesn't cycle
        // the cameras.
        for (uint32_t p = 0; p < b.portCount; ++p) {
            b.ports[p].dataPathState = 0;
            b.ports[p].dataPathSpeed = 0;
            b.ports[p].cxpVersion = 0;
            b.ports[p].ledState = 0;
            access.portSettingsChanged(p);
        }
    });
}

void Board::setPortMap(uint64_t map) {
    withAccess([&](BoardAccess& access) {
        access.requireCameraControl();
        access.block().portMap = map;
    });
}

void Board::setPortPower(uint32_t port, bool on) {
    withAccess([&](BoardAccess& access) {
        access.requireCameraControl();
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
        access.requireCameraControl();
        layout::PortSlot& slot = access.port(port);
        access.core().checkPortSetting(access, setting, value);
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
                           "no camera on port " + std::to_string(port) + " of " + access.boardText());
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
        PortFaults(slot, port).arm(name, count);
    });
}

uint32_t Board::pendingFault(uint32_t port, std::string_view name) {
    return withAccess([&](BoardAccess& access) { return PortFaults(access.port(port), port).pending(name); });
}

uint32_t Board::readCameraMemory(uint32_t port, uint32_t offset, std::span<uint8_t> buffer) {
    return withAccess([&](BoardAccess& access) {
        const layout::PortSlot& slot = access.port(port);
        if (slot.camera < 0) {
            throw SimError(ORVA_SIM_ERR_NO_CAMERA,
                           "no camera on port " + std::to_string(port) + " of " + access.boardText());
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
