// The board configuration document and the connection profile: what a save
// writes, what a load finds different, and a profile opened on the
// simulated CoaXPress board.
#include <fstream>
#include <regex>
#include <sstream>

#include "include/tgx_genicam.h"
#include "tests/api/ApiTestSupport.h"

using orva::core::kLinkIndexExtension;
using orva::core::kLinkIndexMaster;
using orva::test::ApiTest;

namespace {

using orva::test::ReadFile;
using orva::test::WriteFile;

std::unique_ptr<orva::core::IControllerInterface> CreateSixPortController(int64_t, const orva::board::BoardHandles&,
                                                                          bool) {
    auto controller = std::make_unique<orva::test::FakeController>(6);
    orva::test::gLastFakeController = controller.get();
    return controller;
}

// A board whose camera on port 2 links one discovery after the camera on
// port 0, as cameras that boot at different speeds do.
class LateSecondCameraController : public orva::test::FakeController {
public:
    using FakeController::FakeController;
    int32_t DiscoverCameras(uint32_t mask, uint32_t speed, uint32_t timeoutMs) override {
        if (++discoveries_ == 1) {
            port(0).SetCamera(kLinkIndexMaster, 1, 0);
        } else {
            port(2).SetCamera(kLinkIndexMaster, 2, 0);
        }
        return FakeController::DiscoverCameras(mask, speed, timeoutMs);
    }

private:
    int discoveries_ = 0;
};

std::unique_ptr<orva::core::IControllerInterface> CreateLateSecondCamera(int64_t, const orva::board::BoardHandles&,
                                                                         bool) {
    auto controller = std::make_unique<LateSecondCameraController>(4);
    orva::test::gLastFakeController = controller.get();
    return controller;
}

class BoardConfiguration : public ApiTest {
protected:
    void SetUp() override {
        SetUpApi("*=5");
        path = ::testing::TempDir() + "tgx-board-config-" + std::to_string(getpid()) + ".xml";
    }
    void TearDown() override {
        std::remove(path.c_str());
        ApiTest::TearDown();
    }

