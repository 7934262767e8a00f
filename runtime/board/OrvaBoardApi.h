/* Calling conventions of the board runtime libraries (orva_hal, dsgrt, gblib5).
 *
 * This is the binary interface that the library binds at run time and that
 * the simulated board implements. Only the operations the library calls are
 * declared with their arguments; the binding tables hold every exported name.
 *
 * Statuses: 0 or more is success, negative is failure, unless said otherwise.
 */
#ifndef ORVA_BOARD_API_H
#define ORVA_BOARD_API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque handles: an OHal device (one board) and a loaded FPGA design. */
typedef struct OHalDevice OHalDevice;
typedef struct DsgDesign DsgDesign;

/* The grabber handle of gblib5. The library reads only the two handles; the
 * rest of the structure belongs to gblib5. `magic` tells a live handle. */
#define GB_STRUCT_MAGIC 0x47425335u /* "GBS5" */
struct Gb_Struct_s {
    uint32_t magic;
    uint32_t boardIndex;
    OHalDevice* device;
    DsgDesign* design;
};
typedef struct Gb_Struct_s Gb_Struct_s;

/* ---- dsgrt ---- */
/* Register number (> 0) of a named register of the loaded design; 0 or
 * negative when the design lacks it. */
typedef int32_t (*DsgGetRegisterByName_t)(DsgDesign* design, const char* name);
/* Marker of the dsgrt table. */
typedef int32_t (*DsgLoadDsgFileWithType_t)(DsgDesign** design, const char* file, int32_t type);

/* ---- orva_hal ---- */
typedef int32_t (*OHalInitDevice_t)(uint32_t boardIndex, OHalDevice** device);
typedef int32_t (*OHalRegisterRead_t)(OHalDevice* device, uint32_t reg, uint64_t* value);
/* The 64-bit value comes as two 32-bit halves, low first. */
typedef int32_t (*OHalRegisterWrite_t)(OHalDevice* device, uint32_t reg, uint32_t low, uint32_t high);
/* Index of the board in the system; `reserved` is 0. */
typedef int32_t (*OHalGetBoardIndex_t)(OHalDevice* device, int32_t reserved);
/* Keys in use: "board/type", "board/serial", "board/ports". Negative when the
 * key is unknown. */
typedef int64_t (*OHalGetBoardInfoInt_t)(OHalDevice* device, const char* key);

/* Data queues. Read: bytes delivered, 0 when nothing came within the
 * time-out, or a negative status. Write: bytes taken or a negative status. */
typedef int32_t (*OHalDataQueueReadBufferLong_t)(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes,
                                                 uint32_t timeoutMs);
typedef int32_t (*OHalDataQueueWriteBufferLong_t)(OHalDevice* device, uint32_t queue, const void* buffer,
                                                  uint32_t bytes, uint32_t timeoutMs);
typedef int32_t (*OHalDataQueueReadBuffer_t)(OHalDevice* device, uint32_t queue, void* buffer, uint32_t bytes,
                                             uint32_t timeoutMs);
typedef int32_t (*OHalDataQueueWriteBuffer_t)(OHalDevice* device, uint32_t queue, const void* buffer, uint32_t bytes,
                                              uint32_t timeoutMs);
/* 32-bit words waiting in the queue, or a negative status. */
typedef int32_t (*OHalDataQueueGetNrOfWords_t)(OHalDevice* device, uint32_t queue);
typedef int32_t (*OHalDataQueueClear_t)(OHalDevice* device, uint32_t queue);
typedef int32_t (*OHalDataQueueFlush_t)(OHalDevice* device, uint32_t queue);
/* 0 when the calling process now owns the queue. */
typedef int32_t (*OHalDataQueueAcquireLock_t)(OHalDevice* device, uint32_t queue);
typedef int32_t (*OHalDataQueueReleaseLock_t)(OHalDevice* device, uint32_t queue);

/* Camera Link serial ports. */
typedef int32_t (*OHalClSerInit_t)(OHalDevice* device, uint32_t port, uint32_t baudRate, int32_t* rxQueue,
                                   int32_t* txQueue);
typedef int32_t (*OHalClSerSetBaudrate_t)(OHalDevice* device, uint32_t port, uint32_t baudRate);
/* Status word of the camera at a port; bit 0: a camera is present. */
typedef uint32_t (*OHalGetCameraStatusExtended_t)(OHalDevice* device, uint32_t port);

/* Camera control interface of the newer boards. */
typedef int32_t (*OHalCameraCtrlIsAvailable_t)(OHalDevice* device);
typedef int32_t (*OHalCameraCtrlReset_t)(OHalDevice* device);
typedef int32_t (*OHalCameraCtrlSetPortMap_t)(OHalDevice* device, uint32_t lowWord, uint32_t highWord);
typedef int32_t (*OHalCameraCtrlSetPortPowerState_t)(OHalDevice* device, uint32_t port, uint32_t state);
typedef int32_t (*OHalCameraCtrlSetPortDataPathState_t)(OHalDevice* device, uint32_t port, uint32_t state);
typedef int32_t (*OHalCameraCtrlSetPortDataPathSpeed_t)(OHalDevice* device, uint32_t port, uint32_t speed);
typedef int32_t (*OHalCameraCtrlSetPortCxpStandardVersion_t)(OHalDevice* device, uint32_t port, uint32_t version);
typedef int32_t (*OHalCameraCtrlSetPortCxpLedState_t)(OHalDevice* device, uint32_t port, uint32_t state);

/* Firmware read-back; older libraries export it as OHalBx4ReadSPI. */
typedef int32_t (*OHalReadFirmware_t)(OHalDevice* device, uint32_t address, void* buffer, uint32_t bytes);

/* ---- gblib5 ---- */
/* Opens board `boardIndex` with its loaded design and gives the grabber
 * handle; null when there is no such board. */
typedef Gb_Struct_s* (*Gb_InitEx_t)(uint32_t boardIndex, const char* design, int32_t flags);
typedef int32_t (*Gb_FreeGrabber_t)(Gb_Struct_s* grabber);
typedef int32_t (*Gb_FreeLibraries_t)(void);

#ifdef __cplusplus
}
#endif

#endif
