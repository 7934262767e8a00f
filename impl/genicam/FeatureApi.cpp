// GenICam features by name: integers, floats, Booleans, strings,
// enumerations and commands.
#include <optional>
#include <sstream>
#include <string>

#include "core/genapi/NodeMap.h"
#include "impl/core/CCameraInterface.h"
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"

using orva::core::CCameraInterface;
using orva::genicam::CallGuarded;
using orva::genicam::HandleText;
namespace genapi = orva::core::genapi;

namespace {

CCameraInterface* Camera(TgxCameraHandle* camera) {
    return static_cast<CCameraInterface*>(camera);
}

std::string FeatureText(const char* name) {
    return std::string("Feature: ") + (name != nullptr ? name : "");
}

template <class Value> std::string SetText(const char* name, const Value& value) {
    std::ostringstream out;
    out << FeatureText(name) << "; Value: " << value;
    return out.str();
}

// The common lookup: camera, name, node map, then the node of the wanted
// interface. A name that isn't there and a node of another type are alike.
template <class T, class Frame>
int32_t GetFeatureNode(Frame& frame, TgxCameraHandle* camera, const char* name, std::optional<T>& holder) {
    if (camera == nullptr) {
        return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
    }
    if (name == nullptr || *name == '\0') {
        return frame.Fail("Invalid feature name", TGX_ERR_INVALID_FEATURE);
    }
    genapi::NodeMap* map = Camera(camera)->GetNodeMap();
    if (map == nullptr) {
        return frame.Fail("Failed to get camera node map", TGX_ERR_NO_GENICAM_CONNECTION);
    }
    holder = map->Get<T>(name);
    if (!holder) {
        return frame.Fail(std::string("Failed to get feature ") + name, TGX_ERR_INVALID_FEATURE);
    }
    return TGX_OK;
}

// Runs `body` and turns what the node map throws (a value out of range, a
// failed register access, ...) into TGX_ERR_EXCEPTION with its text logged.
// Runs `body`; an exception becomes TGX_ERR_EXCEPTION with the line
// `what` + `name` + ": " + its text. The text is built only on a failure:
// these calls run in an application's hot loops.
template <class Frame, class Body> int32_t Guarded(Frame& frame, const char* what, const char* name, Body body) {
    try {
        return body();
    } catch (const std::exception& e) {
        std::string message(what);
        message.append(name != nullptr ? name : "").append(": ").append(e.what());
        return frame.Fail(message, TGX_ERR_EXCEPTION);
    }
}

// Set of a plain-valued feature: lookup, refusal of a read-only node, write
// with verification.
template <class T, class Value>
int32_t SetFeature(const char* function, TgxCameraHandle* camera, const char* name, const Value& value) {
    TGX_API_FRAME(
        function, [&] { return HandleText(camera); }, [&] { return SetText(name, value); });
    return Guarded(frame, "Exception while setting feature ", name, [&] {
        std::optional<T> node;
        if (const int32_t status = GetFeatureNode(frame, camera, name, node); status != TGX_OK) {
            return status;
        }
        if (node->GetAccessMode() == genapi::AccessMode::RO) {
            return frame.Fail(std::string("Feature ") + name + " is read only", TGX_ERR_FEATURE_READ_ONLY);
        }
        node->SetValue(value, true);
        return frame.Return(TGX_OK);
    });
}

// Get of a plain-valued feature: lookup, refusal of a write-only node, read.
template <class T, class Out, class Read>
int32_t GetFeature(const char* function, TgxCameraHandle* camera, const char* name, Out* out, Read read) {
    TGX_API_FRAME(
        function, [&] { return HandleText(camera); }, [&] { return FeatureText(name); });
    if (out == nullptr) {
        return frame.Fail("Invalid value pointer", TGX_ERR_INVALID_ARGUMENT);
    }
    return Guarded(frame, "Exception while getting feature ", name, [&] {
        std::optional<T> node;
        if (const int32_t status = GetFeatureNode(frame, camera, name, node); status != TGX_OK) {
            return status;
        }
        if (node->GetAccessMode() == genapi::AccessMode::WO) {
            return frame.Fail("Value is write only", TGX_ERR_FEATURE_WRITE_ONLY);
        }
        *out = read(*node);
        return frame.Return(TGX_OK);
    });
}

// The enumeration getters: lookup, refusal of a write-only node, then `read`.
template <class Frame, class Read>
int32_t ReadEnumeration(Frame& frame, TgxCameraHandle* camera, const char* feature, Read read) {
    return Guarded(frame, "Exception while getting enum value", nullptr, [&] {
        std::optional<genapi::Enumeration> node;
        if (const int32_t status = GetFeatureNode(frame, camera, feature, node); status != TGX_OK) {
            return status;
        }
        if (node->GetAccessMode() == genapi::AccessMode::WO) {
            return frame.Fail("Value is write only", TGX_ERR_FEATURE_WRITE_ONLY);
        }
        const int32_t status = read(*node);
        return status == TGX_OK ? frame.Return(TGX_OK) : status;
    });
}

} // namespace

