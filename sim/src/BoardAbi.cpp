#include "BoardAbi.h"

#include "Board.h"
#include "Handles.h"
#include "LastError.h"
#include "Technologies.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>

namespace orva::sim::abi {

namespace {

std::shared_ptr<Board> boardOf(OHalDevice* device) {
    auto board = HandleRegistry::instance().boardOf(device);
    if (!board) {
        throw SimError(ORVA_SIM_ERR_INVALID_HANDLE, "not a live device handle");
    }
    return board;
}

void requirePointer(const void* pointer, const char* what) {
    if (pointer == nullptr) {
        throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, std::string(what) + " is null");
    }
}

// A buffer of `bytes` bytes; a count past the status range is cut down, as
// the result must fit the status.
template <class T> std::span<T> bufferOf(T* data, uint32_t bytes) {
    if (bytes > 0) {
        requirePointer(data, "the buffer");
    }
    return {data, std::min<uint32_t>(bytes, INT32_MAX)};
}

// Opening a board is where a broken scenario shows first; say why on stderr,
// since the program that opens the board has no way to ask.
std::shared_ptr<Board> openBoard(uint32_t index) {
    try {
        return Board::open(index);
    } catch (const SimError& e) {
        if (e.status() == ORVA_SIM_ERR_SCENARIO || e.status() == ORVA_SIM_ERR_STATE) {
            std::fprintf(stderr, "orva-sim: %s\n", e.what());
        }
        throw;
    }
}

std::string_view designNameOf(std::string_view file) {
    const auto slash = file.find_last_of('/');
    if (slash != std::string_view::npos) {
        file.remove_prefix(slash + 1);
    }
    return file.substr(0, file.find('.'));
}

} // namespace

int32_t getRegisterByName(DsgDesign* design, const char* name) noexcept {
    return statusOf([&]() -> int32_t {
        DsgDesign handle;
        if (!HandleRegistry::instance().lookupDesign(design, handle)) {
            throw SimError(ORVA_SIM_ERR_INVALID_HANDLE, "not a live design handle");
        }
        requirePointer(name, "the register name");
        if (handle.board) {
            return handle.board->registerNumber(name);
        }
        const auto& registers = handle.design->registers;
        for (size_t i = 0; i < registers.size(); ++i) {
            if (registers[i].name == name) {
                return static_cast<int32_t>(i + 1);
            }
        }
        throw SimError(ORVA_SIM_ERR_NO_SUCH_REGISTER,
                       "design '" + std::string(handle.design->name) + "' has no register '" + name + "'");
    });
}

int32_t loadDesign(DsgDesign** design, const char* file, int32_t type) noexcept {
    return statusOf([&]() -> int32_t {
        requirePointer(design, "the design output");
        requirePointer(file, "the design file");
        const std::string_view name = designNameOf(file);
        const DesignDef* def = findDesign(name);
        if (def == nullptr) {
            throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, "no design '" + std::string(name) + "'");
        }
        *design = HandleRegistry::instance().addDesign(nullptr, def);
        return ORVA_SIM_OK;
    });
}

int32_t unloadDesign(DsgDesign* design) noexcept {
    return statusOf([&]() -> int32_t {
        if (!HandleRegistry::instance().removeDesign(design)) {
            throw SimError(ORVA_SIM_ERR_INVALID_HANDLE, "not a live design handle");
        }
        return ORVA_SIM_OK;
    });
}

int32_t initDevice(uint32_t boardIndex, OHalDevice** device) noexcept {
    return statusOf([&]() -> int32_t {
        requirePointer(device, "the device output");
        *device = HandleRegistry::instance().addDevice(openBoard(boardIndex));
        return ORVA_SIM_OK;
    });
}

int32_t freeDevice(OHalDevice* device) noexcept {
    return statusOf([&]() -> int32_t {
        if (!HandleRegistry::instance().removeDevice(device)) {
            throw SimError(ORVA_SIM_ERR_INVALID_HANDLE, "not a live device handle");
        }
        return ORVA_SIM_OK;
    });
}

int32_t registerRead(OHalDevice* device, uint32_t reg, uint64_t* value) noexcept {
    return statusOf([&]() -> int32_t {
        auto board = boardOf(device);
        requirePointer(value, "the value output");
        *value = board->readRegister(reg);
        return ORVA_SIM_OK;
    });
}

int32_t registerWrite(OHalDevice* device, uint32_t reg, uint32_t low, uint32_t high) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->writeRegister(reg, (uint64_t{high} << 32) | low);
        return ORVA_SIM_OK;
    });
}

int32_t getBoardIndex(OHalDevice* device, int32_t reserved) noexcept {
    return statusOf([&]() -> int32_t { return static_cast<int32_t>(boardOf(device)->index()); });
}

int64_t getBoardInfoInt(OHalDevice* device, const char* key) noexcept {
    return statusOf([&]() -> int64_t {
        auto board = boardOf(device);
        requirePointer(key, "the key");
        return board->boardInfo(key);
    });
}

int32_t queueRead(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes, uint32_t timeoutMs) noexcept {
    return statusOf([&]() -> int32_t {
        auto board = boardOf(device);
        auto out = bufferOf(static_cast<uint8_t*>(buffer), bytes);
        return static_cast<int32_t>(board->readQueue(queue, out, timeoutMs));
    });
}

int32_t queueWrite(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                   uint32_t timeoutMs) noexcept {
    return statusOf([&]() -> int32_t {
        auto board = boardOf(device);
        auto in = bufferOf(static_cast<const uint8_t*>(buffer), bytes);
        return static_cast<int32_t>(board->writeQueue(queue, in));
    });
}

