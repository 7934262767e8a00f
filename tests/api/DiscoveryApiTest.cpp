// Discovery, camera access, links, power and events through the exported
// functions, on a board whose technology the test brings.
#include "include/tgx_genicam.h"
#include "tests/api/ApiTestSupport.h"

using orva::core::kLinkIndexExtension;
using orva::core::kLinkIndexMaster;
using orva::test::ApiTest;
using orva::test::FakeController;

namespace {

class DiscoveryApi : public ApiTest {
protected:
    void SetUp() override {
        SetUpApi("orva.genicam.lib=1");
        ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
        // A two-link camera on ports 0 and 1, a single-link one on port 3.
        fake->port(0).SetCamera(kLinkIndexMaster, 1, 0);
        fake->port(1).SetCamera(kLinkIndexExtension, 1, 1);
        fake->port(3).SetCamera(kLinkIndexMaster, 2, 0);
    }
};

TEST_F(DiscoveryApi, MaskIsCheckedBeforeTheBoard) {
    EXPECT_EQ(Tgx_scanPorts(nullptr, 0, 1000, 0), TGX_ERR_INVALID_PORT);
    EXPECT_EQ(Tgx_scanPorts(nullptr, 1, 1000, 0), TGX_ERR_INVALID_BOARD_HANDLE);
    EXPECT_EQ(Tgx_powerSwitch(nullptr, 0), TGX_ERR_INVALID_PORT);
    EXPECT_EQ(Tgx_powerSwitchExt(nullptr, 1, 1), TGX_ERR_INVALID_BOARD_HANDLE);
    const std::string log = Log();
    EXPECT_NE(log.find("|Invalid Port Mask \n"), std::string::npos) << log;
    // Both scan functions trace: the outer one around the inner one.
    EXPECT_NE(log.find("|Entering Tgx_scanPorts; Speed: 0\n"), std::string::npos) << log;
    EXPECT_NE(log.find("|Entering Tgx_scanPortsEx; Speed: 0; Flags: 0\n"), std::string::npos) << log;
    EXPECT_NE(log.find(",port-mask=1,handle=(TgxBoardHandle*)0|Leaving Tgx_scanPorts,return=-1001\n"),
              std::string::npos)
        << log;
}

TEST_F(DiscoveryApi, ScanListsCamerasByIndexAndByPort) {
    EXPECT_EQ(Tgx_getCameraCount(board), 0);
    TgxCameraHandle* camera = nullptr;
    EXPECT_EQ(Tgx_getCamera(board, 0, &camera), TGX_OK);
    EXPECT_EQ(camera, nullptr) << "no camera before the first scan";

    ASSERT_EQ(Tgx_scanPortsEx(board, 0xF, 5000, 6250, 0x80), TGX_OK);
    EXPECT_EQ(fake->calls.back(), "DiscoverCameras 15 6250 5000");
    ASSERT_EQ(Tgx_getCameraCount(board), 2);
    TgxCameraHandle* first = nullptr;
    ASSERT_EQ(Tgx_getCameraByIndex(board, 0, &first), TGX_OK);
    EXPECT_EQ(Tgx_getCamera(board, 0, &camera), TGX_OK);
    EXPECT_EQ(camera, first);
    EXPECT_EQ(Tgx_getCamera(board, 1, &camera), TGX_OK);
    EXPECT_EQ(camera, nullptr) << "an extension link is no camera of its own";
    EXPECT_EQ(Tgx_getCameraByIndex(board, 2, &camera), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_getCameraByIndex(board, 0, nullptr), TGX_ERR_INVALID_POINTER);
    EXPECT_NE(Log().find("|Invalid camera handle\n"), std::string::npos);
}

TEST_F(DiscoveryApi, AvailabilityFollowsThePortsLink) {
    ASSERT_EQ(Tgx_scanPorts(board, 0xF, 5000, 0), TGX_OK);
    EXPECT_EQ(Tgx_isCameraAvailable(board, 3), 1);
    EXPECT_EQ(Tgx_isCameraAvailableAtIndex(board, 1), 1);
    EXPECT_EQ(Tgx_isCameraAvailable(board, 2), 0);
    EXPECT_EQ(Tgx_isCameraAvailable(nullptr, 0), 0);
    EXPECT_EQ(Tgx_isCameraAvailableAtIndex(board, 9), 0);

    TgxCameraHandle* camera = nullptr;
    ASSERT_EQ(Tgx_getCamera(board, 3, &camera), TGX_OK);
    EXPECT_EQ(Tgx_LinkConnect(board, camera), TGX_OK);
    EXPECT_EQ(Tgx_CxpConnect(nullptr, camera), TGX_OK) << "the board isn't used";
    EXPECT_EQ(Tgx_LinkDisconnect(camera), TGX_OK);
    EXPECT_EQ(Tgx_isCameraAvailable(board, 3), 1) << "the link stays up";

    fake->port(3).SetNoCamera(); // the port notices a lost link
    EXPECT_EQ(Tgx_isCameraAvailable(board, 3), 0);
    EXPECT_EQ(Tgx_LinkConnect(board, camera), TGX_ERR_NO_INTERFACE);
    EXPECT_EQ(Tgx_LinkConnect(board, nullptr), TGX_ERR_INVALID_BOARD_HANDLE);
    EXPECT_EQ(Tgx_CxpDisconnect(nullptr), TGX_ERR_INVALID_BOARD_HANDLE);
    EXPECT_NE(Log().find("|Invalid boardHandle\n"), std::string::npos);
}

TEST_F(DiscoveryApi, CameraInfoIsRefilledAndUpdatesReadTheUserIdAgain) {
    ASSERT_EQ(Tgx_scanPorts(board, 0xF, 5000, 0), TGX_OK);
    TgxCameraHandle* camera = nullptr;
    ASSERT_EQ(Tgx_getCamera(board, 0, &camera), TGX_OK);
    const TgxCameraInfo* info = Tgx_getCameraInfo(camera);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info->userId, "");
    EXPECT_STREQ(info->familyName, "");

