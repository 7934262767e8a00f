// Power over the cable on the simulated CoaXPress boards: enable registers,
// status and sense values in the coding of each board group, trips, and a
// camera that lives on the power its ports give it.

#include "CxpTestSupport.h"

namespace orva::cxpsimtest {
namespace {

class Power : public CxpTest {
protected:
    void loadBoard(const std::string& design, const std::string& type, const std::string& params = "{}") {
        load(R"({"boards":[{"index":0,"type":")" + type + R"(","serial":1,"design":")" + design +
             R"(","ports":2,"cameras":[{"model":"cxp-camera","ports":[0],"params":)" + params + "}]}]}");
        board = open(0);
    }
    bool cameraPresent() { return (hal.OHalGetCameraStatusExtended(board, 0) & 1) != 0; }
    OHalDevice* board = nullptr;
};

TEST_F(Power, EnableRegisterSwitchesThePortsAndTheCameraWithThem) {
    loadBoard("cxp-rate-2", "0x7540");
    EXPECT_EQ(get(board, "rCxpPowerEnablePower"), 0x3u) << "register-path ports start powered";
    EXPECT_TRUE(cameraPresent());

    set(board, "wCxpPowerEnablePower", 0x2);
    EXPECT_EQ(get(board, "rCxpPowerEnablePower"), 0x2u);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_OFF);
    EXPECT_FALSE(cameraPresent());
    EXPECT_TRUE(eventually([&] { return get(board, "CxpTransceiverNotInTable_0") > 0; })) << "no signal any more";

    set(board, "wCxpPowerEnablePower", 0x3);
    EXPECT_TRUE(cameraPresent());
    // Up again at its native speed: the errors of the outage stay counted
    // until the receiver is reset, and no more come.
    const uint64_t counted = get(board, "CxpTransceiverNotInTable_0");
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(get(board, "CxpTransceiverNotInTable_0"), counted);
    }
    set(board, "CxpControlCoreReset_0", 0x6);
    set(board, "CxpControlCoreReset_0", 0x0);
    EXPECT_EQ(get(board, "CxpTransceiverNotInTable_0"), 0u);
}

TEST_F(Power, TrippedPortStaysOffUntilItsEnableGoesOffAndOn) {
    loadBoard("cxp-rate-2", "0x7540");
    ASSERT_EQ(orva_sim_set_power(0, 0, ORVA_SIM_POWER_TRIPPED), ORVA_SIM_OK);
    EXPECT_FALSE(cameraPresent());
    EXPECT_EQ(get(board, "CxpPowerStatus_0"), 0x10u) << "group 2: over-current";
    EXPECT_EQ(get(board, "rCxpPowerEnablePower"), 0x3u) << "still enabled";

    set(board, "wCxpPowerEnablePower", 0x3);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_TRIPPED) << "enabling again doesn't clear a trip";
    set(board, "wCxpPowerEnablePower", 0x2);
    set(board, "wCxpPowerEnablePower", 0x3);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_ON);
    EXPECT_TRUE(cameraPresent());
}

TEST_F(Power, CameraThatDrawsTooMuchTripsItsPort) {
    loadBoard("cxp-rate-2", "0x7540", R"({"overCurrent":true})");
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_TRIPPED) << "tripped as soon as it was powered";
    set(board, "wCxpPowerEnablePower", 0x2);
    set(board, "wCxpPowerEnablePower", 0x3);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_TRIPPED) << "and at every power-up";
    EXPECT_EQ(orva_sim_get_power(0, 1), ORVA_SIM_POWER_ON);
}

TEST_F(Power, StatusAndSenseOfGroupOne) {
    loadBoard("cxp-drp", "0xA55", R"({"currentMa":300})");
    EXPECT_EQ(get(board, "CxpPowerStatus_0"), 0x04u) << "on, with a load";
    EXPECT_EQ(get(board, "CxpPowerStatus_1"), 0x02u) << "on, nothing drawing";
    EXPECT_EQ(get(board, "CxpPowerSense_0"), 750u) << "0.4 mA a step";
    EXPECT_EQ(get(board, "CxpPowerSense_1"), 0u);
    EXPECT_EQ(get(board, "CxpPowerVin_0"), 960u) << "24 V at 25 mV a step";
    set(board, "wCxpPowerEnablePower", 0x0);
    EXPECT_EQ(get(board, "CxpPowerStatus_0"), 0x01u);
    EXPECT_EQ(get(board, "CxpPowerSense_0"), 0u);
    EXPECT_EQ(get(board, "CxpPowerVin_0"), 0u);
}

