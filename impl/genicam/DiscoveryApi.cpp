// Discovery, cameras, links and power.
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
using orva::genicam::HandleTextAs;

namespace {

CDriver* Driver(TgxBoardHandle* board) {
    return static_cast<CDriver*>(board);
}
CCameraInterface* Camera(TgxCameraHandle* camera) {
    return static_cast<CCameraInterface*>(camera);
}

// Waits for the mask and the board, in that order.
template <class Frame> int32_t CheckMaskAndBoard(Frame& frame, TgxBoardHandle* board, uint32_t portMask) {
    if (portMask == 0) {
        return frame.Fail("Invalid Port Mask ", TGX_ERR_INVALID_PORT);
    }
    if (board == nullptr) {
        return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    return TGX_OK;
}

int32_t IsAvailable(CCameraInterface* camera) {
    return camera->GetPort() != nullptr && camera->GetPort()->IsConnected() ? 1 : 0;
}

int32_t LinkConnect(const char* name, TgxBoardHandle* board, TgxCameraHandle* camera) {
    // The link functions trace the camera under the board's handle type.
    TGX_API_FRAME(name, [&] { return HandleTextAs<TgxBoardHandle>(camera); });
    if (camera == nullptr) {
        return frame.Fail("Invalid boardHandle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    // The link itself was made by the discovery; this only tests it.
    return frame.Return(IsAvailable(Camera(camera)) != 0 ? TGX_OK : TGX_ERR_NO_INTERFACE);
}

int32_t LinkDisconnect(const char* name, TgxCameraHandle* camera) {
    TGX_API_FRAME(name, [&] { return HandleText(camera); });
    if (camera == nullptr) {
        return frame.Fail("Invalid boardHandle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    Camera(camera)->ReleaseLink();
    return frame.Return(TGX_OK);
}

int32_t PowerSwitch(const char* name, TgxBoardHandle* board, uint32_t portMask, uint32_t command, bool traceCommand) {
    TGX_API_FRAME(
        name, [&] { return ",port-mask=" + std::to_string(portMask) + HandleText(board); },
        [&] { return traceCommand ? "Command: " + std::to_string(command) : std::string(); });
    if (const int32_t status = CheckMaskAndBoard(frame, board, portMask); status != TGX_OK) {
        return status;
    }
    return frame.Return(Driver(board)->PowerSwitch(portMask, command));
}

} // namespace

extern "C" {

TGX_API int32_t Tgx_scanPortsEx(TgxBoardHandle* board, uint32_t portMask, uint32_t timeoutMs, uint32_t speed,
                                uint32_t flags) {
    return CallGuarded("Tgx_scanPortsEx", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_scanPortsEx", [&] { return ",port-mask=" + std::to_string(portMask) + HandleText(board); },
            [&] { return "Speed: " + std::to_string(speed) + "; Flags: " + std::to_string(flags); });
        if (const int32_t status = CheckMaskAndBoard(frame, board, portMask); status != TGX_OK) {
            return status;
        }
        return frame.Return(Driver(board)->ScanPorts(portMask, speed, timeoutMs));
    });
}

TGX_API int32_t Tgx_scanPorts(TgxBoardHandle* board, uint32_t portMask, uint32_t timeoutMs, uint32_t speed) {
    return CallGuarded("Tgx_scanPorts", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_scanPorts", [&] { return ",port-mask=" + std::to_string(portMask) + HandleText(board); },
            [&] { return "Speed: " + std::to_string(speed); });
        return frame.Return(Tgx_scanPortsEx(board, portMask, timeoutMs, speed, 0));
    });
}

TGX_API int32_t Tgx_getCameraByIndex(TgxBoardHandle* board, uint32_t index, TgxCameraHandle** out) {
    return CallGuarded("Tgx_getCameraByIndex", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_getCameraByIndex", [&] { return HandleText(board); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
        }
        CCameraInterface* camera = Driver(board)->GetCameraByIndex(index);
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_ARGUMENT);
        }
        // Writing through a null out pointer would take the application down.
        if (out == nullptr) {
            return frame.Fail("Invalid camera handle pointer", TGX_ERR_INVALID_POINTER);
        }
        *out = camera;
        return frame.Return(TGX_OK);
    });
}

TGX_API int32_t Tgx_getCamera(TgxBoardHandle* board, uint32_t portIndex, TgxCameraHandle** out) {
    return CallGuarded("Tgx_getCamera", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_getCamera", [&] { return HandleText(board) + ",port-index=" + std::to_string(portIndex); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
        }
        if (out == nullptr) {
            return frame.Fail("Invalid camera handle pointer", TGX_ERR_INVALID_POINTER);
        }
        *out = Driver(board)->GetCameraAtPort(portIndex);
        frame.AppendLeaveText([&] { return HandleText(*out); });
        return frame.Return(TGX_OK);
    });
}

