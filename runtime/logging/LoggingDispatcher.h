/* Interface between the library's loggers and a logging dispatcher library.
 *
 * A dispatcher is a shared library that exports the data symbol
 * "logging_dispatcher_descriptor" of type LoggingDispatcherDescriptor. The
 * library connects to it once and from then on asks it for loggers by name
 * and hands it the lines that pass a logger's level.
 */
#ifndef ORVA_LOGGING_DISPATCHER_H
#define ORVA_LOGGING_DISPATCHER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The dispatcher is going away: forward nothing more. */
typedef void (*LoggingOnDisconnect)(void);
/* The dispatcher changed the level of logger `id`. */
typedef void (*LoggingOnSetLevel)(uint32_t id, uint32_t level);
/* Filled by the dispatcher: id and level of a named logger. */
typedef void (*LoggingGetLogger)(const char* name, uint32_t* id, uint32_t* level);
/* Filled by the dispatcher: one finished line of logger `id`. */
typedef void (*LoggingLog)(uint32_t id, uint32_t level, const char* text, uint32_t reserved0, uint32_t reserved1);

typedef struct LoggingDispatcherDescriptor {
    /* Returns 0 on success; fills *getLogger and *log. `logging` is an
     * opaque token that disconnect gets back. */
    int32_t (*connect)(void* logging, LoggingOnDisconnect onDisconnect, LoggingOnSetLevel onSetLevel,
                       LoggingGetLogger* getLogger, LoggingLog* log);
    void (*disconnect)(void* logging);
} LoggingDispatcherDescriptor;

#define LOGGING_DISPATCHER_DESCRIPTOR_SYMBOL "logging_dispatcher_descriptor"

#ifdef __cplusplus
}
#endif

#endif
