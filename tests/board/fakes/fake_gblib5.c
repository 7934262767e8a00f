/* A grabber library whose FreeLibraries is observable. */
#include <stdint.h>

#define EXPORT __attribute__((visibility("default")))

static int freed;

EXPORT void* Gb_InitEx(uint32_t boardIndex, const char* design, int32_t flags) {
    (void)boardIndex;
    (void)design;
    (void)flags;
    return 0;
}

EXPORT int32_t Gb_FreeLibraries(void) {
    return ++freed;
}
