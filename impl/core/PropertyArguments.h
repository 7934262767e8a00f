// What every property checks before it touches anything, in this order, and
// the property value types.
#pragma once

#include <cstdint>

#include "include/tgx_genicam.h"

namespace orva::core {

inline constexpr uint32_t kPropertyTypeUint32 = TGX_PROPERTY_TYPE_UINT32;
inline constexpr uint32_t kPropertyTypeDouble = TGX_PROPERTY_TYPE_DOUBLE;
inline constexpr uint32_t kPropertyTypeText = TGX_PROPERTY_TYPE_STRING;

// The board core's own properties: value pointer, value type. `extra` isn't
// looked at.
inline int32_t CheckPropertyArgs(const void* value, uint32_t type, const uint32_t* extra, uint32_t wantedType) {
    if (value == nullptr) {
        return TGX_ERR_INVALID_POINTER;
    }
    if (type != wantedType) {
        return TGX_ERR_INVALID_DATA_TYPE;
    }
    return TGX_OK;
}

// A technology's board properties: value pointer, value type, port argument
// present, port in range.
inline int32_t CheckPortPropertyArguments(const void* value, uint32_t type, uint32_t wantedType, const uint32_t* extra,
                                          uint32_t nrPorts) {
    if (const int32_t status = CheckPropertyArgs(value, type, extra, wantedType); status != TGX_OK) {
        return status;
    }
    if (extra == nullptr) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    if (*extra >= nrPorts) {
        return TGX_ERR_VALUE_OUT_OF_RANGE;
    }
    return TGX_OK;
}

// A camera's properties, all unsigned 32-bit: value pointer, value type, a
// port behind the camera.
inline int32_t CheckCameraPropertyArguments(const void* value, uint32_t type, const void* port) {
    if (const int32_t status = CheckPropertyArgs(value, type, nullptr, kPropertyTypeUint32); status != TGX_OK) {
        return status;
    }
    if (port == nullptr) {
        return TGX_ERR_VALUE_OUT_OF_RANGE;
    }
    return TGX_OK;
}

} // namespace orva::core
