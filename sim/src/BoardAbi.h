#pragma once

// The operations of the board libraries, implemented once here and exported
// under their own names by liborva_hal.so, libdsgrt.so and libgblib5.so.
// None of them throws: a failure is a negative ORVA_SIM_ERR_* status, and
// its text is kept for orva_sim_last_error().

#include "Export.h"
#include "runtime/board/OrvaBoardApi.h"

#include <cstdint>

namespace orva::sim::abi {

// dsgrt
ORVA_SIM_EXPORT int32_t getRegisterByName(DsgDesign* design, const char* name) noexcept;
// Loads a design by its name (`file`, with or without directory and
// extension) without a board; `type` is not looked at.
ORVA_SIM_EXPORT int32_t loadDesign(DsgDesign** design, const char* file, int32_t type) noexcept;
ORVA_SIM_EXPORT int32_t unloadDesign(DsgDesign* design) noexcept;

// orva_hal
ORVA_SIM_EXPORT int32_t initDevice(uint32_t boardIndex, OHalDevice** device) noexcept;
ORVA_SIM_EXPORT int32_t freeDevice(OHalDevice* device) noexcept;
ORVA_SIM_EXPORT int32_t registerRead(OHalDevice* device, uint32_t reg, uint64_t* value) noexcept;
ORVA_SIM_EXPORT int32_t registerWrite(OHalDevice* device, uint32_t reg, uint32_t low, uint32_t high) noexcept;
ORVA_SIM_EXPORT int32_t getBoardIndex(OHalDevice* device, int32_t reserved) noexcept;
ORVA_SIM_EXPORT int64_t getBoardInfoInt(OHalDevice* device, const char* key) noexcept;
ORVA_SIM_EXPORT int32_t queueRead(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes,
                                  uint32_t timeoutMs) noexcept;
ORVA_SIM_EXPORT int32_t queueWrite(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                                   uint32_t timeoutMs) noexcept;
ORVA_SIM_EXPORT int32_t queueWords(OHalDevice* device, uint32_t queue) noexcept;
ORVA_SIM_EXPORT int32_t queueClear(OHalDevice* device, uint32_t queue) noexcept;
ORVA_SIM_EXPORT int32_t queueFlush(OHalDevice* device, uint32_t queue) noexcept;
ORVA_SIM_EXPORT int32_t queueAcquire(OHalDevice* device, uint32_t queue) noexcept;
ORVA_SIM_EXPORT int32_t queueRelease(OHalDevice* device, uint32_t queue) noexcept;
ORVA_SIM_EXPORT int32_t serialInit(OHalDevice* device, uint32_t port, uint32_t baudRate, int32_t* rxQueue,
                                   int32_t* txQueue) noexcept;
ORVA_SIM_EXPORT int32_t serialSetBaudRate(OHalDevice* device, uint32_t port, uint32_t baudRate) noexcept;
// 0 for a bad handle or port: no camera can be seen there.
ORVA_SIM_EXPORT uint32_t cameraStatus(OHalDevice* device, uint32_t port) noexcept;
ORVA_SIM_EXPORT int32_t cameraCtrlIsAvailable(OHalDevice* device) noexcept;
ORVA_SIM_EXPORT int32_t cameraCtrlReset(OHalDevice* device) noexcept;
ORVA_SIM_EXPORT int32_t cameraCtrlSetPortMap(OHalDevice* device, uint32_t lowWord, uint32_t highWord) noexcept;
ORVA_SIM_EXPORT int32_t cameraCtrlSetPortPower(OHalDevice* device, uint32_t port, uint32_t state) noexcept;
ORVA_SIM_EXPORT int32_t cameraCtrlSetDataPathState(OHalDevice* device, uint32_t port, uint32_t state) noexcept;
ORVA_SIM_EXPORT int32_t cameraCtrlSetDataPathSpeed(OHalDevice* device, uint32_t port, uint32_t speed) noexcept;
ORVA_SIM_EXPORT int32_t cameraCtrlSetCxpVersion(OHalDevice* device, uint32_t port, uint32_t version) noexcept;
ORVA_SIM_EXPORT int32_t cameraCtrlSetLedState(OHalDevice* device, uint32_t port, uint32_t state) noexcept;
ORVA_SIM_EXPORT int32_t readFirmware(OHalDevice* device, uint32_t address, void* buffer, uint32_t bytes) noexcept;

// gblib5
ORVA_SIM_EXPORT Gb_Struct_s* initGrabber(uint32_t boardIndex, const char* design, int32_t flags) noexcept;
ORVA_SIM_EXPORT int32_t freeGrabber(Gb_Struct_s* grabber) noexcept;
ORVA_SIM_EXPORT int32_t freeLibraries() noexcept;

} // namespace orva::sim::abi