    std::string path;
};

TEST_F(BoardConfiguration, ChecksComeInTheirOrder) {
    ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
    EXPECT_EQ(Tgx_SaveBoardConfiguration(nullptr, nullptr), TGX_ERR_INVALID_BOARD_HANDLE);
    EXPECT_EQ(Tgx_SaveBoardConfiguration(board, ""), TGX_ERR_INVALID_FILENAME);
    EXPECT_EQ(Tgx_LoadBoardConfiguration(nullptr, path.c_str()), TGX_ERR_INVALID_BOARD_HANDLE);
    EXPECT_EQ(Tgx_LoadBoardConfiguration(board, nullptr), TGX_ERR_INVALID_FILENAME);
    EXPECT_EQ(Tgx_LoadBoardConfiguration(board, path.c_str()), TGX_ERR_INVALID_FILENAME); // no such file
    EXPECT_EQ(Tgx_SaveBoardConfiguration(board, "/nonexistent-dir/config.xml"), TGX_ERR_FILE_ACCESS);

    TgxConnectionProfile* profile = reinterpret_cast<TgxConnectionProfile*>(&path); // must be overwritten
    EXPECT_EQ(Tgx_LoadConnectionProfile(nullptr, path.c_str(), &profile), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_LoadConnectionProfile(OpenGrabber(0), "", &profile), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_LoadConnectionProfile(OpenGrabber(0), path.c_str(), nullptr), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_UnloadConnectionProfile(nullptr), TGX_ERR_INVALID_ARGUMENT);

    const std::string log = Log();
    EXPECT_NE(log.find("Invalid config file name"), std::string::npos);
    EXPECT_NE(log.find("Error saving config file"), std::string::npos);
    EXPECT_NE(log.find("Invalid parameter"), std::string::npos);
}

TEST_F(BoardConfiguration, AnUnconnectedFirstCameraEndsTheList) {
    ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
    fake->port(0).SetCamera(kLinkIndexMaster, 1, 0);
    fake->port(2).SetCamera(kLinkIndexMaster, 2, 0);
    ASSERT_EQ(Tgx_scanPorts(board, 0xF, 1000, 0), TGX_OK);
    ASSERT_EQ(Tgx_getCameraCount(board), 2);
    fake->port(0).SetNoCamera(); // the link went down after the discovery

    ASSERT_EQ(Tgx_SaveBoardConfiguration(board, path.c_str()), TGX_OK);
    EXPECT_EQ(ReadFile(path), "<cxpconfiguration links=\"4\" linkgroups=\"0\">\n</cxpconfiguration>\n");
}

TEST_F(BoardConfiguration, AListOfFiveCamerasIsAStatusNotACrash) {
    ASSERT_NO_FATAL_FAILURE(OpenFakeBoard(&CreateSixPortController));
    for (uint32_t port = 0; port < 5; ++port) {
        fake->port(port).SetCamera(kLinkIndexMaster, port + 1, 0);
    }
    ASSERT_EQ(Tgx_scanPorts(board, 0x3F, 1000, 0), TGX_OK);
    ASSERT_EQ(Tgx_getCameraCount(board), 5);
    EXPECT_EQ(Tgx_SaveBoardConfiguration(board, path.c_str()), TGX_ERR_VALUE_OUT_OF_RANGE);
    EXPECT_FALSE(std::ifstream(path).good());
    // The length of the list counts, not the number of connected cameras.
    for (uint32_t port = 1; port < 5; ++port) {
        fake->port(port).SetNoCamera();
    }
    EXPECT_EQ(Tgx_SaveBoardConfiguration(board, path.c_str()), TGX_ERR_VALUE_OUT_OF_RANGE);
    EXPECT_FALSE(std::ifstream(path).good());
}

TEST_F(BoardConfiguration, ASavedLayoutMatchesUntilTheBoardDiffers) {
    ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
    // A two-link camera on ports 0 and 1, a single-link one on port 3.
    fake->port(0).SetCamera(kLinkIndexMaster, 1, 0);
    fake->port(1).SetCamera(kLinkIndexExtension, 1, 1);
    fake->port(3).SetCamera(kLinkIndexMaster, 2, 0);
    ASSERT_EQ(Tgx_scanPorts(board, 0xF, 1000, 0), TGX_OK);

    ASSERT_EQ(Tgx_SaveBoardConfiguration(board, path.c_str()), TGX_OK);
    const std::string saved = ReadFile(path);
    EXPECT_EQ(saved, "<cxpconfiguration links=\"4\" linkgroups=\"2\">\n"
                     "\t<linkgroup masterId=\"1\" speed=\"6250\" streampacketsize=\"2048\">\n"
                     "\t\t<link phyIndex=\"0\" dlIndex=\"0\" linkIndex=\"0\" isMaster=\"true\"/>\n"
                     "\t\t<link phyIndex=\"1\" dlIndex=\"1\" linkIndex=\"1\"/>\n"
                     "\t</linkgroup>\n"
                     "\t<linkgroup masterId=\"2\" speed=\"6250\" streampacketsize=\"2048\">\n"
                     "\t\t<link phyIndex=\"3\" dlIndex=\"3\" linkIndex=\"0\" isMaster=\"true\"/>\n"
                     "\t</linkgroup>\n"
                     "</cxpconfiguration>\n");
    EXPECT_EQ(Tgx_LoadBoardConfiguration(board, path.c_str()), TGX_OK);

    // Each saved value against its camera property, in the order they are
    // compared; the message names the property that differs.
    const struct {
        const char* from;
        const char* to;
        const char* constant;
    } edits[] = {
        {"masterId=\"2\"", "masterId=\"5\"", "CAM_PROP_MASTERID_S"},
        {"speed=\"6250\" streampacketsize=\"2048\">\n\t\t<link phyIndex=\"3\"",
         "speed=\"3125\" streampacketsize=\"2048\">\n\t\t<link phyIndex=\"3\"", "CAM_PROP_LINKSPEED_S"},
        {"streampacketsize=\"2048\"", "streampacketsize=\"4096\"", "CAM_PROP_STREAMPACKET_SIZE_S"},
        {"phyIndex=\"1\" dlIndex=\"1\"", "phyIndex=\"1\" dlIndex=\"2\"", "CAM_PROP_APPLETPORT_S"},
    };
    for (const auto& edit : edits) {
        const std::string changed =
            std::regex_replace(saved, std::regex(edit.from), edit.to, std::regex_constants::format_first_only);
        ASSERT_NE(changed, saved) << edit.from;
        WriteFile(path, changed);
        EXPECT_EQ(Tgx_LoadBoardConfiguration(board, path.c_str()), TGX_ERR_EXCEPTION) << edit.constant;
        EXPECT_NE(Log().find(std::string("Difference between ") + edit.constant + " saved and discovered"),
                  std::string::npos)
            << edit.constant;
    }

    // A group whose master port has no camera, and a document that doesn't
    // parse, which leaves nothing to compare.
    WriteFile(path, std::regex_replace(saved, std::regex("phyIndex=\"3\""), "phyIndex=\"2\""));
    EXPECT_EQ(Tgx_LoadBoardConfiguration(board, path.c_str()), TGX_ERR_INVALID_BOARD_HANDLE);
    WriteFile(path, "<cxpconfiguration links=");
    EXPECT_EQ(Tgx_LoadBoardConfiguration(board, path.c_str()), TGX_OK);
    // Nor does one that fails in its second group after a first that differs.
    WriteFile(path, std::regex_replace(std::regex_replace(saved, std::regex("masterId=\"1\""), "masterId=\"9\""),
                                       std::regex("phyIndex=\"3\""), "phyIndex=\"x\""));
    EXPECT_EQ(Tgx_LoadBoardConfiguration(board, path.c_str()), TGX_OK);
}

TEST_F(BoardConfiguration, AProfileWaitsForTheCamerasOfItsDocumentThatLinkLater) {
    ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
    fake->port(0).SetCamera(kLinkIndexMaster, 1, 0);
    fake->port(2).SetCamera(kLinkIndexMaster, 2, 0);
    ASSERT_EQ(Tgx_scanPorts(board, 0xF, 1000, 0), TGX_OK);
    ASSERT_EQ(Tgx_SaveBoardConfiguration(board, path.c_str()), TGX_OK);
    ASSERT_EQ(Tgx_freeBoard(board), TGX_OK);
    board = nullptr;

    orva::core::SetControllerCreatorForTesting(&CreateLateSecondCamera);
    TgxConnectionProfile* profile = nullptr;
    ASSERT_EQ(Tgx_LoadConnectionProfile(OpenGrabber(0), path.c_str(), &profile), TGX_OK);
    const std::vector<std::string>& calls = orva::test::gLastFakeController->calls;
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls.back().rfind("DiscoverCameras 4 0 ", 0), 0U) << "only the missing master port: " << calls.back();
    ASSERT_EQ(profile->nrOfCameras, 2);
    for (int32_t i = 0; i < profile->nrOfCameras; ++i) {
        // The fake cameras have no description to connect with.
        EXPECT_EQ(profile->states[i], TGX_PROFILE_CONNECT_FAILED) << i;
    }
    EXPECT_EQ(Tgx_UnloadConnectionProfile(profile), TGX_OK);
}

