// Registers and memory of a camera: through the camera's master port, or
// directly through a port of the board.
#include <cstring>
#include <string>

#include "impl/core/CCameraInterface.h"
#include "impl/core/CDriver.h"
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"
#include "runtime/templates/ByteOrder.h"

using orva::core::CCameraInterface;
using orva::core::CDriver;
using orva::core::IPortInterface;
using orva::genicam::CallGuarded;
using orva::genicam::HandleText;
using orva::templates::platform::swap32;

namespace {

// Without a time-out of the caller: the camera route may wait on a slow
// camera, the direct route serves tools that want a quick answer.
constexpr uint32_t kCameraRouteTimeoutMs = 2000;
constexpr uint32_t kDirectRouteTimeoutMs = 200;

std::string AddressText(uint64_t address) {
    return "Address: " + std::to_string(address);
}
uint32_t Low32(uint64_t address) {
    return static_cast<uint32_t>(address);
}

// The checks of the camera route after a function's own: the camera, its
// link, its port. Gives the port or null with the status in `status`.
template <class Frame> IPortInterface* CameraPort(Frame& frame, TgxCameraHandle* camera, int32_t& status) {
    if (camera == nullptr) {
        status = frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        return nullptr;
    }
    IPortInterface* port = static_cast<CCameraInterface*>(camera)->GetPort();
    if (port != nullptr && !port->IsTransceiverLocked()) {
        status = frame.Fail("Tranceiver not sysncronized", TGX_ERR_STREAM_PACKET_SIZE_REJECTED);
        return nullptr;
    }
    if (port == nullptr) {
        status = frame.Fail("Invalid port handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        return nullptr;
    }
    status = TGX_OK;
    return port;
}

// The checks of a memory access on the camera route: the buffer, the
// length, then those of CameraPort.
template <class Frame>
IPortInterface* MemoryPort(Frame& frame, TgxCameraHandle* camera, const void* buffer, uint32_t length,
                           int32_t& status) {
    if (buffer == nullptr) {
        status = frame.Fail("Invalid data", TGX_ERR_INVALID_ARGUMENT);
        return nullptr;
    }
    if (length == 0) {
        status = frame.Fail("Invalid length", TGX_ERR_INVALID_ARGUMENT);
        return nullptr;
    }
    return CameraPort(frame, camera, status);
}

int32_t MemoryRead(TgxCameraHandle* camera, void* buffer, uint64_t address, uint32_t length, uint32_t timeoutMs,
                   bool timeoutGiven) {
    TGX_API_FRAME(
        "__impl_Tgx_memoryReadFromCameraWithOrWithoutTimeout", [&] { return HandleText(camera); },
        [&] { return AddressText(address); });
    int32_t status = TGX_OK;
    IPortInterface* port = MemoryPort(frame, camera, buffer, length, status);
    if (port == nullptr) {
        return status;
    }
    return frame.Return(
        port->ReadMem(Low32(address), buffer, length, timeoutGiven ? timeoutMs : kCameraRouteTimeoutMs));
}

int32_t MemoryWrite(const char* name, TgxCameraHandle* camera, const void* buffer, uint64_t address, uint32_t length,
                    uint32_t timeoutMs) {
    TGX_API_FRAME(
        name, [&] { return HandleText(camera); }, [&] { return AddressText(address); });
    int32_t status = TGX_OK;
    IPortInterface* port = MemoryPort(frame, camera, buffer, length, status);
    if (port == nullptr) {
        return status;
    }
    return frame.Return(port->WriteMem(Low32(address), buffer, length, timeoutMs));
}

int32_t DirectReadMem(const char* name, TgxBoardHandle* board, uint32_t portIndex, uint32_t address, void* buffer,
                      const uint32_t* length, uint32_t timeoutMs) {
    TGX_API_FRAME(name, [&] { return HandleText(board); });
    if (board == nullptr) {
        return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    if (length == nullptr) {
        return frame.Fail("Invalid buffer length", TGX_ERR_INVALID_ARGUMENT);
    }
    if (buffer == nullptr) {
        return frame.Fail("Invalid data", TGX_ERR_INVALID_ARGUMENT);
    }
    return frame.Return(static_cast<CDriver*>(board)->ReadPort(portIndex, address, buffer, *length, timeoutMs));
}

int32_t DirectWriteMem(const char* name, TgxBoardHandle* board, uint32_t portIndex, uint32_t address,
                       const void* buffer, uint32_t length, uint32_t timeoutMs) {
    TGX_API_FRAME(name, [&] { return HandleText(board); });
    if (board == nullptr) {
        return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    if (buffer == nullptr) {
        return frame.Fail("Invalid data", TGX_ERR_INVALID_ARGUMENT);
    }
    return frame.Return(static_cast<CDriver*>(board)->WritePort(portIndex, address, buffer, length, timeoutMs));
}

int32_t DirectWrite(const char* name, TgxBoardHandle* board, uint32_t portIndex, uint32_t address, uint32_t value,
                    uint32_t swap) {
    TGX_API_FRAME(name, [&] { return HandleText(board); });
    if (board == nullptr) {
        return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
    }
    const uint32_t wire = swap != 0 ? swap32(value) : value;
    return frame.Return(static_cast<CDriver*>(board)->WritePort(portIndex, address, &wire, 4, kDirectRouteTimeoutMs));
}

} // namespace

extern "C" {

TGX_API int32_t Tgx_registerReadFromCamera(TgxCameraHandle* camera, uint32_t* value, uint64_t address) {
    return CallGuarded("Tgx_registerReadFromCamera", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_registerReadFromCamera", [&] { return HandleText(camera); }, [&] { return AddressText(address); });
        if (value == nullptr) {
            return frame.Fail("Invalid data", TGX_ERR_INVALID_ARGUMENT);
        }
        int32_t status = TGX_OK;
        IPortInterface* port = CameraPort(frame, camera, status);
        if (port == nullptr) {
            return status;
        }
        uint32_t wire = 0xFFFFFFFFU;
        status = port->ReadMem(Low32(address), &wire, sizeof wire, kCameraRouteTimeoutMs);
        if (status == TGX_OK) {
            *value = swap32(wire);
        }
        return frame.Return(status);
    });
}

TGX_API int32_t Tgx_registerWriteToCamera(TgxCameraHandle* camera, uint32_t value, uint64_t address) {
    return CallGuarded("Tgx_registerWriteToCamera", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_registerWriteToCamera", [&] { return HandleText(camera); }, [&] { return AddressText(address); });
        int32_t status = TGX_OK;
        IPortInterface* port = CameraPort(frame, camera, status);
        if (port == nullptr) {
            return status;
        }
        const uint32_t wire = swap32(value);
        return frame.Return(port->WriteMem(Low32(address), &wire, sizeof wire, kCameraRouteTimeoutMs));
    });
}

TGX_API int32_t Tgx_memoryReadFromCamera(TgxCameraHandle* camera, void* buffer, uint64_t address, uint32_t length) {
    return CallGuarded("Tgx_memoryReadFromCamera", TGX_ERR_EXCEPTION,
                       [&] { return MemoryRead(camera, buffer, address, length, 0, false); });
}

TGX_API int32_t Tgx_memoryReadFromCameraWithTimeout(TgxCameraHandle* camera, void* buffer, uint64_t address,
                                                    uint32_t length, uint32_t timeoutMs) {
    return CallGuarded("Tgx_memoryReadFromCameraWithTimeout", TGX_ERR_EXCEPTION,
                       [&] { return MemoryRead(camera, buffer, address, length, timeoutMs, true); });
}

TGX_API int32_t Tgx_stringReadFromCamera(TgxCameraHandle* camera, char* buffer, uint64_t address, uint32_t length) {
    return CallGuarded("Tgx_stringReadFromCamera", TGX_ERR_EXCEPTION,
                       [&] { return MemoryRead(camera, buffer, address, length, 0, false); });
}

TGX_API int32_t Tgx_memoryWriteToCameraWithTimeout(TgxCameraHandle* camera, const void* buffer, uint64_t address,
                                                   uint32_t length, uint32_t timeoutMs) {
    return CallGuarded("Tgx_memoryWriteToCameraWithTimeout", TGX_ERR_EXCEPTION, [&] {
        return MemoryWrite("Tgx_memoryWriteToCameraWithTimeout", camera, buffer, address, length, timeoutMs);
    });
}

TGX_API int32_t Tgx_memoryWriteToCamera(TgxCameraHandle* camera, const void* buffer, uint64_t address,
                                        uint32_t length) {
    return Tgx_memoryWriteToCameraWithTimeout(camera, buffer, address, length, kCameraRouteTimeoutMs);
}

TGX_API int32_t Tgx_DirectRegisterRead(TgxBoardHandle* board, uint32_t portIndex, uint32_t address, uint32_t* value) {
    return CallGuarded("Tgx_DirectRegisterRead", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_DirectRegisterRead", [&] { return HandleText(board); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
        }
        if (value == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_DATA);
        }
        uint32_t wire = 0;
        const int32_t status =
            static_cast<CDriver*>(board)->ReadPort(portIndex, address, &wire, sizeof wire, kDirectRouteTimeoutMs);
        if (status == TGX_OK) {
            *value = swap32(wire);
        }
        return frame.Return(status);
    });
}

