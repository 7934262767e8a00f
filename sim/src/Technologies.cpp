#include "Technologies.h"

#include "EchoDevice.h"
#include "PlainDesigns.h"
#include "cxp/CxpCamera.h"
#include "cxp/CxpDesigns.h"

#include <array>

namespace orva::sim {

namespace {

std::span<const DeviceModel> noCameraModels() {
    return {};
}

std::span<const DeviceModel> selfTestCameraModels() {
    static constexpr std::array kModels{
        DeviceModel{"echo", "answers every downstream write with the same bytes", &EchoDevice::create},
    };
    return kModels;
}

constexpr std::array kTechnologies{
    Technology{"CoaXPress", &cxp::designs, &cxp::cameraModels},
    // Designs of registers and queues alone, until the technologies bring
    // their cores and cameras.
    Technology{"Camera Link HS", &plain::clhsDesigns, &noCameraModels},
    Technology{"Camera Link", &plain::cameraLinkDesigns, &noCameraModels},
    Technology{"GigE Vision", &plain::gigeDesigns, &noCameraModels},
    Technology{"board self-test", &plain::selfTestDesigns, &selfTestCameraModels},
};

} // namespace

std::span<const Technology> technologies() {
    return kTechnologies;
}

const DesignDef* findDesign(std::string_view name) {
    for (const Technology& technology : kTechnologies) {
        for (const DesignDef& design : technology.designs()) {
            if (design.name == name) {
                return &design;
            }
        }
    }
    return nullptr;
}

const DeviceModel* findDeviceModel(std::string_view name) {
    for (const Technology& technology : kTechnologies) {
        for (const DeviceModel& model : technology.cameraModels()) {
            if (model.name == name) {
                return &model;
            }
        }
    }
    return nullptr;
}

} // namespace orva::sim
