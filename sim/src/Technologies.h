#pragma once

// The technologies the simulated boards know, in one table: each brings its
// designs (each naming the core between its registers, queues and cables)
// and the camera models for its ports. A technology's code lives in a
// folder of its own (cxp/ for CoaXPress); adding one is a folder and a row.

#include "Design.h"
#include "Device.h"

#include <span>
#include <string_view>

namespace orva::sim {

struct Technology {
    std::string_view name;
    std::span<const DesignDef> (*designs)();
    std::span<const DeviceModel> (*cameraModels)();
};

// In the order in which messages list their designs and models.
std::span<const Technology> technologies();

// Null if no technology has a design or camera model of this name.
const DesignDef* findDesign(std::string_view name);
const DeviceModel* findDeviceModel(std::string_view name);

} // namespace orva::sim