// The default simulated set-up: a two-link camera on ports 0 and 1 and a
// single-link one on port 2, each with a description of its own.
TEST_F(BoardConfiguration, AProfileOpensTheSavedBoardAndConnectsItsCameras) {
    ASSERT_EQ(Tgx_initBoard(OpenGrabber(0), 0, &board), TGX_OK);
    ASSERT_EQ(Tgx_scanPorts(board, 0xF, 10000, 0), TGX_OK);
    ASSERT_EQ(Tgx_getCameraCount(board), 2);
    ASSERT_EQ(Tgx_SaveBoardConfiguration(board, path.c_str()), TGX_OK);
    const std::string saved = ReadFile(path);
    EXPECT_NE(saved.find("linkgroups=\"2\""), std::string::npos) << saved;
    EXPECT_NE(saved.find("<link phyIndex=\"1\" dlIndex=\"1\" linkIndex=\"1\"/>"), std::string::npos) << saved;
    ASSERT_EQ(Tgx_freeBoard(board), TGX_OK);
    board = nullptr;

    TgxConnectionProfile* profile = nullptr;
    ASSERT_EQ(Tgx_LoadConnectionProfile(OpenGrabber(0), path.c_str(), &profile), TGX_OK);
    ASSERT_NE(profile, nullptr);
    ASSERT_EQ(profile->nrOfCameras, 2);
    for (int32_t i = 0; i < profile->nrOfCameras; ++i) {
        EXPECT_EQ(profile->states[i], TGX_PROFILE_CONNECTED) << i;
        ASSERT_NE(profile->cameraInfos[i], nullptr);
        EXPECT_STRNE(profile->cameraInfos[i]->serialNumber, "");
        int64_t width = 0;
        EXPECT_EQ(Tgx_getIntegerValue(profile->cameras[i], "Width", &width), TGX_OK);
        EXPECT_GT(width, 0);
    }
    EXPECT_EQ(Tgx_UnloadConnectionProfile(profile), TGX_OK);

    // A document that names a camera the board hasn't got opens nothing.
    WriteFile(path, std::regex_replace(saved, std::regex("masterId=\"(\\d+)\" speed=\"5000\""),
                                       "masterId=\"$1\" speed=\"6250\""));
    profile = reinterpret_cast<TgxConnectionProfile*>(&path);
    EXPECT_EQ(Tgx_LoadConnectionProfile(OpenGrabber(0), path.c_str(), &profile), TGX_ERR_EXCEPTION);
    EXPECT_EQ(profile, nullptr);
}

} // namespace
