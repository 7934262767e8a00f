// The tunables of the CoaXPress controller, read from the tweak table once,
// at construction, each logged in a "Using ..." line.
#pragma once

#include <cstdint>

namespace orva::tools::logging {
class Logger;
}

namespace orva::cxp {

struct CxpControllerTweaks {
    // Milliseconds unless the name says otherwise.
    uint32_t waitAfterLinkResetOnEachPort = 0;
    uint32_t waitAfterLinkResetDone = 200;
    uint32_t waitAfterCameraConfigDone = 200;
    uint32_t waitAfterUplinkSpeedReset = 1500;
    uint32_t waitAfterPowerup = 100;
    uint32_t waitAfterPowerdown = 100;
    uint32_t numResetAttemptsOnPortTrip = 3;
    uint32_t waitAfterTripReset = 1500;
    // Period of the link worker: the link watch runs this often.
    uint32_t workerPeriodMs = 5;
    bool disablePowerOverCxp = false;

    // Reads every key, falling back to the defaults above for a key that
    // can't be read, and logs each value on `logger`.
    static CxpControllerTweaks Read(tools::logging::Logger* logger);
};

} // namespace orva::cxp
