/* tgx_genicam.h - C interface of libtgx_genicam.
 *
 * Reaches the cameras behind a frame grabber board: discovery, GenICam
 * features, registers and memory, properties, configuration files and link
 * events. The header compiles as C99/C11 and as C++.
 *
 * Conventions:
 * - Functions return a signed 32-bit status: TGX_OK (0) or a negative
 *   TGX_ERR_ code; the few exceptions say so in their comment.
 *   Tgx_getErrorDescription() turns a status into text.
 * - Handles are pointers to incomplete types; the library only tests them for
 *   null, so a freed or foreign handle is not detected.
 * - Camera handles die at every scan of their port and at Tgx_freeBoard().
 * - Texts handed out by the library stay owned by it; never free them.
 * - Any thread may call any function.
 * - The library reads environment variables at any time (settings at each
 *   query, the GenICam variables around a connection, which it also sets)
 *   under a lock of its own. The application's own getenv(), setenv() and
 *   putenv() calls are outside that lock: do not change the environment
 *   while another thread may be in the library.
 */
#ifndef TGX_GENICAM_H
#define TGX_GENICAM_H

#include <stdint.h>

#define TGX_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Status codes                                                              */
/* ------------------------------------------------------------------------ */

#define TGX_OK 0

/* General */
#define TGX_ERR_INVALID_CAMERA_HANDLE (-1000)
#define TGX_ERR_INVALID_BOARD_HANDLE (-1001)
#define TGX_ERR_FILE_NOT_FOUND (-1002)
#define TGX_ERR_INVALID_FILENAME (-1003)
#define TGX_ERR_FILE_ACCESS (-1006)
#define TGX_ERR_NO_DATA (-1008)
#define TGX_ERR_VALUE_OUT_OF_RANGE (-1009)
#define TGX_ERR_NO_INTERFACE (-1010)
#define TGX_ERR_BOARD_NOT_SUPPORTED (-1011)
#define TGX_ERR_BUFFER_TOO_SMALL (-1012)
#define TGX_ERR_ACCESS_DENIED (-1013)
/* Data received or read makes no sense. Has no description text. */
#define TGX_ERR_INVALID_DATA (-1014)
#define TGX_ERR_BLOCKED (-1015)
#define TGX_ERR_NO_EVENT_HANDLER (-1016)
#define TGX_ERR_INVALID_POINTER (-1017)
#define TGX_ERR_OUT_OF_MEMORY (-1018)
/* CoaXPress links did not lock at a speed. Has no description text. */
#define TGX_ERR_LINK_LOCK_TIMEOUT (-1020)

/* GenICam layer */
#define TGX_ERR_NO_GENICAM_CONNECTION (-1100)
#define TGX_ERR_UNKNOWN_PROPERTY (-1101)
#define TGX_ERR_INVALID_FEATURE (-1102)
#define TGX_ERR_INVALID_COMMAND (-1103)
#define TGX_ERR_FEATURE_WRITE_ONLY (-1104)
#define TGX_ERR_FEATURE_READ_ONLY (-1105)
#define TGX_ERR_GENICAM_EXCEPTION (-1198)

/* Links and discovery */
#define TGX_ERR_INVALID_LINK_SPEED (-1200)
#define TGX_ERR_INVALID_LINK_INDEX (-1201)
#define TGX_ERR_STREAM_PACKET_SIZE_REJECTED (-1202)
#define TGX_ERR_LINK_COMBINATION_REJECTED (-1203)
#define TGX_ERR_EXTENSION_LINK_MISMATCH (-1204)
#define TGX_ERR_STREAM_PACKET_SIZE_NOT_ACCEPTED (-1205)
#define TGX_ERR_LINK_LAYOUT_MISMATCH (-1206)
#define TGX_ERR_LINK_TIMEOUT (-1207)
#define TGX_ERR_INVALID_PORT (-1208)
#define TGX_ERR_NO_MASTER_CONNECT (-1209)
#define TGX_ERR_NO_CAMERA_FOUND (-1210)
#define TGX_ERR_NO_PHYSICAL_CONNECTION (-1211)
#define TGX_ERR_NO_MASTER (-1212)
#define TGX_ERR_DISCOVERY_INFO_INCOMPLETE (-1213)

