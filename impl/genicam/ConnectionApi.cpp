// A camera's GenICam connection and its description.
#include <cstdio>
#include <string>

#include "impl/core/CCameraInterface.h"
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"

using orva::core::CCameraInterface;
using orva::genicam::CallGuarded;
using orva::genicam::HandleText;

namespace {

CCameraInterface* Camera(TgxCameraHandle* camera) {
    return static_cast<CCameraInterface*>(camera);
}

} // namespace

extern "C" {

TGX_API int32_t Tgx_connectCamera(TgxCameraHandle* camera) {
    return CallGuarded("Tgx_connectCamera", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_connectCamera", [&] { return HandleText(camera); });
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        }
        return frame.Return(Camera(camera)->Connect());
    });
}

TGX_API int32_t Tgx_connectCameraWithExternalXml(TgxCameraHandle* camera, const char* fileName) {
    return CallGuarded("Tgx_connectCameraWithExternalXml", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_connectCameraWithExternalXml", [&] { return HandleText(camera); },
            [&] { return std::string("File: ") + (fileName != nullptr ? fileName : ""); });
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        }
        if (fileName == nullptr) {
            return frame.Fail("Invalid file name", TGX_ERR_INVALID_FILENAME);
        }
        if (FILE* file = std::fopen(fileName, "rb"); file != nullptr) {
            std::fclose(file);
        } else {
            return frame.Fail("File not found", TGX_ERR_FILE_NOT_FOUND);
        }
        return frame.Return(Camera(camera)->ConnectWithExternalXml(fileName));
    });
}

TGX_API int32_t Tgx_disconnectCamera(TgxCameraHandle* camera) {
    return CallGuarded("Tgx_disconnectCamera", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_disconnectCamera", [&] { return HandleText(camera); });
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        }
        return frame.Return(Camera(camera)->Disconnect());
    });
}

TGX_API int32_t Tgx_loadCameraXml(TgxCameraHandle* camera) {
    return CallGuarded("Tgx_loadCameraXml", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_loadCameraXml", [&] { return HandleText(camera); });
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        }
        orva::core::IPortInterface* port = Camera(camera)->GetPort();
        if (port != nullptr && !port->IsConnected()) {
            return frame.Return(TGX_ERR_NO_PHYSICAL_CONNECTION);
        }
        return frame.Return(Camera(camera)->LoadXml());
    });
}

TGX_API int32_t Tgx_getGenICamXML(TgxCameraHandle* camera, char* buffer, uint32_t* size) {
    return CallGuarded("Tgx_getGenICamXML", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_getGenICamXML", [&] { return HandleText(camera); }, [] { return std::string("Xml: "); });
        if (size == nullptr) {
            return frame.Fail("Invalid value pointer", TGX_ERR_INVALID_ARGUMENT);
        }
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        }
        return frame.Return(Camera(camera)->GetXml(buffer, size));
    });
}

TGX_API int32_t Tgx_setGenICamXML(TgxCameraHandle* camera, const char* xml, uint32_t size) {
    return CallGuarded("Tgx_setGenICamXML", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_setGenICamXML", [&] { return HandleText(camera); },
            [&] { return std::string("Xml: ") + (xml != nullptr ? xml : ""); });
        if (xml == nullptr) {
            return frame.Fail("Invalid value pointer", TGX_ERR_INVALID_ARGUMENT);
        }
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        }
        Camera(camera)->SetXml(xml); // up to its zero; the size isn't needed
        return frame.Return(TGX_OK);
    });
}

} // extern "C"