TGX_API int32_t Tgx_DirectRegisterRead64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address, uint32_t* value) {
    return Tgx_DirectRegisterRead(board, portIndex, Low32(address), value);
}

TGX_API int32_t Tgx_DirectRegisterReadMem(TgxBoardHandle* board, uint32_t portIndex, uint32_t address, void* buffer,
                                          uint32_t* length) {
    return CallGuarded("Tgx_DirectRegisterReadMem", TGX_ERR_EXCEPTION, [&] {
        return DirectReadMem("Tgx_DirectRegisterReadMem", board, portIndex, address, buffer, length,
                             kDirectRouteTimeoutMs);
    });
}

TGX_API int32_t Tgx_DirectRegisterReadMem64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address, void* buffer,
                                            uint32_t* length) {
    return CallGuarded("Tgx_DirectRegisterReadMem64", TGX_ERR_EXCEPTION, [&] {
        return DirectReadMem("Tgx_DirectRegisterReadMem64", board, portIndex, Low32(address), buffer, length,
                             kDirectRouteTimeoutMs);
    });
}

TGX_API int32_t Tgx_DirectRegisterReadMemWithTimeOut(TgxBoardHandle* board, uint32_t portIndex, uint32_t address,
                                                     void* buffer, uint32_t* length, uint32_t timeoutMs) {
    return CallGuarded("Tgx_DirectRegisterReadMemWithTimeOut", TGX_ERR_EXCEPTION, [&] {
        return DirectReadMem("Tgx_DirectRegisterReadMemWithTimeOut", board, portIndex, address, buffer, length,
                             timeoutMs);
    });
}