/* Camera Link HS command core */
#define TGX_ERR_CLHS_NO_COMMAND_WORD (-1501)
#define TGX_ERR_CLHS_TX_BUFFER_FULL (-1502)
#define TGX_ERR_CLHS_RECEIVE_FAILED (-1503)
#define TGX_ERR_CLHS_TX_BUSY_TIMEOUT (-1504)
#define TGX_ERR_CLHS_SEND_FAILED (-1505)
#define TGX_ERR_CLHS_LLDEVICEID_REJECTED (-1506)
#define TGX_ERR_CLHS_LLDEVICEID_READBACK (-1507)

/* GenCP transport, host side */
#define TGX_ERR_GENCP_CRC (-1601)
#define TGX_ERR_GENCP_RETRIES_EXHAUSTED (-1602)
#define TGX_ERR_GENCP_INVALID_PACKET (-1603)
#define TGX_ERR_GENCP_NO_ACK (-1604)
#define TGX_ERR_GENCP_UNKNOWN_DEVICE_ERROR (-1605)
#define TGX_ERR_GENCP_SHORT_READ (-1606)
#define TGX_ERR_GENCP_NO_READ_DATA (-1607)
#define TGX_ERR_GENCP_PENDING_ACK (-1608)
#define TGX_ERR_GENCP_PENDING_OTHER_REQID (-1609)
#define TGX_ERR_GENCP_PENDING_UNKNOWN_ERROR (-1610)
#define TGX_ERR_GENCP_UNEXPECTED_ACK (-1611)

/* Arguments, internal faults, caught exceptions */
#define TGX_ERR_INVALID_DATA_TYPE (-1990)
#define TGX_ERR_INVALID_ARGUMENT (-1991)
/* A CoaXPress read of packet data ran out of time. Has no description text. */
#define TGX_ERR_PACKET_TIMEOUT (-1997)
#define TGX_ERR_INTERNAL (-1998)
#define TGX_ERR_EXCEPTION (-1999)
#define TGX_ERR_NOT_IMPLEMENTED (-2000)

/* GenCP status of the camera: the negated status word */
#define TGX_ERR_GENCP_NOT_IMPLEMENTED (-32769)
#define TGX_ERR_GENCP_INVALID_PARAMETER (-32770)
#define TGX_ERR_GENCP_INVALID_ADDRESS (-32771)
#define TGX_ERR_GENCP_WRITE_PROTECT (-32772)
#define TGX_ERR_GENCP_BAD_ALIGNMENT (-32773)
#define TGX_ERR_GENCP_ACCESS_DENIED (-32774)
#define TGX_ERR_GENCP_BUSY (-32775)
#define TGX_ERR_GENCP_MSG_TIMEOUT (-32779)
#define TGX_ERR_GENCP_INVALID_HEADER (-32782)
#define TGX_ERR_GENCP_WRONG_CONFIG (-32783)
#define TGX_ERR_GENCP_GENERIC (-36863)

/* Board runtime libraries */
#define TGX_ERR_BOARD_INIT (-40018)
#define TGX_ERR_INCOMPATIBLE_LIBRARY (-40019)
#define TGX_ERR_LIBRARY_NOT_LOADED (-40020)

/* CoaXPress acknowledge of the camera: the negated acknowledge status */
#define TGX_ERR_CXP_INVALID_ADDRESS (-64)
#define TGX_ERR_CXP_INVALID_DATA (-65)
#define TGX_ERR_CXP_INVALID_OPCODE (-66)
#define TGX_ERR_CXP_WRITE_READ_ONLY (-67)
#define TGX_ERR_CXP_READ_WRITE_ONLY (-68)
#define TGX_ERR_CXP_SIZE_TOO_LARGE (-69)
#define TGX_ERR_CXP_SIZE_INCONSISTENT (-70)
#define TGX_ERR_CXP_MALFORMED_PACKET (-71)
#define TGX_ERR_CXP_CRC (-128)
#define TGX_ERR_CXP_ACK_TIMEOUT (-256)

/* ------------------------------------------------------------------------ */
/* Types                                                                     */
/* ------------------------------------------------------------------------ */

/* Grabber handle of the board runtime; the library only reads it. */
struct Gb_Struct_s;

/* One frame grabber board, from Tgx_initBoard() to Tgx_freeBoard(). */
typedef struct TgxBoardHandle TgxBoardHandle;

/* One discovered camera (its master link), valid until the next scan of its
 * port or Tgx_freeBoard(). */
typedef struct TgxCameraHandle TgxCameraHandle;

/* Identity of a camera. A text the camera does not give is "". */
typedef struct TgxCameraInfo {
    const char* deviceName;
    const char* modelName;
    const char* familyName;
    const char* deviceVersion;
    const char* firmwareVersion;
    const char* manufacturerInfo;
    const char* serialNumber;
    const char* userId;
} TgxCameraInfo;

