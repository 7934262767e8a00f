// Opening and freeing boards, and the camera count.
#include <exception>
#include <memory>
#include <new>
#include <sstream>
#include <string>

#include "impl/core/CDriver.h"
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/board/GrabberHandle.h"
#include "runtime/templates/LibraryInitController.h"

using orva::core::CDriver;
using orva::genicam::HandleText;
using orva::genicam::TypeName;
using orva::templates::platform::LibraryInitController;

namespace {

CDriver* Driver(TgxBoardHandle* board) {
    return static_cast<CDriver*>(board);
}

// Index, serial and type of the board behind a grabber handle, for the trace.
std::string BoardText(Gb_Struct_s* grabber) {
    if (grabber == nullptr) {
        return {};
    }
    std::ostringstream out;
    out << ",handle=(" << TypeName<const Gb_Struct_s*>() << ')' << static_cast<const void*>(grabber);
    orva::board::BoardHandles handles;
    if (orva::board::GetBoardHandles(grabber, handles)) {
        out << ",board-index=" << orva::board::OHalGetBoardIndex(handles.device, 0) << std::hex
            << ",board-serial=" << orva::board::OHalGetBoardInfoInt(handles.device, "board/serial")
            << ",board-type=" << orva::board::OHalGetBoardInfoInt(handles.device, "board/type");
    }
    return out.str();
}

// CDriver::Init, whose controller may throw beyond the construction that
// Init catches itself (a reset, a thread that can't start): such a board
// didn't open.
template <class Frame> int32_t InitDriver(Frame& frame, CDriver& driver, Gb_Struct_s* grabber, uint32_t flags) {
    try {
        return driver.Init(grabber, (flags & TGX_INIT_FORCE_CORE_RESET) != 0);
    } catch (const std::bad_alloc&) {
        return frame.Fail("Not enough memory to initialise the board", TGX_ERR_OUT_OF_MEMORY);
    } catch (const std::exception& e) {
        return frame.Fail(std::string("Board initialisation failed: ") + e.what(), TGX_ERR_BOARD_INIT);
    } catch (...) {
        return frame.Fail("Board initialisation failed", TGX_ERR_BOARD_INIT);
    }
}

int32_t InitBoard(Gb_Struct_s* grabber, uint32_t flags, TgxBoardHandle** out, uint32_t portMask) {
    // The first use of the library also initialises it, and that use stays
    // until the process ends or the application calls GenICamDeinit.
    if (LibraryInitController::Init() == 1) {
        LibraryInitController::Register(&GenICamInit, &GenICamDeinit);
    }
    int32_t result = TGX_OK;
    {
        TGX_API_FRAME("Tgx_initBoardEx", [&] {
            return BoardText(grabber) + ",port-mask=" + std::to_string(portMask) + HandleText(grabber);
        });
        if (grabber == nullptr) {
            result = frame.Fail("Invalid FG handle", TGX_ERR_INVALID_ARGUMENT);
        } else if (out == nullptr) {
            result = frame.Fail("Invalid board handle pointer", TGX_ERR_INVALID_ARGUMENT);
        } else {
            std::unique_ptr<CDriver> driver;
            try {
                driver = std::make_unique<CDriver>();
            } catch (...) {
                driver.reset();
            }
            if (!driver) {
                *out = nullptr;
                result = frame.Fail("Not enough memory to allocate board handle", TGX_ERR_OUT_OF_MEMORY);
            } else if (const int32_t status = InitDriver(frame, *driver, grabber, flags); status != TGX_OK) {
                driver.reset();
                *out = nullptr;
                result = frame.Return(status);
            } else {
                *out = driver.release();
                frame.AppendLeaveText([&] { return HandleText(*out); });
                return frame.Return(TGX_OK); // the use taken above stays with the board
            }
        }
    }
    orva::genicam::GiveBackLibraryUse();
    return result;
}

} // namespace

extern "C" {

TGX_API int32_t Tgx_initBoardEx(Gb_Struct_s* grabber, uint32_t flags, TgxBoardHandle** out, uint32_t portMask,
                                uint32_t reserved) {
    return orva::genicam::CallGuarded("Tgx_initBoardEx", TGX_ERR_OUT_OF_MEMORY,
                                      [&] { return InitBoard(grabber, flags, out, portMask); });
}

TGX_API int32_t Tgx_initBoard(Gb_Struct_s* grabber, uint32_t flags, TgxBoardHandle** out) {
    return Tgx_initBoardEx(grabber, flags, out, 0xFFFF, 0);
}

TGX_API int32_t Tgx_freeBoard(TgxBoardHandle* board) {
    return orva::genicam::CallGuarded("Tgx_freeBoard", TGX_ERR_EXCEPTION, [&] {
        {
            TGX_API_FRAME("Tgx_freeBoard", [&] { return HandleText(board); });
            if (board == nullptr) {
                return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
            }
            // The event function runs on the controller's thread, which the
            // board's end would have to join from within itself.
            if (Driver(board)->IsDeliveringEvent()) {
                return frame.Fail("Board can not be freed from its own event function", TGX_ERR_BLOCKED);
            }
            delete Driver(board);
            frame.Return(TGX_OK);
        }
        // After the exit line: the last use of the library ends its logging.
        orva::genicam::GiveBackLibraryUse();
        return TGX_OK;
    });
}

TGX_API int32_t Tgx_getCameraCount(TgxBoardHandle* board) {
    return orva::genicam::CallGuarded("Tgx_getCameraCount", 0, [&] {
        TGX_API_FRAME("Tgx_getCameraCount", [&] { return HandleText(board); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", 0);
        }
        return frame.Return(Driver(board)->GetCameraCount());
    });
}

} // extern "C"
