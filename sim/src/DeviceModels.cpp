#include "Device.h"
#include "EchoDevice.h"
#include "cxp/CxpCamera.h"

#include <array>

namespace orva::sim {

namespace {

// Every camera model a scenario can name.
const std::array kModels{
    DeviceModel{"echo", "answers every downstream write with the same bytes", &EchoDevice::create},
    DeviceModel{"cxp-camera", "a CoaXPress camera with one to four links", &CxpCamera::create},
};

} // namespace

std::span<const DeviceModel> deviceModels() {
    return kModels;
}

const DeviceModel* findDeviceModel(std::string_view name) {
    for (const auto& model : kModels) {
        if (model.name == name) {
            return &model;
        }
    }
    return nullptr;
}

} // namespace orva::sim
