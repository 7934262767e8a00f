// Board and camera properties through the exported functions.
#include "include/tgx_genicam.h"
#include "tests/api/ApiTestSupport.h"

using orva::core::kLinkIndexExtension;
using orva::core::kLinkIndexMaster;
using orva::test::ApiTest;

namespace {

class Properties : public ApiTest {
protected:
    void SetUp() override {
        SetUpApi("*=5");
        ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
        fake->port(2).SetCamera(kLinkIndexMaster, 5, 0);
        fake->port(3).SetCamera(kLinkIndexExtension, 5, 1);
        ASSERT_EQ(Tgx_scanPorts(board, 0xF, 1000, 3125), TGX_OK);
        ASSERT_EQ(Tgx_getCameraByIndex(board, 0, &camera), TGX_OK);
    }
    uint32_t Get(const char* name, uint32_t link, int32_t expected = TGX_OK) {
        uint32_t value = 0xDEAD;
        const uint32_t type = TGX_PROPERTY_TYPE_UINT32;
        EXPECT_EQ(Tgx_getCameraPropertyWithType(camera, name, &value, &type, &link), expected) << name;
        return value;
    }

    TgxCameraHandle* camera = nullptr;
};

TEST_F(Properties, BoardCountsAndTheirChecks) {
    uint32_t value = 0;
    EXPECT_EQ(Tgx_getBoardPropertyWithType(board, "NrOfCameras", &value, TGX_PROPERTY_TYPE_UINT32, nullptr), TGX_OK);
    EXPECT_EQ(value, 1U);
    EXPECT_EQ(Tgx_getBoardPropertyWithType(board, "NrOfPorts", &value, TGX_PROPERTY_TYPE_UINT32, nullptr), TGX_OK);
    EXPECT_EQ(value, 4U);
    EXPECT_EQ(Tgx_getBoardPropertyWithType(board, "TransceiversLockedMask", &value, TGX_PROPERTY_TYPE_UINT32, nullptr),
              TGX_OK);
    EXPECT_EQ(value, 0xCU);
    value = 77;
    EXPECT_EQ(Tgx_getBoardPropertyWithType(board, "NrOfCameras", &value, TGX_PROPERTY_TYPE_DOUBLE, nullptr),
              TGX_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(value, 77U) << "a failed get leaves the value";
    EXPECT_EQ(Tgx_getBoardPropertyWithType(board, "Unknown", &value, 1, nullptr), TGX_ERR_NOT_IMPLEMENTED);

    EXPECT_EQ(Tgx_getBoardPropertyWithType(nullptr, "", nullptr, 1, nullptr), TGX_ERR_INVALID_BOARD_HANDLE);
    EXPECT_EQ(Tgx_getBoardPropertyWithType(board, "", nullptr, 1, nullptr), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_getBoardPropertyWithType(board, "NrOfPorts", nullptr, 1, nullptr), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_setBoardPropertyWithType(board, "NrOfPorts", nullptr, 1, nullptr), TGX_ERR_INVALID_ARGUMENT);
    const std::string log = Log();
    EXPECT_NE(log.find("|Invalid boardHandle\n"), std::string::npos);
    EXPECT_NE(log.find("|Invalid propertyName\n"), std::string::npos);
    EXPECT_NE(log.find("|Invalid value\n"), std::string::npos);
    EXPECT_NE(log.find("|Invalid propertyValuePtr\n"), std::string::npos);
}

TEST_F(Properties, CameraLinkTable) {
    EXPECT_EQ(Get("NROFLINKS", 0), 2U);
    EXPECT_EQ(Get("DISCOVERYSPEED", 0), 3125U);
    EXPECT_EQ(Get("MASTERPORT", 0), 2U);
    EXPECT_EQ(Get("MASTERID", 0), 5U);
    EXPECT_EQ(Get("FGPORT", 1), 3U);
    EXPECT_EQ(Get("FGPORT", 2), 0xFFFFFFFFU) << "a link the discovery didn't fill";
    EXPECT_EQ(Get("MASTERLINK", 0), 1U);
    EXPECT_EQ(Get("EXTENSIONLINK", 1), 1U);
    EXPECT_EQ(Get("MASTERLINK", 1), 0U);
    Get("FGPORT", 4, TGX_ERR_INVALID_ARGUMENT);
    Get("NOSUCHPROPERTY", 0, TGX_ERR_NOT_IMPLEMENTED);

    uint32_t value = 0;
    const uint32_t wrongType = TGX_PROPERTY_TYPE_STRING;
    EXPECT_EQ(Tgx_getCameraPropertyWithType(camera, "LINKSPEED", &value, &wrongType, nullptr),
              TGX_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(Tgx_getCameraPropertyWithType(camera, "FGPORT", &value, &wrongType + 0, nullptr),
              TGX_ERR_INVALID_DATA_TYPE);
    const uint32_t type = TGX_PROPERTY_TYPE_UINT32;
    EXPECT_EQ(Tgx_getCameraPropertyWithType(camera, "FGPORT", &value, &type, nullptr), TGX_ERR_INVALID_ARGUMENT)
        << "a per-link row without a link number";
}

TEST_F(Properties, CameraSettingsBecomeTheControllersLinkConfiguration) {
    uint32_t value = 18;
    EXPECT_EQ(Tgx_setCameraPropertyWithType(camera, "NROFLINKS", &value, TGX_PROPERTY_TYPE_UINT32, nullptr), TGX_OK);
    EXPECT_EQ(fake->calls.back(), "SetBoardProperty LinkConfig " + std::to_string(2U << 24) + " type 1 port 2");
    value = 0x7012345;
    EXPECT_EQ(Tgx_setCameraPropertyWithType(camera, "LINKSPEED", &value, TGX_PROPERTY_TYPE_UINT32, nullptr), TGX_OK);
    EXPECT_EQ(fake->calls.back(), "SetBoardProperty LinkConfig " + std::to_string(0x012345) + " type 1 port 2");
    EXPECT_EQ(Tgx_setCameraPropertyWithType(camera, "MASTERPORT", &value, 1, nullptr), TGX_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(Tgx_setCameraPropertyWithType(camera, "LINKCONFIG", &value, 2, nullptr), TGX_ERR_INVALID_DATA_TYPE);
}

} // namespace