TGX_API int32_t Tgx_isCameraAvailable(TgxBoardHandle* board, uint32_t portIndex) {
    return CallGuarded("Tgx_isCameraAvailable", 0, [&] {
        TGX_API_FRAME("Tgx_isCameraAvailable",
                      [&] { return HandleText(board) + ",port-index=" + std::to_string(portIndex); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", 0);
        }
        CCameraInterface* camera = Driver(board)->GetCameraAtPort(portIndex);
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", 0);
        }
        return frame.Return(IsAvailable(camera));
    });
}

TGX_API int32_t Tgx_isCameraAvailableAtIndex(TgxBoardHandle* board, uint32_t index) {
    return CallGuarded("Tgx_isCameraAvailableAtIndex", 0, [&] {
        TGX_API_FRAME("Tgx_isCameraAvailableAtIndex",
                      [&] { return HandleText(board) + ",index=" + std::to_string(index); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", 0);
        }
        CCameraInterface* camera = Driver(board)->GetCameraByIndex(index);
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", 0);
        }
        return frame.Return(IsAvailable(camera));
    });
}

TGX_API const TgxCameraInfo* Tgx_getCameraInfo(TgxCameraHandle* camera) {
    return CallGuarded("Tgx_getCameraInfo", static_cast<const TgxCameraInfo*>(nullptr), [&] {
        TGX_API_FRAME("Tgx_getCameraInfo", [&] { return HandleText(camera); });
        if (camera == nullptr) {
            frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
            return static_cast<const TgxCameraInfo*>(nullptr);
        }
        const TgxCameraInfo* info = Camera(camera)->RefreshInfo();
        frame.AppendLeaveText([&] { return HandleText(info); });
        frame.Return(TGX_OK);
        return info;
    });
}

TGX_API int32_t Tgx_updateCameraInfos(TgxCameraHandle* camera) {
    return CallGuarded("Tgx_updateCameraInfos", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_updateCameraInfos", [&] { return HandleText(camera); });
        if (camera == nullptr) {
            return frame.Fail("Invalid boardHandle", TGX_ERR_INVALID_BOARD_HANDLE);
        }
        Camera(camera)->UpdateInfo();
        // The update is done; the status has always said otherwise, and
        // applications test for it.
        return frame.Return(TGX_ERR_NOT_IMPLEMENTED);
    });
}

TGX_API int32_t Tgx_LinkConnect(TgxBoardHandle* board, TgxCameraHandle* camera) {
    return CallGuarded("Tgx_LinkConnect", TGX_ERR_EXCEPTION,
                       [&] { return LinkConnect("Tgx_LinkConnect", board, camera); });
}

TGX_API int32_t Tgx_CxpConnect(TgxBoardHandle* board, TgxCameraHandle* camera) {
    return CallGuarded("Tgx_CxpConnect", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_CxpConnect", [&] { return HandleTextAs<TgxBoardHandle>(camera); });
        return frame.Return(Tgx_LinkConnect(board, camera));
    });
}

TGX_API int32_t Tgx_LinkDisconnect(TgxCameraHandle* camera) {
    return CallGuarded("Tgx_LinkDisconnect", TGX_ERR_EXCEPTION,
                       [&] { return LinkDisconnect("Tgx_LinkDisconnect", camera); });
}

TGX_API int32_t Tgx_CxpDisconnect(TgxCameraHandle* camera) {
    return CallGuarded("Tgx_CxpDisconnect", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_CxpDisconnect", [&] { return HandleText(camera); });
        return frame.Return(Tgx_LinkDisconnect(camera));
    });
}

TGX_API int32_t Tgx_powerSwitch(TgxBoardHandle* board, uint32_t portMask) {
    return CallGuarded("Tgx_powerSwitch", TGX_ERR_EXCEPTION,
                       [&] { return PowerSwitch("Tgx_powerSwitch", board, portMask, TGX_POWER_CYCLE, false); });
}

TGX_API int32_t Tgx_powerSwitchExt(TgxBoardHandle* board, uint32_t portMask, uint32_t command) {
    return CallGuarded("Tgx_powerSwitchExt", TGX_ERR_EXCEPTION,
                       [&] { return PowerSwitch("Tgx_powerSwitchExt", board, portMask, command, true); });
}

} // extern "C"
