/* A board hardware library of an older generation: it lacks the camera
 * control port map and exports the firmware read-back only under its board
 * specific name. Registers answer with their own number. */
#include <stdint.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

EXPORT int32_t OHalInitDevice(uint32_t boardIndex, void** device) {
    (void)boardIndex;
    *device = 0;
    return 0;
}

EXPORT int32_t OHalRegisterRead(void* device, uint32_t reg, uint64_t* value) {
    (void)device;
    *value = 0x1000000000ull + reg;
    return 0;
}

static uint64_t lastWrite;

EXPORT int32_t OHalRegisterWrite(void* device, uint32_t reg, uint32_t low, uint32_t high) {
    (void)device;
    (void)reg;
    lastWrite = ((uint64_t)high << 32) | low;
    return 0;
}

/* Lets a test see how the forwarder split the value. */
EXPORT uint64_t FakeLastRegisterWrite(void) {
    return lastWrite;
}

EXPORT int32_t OHalBx4ReadSPI(void* device, uint32_t address, void* buffer, uint32_t bytes) {
    (void)device;
    memset(buffer, (int)(address & 0xFF), bytes);
    return (int32_t)bytes;
}

EXPORT int32_t OHalCameraCtrlIsAvailable(void* device) {
    (void)device;
    return 0;
}