    fake->port(0).SetUserIdOnCamera("line-7");
    EXPECT_EQ(Tgx_updateCameraInfos(camera), TGX_ERR_NOT_IMPLEMENTED);
    EXPECT_STREQ(Tgx_getCameraInfo(camera)->userId, "line-7");

    EXPECT_EQ(Tgx_getCameraInfo(nullptr), nullptr);
    EXPECT_NE(Log().find("|Leaving Tgx_getCameraInfo,return=-1000\n"), std::string::npos) << Log();
    EXPECT_EQ(Tgx_updateCameraInfos(nullptr), TGX_ERR_INVALID_BOARD_HANDLE);
}

TEST_F(DiscoveryApi, PowerCommands) {
    EXPECT_EQ(Tgx_powerSwitchExt(board, 0x1, TGX_POWER_ON), TGX_OK);
    EXPECT_EQ(fake->calls.back(), "PowerOn 1");
    const auto before = fake->calls.size();
    EXPECT_EQ(Tgx_powerSwitchExt(board, 0x1, 7), TGX_OK);
    EXPECT_EQ(fake->calls.size(), before) << "an unknown command does nothing";
    EXPECT_NE(Log().find("|Entering Tgx_powerSwitchExt; Command: 7\n"), std::string::npos);
}

struct Received {
    std::vector<TgxEventRecord> records;
};

int32_t OnEvent(TgxBoardHandle*, uint32_t, const TgxEventRecord* record, void* context) {
    static_cast<Received*>(context)->records.push_back(*record);
    return 0;
}

struct FreeFromEvent {
    TgxBoardHandle* board;
    int32_t status = TGX_OK;
};

int32_t FreeOwnBoard(TgxBoardHandle* board, uint32_t, const TgxEventRecord*, void* context) {
    auto* attempt = static_cast<FreeFromEvent*>(context);
    attempt->status = Tgx_freeBoard(board);
    return 0;
}

TEST_F(DiscoveryApi, AnEventFunctionCanNotFreeItsOwnBoard) {
    FreeFromEvent attempt{board};
    ASSERT_EQ(Tgx_RegisterEventCallback(board, &FreeOwnBoard, &attempt), TGX_OK);
    fake->Report(orva::core::LinkEventKind::Gained, 0x1);
    EXPECT_EQ(attempt.status, TGX_ERR_BLOCKED);
    EXPECT_NE(Log().find("|Board can not be freed from its own event function\n"), std::string::npos) << Log();
    ASSERT_EQ(Tgx_scanPorts(board, 0xF, 1000, 0), TGX_OK) << "the board stays open";
    EXPECT_EQ(Tgx_getCameraCount(board), 2);
}

TEST_F(DiscoveryApi, EventsReachTheRegisteredFunction) {
    Received received;
    EXPECT_EQ(Tgx_RegisterEventCallback(nullptr, &OnEvent, &received), TGX_ERR_INVALID_BOARD_HANDLE);
    ASSERT_EQ(Tgx_RegisterEventCallback(board, &OnEvent, &received), TGX_OK);
    fake->Report(orva::core::LinkEventKind::Lost, 0x8);
    ASSERT_EQ(received.records.size(), 1U);
    EXPECT_EQ(uint16_t{received.records[0].id}, TGX_EVENT_LINK_DOWN);
    EXPECT_EQ(uint32_t{received.records[0].portMask}, 0x8U);

    EXPECT_EQ(Tgx_registerCameraEventCallback(nullptr, &OnEvent, nullptr), TGX_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(Tgx_registerBoardEventCallback(board, &OnEvent, nullptr), TGX_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(Tgx_callInternalFunction(board, 0, nullptr), -1);
}

} // namespace