int32_t queueWords(OHalDevice* device, uint32_t queue) noexcept {
    return statusOf([&]() -> int32_t { return static_cast<int32_t>(boardOf(device)->queueWords(queue)); });
}

int32_t queueClear(OHalDevice* device, uint32_t queue) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->clearQueue(queue);
        return ORVA_SIM_OK;
    });
}

int32_t queueFlush(OHalDevice* device, uint32_t queue) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->flushQueue(queue);
        return ORVA_SIM_OK;
    });
}

int32_t queueAcquire(OHalDevice* device, uint32_t queue) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->acquireQueue(queue);
        return ORVA_SIM_OK;
    });
}

int32_t queueRelease(OHalDevice* device, uint32_t queue) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->releaseQueue(queue);
        return ORVA_SIM_OK;
    });
}

int32_t serialInit(OHalDevice* device, uint32_t port, uint32_t baudRate, int32_t* rxQueue, int32_t* txQueue) noexcept {
    return statusOf([&]() -> int32_t {
        auto board = boardOf(device);
        requirePointer(rxQueue, "the receive queue output");
        requirePointer(txQueue, "the transmit queue output");
        const auto [rx, tx] = board->openSerial(port, baudRate);
        *rxQueue = static_cast<int32_t>(rx);
        *txQueue = static_cast<int32_t>(tx);
        return ORVA_SIM_OK;
    });
}

int32_t serialSetBaudRate(OHalDevice* device, uint32_t port, uint32_t baudRate) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->setSerialBaudRate(port, baudRate);
        return ORVA_SIM_OK;
    });
}

uint32_t cameraStatus(OHalDevice* device, uint32_t port) noexcept {
    const int64_t status = statusOf([&]() -> int64_t { return boardOf(device)->cameraStatus(port); });
    return status < 0 ? 0 : static_cast<uint32_t>(status);
}

int32_t cameraCtrlIsAvailable(OHalDevice* device) noexcept {
    return statusOf([&]() -> int32_t {
        if (!boardOf(device)->hasCameraControl()) {
            throw SimError(ORVA_SIM_ERR_NOT_SUPPORTED, "the board's design has no camera control interface");
        }
        return ORVA_SIM_OK;
    });
}

int32_t cameraCtrlReset(OHalDevice* device) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->resetCameraControl();
        return ORVA_SIM_OK;
    });
}

int32_t cameraCtrlSetPortMap(OHalDevice* device, uint32_t lowWord, uint32_t highWord) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->setPortMap((uint64_t{highWord} << 32) | lowWord);
        return ORVA_SIM_OK;
    });
}

// Power states of the camera control interface: 2 switches a port's supply
// on, 1 (and 0, the state after a reset) off; there is no other state.
constexpr uint32_t kCameraCtrlPowerOn = 2;

int32_t cameraCtrlSetPortPower(OHalDevice* device, uint32_t port, uint32_t state) noexcept {
    return statusOf([&]() -> int32_t {
        if (state > kCameraCtrlPowerOn) {
            return ORVA_SIM_ERR_INVALID_ARGUMENT;
        }
        boardOf(device)->setPortPower(port, state == kCameraCtrlPowerOn);
        return ORVA_SIM_OK;
    });
}

namespace {
int32_t setPortSetting(OHalDevice* device, uint32_t port, Board::PortSetting setting, uint32_t value) noexcept {
    return statusOf([&]() -> int32_t {
        boardOf(device)->setPortSetting(port, setting, value);
        return ORVA_SIM_OK;
    });
}
} // namespace

int32_t cameraCtrlSetDataPathState(OHalDevice* device, uint32_t port, uint32_t state) noexcept {
    return setPortSetting(device, port, Board::PortSetting::DataPathState, state);
}

int32_t cameraCtrlSetDataPathSpeed(OHalDevice* device, uint32_t port, uint32_t speed) noexcept {
    return setPortSetting(device, port, Board::PortSetting::DataPathSpeed, speed);
}

int32_t cameraCtrlSetCxpVersion(OHalDevice* device, uint32_t port, uint32_t version) noexcept {
    return setPortSetting(device, port, Board::PortSetting::CxpVersion, version);
}

int32_t cameraCtrlSetLedState(OHalDevice* device, uint32_t port, uint32_t state) noexcept {
    return setPortSetting(device, port, Board::PortSetting::LedState, state);
}

int32_t readFirmware(OHalDevice* device, uint32_t address, void* buffer, uint32_t bytes) noexcept {
    return statusOf([&]() -> int32_t {
        auto board = boardOf(device);
        auto out = bufferOf(static_cast<uint8_t*>(buffer), bytes);
        board->readFirmware(address, out);
        return static_cast<int32_t>(out.size());
    });
}

Gb_Struct_s* initGrabber(uint32_t boardIndex, const char* design, int32_t flags) noexcept {
    Gb_Struct_s* grabber = nullptr;
    // The design argument names the application's design file; the board
    // carries the design its scenario gives it.
    statusOf([&]() -> int32_t {
        grabber = HandleRegistry::instance().addGrabber(boardIndex, openBoard(boardIndex));
        return ORVA_SIM_OK;
    });
    return grabber;
}

int32_t freeGrabber(Gb_Struct_s* grabber) noexcept {
    return statusOf([&]() -> int32_t {
        if (!HandleRegistry::instance().removeGrabber(grabber)) {
            throw SimError(ORVA_SIM_ERR_INVALID_HANDLE, "not a live grabber handle");
        }
        return ORVA_SIM_OK;
    });
}

int32_t freeLibraries() noexcept {
    return ORVA_SIM_OK;
}

} // namespace orva::sim::abi
