// What the camera tests share: a simulated CoaXPress board in a namespace of
// the test's own with one camera on port 0, opened through the C interface
// with the real CoaXPress controller, and the library's log in a file of the
// test's own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "include/tgx_genicam.h"
#include "orva_sim.h"
#include "runtime/board/BoardForwarders.h"
#include "support/SimNamespace.h"

namespace orva::cameratest {

inline std::filesystem::path TestDataFolder() {
    return std::filesystem::path(TGX_TEST_SOURCE_DIR_PATH) / ".." / "shared" / "testdata" / "genicam";
}

// A scenario of board 0 (CoaXPress, powered ports) with one cxp-camera of
// these parameters on port 0.
inline std::string CameraScenario(const std::string& params) {
    return R"({"boards":[{"index":0,"type":"0xA64","serial":4711,"design":"coaxpress","ports":4,"portPower":"on",)"
           R"("cameras":[{"model":"cxp-camera","ports":[0],"params":)" +
           params + "}]}]}";
}

class CameraTest : public ::testing::Test {
protected:
    void SetUp() override {
        logFile_ = Folder() + "/tgx.log";
        test::SetEnv("ORVA_LOG_FILE", logFile_);
        test::SetEnv("ORVA_LOG", "*=5");
        test::UseShortCxpWaits(Folder());
    }

    void TearDown() override {
        if (board != nullptr) {
            Tgx_freeBoard(board);
        }
        if (grabber_ != nullptr) {
            board::Gb_FreeGrabber(grabber_);
        }
    }

    // Loads the scenario, opens board 0, finds the camera and connects it.
    void Connect(const std::string& params) {
        ASSERT_EQ(orva_sim_load_text(CameraScenario(params).c_str()), ORVA_SIM_OK) << orva_sim_last_error();
        grabber_ = board::Gb_InitEx(0, nullptr, 0);
        ASSERT_NE(grabber_, nullptr) << orva_sim_last_error();
        ASSERT_EQ(Tgx_initBoard(grabber_, 0, &board), TGX_OK);
        ASSERT_EQ(Tgx_scanPorts(board, 0x1, 30000, 0), TGX_OK) << Log();
        ASSERT_EQ(Tgx_getCameraByIndex(board, 0, &camera), TGX_OK);
        ASSERT_EQ(Tgx_connectCamera(camera), TGX_OK) << Log();
    }

    std::string Log() const { return test::ReadFile(logFile_); }

    const std::string& Folder() const { return namespace_.folder(); }

    TgxBoardHandle* board = nullptr;
    TgxCameraHandle* camera = nullptr;

private:
    test::TestNamespace namespace_{"camera"};
    std::string logFile_;
    Gb_Struct_s* grabber_ = nullptr;
};

} // namespace orva::cameratest
