// Power over the cable, trip handling, the board properties of the CoaXPress
// controller and the camera's link configuration, against the simulated
// boards.
#include <array>
#include <cstring>

#include "impl/core/DiscoverySelector.h"
#include "tests/cxpcontroller/CxpControllerTestSupport.h"

namespace orva::cxptest {
namespace {

constexpr uint32_t kUint32 = 1;
constexpr uint32_t kDouble = 2;
constexpr uint32_t kText = 3;

class CxpPower : public CxpControllerTest {};

TEST_F(CxpPower, EnableRegisterKeepsToTheBoardsPorts) {
    // Register path on two ports: the ports start powered.
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0x757", R"("cxp-rate-2")", 2, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->GetNrOfPorts(), 2u);
    controller->PowerOff(0xFF);
    EXPECT_EQ(DesignRegister("rCxpPowerEnablePower"), 0u);
    controller->PowerOn(0xFF);
    EXPECT_EQ(DesignRegister("rCxpPowerEnablePower"), 3u);
    controller->PowerOff(0x1);
    EXPECT_EQ(DesignRegister("rCxpPowerEnablePower"), 2u);
    EXPECT_EQ(PortPower(0), static_cast<uint32_t>(ORVA_SIM_POWER_OFF));
    EXPECT_EQ(PortPower(1), static_cast<uint32_t>(ORVA_SIM_POWER_ON));
}

TEST_F(CxpPower, CameraControlSwitchesThePortsOfTheMask) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, "", "off"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    controller->PowerOn(0x5);
    EXPECT_EQ(PortPower(0), static_cast<uint32_t>(ORVA_SIM_POWER_ON));
    EXPECT_EQ(PortPower(1), static_cast<uint32_t>(ORVA_SIM_POWER_OFF));
    EXPECT_EQ(PortPower(2), static_cast<uint32_t>(ORVA_SIM_POWER_ON));
    EXPECT_EQ(PortPower(3), static_cast<uint32_t>(ORVA_SIM_POWER_OFF));
    controller->PowerOff(0x4);
    EXPECT_EQ(PortPower(2), static_cast<uint32_t>(ORVA_SIM_POWER_OFF));
    EXPECT_EQ(PortPower(0), static_cast<uint32_t>(ORVA_SIM_POWER_ON));
}

TEST_F(CxpPower, DisabledPowerOverTheCableSwitchesEveryPortOff) {
    setenv("ORVA_CXP_DISABLE_POWER_OVER_CXP", "On", 1); // NOLINT(concurrency-mt-unsafe): no thread runs yet
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0x757", R"("cxp-rate-4")", 4, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    EXPECT_EQ(DesignRegister("rCxpPowerEnablePower"), 0u);
}

TEST_F(CxpPower, TrippedPortIsCycledBeforeTheScanAndItsCameraFound) {
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0x757", R"("cxp-rate-4")", 4, R"({"model": "cxp-camera", "ports": [1]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(orva_sim_set_power(0, 1, ORVA_SIM_POWER_TRIPPED), ORVA_SIM_OK);
    uint32_t port = 1;
    uint32_t status = 0;
    ASSERT_EQ(controller->GetBoardProperty("CxpPowerStatus", &status, kUint32, &port), TGX_OK);
    EXPECT_EQ(status, 5u) << "group 2 codes a trip as 0x10";

    ASSERT_EQ(controller->DiscoverCameras(0x2, 0, kDiscoveryTimeoutMs), TGX_OK);
    EXPECT_EQ(PortPower(1), static_cast<uint32_t>(ORVA_SIM_POWER_ON));
    ASSERT_EQ(controller->GetBoardProperty("CxpPowerStatus", &status, kUint32, &port), TGX_OK);
    EXPECT_EQ(status, 3u) << "on, with the camera drawing current";
}

TEST_F(CxpPower, CameraThatTripsItsPortIsNeverFound) {
    setenv("ORVA_CXP_NUM_RESET_ATTEMPTS_ON_PORT_TRIP", "0", 1); // NOLINT(concurrency-mt-unsafe): no thread runs yet
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("cxp-dual-4")", 4,
                            R"({"model": "cxp-camera", "ports": [0], "params": {"overCurrent": true}},
                           {"model": "cxp-camera", "ports": [2]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    EXPECT_EQ(PortPower(0), static_cast<uint32_t>(ORVA_SIM_POWER_TRIPPED));
    // The other camera comes up all the same.
    ASSERT_EQ(controller->DiscoverCameras(0x4, 0, kDiscoveryTimeoutMs), TGX_OK);
    EXPECT_EQ(controller->DiscoverCameras(0x1, 0, 2000), TGX_ERR_NO_CAMERA_FOUND);
    EXPECT_EQ(PortPower(0), static_cast<uint32_t>(ORVA_SIM_POWER_TRIPPED));
    uint32_t port = 0;
    uint32_t status = 0;
    ASSERT_EQ(controller->GetBoardProperty("CxpPowerStatus", &status, kUint32, &port), TGX_OK);
    EXPECT_EQ(status, 6u) << "group 3 codes a trip as 0x04 in bits 35..30";
    EXPECT_FALSE(Port(0).IsConnected());
}

class CxpProperties : public CxpControllerTest {};

TEST_F(CxpProperties, ArgumentsAreCheckedInTheirOrder) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    uint32_t value = 0;
    double reading = 0;
    uint32_t port = 0;
    uint32_t pastTheEnd = 4;
    EXPECT_EQ(controller->GetBoardProperty("NoSuchName", &value, kUint32, &port), TGX_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(controller->SetBoardProperty("CxpPowerStatus", &value, kUint32, &port), TGX_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(controller->GetBoardProperty("CxpPowerSense", nullptr, kUint32, nullptr), TGX_ERR_INVALID_POINTER);
    EXPECT_EQ(controller->GetBoardProperty("CxpPowerSense", &value, kUint32, nullptr), TGX_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(controller->GetBoardProperty("CxpPowerSense", &reading, kDouble, nullptr), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(controller->GetBoardProperty("CxpPowerSense", &reading, kDouble, &pastTheEnd),
              TGX_ERR_VALUE_OUT_OF_RANGE);
    // A reading the board's group doesn't have.
    EXPECT_EQ(controller->GetBoardProperty("CxpPowerAdIn", &reading, kDouble, &port), TGX_ERR_INVALID_COMMAND);
    // A failed get leaves the value as it was.
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(reading, 0.0);
}

TEST_F(CxpProperties, SenseValuesInTheCodingOfEachBoardGroup) {
    // The camera draws 300 mA from a 24 V supply on every board.
    const char* camera = R"({"model": "cxp-camera", "ports": [0], "params": {"currentMa": 300}})";
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA53", R"("cxp-drp")", 4, camera) + "," +
                                          Board(1, "0x757", R"("cxp-rate-4")", 4, camera) + "," +
                                          Board(2, "0xA64", R"("coaxpress")", 4, camera))));
    for (uint32_t boardIndex : {0u, 1u, 2u}) {
        SCOPED_TRACE(boardIndex);
        ASSERT_NO_FATAL_FAILURE(Open(boardIndex));
        controller->PowerOn(0x1);
        uint32_t port = 0;
        double current = 0;
        double supply = 0;
        ASSERT_EQ(controller->GetBoardProperty("CxpPowerSense", &current, kDouble, &port), TGX_OK);
        ASSERT_EQ(controller->GetBoardProperty("CxpPowerVin", &supply, kDouble, &port), TGX_OK);
        EXPECT_NEAR(current, 300.0, 1e-6);
        EXPECT_NEAR(supply, 24.0, 1e-6);
        uint32_t status = 0;
        ASSERT_EQ(controller->GetBoardProperty("CxpPowerStatus", &status, kUint32, &port), TGX_OK);
        EXPECT_LT(status, 5u);
        uint32_t nit = 0;
        EXPECT_EQ(controller->GetBoardProperty("CxpTransceiverNotInTable", &nit, kUint32, &port), TGX_OK);
        controller.reset();
    }
}

TEST_F(CxpProperties, CameraRecordsBeforeAndAfterTheFirstScan) {
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, R"({"model": "cxp-camera", "ports": [3]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    uint32_t port = 3;
    std::array<char, cxp::CxpBoardProperties::kXmlFileMaxBytes> text{};
    ASSERT_EQ(controller->GetBoardProperty("XmlFile", text.data(), kText, &port), TGX_OK);
    EXPECT_EQ(text[0], '\0') << "nothing to copy before a scan";
    uint32_t value = 0;
    ASSERT_EQ(controller->GetBoardProperty("MagicValue", &value, kUint32, &port), TGX_OK);
    EXPECT_EQ(value, 0xFFFFFFFFu);

    controller->PowerOn(0x8);
    ASSERT_EQ(controller->DiscoverCameras(0x8, 0, kDiscoveryTimeoutMs), TGX_OK);
    ASSERT_EQ(controller->GetBoardProperty("MagicValue", &value, kUint32, &port), TGX_OK);
    EXPECT_EQ(value, 0xC0A79AE5u);
    ASSERT_EQ(controller->GetBoardProperty("CameraRevision", &value, kUint32, &port), TGX_OK);
    EXPECT_EQ(value, 0x20000u);
    // The manifest is read by the worker right after the scan; the event
    // comes behind it.
    ASSERT_TRUE(events.WaitForCount(1));
    ASSERT_EQ(controller->GetBoardProperty("XmlSize", &value, kUint32, &port), TGX_OK);
    EXPECT_EQ(value, 1u);
    ASSERT_EQ(controller->GetBoardProperty("XmlFile", text.data(), kText, &port), TGX_OK);
    const std::string manifest(text.data());
    EXPECT_NE(manifest.find(";Local:"), std::string::npos) << manifest;
    EXPECT_EQ(manifest, Port(3).GetXmlManifestInfo());
}

class CxpLinkConfig : public CxpControllerTest {
protected:
    void SetUp() override {
        CxpControllerTest::SetUp();
        ASSERT_NO_FATAL_FAILURE(
            Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, R"({"model": "cxp-camera", "ports": [0, 1]})"))));
        ASSERT_NO_FATAL_FAILURE(Open());
        ASSERT_EQ(controller->DiscoverCameras(0x3, 0, kDiscoveryTimeoutMs), TGX_OK);
        ASSERT_EQ(Port(0).GetLinkSpeed(), 6250u);
    }
    int32_t Set(uint32_t value, uint32_t port = 0, uint32_t type = kUint32) {
        return controller->SetBoardProperty("LinkConfig", &value, type, &port);
    }
    uint32_t CameraConfig() {
        uint32_t config = 0;
        EXPECT_EQ(ReadCamera(0, 0x4014, config), TGX_OK);
        return config;
    }
};

TEST_F(CxpLinkConfig, NewSpeedReachesCameraAndLinks) {
    ASSERT_EQ(Set(5000), TGX_OK);
    EXPECT_EQ(CameraConfig(), 0x00020040u) << "the number of links is kept";
    EXPECT_EQ(Port(0).GetLinkSpeed(), 5000u);
    EXPECT_EQ(Port(1).GetLinkSpeed(), 5000u);
}

TEST_F(CxpLinkConfig, ZeroKeepsTheCamerasConfigurationAndLocksAgain) {
    ASSERT_EQ(Set(0), TGX_OK);
    EXPECT_EQ(CameraConfig(), 0x00020048u);
    EXPECT_EQ(Port(0).GetLinkSpeed(), 6250u);
    EXPECT_EQ(Port(1).GetLinkSpeed(), 6250u);
}

TEST_F(CxpLinkConfig, RefusedValuesLeaveTheCameraAsItWas) {
    EXPECT_EQ(Set(7000), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Set(5000, 1), TGX_ERR_INVALID_PORT) << "an extension link isn't a camera";
    EXPECT_EQ(Set(5000, 2), TGX_ERR_INVALID_PORT) << "no camera";
    EXPECT_EQ(Set(5000, 4), TGX_ERR_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(Set(5000, 0, kDouble), TGX_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(controller->SetBoardProperty("LinkConfig", nullptr, kUint32, nullptr), TGX_ERR_INVALID_POINTER);
    EXPECT_EQ(CameraConfig(), 0x00020048u);
    EXPECT_EQ(controller->GetConnectedMask(), 0x3u) << "the links stay in use";
}

class CxpSelector : public CxpControllerTest {};

TEST_F(CxpSelector, RegistersTakeTheSelectorAsGiven) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("cxp-dual-4")", 4, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    EXPECT_EQ(controller->GetDiscoverySelector(), core::kIdentitySelector);
    ASSERT_EQ(controller->SetDiscoverySelector(0x7654302176543102ULL), TGX_OK);
    EXPECT_EQ(controller->GetDiscoverySelector(), 0x7654302176543102ULL);
    // A reset of the ports brings back the identity.
    ASSERT_EQ(controller->ResetPorts(0xF), TGX_OK);
    EXPECT_EQ(controller->GetDiscoverySelector(), core::kIdentitySelector);
}

TEST_F(CxpSelector, CameraControlTakesItAsItsPortMap) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->SetDiscoverySelector(0x7654012376540123ULL), TGX_OK);
    orva_sim_port_info info{};
    ASSERT_EQ(orva_sim_get_port_info(0, 0, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.portMap, 0x7654012376540123ULL);
    EXPECT_EQ(controller->GetDiscoverySelector(), 0x7654012376540123ULL);
}

TEST_F(CxpSelector, ConfigurationDesignsShowTheirListsEntry) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("cxp-dual-4-cfg")", 4, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    EXPECT_EQ(controller->GetDiscoverySelector(), core::kIdentitySelector);
    // Such a design can't be told a selector; it keeps its own.
    EXPECT_EQ(controller->SetDiscoverySelector(0x7654012376540123ULL), TGX_OK);
    EXPECT_EQ(controller->GetDiscoverySelector(), core::kIdentitySelector);
    const int32_t config = board::DsgGetRegisterByName(handles.design, "CxpDiscoveryConfig");
    ASSERT_GT(config, 0);
    ASSERT_GE(board::OHalRegisterWrite(handles.device, static_cast<uint32_t>(config), 12), 0);
    EXPECT_EQ(controller->GetDiscoverySelector(), 0x7654302176543102ULL);
    ASSERT_GE(board::OHalRegisterWrite(handles.device, static_cast<uint32_t>(config), 24), 0);
    EXPECT_EQ(controller->GetDiscoverySelector(), core::kUnknownSelector);
}

