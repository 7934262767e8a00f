// Board and camera properties.
#include <string>

#include "impl/core/CCameraInterface.h"
#include "impl/core/CDriver.h"
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"

using orva::core::CCameraInterface;
using orva::core::CDriver;
using orva::genicam::CallGuarded;
using orva::genicam::HandleText;

namespace {

std::string PropertyText(const char* name) {
    return std::string("Property: ") + (name != nullptr ? name : "");
}

// The three checks every property function makes, in their order.
template <class Frame>
int32_t CheckPropertyCall(Frame& frame, const void* handle, const char* name, const void* value,
                          const char* valueMessage) {
    if (handle == nullptr) {
        return frame.Fail("Invalid boardHandle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    if (name == nullptr || *name == '\0') {
        return frame.Fail("Invalid propertyName", TGX_ERR_INVALID_ARGUMENT);
    }
    if (value == nullptr) {
        return frame.Fail(valueMessage, TGX_ERR_INVALID_ARGUMENT);
    }
    return TGX_OK;
}

} // namespace

extern "C" {

TGX_API int32_t Tgx_getBoardPropertyWithType(TgxBoardHandle* board, const char* name, void* value, uint32_t type,
                                             uint32_t* extra) {
    return CallGuarded("Tgx_getBoardPropertyWithType", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_getBoardPropertyWithType", [&] { return HandleText(board); }, [&] { return PropertyText(name); });
        if (const int32_t status = CheckPropertyCall(frame, board, name, value, "Invalid value"); status != TGX_OK) {
            return status;
        }
        return frame.Return(static_cast<CDriver*>(board)->GetBoardProperty(name, value, type, extra));
    });
}

TGX_API int32_t Tgx_setBoardPropertyWithType(TgxBoardHandle* board, const char* name, void* value, uint32_t type,
                                             uint32_t* extra) {
    return CallGuarded("Tgx_setBoardPropertyWithType", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_setBoardPropertyWithType", [&] { return HandleText(board); }, [&] { return PropertyText(name); });
        if (const int32_t status = CheckPropertyCall(frame, board, name, value, "Invalid propertyValuePtr");
            status != TGX_OK) {
            return status;
        }
        return frame.Return(static_cast<CDriver*>(board)->SetBoardProperty(name, value, type, extra));
    });
}

TGX_API int32_t Tgx_getCameraPropertyWithType(TgxCameraHandle* camera, const char* name, void* value,
                                              const uint32_t* type, uint32_t* extra) {
    return CallGuarded("Tgx_getCameraPropertyWithType", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_getCameraPropertyWithType", [&] { return HandleText(camera); }, [&] { return PropertyText(name); });
        if (const int32_t status = CheckPropertyCall(frame, camera, name, value, "Invalid propertyValuePtr");
            status != TGX_OK) {
            return status;
        }
        if (type == nullptr) {
            return frame.Fail("Invalid propertyType", TGX_ERR_INVALID_ARGUMENT);
        }
        return frame.Return(static_cast<CCameraInterface*>(camera)->GetProperty(name, value, *type, extra));
    });
}

TGX_API int32_t Tgx_setCameraPropertyWithType(TgxCameraHandle* camera, const char* name, void* value, uint32_t type,
                                              uint32_t* extra) {
    return CallGuarded("Tgx_setCameraPropertyWithType", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_setCameraPropertyWithType", [&] { return HandleText(camera); }, [&] { return PropertyText(name); });
        if (const int32_t status = CheckPropertyCall(frame, camera, name, value, "Invalid propertyValuePtr");
            status != TGX_OK) {
            return status;
        }
        return frame.Return(static_cast<CCameraInterface*>(camera)->SetProperty(name, value, type, extra));
    });
}

} // extern "C"
