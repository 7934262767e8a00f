// Short waits of the CoaXPress discovery for tests, and no rt.conf of the
// user's: the tweak table reads `configHome` and the environment only.
#pragma once

#include <cstdlib>
#include <string>

namespace orva::test {

inline void UseShortCxpWaits(const std::string& configHome) {
    // NOLINTBEGIN(concurrency-mt-unsafe)
    setenv("XDG_CONFIG_HOME", configHome.c_str(), 1);
    setenv("ORVA_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", "10", 1);
    setenv("ORVA_CXP_WAIT_AFTER_LINK_RESET_DONE", "20", 1);
    setenv("ORVA_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED", "20", 1);
    setenv("ORVA_CXP_WAIT_AFTER_POWERUP", "10", 1);
    setenv("ORVA_CXP_WAIT_AFTER_POWERDOWN", "10", 1);
    setenv("ORVA_CXP_WAIT_AFTER_TRIP_RESET", "10", 1);
    // NOLINTEND(concurrency-mt-unsafe)
}

} // namespace orva::test