TEST_F(CxpSelector, ReversedCameraOnAConfigurationDesignTalksThroughItsOwnRoute) {
    // The design's selector can't follow the camera: the ports are bound to
    // the routes the board has, and the camera still answers on both links.
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("cxp-dual-4-cfg")", 4, R"({"model": "cxp-camera", "ports": [1, 0]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->DiscoverCameras(0x3, 0, kDiscoveryTimeoutMs), TGX_OK);
    EXPECT_EQ(Port(0).GetAppletPort(), 0u);
    EXPECT_EQ(Port(1).GetAppletPort(), 1u);
    uint32_t id = 0;
    ASSERT_EQ(ReadCamera(0, 0x4004, id), TGX_OK);
    EXPECT_EQ(id, 1u);
    ASSERT_EQ(ReadCamera(1, 0x4004, id), TGX_OK);
    EXPECT_EQ(id, 0u);
}

class CxpCores : public CxpControllerTest {};

TEST_F(CxpCores, PortIndexIsCheckedBeforeTheHardware) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("cxp-dual-2")", 2, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    EXPECT_EQ(controller->SetPortLinkSpeed(2, 3125), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(controller->SetPortLinkSpeed(1, 3125), TGX_OK);
    EXPECT_EQ(controller->ResetPortCores(0x3, 6), TGX_OK);
    EXPECT_EQ(Port(0).GetCoreResetValue(), 6u);
    EXPECT_EQ(Port(1).GetCoreResetValue(), 6u);
    EXPECT_EQ(controller->ResetPortCores(0x2, 0), TGX_OK);
    EXPECT_EQ(Port(0).GetCoreResetValue(), 6u);
    EXPECT_EQ(Port(1).GetCoreResetValue(), 0u);
}

} // namespace
} // namespace orva::cxptest