/* What Tgx_LoadConnectionProfile() made of each camera of the board. */
#define TGX_PROFILE_CAMERA_MISSING 0 /* not in the camera list */
#define TGX_PROFILE_LINK_FAILED 1    /* Tgx_LinkConnect() failed */
#define TGX_PROFILE_CONNECT_FAILED 2 /* link up, Tgx_connectCamera() failed */
#define TGX_PROFILE_CONNECTED 3

/* A board opened from a saved configuration, with its cameras. Allocated by
 * Tgx_LoadConnectionProfile(), released with everything it points to by
 * Tgx_UnloadConnectionProfile(). The three arrays have nrOfCameras entries. */
typedef struct TgxConnectionProfile {
    TgxBoardHandle* board;
    int32_t nrOfCameras;
    TgxCameraHandle** cameras;         /* null where the camera could not be had */
    const TgxCameraInfo** cameraInfos; /* null unless the link came up */
    int32_t* states;                   /* TGX_PROFILE_ values */
} TgxConnectionProfile;

/* Flags of Tgx_initBoard() / Tgx_initBoardEx(). */
#define TGX_INIT_FORCE_CORE_RESET 0x1u /* Camera Link HS boards only */

/* Commands of Tgx_powerSwitchExt(); other values do nothing. */
#define TGX_POWER_OFF 0u
#define TGX_POWER_ON 1u
#define TGX_POWER_CYCLE 2u /* off, 1000 ms pause, on */

/* Data types of a property value. */
#define TGX_PROPERTY_TYPE_UINT32 1u /* uint32_t */
#define TGX_PROPERTY_TYPE_DOUBLE 2u /* double */
#define TGX_PROPERTY_TYPE_STRING 3u /* char buffer of the caller */

/* Flag of Tgx_LoadCameraParameters(). */
#define TGX_LOAD_PARAMETERS_STOP_ON_ERROR 0x1u

/* Event ids. */
#define TGX_EVENT_LINK_UP 101u   /* the ports of portMask have got a link */
#define TGX_EVENT_LINK_DOWN 200u /* the ports of portMask have lost it */

/* Link event, six bytes without padding. Valid only during the callback. */
#pragma pack(push, 1)
typedef struct TgxEventRecord {
    uint16_t id;       /* TGX_EVENT_ value */
    uint32_t portMask; /* bit n for port n */
} TgxEventRecord;
#pragma pack(pop)

/* Event function of the application. Runs on a worker thread of the library,
 * never two at a time for one board. `reserved` is 0. The result is ignored.
 *
 * It may call the library, with two limits for its own board:
 * - While a scan of the board may run, it must not call the functions that
 *   wait for the camera list: Tgx_scanPorts(), Tgx_scanPortsEx(),
 *   Tgx_getCameraCount(), Tgx_getCamera(), Tgx_getCameraByIndex(),
 *   Tgx_isCameraAvailable(), Tgx_isCameraAvailableAtIndex(), the board
 *   property "NrOfCameras", Tgx_SaveBoardConfiguration() and
 *   Tgx_LoadBoardConfiguration(). A scan holds the list for the whole
 *   discovery, and the discovery waits for the very thread that runs the
 *   event function: both then stall until the scan's time-out.
 * - It must not free the board: Tgx_freeBoard() gives TGX_ERR_BLOCKED. */
typedef int32_t (*TgxEventCallback)(TgxBoardHandle* board, uint32_t reserved, const TgxEventRecord* record,
                                    void* context);

/* ------------------------------------------------------------------------ */
/* Library life cycle                                                        */
/* ------------------------------------------------------------------------ */

/* Takes one use of the library and binds the board runtime libraries. Optional:
 * the first Tgx_initBoard() does it too. A missing runtime library is not
 * reported here but by the first call that needs it. */
TGX_API void GenICamInit(void);

/* Gives one use back; the last use tears the library's state down. */
TGX_API void GenICamDeinit(void);

/* Description of a status code. Never null; "Unknown Error." for a code
 * without text. The text is static: do not free it. Needs no
 * initialisation, takes no lock. */
TGX_API const char* Tgx_getErrorDescription(int32_t code);

/* ------------------------------------------------------------------------ */
/* Board                                                                     */
/* ------------------------------------------------------------------------ */

/* Tgx_initBoardEx(grabber, flags, out, 0xFFFF, 0). */
TGX_API int32_t Tgx_initBoard(struct Gb_Struct_s* grabber, uint32_t flags, TgxBoardHandle** out);

