// Link events.
#include "impl/core/CDriver.h"
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"

using orva::genicam::CallGuarded;
using orva::genicam::HandleText;

namespace {
// The internal function entry answers every call alike.
constexpr int32_t kNoInternalFunction = -1;
} // namespace

extern "C" {

TGX_API int32_t Tgx_RegisterEventCallback(TgxBoardHandle* board, TgxEventCallback callback, void* context) {
    return CallGuarded("Tgx_RegisterEventCallback", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_RegisterEventCallback", [&] { return HandleText(board); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
        }
        return frame.Return(static_cast<orva::core::CDriver*>(board)->RegisterEventCallback(callback, context));
    });
}

TGX_API int32_t Tgx_registerBoardEventCallback(TgxBoardHandle* board, TgxEventCallback callback, void* context) {
    return TGX_ERR_NOT_IMPLEMENTED;
}

TGX_API int32_t Tgx_registerCameraEventCallback(TgxCameraHandle* camera, TgxEventCallback callback, void* context) {
    return TGX_ERR_NOT_IMPLEMENTED;
}

TGX_API int32_t Tgx_callInternalFunction(TgxBoardHandle* board, uint32_t function, void* argument) {
    return kNoInternalFunction;
}

} // extern "C"
