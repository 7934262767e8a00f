/* The common logging dispatcher: writes the lines of the library's loggers
 * with spdlog, one line per message:
 *
 *   2024-05-01T12:34:56.789+02:00 [warning] [orva.genicam.lib] thread-id=123|message
 *
 * time (local, milliseconds, UTC offset), level name (trace, debug, info,
 * warning, error, critical), logger name, and the text as given.
 *
 * Environment, read when the first connection is made (again after every
 * connection has gone):
 *   ORVA_LOG       thresholds per logger name, comma-separated `pattern=level`
 *                  items, e.g. "orva.genicam.lib=1,orva.genicam.*=debug,*=4".
 *                  A pattern is an exact name, a prefix ending in '*', or '*'
 *                  alone; an exact name beats any prefix, a longer prefix
 *                  beats a shorter one. Levels: 1..7 or trace, debug, info,
 *                  warning, error, off. A line passes when its level is not
 *                  below the threshold; 7 lets nothing pass. Malformed items
 *                  are skipped and named in one warning line. Loggers no item
 *                  matches have threshold 5 (errors only).
 *   ORVA_LOG_FILE  file the lines are appended to; standard error when unset,
 *                  empty, or when the file can't be opened (with a warning).
 */
#ifndef ORVA_COMMON_LOGGING_DISPATCHER_H
#define ORVA_COMMON_LOGGING_DISPATCHER_H

#include "LoggingDispatcher.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define COMMON_LOGGING_DISPATCHER_API __attribute__((visibility("default")))
#else
#define COMMON_LOGGING_DISPATCHER_API
#endif

#define COMMON_LOGGING_DISPATCHER_LIBRARY "libcommon-logging-dispatcher.so"
#define COMMON_LOGGING_DISPATCHER_ENV_LEVELS "ORVA_LOG"
#define COMMON_LOGGING_DISPATCHER_ENV_FILE "ORVA_LOG_FILE"
#define LOGGING_DISPATCHER_SET_LEVELS_SYMBOL "logging_dispatcher_set_levels"

/* Looked up by the library under LOGGING_DISPATCHER_DESCRIPTOR_SYMBOL.
 *
 * Several connections may be open at once, one per token; each gets the
 * onSetLevel calls, and output stops when the last one disconnects.
 * Connecting again with a token already connected only replaces its
 * callbacks. Ids are nonzero and stay the same for a name as long as the
 * dispatcher is loaded. Without a connection getLogger gives id 0 and level 7
 * and log writes nothing. When the dispatcher is unloaded while connections
 * remain, each of them gets onDisconnect. */
extern COMMON_LOGGING_DISPATCHER_API const LoggingDispatcherDescriptor logging_dispatcher_descriptor;

/* Replaces the thresholds in force by those of `rules` (same syntax as
 * ORVA_LOG; names no item matches fall back to 5), for existing loggers and
 * for those created later, and calls every connection's onSetLevel for each
 * logger whose threshold changed, so that the change is seen at once.
 * Returns 0, or -1 when `rules` is null or has a malformed item; then nothing
 * changes. */
COMMON_LOGGING_DISPATCHER_API int32_t logging_dispatcher_set_levels(const char* rules);

typedef int32_t (*LoggingDispatcherSetLevels)(const char* rules);

#ifdef __cplusplus
}
#endif

#endif
