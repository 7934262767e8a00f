// A simulated board namespace of the running test's own, with a folder of
// its own for files and for the user's configuration, both gone at the end;
// and the short waits of the CoaXPress discovery for tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <sstream>
#include <string>

#include "orva_sim.h"
#include "support/TestSupport.h"

namespace orva::test {

// Short waits of the CoaXPress discovery, and no rt.conf of the user's: the
// tweak table reads `configHome` and the environment only.
inline void UseShortCxpWaits(const std::string& configHome) {
    SetEnv("XDG_CONFIG_HOME", configHome);
    SetEnv("ORVA_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", "10");
    SetEnv("ORVA_CXP_WAIT_AFTER_LINK_RESET_DONE", "20");
    SetEnv("ORVA_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED", "20");
    SetEnv("ORVA_CXP_WAIT_AFTER_POWERUP", "10");
    SetEnv("ORVA_CXP_WAIT_AFTER_POWERDOWN", "10");
    SetEnv("ORVA_CXP_WAIT_AFTER_TRIP_RESET", "10");
}

// Made before any thread of the test runs; children the test starts inherit
// the namespace. The name is short: the case's name goes in as a hash.
class TestNamespace {
public:
    explicit TestNamespace(const std::string& prefix) {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::ostringstream name;
        name << prefix << "-" << ::getpid() << "-" << std::hex
             << std::hash<std::string>{}(info != nullptr ? info->name() : "");
        name_ = name.str();
        folder_ = ::testing::TempDir() + name_;
        std::filesystem::create_directories(folder_);
        SetEnv("ORVA_SIM_NAMESPACE", name_);
        UnsetEnv("ORVA_SIM_SCENARIO");
    }
    ~TestNamespace() {
        orva_sim_destroy();
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    TestNamespace(const TestNamespace&) = delete;
    TestNamespace& operator=(const TestNamespace&) = delete;

    const std::string& name() const { return name_; }
    const std::string& folder() const { return folder_; }

private:
    std::string name_;
    std::string folder_;
};

} // namespace orva::test