/* Opens the board behind `grabber`, resets its controller and stores the new
 * handle in *out (null on failure). The handle holds one use of the library
 * until Tgx_freeBoard(). `portMask` is traced only; `reserved` is not read.
 * TGX_ERR_INVALID_ARGUMENT (null grabber or out), TGX_ERR_BOARD_NOT_SUPPORTED,
 * TGX_ERR_OUT_OF_MEMORY, TGX_ERR_BOARD_INIT (the board's controller failed to
 * start), or a status of the board. A failure gives the library's use back. */
TGX_API int32_t Tgx_initBoardEx(struct Gb_Struct_s* grabber, uint32_t flags, TgxBoardHandle** out, uint32_t portMask,
                                uint32_t reserved);

/* Closes the board; all its camera handles die. Must not overlap with other
 * calls on this board. TGX_ERR_INVALID_BOARD_HANDLE; TGX_ERR_BLOCKED when
 * called from the board's own event function, which runs on a thread of the
 * board: the board then stays open. */
TGX_API int32_t Tgx_freeBoard(TgxBoardHandle* board);

/* ------------------------------------------------------------------------ */
/* Discovery and camera access                                               */
/* ------------------------------------------------------------------------ */

/* Tgx_scanPortsEx(board, portMask, timeoutMs, speed, 0). */
TGX_API int32_t Tgx_scanPorts(TgxBoardHandle* board, uint32_t portMask, uint32_t timeoutMs, uint32_t speed);

/* Discovers the cameras on the ports of `portMask` and rebuilds the camera
 * list; every camera handle taken before must be fetched again. `speed` is
 * the technology's: for CoaXPress a bit rate in Mbit/s, 0 for automatic.
 * `flags` is unused. Blocks the camera list for the length of the discovery.
 * TGX_ERR_INVALID_PORT (mask 0, tested first), TGX_ERR_INVALID_BOARD_HANDLE,
 * discovery statuses; TGX_ERR_LINK_LAYOUT_MISMATCH comes with a filled list. */
TGX_API int32_t Tgx_scanPortsEx(TgxBoardHandle* board, uint32_t portMask, uint32_t timeoutMs, uint32_t speed,
                                uint32_t flags);

/* Number of cameras in the list; 0 for a null board. Not a status. */
TGX_API int32_t Tgx_getCameraCount(TgxBoardHandle* board);

/* Camera at `index` of the list into *out.
 * TGX_ERR_INVALID_BOARD_HANDLE, TGX_ERR_INVALID_ARGUMENT (index past the end). */
TGX_API int32_t Tgx_getCameraByIndex(TgxBoardHandle* board, uint32_t index, TgxCameraHandle** out);

/* Camera whose master link is on port `portIndex` into *out; stores null
 * and returns TGX_OK if there is none. TGX_ERR_INVALID_BOARD_HANDLE. */
TGX_API int32_t Tgx_getCamera(TgxBoardHandle* board, uint32_t portIndex, TgxCameraHandle** out);

/* 1 if the camera at port `portIndex` has its link, otherwise 0 (also for a
 * null board or no camera). A truth value, not a status. */
TGX_API int32_t Tgx_isCameraAvailable(TgxBoardHandle* board, uint32_t portIndex);

/* As Tgx_isCameraAvailable(), by place in the camera list. */
TGX_API int32_t Tgx_isCameraAvailableAtIndex(TgxBoardHandle* board, uint32_t index);

/* Identity of the camera, refreshed from the port at each call; null for a
 * null camera. The record belongs to the camera handle; the texts belong to
 * the board and stay valid until Tgx_freeBoard(), also after a refresh has
 * replaced them. A refresh (this call on another thread) writes only the
 * fields that changed, never clears the record, and the port's identity
 * that it copies changes from one whole reading of the camera to the next.
 * A field read while another thread refreshes gives the old or the new
 * text, each whole, but fields read one after the other may come from
 * different refreshes: copy them under a lock of your own if you need one
 * consistent identity. */
TGX_API const TgxCameraInfo* Tgx_getCameraInfo(TgxCameraHandle* camera);

/* Reads the camera's identity anew. Returns TGX_ERR_NOT_IMPLEMENTED even
 * though the update is done; TGX_ERR_INVALID_BOARD_HANDLE for a null camera. */
TGX_API int32_t Tgx_updateCameraInfos(TgxCameraHandle* camera);

