/* Compiled, never run: the public header must be valid ISO C (C99 and C11,
 * pedantic) and declare every exported function. A missing or misspelled
 * declaration fails the build here. */
#include "tgx_genicam.h"

#include <stddef.h>

/* Compile-time assertion that needs neither C11 nor a statement context. */
#define TGX_CHECK(tag, condition) typedef char tgx_check_##tag[(condition) ? 1 : -1]

/* void (*)(void) is the generic function pointer type that -Wcast-function-type
 * accepts for any function. */
typedef void (*TgxAnyFunction)(void);

#define TGX_EXPORT(name) (TgxAnyFunction)(&name),
const TgxAnyFunction tgx_header_c_check_functions[] = {
#include "exported_functions.inc"
};
#undef TGX_EXPORT

TGX_CHECK(function_count, sizeof tgx_header_c_check_functions / sizeof tgx_header_c_check_functions[0] == 77);

/* Applications read these records in place. */
TGX_CHECK(event_record_size, sizeof(TgxEventRecord) == 6);
TGX_CHECK(event_record_id, offsetof(TgxEventRecord, id) == 0);
TGX_CHECK(event_record_port_mask, offsetof(TgxEventRecord, portMask) == 2);
TGX_CHECK(camera_info_size, sizeof(TgxCameraInfo) == 8 * sizeof(const char*));
TGX_CHECK(camera_info_first, offsetof(TgxCameraInfo, deviceName) == 0);
TGX_CHECK(camera_info_serial, offsetof(TgxCameraInfo, serialNumber) == 6 * sizeof(const char*));
TGX_CHECK(camera_info_last, offsetof(TgxCameraInfo, userId) == 7 * sizeof(const char*));

/* The status constants must be usable in integer constant expressions, e.g.
 * as case labels. */
TGX_CHECK(status_constants, TGX_OK == 0 && TGX_ERR_INVALID_DATA == -1014 && TGX_ERR_CXP_ACK_TIMEOUT == -256);

/* An application's event function must match TgxEventCallback as written. */
static int32_t tgx_check_on_event(TgxBoardHandle* board, uint32_t reserved, const TgxEventRecord* record,
                                  void* context) {
    (void)board;
    (void)reserved;
    (void)context;
    return record->id == TGX_EVENT_LINK_UP ? TGX_OK : TGX_ERR_INVALID_DATA;
}
const TgxEventCallback tgx_header_c_check_callback = tgx_check_on_event;