TGX_API int32_t Tgx_DirectRegisterReadMemWithTimeOut64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address,
                                                       void* buffer, uint32_t* length, uint32_t timeoutMs) {
    return CallGuarded("Tgx_DirectRegisterReadMemWithTimeOut64", TGX_ERR_EXCEPTION, [&] {
        return DirectReadMem("Tgx_DirectRegisterReadMemWithTimeOut64", board, portIndex, Low32(address), buffer, length,
                             timeoutMs);
    });
}

TGX_API int32_t Tgx_DirectRegisterWrite(TgxBoardHandle* board, uint32_t portIndex, uint32_t address, uint32_t value,
                                        uint32_t swap) {
    return CallGuarded("Tgx_DirectRegisterWrite", TGX_ERR_EXCEPTION,
                       [&] { return DirectWrite("Tgx_DirectRegisterWrite", board, portIndex, address, value, swap); });
}

TGX_API int32_t Tgx_DirectRegisterWrite64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address, uint32_t value,
                                          uint32_t swap) {
    return CallGuarded("Tgx_DirectRegisterWrite64", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_DirectRegisterWrite64", [&] { return HandleText(board); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
        }
        return frame.Return(Tgx_DirectRegisterWrite(board, portIndex, Low32(address), value, swap));
    });
}

TGX_API int32_t Tgx_DirectRegisterWriteMem(TgxBoardHandle* board, uint32_t portIndex, uint32_t address,
                                           const void* buffer, uint32_t length) {
    return CallGuarded("Tgx_DirectRegisterWriteMem", TGX_ERR_EXCEPTION, [&] {
        return DirectWriteMem("Tgx_DirectRegisterWriteMem", board, portIndex, address, buffer, length,
                              kDirectRouteTimeoutMs);
    });
}

TGX_API int32_t Tgx_DirectRegisterWriteMem64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address,
                                             const void* buffer, uint32_t length) {
    return CallGuarded("Tgx_DirectRegisterWriteMem64", TGX_ERR_EXCEPTION, [&] {
        return DirectWriteMem("Tgx_DirectRegisterWriteMem64", board, portIndex, Low32(address), buffer, length,
                              kDirectRouteTimeoutMs);
    });
}

TGX_API int32_t Tgx_DirectRegisterWriteMemWithTimeOut(TgxBoardHandle* board, uint32_t portIndex, uint32_t address,
                                                      const void* buffer, uint32_t length, uint32_t timeoutMs) {
    return CallGuarded("Tgx_DirectRegisterWriteMemWithTimeOut", TGX_ERR_EXCEPTION, [&] {
        return DirectWriteMem("Tgx_DirectRegisterWriteMemWithTimeOut", board, portIndex, address, buffer, length,
                              timeoutMs);
    });
}

TGX_API int32_t Tgx_DirectRegisterWriteMemWithTimeOut64(TgxBoardHandle* board, uint32_t portIndex, uint64_t address,
                                                        const void* buffer, uint32_t length, uint32_t timeoutMs) {
    return CallGuarded("Tgx_DirectRegisterWriteMemWithTimeOut64", TGX_ERR_EXCEPTION, [&] {
        return DirectWriteMem("Tgx_DirectRegisterWriteMemWithTimeOut64", board, portIndex, Low32(address), buffer,
                              length, timeoutMs);
    });
}

} // extern "C"