/* Tests that the camera's link (made by the discovery) is up. `board` is not
 * used. TGX_ERR_NO_INTERFACE if the link is down, TGX_ERR_INVALID_BOARD_HANDLE
 * for a null camera. */
TGX_API int32_t Tgx_LinkConnect(TgxBoardHandle* board, TgxCameraHandle* camera);

/* Marks the camera as no longer GenICam-connected; the link and the node map
 * stay. TGX_ERR_INVALID_BOARD_HANDLE for a null camera. */
TGX_API int32_t Tgx_LinkDisconnect(TgxCameraHandle* camera);

/* Older names of Tgx_LinkConnect() and Tgx_LinkDisconnect(). */
TGX_API int32_t Tgx_CxpConnect(TgxBoardHandle* board, TgxCameraHandle* camera);
TGX_API int32_t Tgx_CxpDisconnect(TgxCameraHandle* camera);

/* Power cycle of the cameras on the ports of `portMask` (off, 1000 ms, on).
 * Boards without camera power do nothing. TGX_ERR_INVALID_PORT (mask 0),
 * TGX_ERR_INVALID_BOARD_HANDLE. */
TGX_API int32_t Tgx_powerSwitch(TgxBoardHandle* board, uint32_t portMask);

/* As Tgx_powerSwitch() with a TGX_POWER_ command. */
TGX_API int32_t Tgx_powerSwitchExt(TgxBoardHandle* board, uint32_t portMask, uint32_t command);

/* ------------------------------------------------------------------------ */
/* GenICam connection                                                        */
/* ------------------------------------------------------------------------ */

/* Builds the camera's node map from its GenICam description (fetched from
 * the camera unless one was set or loaded before). TGX_ERR_INVALID_CAMERA_HANDLE,
 * TGX_ERR_NO_PHYSICAL_CONNECTION, TGX_ERR_NO_INTERFACE (bad description), or
 * the status of fetching it. */
TGX_API int32_t Tgx_connectCamera(TgxCameraHandle* camera);

/* As Tgx_connectCamera() with the description read from `fileName`.
 * TGX_ERR_INVALID_FILENAME, TGX_ERR_FILE_NOT_FOUND, TGX_ERR_NO_DATA (empty
 * file), TGX_ERR_FILE_ACCESS, and the statuses of Tgx_connectCamera(). */
TGX_API int32_t Tgx_connectCameraWithExternalXml(TgxCameraHandle* camera, const char* fileName);

/* Drops the node map and its description. Nothing is sent to the camera.
 * TGX_ERR_INVALID_CAMERA_HANDLE. */
TGX_API int32_t Tgx_disconnectCamera(TgxCameraHandle* camera);

/* Fetches the camera's GenICam description into the camera handle.
 * TGX_ERR_INVALID_CAMERA_HANDLE, TGX_ERR_NO_PHYSICAL_CONNECTION,
 * TGX_ERR_NO_INTERFACE, or the status of the transfer. */
TGX_API int32_t Tgx_loadCameraXml(TgxCameraHandle* camera);

/* Copies the held description into `buffer`, without a terminating zero, and
 * its length into *size. With a null buffer only the length is stored.
 * TGX_ERR_INVALID_ARGUMENT (null size, or *size too small: *size then stays),
 * TGX_ERR_INVALID_CAMERA_HANDLE. */
TGX_API int32_t Tgx_getGenICamXML(TgxCameraHandle* camera, char* buffer, uint32_t* size);

/* Sets the description for the next connect; `xml` is read up to its
 * terminating zero, `size` is ignored. TGX_ERR_INVALID_ARGUMENT,
 * TGX_ERR_INVALID_CAMERA_HANDLE. */
TGX_API int32_t Tgx_setGenICamXML(TgxCameraHandle* camera, const char* xml, uint32_t size);

/* ------------------------------------------------------------------------ */
/* Features                                                                  */
/*                                                                           */
/* Common statuses: TGX_ERR_INVALID_CAMERA_HANDLE, TGX_ERR_INVALID_FEATURE    */
/* (empty or unknown name, or a feature of another type),                    */
/* TGX_ERR_NO_GENICAM_CONNECTION, TGX_ERR_INVALID_ARGUMENT (null pointer),   */
/* TGX_ERR_FEATURE_READ_ONLY on set, TGX_ERR_FEATURE_WRITE_ONLY on get,      */
/* TGX_ERR_EXCEPTION when the GenICam layer or the transfer fails.           */
/* ------------------------------------------------------------------------ */

