/* A design runtime that knows one register. */
#include <stdint.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

EXPORT int32_t DsgLoadDsgFileWithType(void** design, const char* file, int32_t type) {
    (void)design;
    (void)file;
    (void)type;
    return 0;
}

EXPORT int32_t DsgGetRegisterByName(void* design, const char* name) {
    (void)design;
    return strcmp(name, "BoardVersion") == 0 ? 7 : 0;
}
