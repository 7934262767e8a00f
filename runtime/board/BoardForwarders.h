// Forwarders to the board libraries: one function per operation this library
// calls, named as the bound function. Each binds its library on the spot if
// the table is still unbound (a library that turns up late is picked up at
// the next call) and gives the library's fixed status when the entry is
// missing: -2130 for orva_hal and gblib5, -114 for dsgrt. They never crash on
// a missing library or function.
#pragma once

#include <cstdint>

#include "runtime/board/OrvaBoardApi.h"

namespace orva::board {

int32_t DsgGetRegisterByName(DsgDesign* design, const char* name);

int32_t OHalRegisterRead(OHalDevice* device, uint32_t reg, uint64_t* value);
int32_t OHalRegisterWrite(OHalDevice* device, uint32_t reg, uint64_t value);
int32_t OHalGetBoardIndex(OHalDevice* device, int32_t reserved);
int64_t OHalGetBoardInfoInt(OHalDevice* device, const char* key);

int32_t OHalDataQueueReadBufferLong(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes,
                                    uint32_t timeoutMs);
int32_t OHalDataQueueWriteBufferLong(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                                     uint32_t timeoutMs);
int32_t OHalDataQueueReadBuffer(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes, uint32_t timeoutMs);
int32_t OHalDataQueueWriteBuffer(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                                 uint32_t timeoutMs);
int32_t OHalDataQueueGetNrOfWords(OHalDevice* device, uint32_t queue);
int32_t OHalDataQueueClear(OHalDevice* device, uint32_t queue);
int32_t OHalDataQueueFlush(OHalDevice* device, uint32_t queue);
int32_t OHalDataQueueAcquireLock(OHalDevice* device, uint32_t queue);
int32_t OHalDataQueueReleaseLock(OHalDevice* device, uint32_t queue);

int32_t OHalClSerInit(OHalDevice* device, uint32_t port, uint32_t baudRate, int32_t* rxQueue, int32_t* txQueue);
int32_t OHalClSerSetBaudrate(OHalDevice* device, uint32_t port, uint32_t baudRate);
uint32_t OHalGetCameraStatusExtended(OHalDevice* device, uint32_t port);

int32_t OHalCameraCtrlIsAvailable(OHalDevice* device);
int32_t OHalCameraCtrlReset(OHalDevice* device);
int32_t OHalCameraCtrlSetPortMap(OHalDevice* device, uint32_t lowWord, uint32_t highWord);
int32_t OHalCameraCtrlSetPortPowerState(OHalDevice* device, uint32_t port, uint32_t state);
int32_t OHalCameraCtrlSetPortDataPathState(OHalDevice* device, uint32_t port, uint32_t state);
int32_t OHalCameraCtrlSetPortDataPathSpeed(OHalDevice* device, uint32_t port, uint32_t speed);
int32_t OHalCameraCtrlSetPortCxpStandardVersion(OHalDevice* device, uint32_t port, uint32_t version);
int32_t OHalCameraCtrlSetPortCxpLedState(OHalDevice* device, uint32_t port, uint32_t state);
int32_t OHalReadFirmware(OHalDevice* device, uint32_t address, void* buffer, uint32_t bytes);

Gb_Struct_s* Gb_InitEx(uint32_t boardIndex, const char* design, int32_t flags);
int32_t Gb_FreeGrabber(Gb_Struct_s* grabber);
// Clears gblib5's table after the call: the grabber library is gone.
int32_t Gb_FreeLibraries();

} // namespace orva::board
