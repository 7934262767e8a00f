// liborva_hal.so: the hardware access library of the simulated boards.

#include "BoardAbi.h"
#include "runtime/board/OrvaBoardApi.h"

#include <type_traits>

namespace abi = orva::sim::abi;

#define HAL_EXPORT extern "C" __attribute__((visibility("default")))
// Each export must keep the exact type the board interface declares.
#define CHECK_SIGNATURE(name) static_assert(std::is_same_v<decltype(&(name)), name##_t>, #name)

HAL_EXPORT int32_t OHalInitDevice(uint32_t boardIndex, OHalDevice** device) {
    return abi::initDevice(boardIndex, device);
}
CHECK_SIGNATURE(OHalInitDevice);

// Gives back a handle of OHalInitDevice.
HAL_EXPORT int32_t OHalFreeDevice(OHalDevice* device) {
    return abi::freeDevice(device);
}

HAL_EXPORT int32_t OHalRegisterRead(OHalDevice* device, uint32_t reg, uint64_t* value) {
    return abi::registerRead(device, reg, value);
}
CHECK_SIGNATURE(OHalRegisterRead);

HAL_EXPORT int32_t OHalRegisterWrite(OHalDevice* device, uint32_t reg, uint32_t low, uint32_t high) {
    return abi::registerWrite(device, reg, low, high);
}
CHECK_SIGNATURE(OHalRegisterWrite);

HAL_EXPORT int32_t OHalGetBoardIndex(OHalDevice* device, int32_t reserved) {
    return abi::getBoardIndex(device, reserved);
}
CHECK_SIGNATURE(OHalGetBoardIndex);

HAL_EXPORT int64_t OHalGetBoardInfoInt(OHalDevice* device, const char* key) {
    return abi::getBoardInfoInt(device, key);
}
CHECK_SIGNATURE(OHalGetBoardInfoInt);

HAL_EXPORT int32_t OHalDataQueueReadBufferLong(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes,
                                               uint32_t timeoutMs) {
    return abi::queueRead(device, queue, buffer, bytes, timeoutMs);
}
CHECK_SIGNATURE(OHalDataQueueReadBufferLong);

HAL_EXPORT int32_t OHalDataQueueWriteBufferLong(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                                                uint32_t timeoutMs) {
    return abi::queueWrite(device, queue, buffer, bytes, timeoutMs);
}
CHECK_SIGNATURE(OHalDataQueueWriteBufferLong);

HAL_EXPORT int32_t OHalDataQueueReadBuffer(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes,
                                           uint32_t timeoutMs) {
    return abi::queueRead(device, queue, buffer, bytes, timeoutMs);
}
CHECK_SIGNATURE(OHalDataQueueReadBuffer);

HAL_EXPORT int32_t OHalDataQueueWriteBuffer(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                                            uint32_t timeoutMs) {
    return abi::queueWrite(device, queue, buffer, bytes, timeoutMs);
}
CHECK_SIGNATURE(OHalDataQueueWriteBuffer);

HAL_EXPORT int32_t OHalDataQueueGetNrOfWords(OHalDevice* device, uint32_t queue) {
    return abi::queueWords(device, queue);
}
CHECK_SIGNATURE(OHalDataQueueGetNrOfWords);

HAL_EXPORT int32_t OHalDataQueueClear(OHalDevice* device, uint32_t queue) {
    return abi::queueClear(device, queue);
}
CHECK_SIGNATURE(OHalDataQueueClear);

HAL_EXPORT int32_t OHalDataQueueFlush(OHalDevice* device, uint32_t queue) {
    return abi::queueFlush(device, queue);
}
CHECK_SIGNATURE(OHalDataQueueFlush);

HAL_EXPORT int32_t OHalDataQueueAcquireLock(OHalDevice* device, uint32_t queue) {
    return abi::queueAcquire(device, queue);
}
CHECK_SIGNATURE(OHalDataQueueAcquireLock);

HAL_EXPORT int32_t OHalDataQueueReleaseLock(OHalDevice* device, uint32_t queue) {
    return abi::queueRelease(device, queue);
}
CHECK_SIGNATURE(OHalDataQueueReleaseLock);

HAL_EXPORT int32_t OHalClSerInit(OHalDevice* device, uint32_t port, uint32_t baudRate, int32_t* rxQueue,
                                 int32_t* txQueue) {
    return abi::serialInit(device, port, baudRate, rxQueue, txQueue);
}
CHECK_SIGNATURE(OHalClSerInit);

HAL_EXPORT int32_t OHalClSerSetBaudrate(OHalDevice* device, uint32_t port, uint32_t baudRate) {
    return abi::serialSetBaudRate(device, port, baudRate);
}
CHECK_SIGNATURE(OHalClSerSetBaudrate);

HAL_EXPORT uint32_t OHalGetCameraStatusExtended(OHalDevice* device, uint32_t port) {
    return abi::cameraStatus(device, port);
}
CHECK_SIGNATURE(OHalGetCameraStatusExtended);

HAL_EXPORT int32_t OHalCameraCtrlIsAvailable(OHalDevice* device) {
    return abi::cameraCtrlIsAvailable(device);
}
CHECK_SIGNATURE(OHalCameraCtrlIsAvailable);

HAL_EXPORT int32_t OHalCameraCtrlReset(OHalDevice* device) {
    return abi::cameraCtrlReset(device);
}
CHECK_SIGNATURE(OHalCameraCtrlReset);

HAL_EXPORT int32_t OHalCameraCtrlSetPortMap(OHalDevice* device, uint32_t lowWord, uint32_t highWord) {
    return abi::cameraCtrlSetPortMap(device, lowWord, highWord);
}
CHECK_SIGNATURE(OHalCameraCtrlSetPortMap);

HAL_EXPORT int32_t OHalCameraCtrlSetPortPowerState(OHalDevice* device, uint32_t port, uint32_t state) {
    return abi::cameraCtrlSetPortPower(device, port, state);
}
CHECK_SIGNATURE(OHalCameraCtrlSetPortPowerState);

HAL_EXPORT int32_t OHalCameraCtrlSetPortDataPathState(OHalDevice* device, uint32_t port, uint32_t state) {
    return abi::cameraCtrlSetDataPathState(device, port, state);
}
CHECK_SIGNATURE(OHalCameraCtrlSetPortDataPathState);

HAL_EXPORT int32_t OHalCameraCtrlSetPortDataPathSpeed(OHalDevice* device, uint32_t port, uint32_t speed) {
    return abi::cameraCtrlSetDataPathSpeed(device, port, speed);
}
CHECK_SIGNATURE(OHalCameraCtrlSetPortDataPathSpeed);

HAL_EXPORT int32_t OHalCameraCtrlSetPortCxpStandardVersion(OHalDevice* device, uint32_t port, uint32_t version) {
    return abi::cameraCtrlSetCxpVersion(device, port, version);
}
CHECK_SIGNATURE(OHalCameraCtrlSetPortCxpStandardVersion);

HAL_EXPORT int32_t OHalCameraCtrlSetPortCxpLedState(OHalDevice* device, uint32_t port, uint32_t state) {
    return abi::cameraCtrlSetLedState(device, port, state);
}
CHECK_SIGNATURE(OHalCameraCtrlSetPortCxpLedState);

HAL_EXPORT int32_t OHalReadFirmware(OHalDevice* device, uint32_t address, void* buffer, uint32_t bytes) {
    return abi::readFirmware(device, address, buffer, bytes);
}
CHECK_SIGNATURE(OHalReadFirmware);
