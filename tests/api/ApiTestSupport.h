// What the API tests share: a simulated board namespace of their own, the
// shipped logging dispatcher writing to a file of the test's own, and a
// technology the test brings for boards that must open.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "impl/core/ControllerFactory.h"
#include "include/tgx_genicam.h"
#include "orva_sim.h"
#include "runtime/board/BoardForwarders.h"
#include "support/FakeTechnology.h"
#include "support/SimNamespace.h"

namespace orva::test {

// The controller of the board opened last, for the test to set up its ports.
inline FakeController* gLastFakeController = nullptr;

inline std::unique_ptr<core::IControllerInterface> CreateFakeController(int64_t, const board::BoardHandles&, bool) {
    auto controller = std::make_unique<FakeController>(4);
    gLastFakeController = controller.get();
    return controller;
}

class ApiTest : public ::testing::Test {
protected:
    // `logLevels` goes to ORVA_LOG; it must be set before the library's first
    // logger is made, which is why every case runs in a process of its own.
    void SetUpApi(const char* logLevels) {
        logFile_ = namespace_.folder() + "/tgx.log";
        SetEnv("ORVA_LOG_FILE", logFile_);
        SetEnv("ORVA_LOG", logLevels);
    }
    void TearDown() override {
        if (board != nullptr) {
            EXPECT_EQ(Tgx_freeBoard(board), TGX_OK);
            board = nullptr;
        }
        core::SetControllerCreatorForTesting(nullptr);
    }

    std::string Log() const { return ReadFile(logFile_); }

    // Board 0 on the technology the test brings, into `board` and `fake`;
    // freed by TearDown.
    void OpenFakeBoard(core::ControllerCreator creator = &CreateFakeController) {
        core::SetControllerCreatorForTesting(creator);
        ASSERT_EQ(Tgx_initBoard(OpenGrabber(0), 0, &board), TGX_OK);
        fake = gLastFakeController;
    }

    // The grabber handle of a simulated board, as the application has it.
    Gb_Struct_s* OpenGrabber(uint32_t index) {
        Gb_Struct_s* grabber = board::Gb_InitEx(index, nullptr, 0);
        grabbers_.push_back(grabber);
        return grabber;
    }
    ~ApiTest() override {
        for (auto* g : grabbers_) {
            if (g != nullptr) {
                board::Gb_FreeGrabber(g);
            }
        }
    }

    TgxBoardHandle* board = nullptr;
    FakeController* fake = nullptr;

private:
    TestNamespace namespace_{"api"};
    std::string logFile_;
    std::vector<Gb_Struct_s*> grabbers_;
};

} // namespace orva::test
