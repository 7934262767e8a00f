// What every technology's board properties check before they touch the
// board, in this order, and the property value types.
#pragma once

#include <cstdint>

#include "include/tgx_genicam.h"

namespace orva::core {

inline constexpr uint32_t kPropertyTypeUint32 = TGX_PROPERTY_TYPE_UINT32;
inline constexpr uint32_t kPropertyTypeDouble = TGX_PROPERTY_TYPE_DOUBLE;
inline constexpr uint32_t kPropertyTypeText = TGX_PROPERTY_TYPE_STRING;

// Value pointer, value type, port argument present, port in range.
inline int32_t CheckPortPropertyArguments(const void* value, uint32_t type, uint32_t wantedType, const uint32_t* extra,
                                          uint32_t nrPorts) {
    if (value == nullptr) {
        return TGX_ERR_INVALID_POINTER;
    }
    if (type != wantedType) {
        return TGX_ERR_INVALID_DATA_TYPE;
    }
    if (extra == nullptr) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    if (*extra >= nrPorts) {
        return TGX_ERR_VALUE_OUT_OF_RANGE;
    }
    return TGX_OK;
}

} // namespace orva::core