extern "C" {

TGX_API int32_t Tgx_setIntegerValue(TgxCameraHandle* camera, const char* feature, int64_t value) {
    return CallGuarded("Tgx_setIntegerValue", TGX_ERR_EXCEPTION, [&] {
        if (value < 0) {
            // Negative integers are refused here even where the range allows them.
            TGX_API_FRAME(
                "Tgx_setIntegerValue", [&] { return HandleText(camera); }, [&] { return SetText(feature, value); });
            return frame.Fail("Invalid value ", TGX_ERR_INVALID_ARGUMENT);
        }
        return SetFeature<genapi::Integer>("Tgx_setIntegerValue", camera, feature, value);
    });
}

TGX_API int32_t Tgx_setFloatValue(TgxCameraHandle* camera, const char* feature, double value) {
    return CallGuarded("Tgx_setFloatValue", TGX_ERR_EXCEPTION,
                       [&] { return SetFeature<genapi::Float>("Tgx_setFloatValue", camera, feature, value); });
}

TGX_API int32_t Tgx_setBooleanValue(TgxCameraHandle* camera, const char* feature, uint32_t value) {
    return CallGuarded("Tgx_setBooleanValue", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_setBooleanValue", [&] { return HandleText(camera); }, [&] { return SetText(feature, value); });
        return Guarded(frame, "Exception while setting feature ", feature, [&] {
            std::optional<genapi::Boolean> node;
            if (const int32_t status = GetFeatureNode(frame, camera, feature, node); status != TGX_OK) {
                return status;
            }
            if (node->GetAccessMode() == genapi::AccessMode::RO) {
                return frame.Fail(std::string("Feature ") + feature + " is read only", TGX_ERR_FEATURE_READ_ONLY);
            }
            node->SetValue(value != 0);
            return frame.Return(TGX_OK);
        });
    });
}

TGX_API int32_t Tgx_setStringValue(TgxCameraHandle* camera, const char* feature, const char* value) {
    return CallGuarded("Tgx_setStringValue", TGX_ERR_EXCEPTION, [&] {
        if (value == nullptr) {
            TGX_API_FRAME(
                "Tgx_setStringValue", [&] { return HandleText(camera); }, [&] { return SetText(feature, ""); });
            return frame.Fail("Invalid value", TGX_ERR_INVALID_ARGUMENT);
        }
        return SetFeature<genapi::String>("Tgx_setStringValue", camera, feature, std::string(value));
    });
}

TGX_API int32_t Tgx_setEnumerationValue(TgxCameraHandle* camera, const char* feature, const char* value) {
    return CallGuarded("Tgx_setEnumerationValue", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_setEnumerationValue", [&] { return HandleText(camera); },
            [&] { return SetText(feature, value != nullptr ? value : ""); });
        if (value == nullptr) {
            return frame.Fail("Invalid value", TGX_ERR_INVALID_ARGUMENT);
        }
        return Guarded(frame, "Exception while setting enum value", nullptr, [&] {
            std::optional<genapi::Enumeration> node;
            if (const int32_t status = GetFeatureNode(frame, camera, feature, node); status != TGX_OK) {
                return status;
            }
            std::optional<genapi::EnumEntry> entry = node->GetEntryByName(value);
            if (!entry) {
                return frame.Fail("Invalid enum value", TGX_ERR_INVALID_ARGUMENT);
            }
            node->SetIntValue(entry->GetValue(), false);
            return frame.Return(TGX_OK);
        });
    });
}

TGX_API int32_t Tgx_getIntegerValue(TgxCameraHandle* camera, const char* feature, int64_t* value) {
    return CallGuarded("Tgx_getIntegerValue", TGX_ERR_EXCEPTION, [&] {
        return GetFeature<genapi::Integer>("Tgx_getIntegerValue", camera, feature, value,
                                           [](const genapi::Integer& n) { return n.GetValue(false); });
    });
}

TGX_API int32_t Tgx_getFloatValue(TgxCameraHandle* camera, const char* feature, double* value) {
    return CallGuarded("Tgx_getFloatValue", TGX_ERR_EXCEPTION, [&] {
        return GetFeature<genapi::Float>("Tgx_getFloatValue", camera, feature, value,
                                         [](const genapi::Float& n) { return n.GetValue(false); });
    });
}

