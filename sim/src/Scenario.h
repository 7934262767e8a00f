#pragma once

// A scenario names the simulated boards of a namespace and the cameras on
// their ports. It is JSON; sim/README.md describes the format.

#include "Design.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orva::sim {

struct CameraSetup {
    std::string model;
    std::vector<uint32_t> ports; // in link order
    std::string params;          // a JSON object, as text
    bool plugged = true;
};

struct DesignChoice {
    const DesignDef* base = nullptr;
    std::string name;                 // shown as the board's design
    std::vector<std::string> without; // registers of `base` the board lacks
    // Registers of `base` that the board loads with another value.
    std::vector<std::pair<std::string, uint64_t>> initial;
};

struct BoardSetup {
    uint32_t index = 0;
    uint32_t type = 0;
    uint64_t serial = 0;
    uint32_t ports = 0;
    DesignChoice design;
    bool portPowerOn = false;
    std::vector<CameraSetup> cameras;
};

struct Scenario {
    std::vector<BoardSetup> boards; // in order of index
};

// Parses and checks a scenario. Throws SimError(ORVA_SIM_ERR_SCENARIO) with
// `source`, the place in the document and what is wrong.
Scenario parseScenario(std::string_view text, std::string_view source);
// Reads a scenario file; throws SimError(ORVA_SIM_ERR_SCENARIO) if it can't.
std::string readScenarioFile(const std::string& path);
// The set-up used when no scenario is given.
std::string_view defaultScenarioText();

} // namespace orva::sim