/* Negative values are refused with TGX_ERR_INVALID_ARGUMENT. */
TGX_API int32_t Tgx_setIntegerValue(TgxCameraHandle* camera, const char* feature, int64_t value);
TGX_API int32_t Tgx_setFloatValue(TgxCameraHandle* camera, const char* feature, double value);
/* Any non-zero value is true. */
TGX_API int32_t Tgx_setBooleanValue(TgxCameraHandle* camera, const char* feature, uint32_t value);
TGX_API int32_t Tgx_setStringValue(TgxCameraHandle* camera, const char* feature, const char* value);
/* `value` is the symbolic name of an entry; TGX_ERR_INVALID_ARGUMENT if there
 * is no such entry. */
TGX_API int32_t Tgx_setEnumerationValue(TgxCameraHandle* camera, const char* feature, const char* value);

TGX_API int32_t Tgx_getIntegerValue(TgxCameraHandle* camera, const char* feature, int64_t* value);
TGX_API int32_t Tgx_getFloatValue(TgxCameraHandle* camera, const char* feature, double* value);
/* Stores 0 or 1. */
TGX_API int32_t Tgx_getBooleanValue(TgxCameraHandle* camera, const char* feature, uint32_t* value);
/* *value points to a copy owned by the camera handle, valid while it lives;
 * equal values give the same pointer. */
TGX_API int32_t Tgx_getStringValue(TgxCameraHandle* camera, const char* feature, const char** value);
/* Integer value of the current entry. */
TGX_API int32_t Tgx_getEnumerationValue(TgxCameraHandle* camera, const char* feature, int64_t* value);
/* Symbolic name of the current entry, owned as in Tgx_getStringValue().
 * TGX_ERR_INVALID_DATA if there is no current entry. */
TGX_API int32_t Tgx_getEnumerationValueAsString(TgxCameraHandle* camera, const char* feature, const char** value);

TGX_API int32_t Tgx_executeCommand(TgxCameraHandle* camera, const char* feature);
/* Stores 1 when the command has finished, otherwise 0. */
TGX_API int32_t Tgx_isCommandDone(TgxCameraHandle* camera, const char* feature, uint32_t* done);

/* Execute the camera commands "AcquisitionStart" / "AcquisitionStop"; the
 * board's data path is not touched. Statuses of Tgx_executeCommand(). */
TGX_API int32_t Tgx_startAcquisition(TgxCameraHandle* camera);
TGX_API int32_t Tgx_stopAcquisition(TgxCameraHandle* camera);

/* ------------------------------------------------------------------------ */
/* Registers and memory                                                      */
/*                                                                           */
/* Camera route: the camera's master port; only the low 32 bits of an        */
/* address are used; 2000 ms unless a time-out is given.                     */
/* TGX_ERR_INVALID_CAMERA_HANDLE, TGX_ERR_STREAM_PACKET_SIZE_REJECTED (link   */
/* not locked), TGX_ERR_INVALID_ARGUMENT (null buffer or length 0), or the   */
/* status of the transfer. Register values are host integers of big-endian   */
/* camera registers; memory is copied as it is.                              */
/* ------------------------------------------------------------------------ */

/* *value is written only on success. */
TGX_API int32_t Tgx_registerReadFromCamera(TgxCameraHandle* camera, uint32_t* value, uint64_t address);
TGX_API int32_t Tgx_registerWriteToCamera(TgxCameraHandle* camera, uint32_t value, uint64_t address);
TGX_API int32_t Tgx_stringReadFromCamera(TgxCameraHandle* camera, char* buffer, uint64_t address, uint32_t length);
TGX_API int32_t Tgx_memoryReadFromCamera(TgxCameraHandle* camera, void* buffer, uint64_t address, uint32_t length);
TGX_API int32_t Tgx_memoryReadFromCameraWithTimeout(TgxCameraHandle* camera, void* buffer, uint64_t address,
                                                    uint32_t length, uint32_t timeoutMs);
TGX_API int32_t Tgx_memoryWriteToCamera(TgxCameraHandle* camera, const void* buffer, uint64_t address, uint32_t length);
TGX_API int32_t Tgx_memoryWriteToCameraWithTimeout(TgxCameraHandle* camera, const void* buffer, uint64_t address,
                                                   uint32_t length, uint32_t timeoutMs);