TGX_API int32_t Tgx_getBooleanValue(TgxCameraHandle* camera, const char* feature, uint32_t* value) {
    return CallGuarded("Tgx_getBooleanValue", TGX_ERR_EXCEPTION, [&] {
        return GetFeature<genapi::Boolean>("Tgx_getBooleanValue", camera, feature, value,
                                           [](const genapi::Boolean& n) { return n.GetValue() ? 1U : 0U; });
    });
}

TGX_API int32_t Tgx_getStringValue(TgxCameraHandle* camera, const char* feature, const char** value) {
    return CallGuarded("Tgx_getStringValue", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_getStringValue", [&] { return HandleText(camera); }, [&] { return FeatureText(feature); });
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        }
        if (value == nullptr) {
            return frame.Fail("Invalid value pointer", TGX_ERR_INVALID_ARGUMENT);
        }
        return Guarded(frame, "Exception while getting string value", nullptr, [&] {
            std::optional<genapi::String> node;
            if (const int32_t status = GetFeatureNode(frame, camera, feature, node); status != TGX_OK) {
                return status;
            }
            *value = Camera(camera)->Keep(node->GetValue());
            return frame.Return(TGX_OK);
        });
    });
}

TGX_API int32_t Tgx_getEnumerationValue(TgxCameraHandle* camera, const char* feature, int64_t* value) {
    return CallGuarded("Tgx_getEnumerationValue", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_getEnumerationValue", [&] { return HandleText(camera); }, [&] { return FeatureText(feature); });
        if (value == nullptr) {
            return frame.Fail("Invalid value pointer", TGX_ERR_INVALID_ARGUMENT);
        }
        return ReadEnumeration(frame, camera, feature, [&](const genapi::Enumeration& node) {
            *value = node.GetIntValue(false);
            return TGX_OK;
        });
    });
}

TGX_API int32_t Tgx_getEnumerationValueAsString(TgxCameraHandle* camera, const char* feature, const char** value) {
    return CallGuarded("Tgx_getEnumerationValueAsString", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_getEnumerationValueAsString", [&] { return HandleText(camera); },
            [&] { return FeatureText(feature); });
        if (camera == nullptr) {
            return frame.Fail("Invalid camera handle", TGX_ERR_INVALID_CAMERA_HANDLE);
        }
        if (value == nullptr) {
            return frame.Fail("Invalid value pointer", TGX_ERR_INVALID_ARGUMENT);
        }
        return ReadEnumeration(frame, camera, feature, [&](const genapi::Enumeration& node) {
            std::optional<genapi::EnumEntry> entry = node.GetCurrentEntry();
            if (!entry) {
                return frame.Fail("Invalid data in feature", TGX_ERR_INVALID_DATA);
            }
            *value = Camera(camera)->Keep(entry->GetSymbolic());
            return TGX_OK;
        });
    });
}

TGX_API int32_t Tgx_executeCommand(TgxCameraHandle* camera, const char* feature) {
    return CallGuarded("Tgx_executeCommand", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_executeCommand", [&] { return HandleText(camera); }, [&] { return FeatureText(feature); });
        return Guarded(frame, "Exception while executing command", nullptr, [&] {
            std::optional<genapi::Command> node;
            if (const int32_t status = GetFeatureNode(frame, camera, feature, node); status != TGX_OK) {
                return status;
            }
            node->Execute();
            return frame.Return(TGX_OK);
        });
    });
}

TGX_API int32_t Tgx_isCommandDone(TgxCameraHandle* camera, const char* feature, uint32_t* done) {
    return CallGuarded("Tgx_isCommandDone", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME(
            "Tgx_isCommandDone", [&] { return HandleText(camera); }, [&] { return FeatureText(feature); });
        if (done == nullptr) {
            return frame.Fail("Invalid value pointer", TGX_ERR_INVALID_ARGUMENT);
        }
        return Guarded(frame, "Exception while getting command state", nullptr, [&] {
            std::optional<genapi::Command> node;
            if (const int32_t status = GetFeatureNode(frame, camera, feature, node); status != TGX_OK) {
                return status;
            }
            *done = node->IsDone() ? 1U : 0U;
            return frame.Return(TGX_OK);
        });
    });
}

// Only the camera's standard commands: the board's data path isn't touched.
TGX_API int32_t Tgx_startAcquisition(TgxCameraHandle* camera) {
    return Tgx_executeCommand(camera, "AcquisitionStart");
}

TGX_API int32_t Tgx_stopAcquisition(TgxCameraHandle* camera) {
    return Tgx_executeCommand(camera, "AcquisitionStop");
}

} // extern "C"
