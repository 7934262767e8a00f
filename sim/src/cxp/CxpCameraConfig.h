#pragma once

// What a simulated CoaXPress camera is, as its scenario parameters make it
// (sim/README.md lists them): fixed for the life of the camera model.

#include "CxpRegisterSpace.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace orva::sim::cxp {

constexpr uint32_t kMaxLinks = 4;

struct CxpCameraConfig {
    uint32_t links = 1;
    uint32_t revision = 0;          // 16.16
    uint32_t versionsSupported = 0; // bits: 1 for 1.0, 2 for 1.1, 4 for 2.0
    std::string deviceName;
    std::string modelName;
    std::string manufacturerInfo;
    std::string deviceVersion;
    std::string firmwareVersion;
    std::string serialNumber;
    std::string userId;
    uint32_t controlPacketSize = 0;
    uint32_t nativeSpeed = 0;
    uint32_t defaultLinks = 0;
    uint32_t defaultSpeed = 0;
    uint32_t maxSpeed = 0;
    bool masterOnlyAtReset = false;
    uint64_t latencyNs = 0;
    uint64_t resetNs = 0;
    uint64_t bootNs = 0;
    uint64_t configSwitchNs = 0;
    uint32_t waitAckMs = 0;
    bool tentativeAcks = false;
    uint32_t lateAckMs = 0;
    bool externalPower = false;
    uint32_t currentMa = 0;
    bool overCurrent = false;
    std::string descriptionUrl;
    uint32_t urlAddress = 0;
    std::vector<uint8_t> description; // as the camera holds it: text or zip
    bool builtInDescription = false;
    RegisterSpace registers; // what its description addresses
    uint64_t commandNs = 0;  // a command's register clears itself after this
};

// Checks the parameters of a camera of `links` links and reads its
// description; throws std::invalid_argument with a message that names the
// parameter when they are wrong.
CxpCameraConfig parseCameraConfig(const nlohmann::json& params, uint32_t links);

} // namespace orva::sim::cxp
