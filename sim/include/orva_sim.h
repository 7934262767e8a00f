/* Control interface of the simulated frame grabber boards.
 *
 * The simulated boards live in POSIX shared memory, one object per board,
 * grouped in a namespace: the environment variable ORVA_SIM_NAMESPACE
 * (default "default") at the time of each call. Every program that opens a
 * board of one namespace sees the same board, as with hardware.
 *
 * The board libraries (orva_hal, dsgrt, gblib5) and this interface return the
 * same statuses: 0 or more is success, negative is one of ORVA_SIM_ERR_*.
 * After a failure of a function of this header, orva_sim_last_error() gives a
 * text that says what went wrong (per thread).
 */
#ifndef ORVA_SIM_H
#define ORVA_SIM_H

#include <stdint.h>

#include "runtime/board/OrvaBoardApi.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ORVA_SIM_API __attribute__((visibility("default")))

#define ORVA_SIM_OK 0
#define ORVA_SIM_ERR_INTERNAL (-1)
#define ORVA_SIM_ERR_INVALID_HANDLE (-2)
#define ORVA_SIM_ERR_INVALID_ARGUMENT (-3)
#define ORVA_SIM_ERR_NO_SUCH_BOARD (-4)
#define ORVA_SIM_ERR_NO_SUCH_REGISTER (-5)
#define ORVA_SIM_ERR_NO_SUCH_QUEUE (-6)
#define ORVA_SIM_ERR_NO_SUCH_PORT (-7)
#define ORVA_SIM_ERR_WRONG_DIRECTION (-8)
#define ORVA_SIM_ERR_BUSY (-9)
#define ORVA_SIM_ERR_NOT_SUPPORTED (-10)
#define ORVA_SIM_ERR_SCENARIO (-11)
#define ORVA_SIM_ERR_STATE (-12)
#define ORVA_SIM_ERR_SYSTEM (-13)
#define ORVA_SIM_ERR_NO_CAMERA (-14)
#define ORVA_SIM_ERR_UNKNOWN_FAULT (-15)
#define ORVA_SIM_ERR_UNKNOWN_KEY (-16)
#define ORVA_SIM_ERR_NOT_OWNER (-17)
#define ORVA_SIM_ERR_TIMEOUT (-18)

/* Port power states. */
#define ORVA_SIM_POWER_OFF 0
#define ORVA_SIM_POWER_ON 1
/* Switched off by an over-current; stays so until power is switched again. */
#define ORVA_SIM_POWER_TRIPPED 2

#define ORVA_SIM_NAME_BYTES 48

typedef struct orva_sim_board_info {
    uint32_t index;
    uint32_t type;
    uint64_t serial;
    uint32_t ports;
    char design[ORVA_SIM_NAME_BYTES];
} orva_sim_board_info;

typedef struct orva_sim_port_info {
    uint32_t power;         /* ORVA_SIM_POWER_* */
    uint32_t plugged;       /* 1 when the camera's cable is in */
    uint32_t dataPathState; /* as last set through the camera control */
    uint32_t dataPathSpeed;
    uint32_t cxpVersion;
    uint32_t ledState;
    uint32_t serialBaud;             /* 0 until the serial port is opened */
    int32_t camera;                  /* index of the camera cabled here, -1 if none */
    uint32_t link;                   /* link number of this port in that camera */
    uint64_t portMap;                /* the board's port map (same for every port) */
    char model[ORVA_SIM_NAME_BYTES]; /* model of that camera, "" if none */
} orva_sim_port_info;

/* Text of the last failure of this thread, "" if none. */
ORVA_SIM_API const char* orva_sim_last_error(void);
/* Fixed text of a status. */
ORVA_SIM_API const char* orva_sim_status_text(int32_t status);
/* The namespace the next call works in. */
ORVA_SIM_API const char* orva_sim_namespace(void);

/* Loads a scenario (file or JSON text) into the namespace, replacing the
 * boards there: registers, queues, ports and cameras start anew. */
ORVA_SIM_API int32_t orva_sim_load_file(const char* path);
ORVA_SIM_API int32_t orva_sim_load_text(const char* json);
/* Starts the loaded scenario anew; loads the default one if none was. */
ORVA_SIM_API int32_t orva_sim_reset(void);
/* Removes every shared object of the namespace. Open handles then fail with
 * ORVA_SIM_ERR_STATE; the next open loads the scenario again. */
ORVA_SIM_API int32_t orva_sim_destroy(void);

/* Fills up to `capacity` records in order of board index and returns the
 * number of boards (which may exceed `capacity`). */
ORVA_SIM_API int32_t orva_sim_list_boards(orva_sim_board_info* boards, uint32_t capacity);
ORVA_SIM_API int32_t orva_sim_get_port_info(uint32_t board, uint32_t port, orva_sim_port_info* info);

/* Cable of a port: plugged (1) or pulled (0). */
ORVA_SIM_API int32_t orva_sim_plug(uint32_t board, uint32_t port, int32_t plugged);
/* Power of a port: ORVA_SIM_POWER_OFF, _ON or _TRIPPED (an over-current). */
ORVA_SIM_API int32_t orva_sim_set_power(uint32_t board, uint32_t port, uint32_t state);
/* Power state of a port (>= 0) or a negative status. */
ORVA_SIM_API int32_t orva_sim_get_power(uint32_t board, uint32_t port);

/* Arms `count` occurrences of fault `name` at the camera on a port; 0 clears
 * it. The camera model decides what the fault does and which names it knows;
 * an unknown name gives ORVA_SIM_ERR_UNKNOWN_FAULT. */
ORVA_SIM_API int32_t orva_sim_inject_fault(uint32_t board, uint32_t port, const char* name, uint32_t count);
/* Occurrences of a fault still armed at a port (>= 0) or a negative status. */
ORVA_SIM_API int32_t orva_sim_pending_fault(uint32_t board, uint32_t port, const char* name);

/* Reads the persistent memory of the camera on a port (the model's own
 * register space, kept in the board's shared memory). Returns bytes read. */
ORVA_SIM_API int32_t orva_sim_read_camera_memory(uint32_t board, uint32_t port, uint32_t offset, void* buffer,
                                                 uint32_t bytes);

/* The two handles of a grabber handle of gblib5; checks that the handle is a
 * live one. Either output may be null. */
ORVA_SIM_API int32_t orva_sim_grabber_handles(const Gb_Struct_s* grabber, OHalDevice** device, DsgDesign** design);

#ifdef __cplusplus
}
#endif

#endif
