#include "runtime/board/BoardForwarders.h"

#include "runtime/board/BoardBinding.h"
#include "runtime/board/BoardLibraryNames.h"

namespace orva::board {

namespace {

template <BoardLibrary Library, std::size_t Slot, class Fn> Fn Resolve() {
    if (!IsBound(Library)) {
        Bind(Library);
    }
    return reinterpret_cast<Fn>(Entry(Library, Slot));
}

} // namespace

// Each forwarder: resolve the entry, then call it or give the fixed status.
#define ORVA_HAL_FORWARD(Name, ...)                                                                                    \
    auto fn = Resolve<BoardLibrary::OrvaHal, SlotOf(kOrvaHalNames, #Name), Name##_t>();                                \
    return fn != nullptr ? fn(__VA_ARGS__) : kOrvaHalUnavailable

int32_t DsgGetRegisterByName(DsgDesign* design, const char* name) {
    auto fn = Resolve<BoardLibrary::Dsgrt, SlotOf(kDsgrtNames, "DsgGetRegisterByName"), DsgGetRegisterByName_t>();
    return fn != nullptr ? fn(design, name) : kDsgrtUnavailable;
}

int32_t OHalRegisterRead(OHalDevice* device, uint32_t reg, uint64_t* value) {
    ORVA_HAL_FORWARD(OHalRegisterRead, device, reg, value);
}

int32_t OHalRegisterWrite(OHalDevice* device, uint32_t reg, uint64_t value) {
    ORVA_HAL_FORWARD(OHalRegisterWrite, device, reg, static_cast<uint32_t>(value), static_cast<uint32_t>(value >> 32));
}

int32_t OHalGetBoardIndex(OHalDevice* device, int32_t reserved) {
    ORVA_HAL_FORWARD(OHalGetBoardIndex, device, reserved);
}

int64_t OHalGetBoardInfoInt(OHalDevice* device, const char* key) {
    ORVA_HAL_FORWARD(OHalGetBoardInfoInt, device, key);
}

int32_t OHalDataQueueReadBufferLong(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes,
                                    uint32_t timeoutMs) {
    ORVA_HAL_FORWARD(OHalDataQueueReadBufferLong, device, queue, buffer, bytes, timeoutMs);
}

int32_t OHalDataQueueWriteBufferLong(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                                     uint32_t timeoutMs) {
    ORVA_HAL_FORWARD(OHalDataQueueWriteBufferLong, device, queue, buffer, bytes, timeoutMs);
}

int32_t OHalDataQueueReadBuffer(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes, uint32_t timeoutMs) {
    ORVA_HAL_FORWARD(OHalDataQueueReadBuffer, device, queue, buffer, bytes, timeoutMs);
}

int32_t OHalDataQueueWriteBuffer(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                                 uint32_t timeoutMs) {
    ORVA_HAL_FORWARD(OHalDataQueueWriteBuffer, device, queue, buffer, bytes, timeoutMs);
}

int32_t OHalDataQueueGetNrOfWords(OHalDevice* device, uint32_t queue) {
    ORVA_HAL_FORWARD(OHalDataQueueGetNrOfWords, device, queue);
}

int32_t OHalDataQueueClear(OHalDevice* device, uint32_t queue) {
    ORVA_HAL_FORWARD(OHalDataQueueClear, device, queue);
}

int32_t OHalDataQueueFlush(OHalDevice* device, uint32_t queue) {
    ORVA_HAL_FORWARD(OHalDataQueueFlush, device, queue);
}

int32_t OHalDataQueueAcquireLock(OHalDevice* device, uint32_t queue) {
    ORVA_HAL_FORWARD(OHalDataQueueAcquireLock, device, queue);
}

int32_t OHalDataQueueReleaseLock(OHalDevice* device, uint32_t queue) {
    ORVA_HAL_FORWARD(OHalDataQueueReleaseLock, device, queue);
}

int32_t OHalClSerInit(OHalDevice* device, uint32_t port, uint32_t baudRate, int32_t* rxQueue, int32_t* txQueue) {
    ORVA_HAL_FORWARD(OHalClSerInit, device, port, baudRate, rxQueue, txQueue);
}

int32_t OHalClSerSetBaudrate(OHalDevice* device, uint32_t port, uint32_t baudRate) {
    ORVA_HAL_FORWARD(OHalClSerSetBaudrate, device, port, baudRate);
}

uint32_t OHalGetCameraStatusExtended(OHalDevice* device, uint32_t port) {
    // A status word, not a status: without the library no camera is present.
    auto fn = Resolve<BoardLibrary::OrvaHal, SlotOf(kOrvaHalNames, "OHalGetCameraStatusExtended"),
                      OHalGetCameraStatusExtended_t>();
    return fn != nullptr ? fn(device, port) : 0U;
}

int32_t OHalCameraCtrlIsAvailable(OHalDevice* device) {
    ORVA_HAL_FORWARD(OHalCameraCtrlIsAvailable, device);
}

int32_t OHalCameraCtrlReset(OHalDevice* device) {
    ORVA_HAL_FORWARD(OHalCameraCtrlReset, device);
}

int32_t OHalCameraCtrlSetPortMap(OHalDevice* device, uint32_t lowWord, uint32_t highWord) {
    ORVA_HAL_FORWARD(OHalCameraCtrlSetPortMap, device, lowWord, highWord);
}

int32_t OHalCameraCtrlSetPortPowerState(OHalDevice* device, uint32_t port, uint32_t state) {
    ORVA_HAL_FORWARD(OHalCameraCtrlSetPortPowerState, device, port, state);
}

int32_t OHalCameraCtrlSetPortDataPathState(OHalDevice* device, uint32_t port, uint32_t state) {
    ORVA_HAL_FORWARD(OHalCameraCtrlSetPortDataPathState, device, port, state);
}

int32_t OHalCameraCtrlSetPortDataPathSpeed(OHalDevice* device, uint32_t port, uint32_t speed) {
    ORVA_HAL_FORWARD(OHalCameraCtrlSetPortDataPathSpeed, device, port, speed);
}

int32_t OHalCameraCtrlSetPortCxpStandardVersion(OHalDevice* device, uint32_t port, uint32_t version) {
    ORVA_HAL_FORWARD(OHalCameraCtrlSetPortCxpStandardVersion, device, port, version);
}

int32_t OHalCameraCtrlSetPortCxpLedState(OHalDevice* device, uint32_t port, uint32_t state) {
    ORVA_HAL_FORWARD(OHalCameraCtrlSetPortCxpLedState, device, port, state);
}

int32_t OHalReadFirmware(OHalDevice* device, uint32_t address, void* buffer, uint32_t bytes) {
    ORVA_HAL_FORWARD(OHalReadFirmware, device, address, buffer, bytes);
}

Gb_Struct_s* Gb_InitEx(uint32_t boardIndex, const char* design, int32_t flags) {
    auto fn = Resolve<BoardLibrary::Gblib5, SlotOf(kGblib5Names, "Gb_InitEx"), Gb_InitEx_t>();
    return fn != nullptr ? fn(boardIndex, design, flags) : nullptr;
}

int32_t Gb_FreeGrabber(Gb_Struct_s* grabber) {
    auto fn = Resolve<BoardLibrary::Gblib5, SlotOf(kGblib5Names, "Gb_FreeGrabber"), Gb_FreeGrabber_t>();
    return fn != nullptr ? fn(grabber) : kGblib5Unavailable;
}

int32_t Gb_FreeLibraries() {
    auto fn = Resolve<BoardLibrary::Gblib5, SlotOf(kGblib5Names, "Gb_FreeLibraries"), Gb_FreeLibraries_t>();
    const int32_t status = fn != nullptr ? fn() : kGblib5Unavailable;
    ClearTable(BoardLibrary::Gblib5);
    return status;
}

} // namespace orva::board
