// Files that keep what was found or set: the low level link profile and the
// camera parameter dump.
#include <fstream>
#include <string>

#include "impl/core/CCameraInterface.h"
#include "impl/core/CDriver.h"
#include "impl/core/ParameterFile.h"
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"

using orva::core::CCameraInterface;
using orva::core::CDriver;
using orva::genicam::CallGuarded;
using orva::genicam::HandleText;

namespace {

bool Empty(const char* text) {
    return text == nullptr || *text == '\0';
}

template <class Frame> int32_t CheckBoardFile(Frame& frame, TgxBoardHandle* board, const char* fileName) {
    if (board == nullptr) {
        return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    if (Empty(fileName)) {
        return frame.Fail("Invalid config file name", TGX_ERR_INVALID_FILENAME);
    }
    return TGX_OK;
}

template <class Frame> int32_t CheckCameraFile(Frame& frame, TgxCameraHandle* camera, const char* fileName) {
    if (camera == nullptr) {
        return frame.Fail("Invalid boardHandle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    if (!static_cast<CCameraInterface*>(camera)->IsConnected()) {
        return frame.Fail("Invalid XML connection ", TGX_ERR_NO_GENICAM_CONNECTION);
    }
    if (Empty(fileName)) {
        return frame.Fail(" Invalid param File Name", TGX_ERR_INVALID_FILENAME);
    }
    return TGX_OK;
}

} // namespace

extern "C" {

TGX_API int32_t Tgx_StoreLowLevelLinkProfile(TgxBoardHandle* board, const char* fileName) {
    return CallGuarded("Tgx_StoreLowLevelLinkProfile", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_StoreLowLevelLinkProfile", [&] { return HandleText(board); });
        if (const int32_t status = CheckBoardFile(frame, board, fileName); status != TGX_OK) {
            return status;
        }
        return frame.Return(static_cast<CDriver*>(board)->StoreLowLevelLinkProfile(fileName));
    });
}

TGX_API int32_t Tgx_RestoreLowLevelLinkProfile(TgxBoardHandle* board, const char* fileName) {
    return CallGuarded("Tgx_RestoreLowLevelLinkProfile", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_RestoreLowLevelLinkProfile", [&] { return HandleText(board); });
        if (const int32_t status = CheckBoardFile(frame, board, fileName); status != TGX_OK) {
            return status;
        }
        return frame.Return(static_cast<CDriver*>(board)->RestoreLowLevelLinkProfile(fileName));
    });
}

TGX_API int32_t Tgx_SaveCameraParameters(TgxCameraHandle* camera, const char* fileName) {
    return CallGuarded("Tgx_SaveCameraParameters", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_SaveCameraParameters", [&] { return HandleText(camera); });
        if (const int32_t status = CheckCameraFile(frame, camera, fileName); status != TGX_OK) {
            return status;
        }
        std::ofstream out(fileName);
        if (!out) {
            return frame.Return(TGX_ERR_INVALID_FILENAME);
        }
        const bool written = orva::core::DumpParameters(out, static_cast<CCameraInterface*>(camera)->GetNodeMap());
        return frame.Return(written ? TGX_OK : TGX_ERR_EXCEPTION);
    });
}

TGX_API int32_t Tgx_LoadCameraParameters(TgxCameraHandle* camera, const char* fileName, uint32_t flags) {
    return CallGuarded("Tgx_LoadCameraParameters", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_LoadCameraParameters", [&] { return HandleText(camera); });
        if (const int32_t status = CheckCameraFile(frame, camera, fileName); status != TGX_OK) {
            return status;
        }
        std::ifstream in(fileName, std::ios::binary);
        if (!in) {
            return frame.Return(TGX_ERR_INVALID_FILENAME);
        }
        const bool stopOnError = (flags & TGX_LOAD_PARAMETERS_STOP_ON_ERROR) != 0;
        const bool loaded =
            orva::core::LoadParameters(in, static_cast<CCameraInterface*>(camera)->GetNodeMap(), stopOnError);
        return frame.Return(loaded ? TGX_OK : TGX_ERR_INVALID_FEATURE);
    });
}

} // extern "C"