TEST_F(Power, StatusAndSenseOfGroupTwo) {
    loadBoard("cxp-rxstatus-2", "0x7591", R"({"currentMa":200})");
    EXPECT_EQ(get(board, "CxpPowerStatus_0"), 0x04u);
    EXPECT_EQ(get(board, "CxpPowerShuntVoltage_0"), 1000u) << "0.2 mA a step";
    EXPECT_EQ(get(board, "CxpPowerBusVoltage_0"), 6000u) << "24 V at 4 mV a step";
    EXPECT_FALSE(has(board, "CxpPowerSense_0"));
}

TEST_F(Power, StatusOfGroupThreeWithAndWithoutSensors) {
    loadBoard("cxp-dual-2", "0xB61", R"({"currentMa":300})");
    EXPECT_EQ(get(board, "CxpPowerStatus_0"), uint64_t{0x02} << 30) << "on; this board has no sensors";
    ASSERT_EQ(orva_sim_set_power(0, 1, ORVA_SIM_POWER_TRIPPED), ORVA_SIM_OK);
    EXPECT_EQ(get(board, "CxpPowerStatus_1"), uint64_t{0x04} << 30);
    ASSERT_EQ(orva_sim_set_power(0, 1, ORVA_SIM_POWER_OFF), ORVA_SIM_OK);
    EXPECT_EQ(get(board, "CxpPowerStatus_1"), uint64_t{0x01} << 30);

    loadBoard("cxp-dual-2", "0xA64", R"({"currentMa":300})");
    const uint64_t status = get(board, "CxpPowerStatus_0");
    EXPECT_EQ(status >> 30, 0x02u);
    EXPECT_EQ(status & 0xFFFF, 1500u) << "current in bits 15..0, 0.2 mA a step";
    EXPECT_EQ(status >> 16 & 0x3FFF, 6000u) << "supply in bits 29..16, 4 mV a step";
}

TEST_F(Power, CameraControlSwitchesThePortsOfTheQueuePath) {
    // Board 0 of the default set-up, both links of its first camera switched
    // off first (either link alone feeds the camera).
    board = open(0);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(board, 0, 1), ORVA_SIM_OK);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(board, 1, 1), ORVA_SIM_OK);
    EXPECT_FALSE(cameraPresent());
    EXPECT_EQ(get(board, "CxpPowerStatus_0") >> 30, 0x01u);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(board, 0, 2), ORVA_SIM_OK);
    EXPECT_TRUE(cameraPresent());
    EXPECT_EQ(get(board, "CxpPowerStatus_0") >> 30, 0x02u);
    ASSERT_EQ(orva_sim_set_power(0, 0, ORVA_SIM_POWER_TRIPPED), ORVA_SIM_OK);
    EXPECT_EQ(get(board, "CxpPowerStatus_0") >> 30, 0x04u);
    EXPECT_FALSE(cameraPresent());
}

TEST_F(Power, CameraFedByAnyOfItsLinksRunsWhileOneFeedsIt) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-2","ports":2,
      "cameras":[{"model":"cxp-camera","ports":[0,1]}]}]})");
    board = open(0);
    EXPECT_EQ(get(board, "CxpPowerStatus_0") & 0xFFFF, 1500u) << "the master link's port feeds it";
    EXPECT_EQ(get(board, "CxpPowerStatus_1") & 0xFFFF, 0u);
    set(board, "wCxpPowerEnablePower", 0x2);
    EXPECT_EQ(hal.OHalGetCameraStatusExtended(board, 1) & 1, 1u) << "the extension's port takes over";
    EXPECT_EQ(get(board, "CxpPowerStatus_1") & 0xFFFF, 1500u);
}

TEST_F(Power, ExternallyPoweredCameraDrawsNothingFromItsPort) {
    loadBoard("cxp-dual-2", "0xA64", R"({"externalPower":true})");
    set(board, "wCxpPowerEnablePower", 0x0);
    EXPECT_TRUE(cameraPresent());
    EXPECT_EQ(get(board, "CxpTransceiverStatus_0") >> 48 & 1, 1u) << "its links stay up";
}

} // namespace
} // namespace orva::cxpsimtest