/* ------------------------------------------------------------------------ */
/* Direct register access through a port of the board, with or without a    */
/* camera; 200 ms unless a time-out is given. The 64 variants use the low    */
/* 32 bits of the address. TGX_ERR_INVALID_BOARD_HANDLE,                     */
/* TGX_ERR_INVALID_POINTER (no port with this index),                        */
/* TGX_ERR_INVALID_ARGUMENT (null buffer or length pointer), or the status   */
/* of the transfer.                                                          */
/* ------------------------------------------------------------------------ */

/* The register's bytes are always swapped into a host value.
 * TGX_ERR_INVALID_DATA for a null `value`. */
TGX_API int32_t Tgx_DirectRegisterRead(TgxBoardHandle* board, uint32_t portIndex, uint32_t address, uint32_t* value);
TGX_API int32_t Tgx_DirectRegisterRead64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address, uint32_t* value);
/* *length bytes are read; *length is not written. */
TGX_API int32_t Tgx_DirectRegisterReadMem(TgxBoardHandle* board, uint32_t portIndex, uint32_t address, void* buffer,
                                          uint32_t* length);
TGX_API int32_t Tgx_DirectRegisterReadMem64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address, void* buffer,
                                            uint32_t* length);
TGX_API int32_t Tgx_DirectRegisterReadMemWithTimeOut(TgxBoardHandle* board, uint32_t portIndex, uint32_t address,
                                                     void* buffer, uint32_t* length, uint32_t timeoutMs);
TGX_API int32_t Tgx_DirectRegisterReadMemWithTimeOut64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address,
                                                       void* buffer, uint32_t* length, uint32_t timeoutMs);
/* Unlike the read, the value's bytes are swapped only if `swap` is non-zero. */
TGX_API int32_t Tgx_DirectRegisterWrite(TgxBoardHandle* board, uint32_t portIndex, uint32_t address, uint32_t value,
                                        uint32_t swap);
TGX_API int32_t Tgx_DirectRegisterWrite64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address, uint32_t value,
                                          uint32_t swap);
TGX_API int32_t Tgx_DirectRegisterWriteMem(TgxBoardHandle* board, uint32_t portIndex, uint32_t address,
                                           const void* buffer, uint32_t length);
TGX_API int32_t Tgx_DirectRegisterWriteMem64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address,
                                             const void* buffer, uint32_t length);
TGX_API int32_t Tgx_DirectRegisterWriteMemWithTimeOut(TgxBoardHandle* board, uint32_t portIndex, uint32_t address,
                                                      const void* buffer, uint32_t length, uint32_t timeoutMs);
TGX_API int32_t Tgx_DirectRegisterWriteMemWithTimeOut64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address,
                                                        const void* buffer, uint32_t length, uint32_t timeoutMs);

/* ------------------------------------------------------------------------ */
/* Properties                                                                */
/*                                                                           */
/* A value travels through `value` as the TGX_PROPERTY_TYPE_ given; `extra`  */
/* points to a port number (board) or link number 0..3 (camera) where the   */
/* property needs one. Names are case-sensitive.                             */
/* TGX_ERR_INVALID_BOARD_HANDLE (null handle, camera too),                   */
/* TGX_ERR_INVALID_ARGUMENT (null or empty name, null value, bad link),      */
/* TGX_ERR_NOT_IMPLEMENTED (unknown name), TGX_ERR_INVALID_DATA_TYPE.        */
/* A failed get leaves *value as it was.                                     */
/* ------------------------------------------------------------------------ */

TGX_API int32_t Tgx_setBoardPropertyWithType(TgxBoardHandle* board, const char* name, void* value, uint32_t type,
                                             uint32_t* extra);
TGX_API int32_t Tgx_getBoardPropertyWithType(TgxBoardHandle* board, const char* name, void* value, uint32_t type,
                                             uint32_t* extra);
TGX_API int32_t Tgx_setCameraPropertyWithType(TgxCameraHandle* camera, const char* name, void* value, uint32_t type,
                                              uint32_t* extra);
/* The type comes through a pointer, which is read only. */
TGX_API int32_t Tgx_getCameraPropertyWithType(TgxCameraHandle* camera, const char* name, void* value,
                                              const uint32_t* type, uint32_t* extra);

/* ------------------------------------------------------------------------ */
/* Configuration files and profiles                                         */
/* ------------------------------------------------------------------------ */

/* Writes the link groups of the connected cameras as an XML document, in
 * list order up to the first camera that is not connected. The document has
 * room for four cameras and takes none from a longer list: with five or more
 * cameras in the board's list, the first connected one gives
 * TGX_ERR_VALUE_OUT_OF_RANGE and no file is written (if the first camera of
 * the list is not connected, an empty document is written as always).
 * TGX_ERR_INVALID_BOARD_HANDLE, TGX_ERR_INVALID_FILENAME, TGX_ERR_FILE_ACCESS,
 * or the status of a camera property. */
TGX_API int32_t Tgx_SaveBoardConfiguration(TgxBoardHandle* board, const char* fileName);

/* Compares a saved document with the last discovery; changes nothing.
 * TGX_ERR_INVALID_BOARD_HANDLE, TGX_ERR_INVALID_FILENAME, TGX_ERR_EXCEPTION
 * (a difference), or the status of a camera property. */
TGX_API int32_t Tgx_LoadBoardConfiguration(TgxBoardHandle* board, const char* fileName);

/* Opens the board, discovers its cameras, checks them against the document
 * `fileName` and connects them; per-camera results are in the profile's
 * states. The discovery covers every port at automatic speed with a time-out
 * of 10 s (Tgx_scanPorts(board, 0xFFFF, 10000, 0)); while a master port of
 * the document still has no camera, those ports are scanned again within
 * the same 10 s, as cameras link one after the other. Finding no camera is
 * not a failure by itself, the comparison decides. *out is owned by the caller
 * until Tgx_UnloadConnectionProfile(); null on failure.
 * TGX_ERR_INVALID_ARGUMENT, TGX_ERR_OUT_OF_MEMORY, or a status of
 * Tgx_initBoard(), Tgx_scanPorts() or Tgx_LoadBoardConfiguration(). */
TGX_API int32_t Tgx_LoadConnectionProfile(struct Gb_Struct_s* grabber, const char* fileName,
                                          TgxConnectionProfile** out);

/* Disconnects the profile's cameras, frees its board and the profile.
 * TGX_ERR_INVALID_ARGUMENT for null. */
TGX_API int32_t Tgx_UnloadConnectionProfile(TgxConnectionProfile* profile);

/* Writes the board's link routing as a text file.
 * TGX_ERR_INVALID_BOARD_HANDLE, TGX_ERR_INVALID_FILENAME, TGX_ERR_FILE_ACCESS. */
TGX_API int32_t Tgx_StoreLowLevelLinkProfile(TgxBoardHandle* board, const char* fileName);

/* Nothing is applied yet: TGX_ERR_INVALID_ARGUMENT for a readable file,
 * TGX_ERR_FILE_ACCESS otherwise; TGX_ERR_INVALID_BOARD_HANDLE,
 * TGX_ERR_INVALID_FILENAME. */
TGX_API int32_t Tgx_RestoreLowLevelLinkProfile(TgxBoardHandle* board, const char* fileName);

/* Dumps the camera's feature values as "name=value" lines; read-only ones as
 * comments. TGX_ERR_INVALID_BOARD_HANDLE (null camera),
 * TGX_ERR_NO_GENICAM_CONNECTION, TGX_ERR_INVALID_FILENAME, TGX_ERR_EXCEPTION. */
TGX_API int32_t Tgx_SaveCameraParameters(TgxCameraHandle* camera, const char* fileName);

/* Applies a dump of Tgx_SaveCameraParameters(). Without
 * TGX_LOAD_PARAMETERS_STOP_ON_ERROR in `flags` lines that can't be applied
 * are passed over; with it the first one ends the load with
 * TGX_ERR_INVALID_FEATURE. Other statuses as for the save. */
TGX_API int32_t Tgx_LoadCameraParameters(TgxCameraHandle* camera, const char* fileName, uint32_t flags);

/* ------------------------------------------------------------------------ */
/* Events                                                                    */
/* ------------------------------------------------------------------------ */

/* Sets the board's one event function, replacing the earlier one; null ends
 * delivery. Blocks while an event is being delivered. Events that come
 * without a function are lost. TGX_ERR_INVALID_BOARD_HANDLE. */
TGX_API int32_t Tgx_RegisterEventCallback(TgxBoardHandle* board, TgxEventCallback callback, void* context);

/* Not supported: always TGX_ERR_NOT_IMPLEMENTED. */
TGX_API int32_t Tgx_registerBoardEventCallback(TgxBoardHandle* board, TgxEventCallback callback, void* context);
TGX_API int32_t Tgx_registerCameraEventCallback(TgxCameraHandle* camera, TgxEventCallback callback, void* context);

/* Reserved: always -1. */
TGX_API int32_t Tgx_callInternalFunction(TgxBoardHandle* board, uint32_t function, void* argument);

#ifdef __cplusplus
}
#endif

#endif /* TGX_GENICAM_H */
