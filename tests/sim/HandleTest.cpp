// Handles, board information and the camera control interface: what a
// caller gets for good arguments, and a negative status, never a crash, for
// bad ones.

#include "SimTestSupport.h"

#include <gmock/gmock.h>

#include <string>

namespace orva::simtest {
namespace {

class Handles : public SimTest {};

TEST_F(Handles, GrabberHandleCarriesTheBoardsDeviceAndDesign) {
    Gb_Struct_s* grabber = hal.Gb_InitEx(2, "Acq_Whatever.dsg", 0);
    ASSERT_NE(grabber, nullptr) << orva_sim_last_error();
    EXPECT_EQ(grabber->magic, GB_STRUCT_MAGIC);
    EXPECT_EQ(grabber->boardIndex, 2u);
    EXPECT_EQ(hal.OHalGetBoardIndex(grabber->device, 0), 2);
    EXPECT_EQ(hal.OHalGetBoardInfoInt(grabber->device, "board/type"), 0xA58);
    EXPECT_GT(hal.DsgGetRegisterByName(grabber->design, "ClDesignVersion"), 0);

    OHalDevice* device = nullptr;
    DsgDesign* design = nullptr;
    ASSERT_EQ(orva_sim_grabber_handles(grabber, &device, &design), ORVA_SIM_OK);
    EXPECT_EQ(device, grabber->device);
    EXPECT_EQ(design, grabber->design);

    ASSERT_EQ(hal.Gb_FreeGrabber(grabber), ORVA_SIM_OK);
    EXPECT_EQ(orva_sim_grabber_handles(grabber, &device, &design), ORVA_SIM_ERR_INVALID_HANDLE);
    EXPECT_EQ(hal.Gb_FreeGrabber(grabber), ORVA_SIM_ERR_INVALID_HANDLE);
    uint64_t value = 0;
    EXPECT_EQ(hal.OHalRegisterRead(device, 1, &value), ORVA_SIM_ERR_INVALID_HANDLE) << "freed with the grabber";
    EXPECT_EQ(hal.DsgGetRegisterByName(design, "Scratch"), ORVA_SIM_ERR_INVALID_HANDLE);
    EXPECT_EQ(hal.Gb_FreeLibraries(), ORVA_SIM_OK);
}

TEST_F(Handles, EveryOperationRefusesAHandleItDidNotGive) {
    EXPECT_EQ(hal.Gb_InitEx(9, nullptr, 0), nullptr) << "no grabber for a board that is not there";
    OHalDevice* device = nullptr;
    EXPECT_EQ(hal.OHalInitDevice(9, &device), ORVA_SIM_ERR_NO_SUCH_BOARD);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(hal.OHalInitDevice(0, nullptr), ORVA_SIM_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(orva_sim_grabber_handles(nullptr, nullptr, nullptr), ORVA_SIM_ERR_INVALID_HANDLE);
    int32_t lookalike[16] = {};
    for (OHalDevice* bad : {static_cast<OHalDevice*>(nullptr), reinterpret_cast<OHalDevice*>(lookalike)}) {
        uint64_t value = 0;
        char buffer[8] = {};
        int32_t rx = 0;
        int32_t tx = 0;
        EXPECT_EQ(hal.OHalRegisterRead(bad, 1, &value), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalRegisterWrite(bad, 1, 0, 0), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalGetBoardIndex(bad, 0), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalGetBoardInfoInt(bad, "board/type"), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalDataQueueReadBufferLong(bad, 1, buffer, 8, 0), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalDataQueueWriteBuffer(bad, 0, buffer, 8, 0), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalDataQueueGetNrOfWords(bad, 1), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalDataQueueClear(bad, 1), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalDataQueueAcquireLock(bad, 1), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalDataQueueReleaseLock(bad, 1), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalClSerInit(bad, 0, 9600, &rx, &tx), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalClSerSetBaudrate(bad, 0, 9600), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalGetCameraStatusExtended(bad, 0), 0u);
        EXPECT_EQ(hal.OHalCameraCtrlIsAvailable(bad), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalCameraCtrlReset(bad), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalCameraCtrlSetPortMap(bad, 0, 0), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalCameraCtrlSetPortPowerState(bad, 0, 2), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalReadFirmware(bad, 0, buffer, 8), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.OHalFreeDevice(bad), ORVA_SIM_ERR_INVALID_HANDLE);
        EXPECT_EQ(hal.DsgGetRegisterByName(reinterpret_cast<DsgDesign*>(bad), "Scratch"), ORVA_SIM_ERR_INVALID_HANDLE);
    }
    EXPECT_EQ(hal.Gb_FreeGrabber(reinterpret_cast<Gb_Struct_s*>(lookalike)), ORVA_SIM_ERR_INVALID_HANDLE);
}

TEST_F(Handles, CameraControlKeepsPortSettingsUntilItIsReset) {
    for (uint32_t board : {1u, 2u, 3u}) {
        OHalDevice* other = open(board);
        EXPECT_LT(hal.OHalCameraCtrlIsAvailable(other), 0) << "only the CoaXPress design has it; board " << board;
        EXPECT_EQ(hal.OHalCameraCtrlSetPortPowerState(other, 0, 2), ORVA_SIM_ERR_NOT_SUPPORTED);
    }
    OHalDevice* device = open(0);
    EXPECT_EQ(hal.OHalCameraCtrlIsAvailable(device), ORVA_SIM_OK);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortMap(device, 0x33221100u, 0x77665544u), ORVA_SIM_OK);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, 3, 2), ORVA_SIM_OK);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathState(device, 3, 1), ORVA_SIM_OK);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathSpeed(device, 3, 6250), ORVA_SIM_OK);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortCxpStandardVersion(device, 3, 0x20), ORVA_SIM_OK);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortCxpLedState(device, 3, 2), ORVA_SIM_OK);

    orva_sim_port_info info{};
    ASSERT_EQ(orva_sim_get_port_info(0, 3, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.portMap, 0x7766554433221100ull);
    EXPECT_EQ(info.power, static_cast<uint32_t>(ORVA_SIM_POWER_ON));
    EXPECT_EQ(info.dataPathState, 1u);
    EXPECT_EQ(info.dataPathSpeed, 6250u);
    EXPECT_EQ(info.cxpVersion, 0x20u);
    EXPECT_EQ(info.ledState, 2u);

    ASSERT_EQ(hal.OHalCameraCtrlReset(device), ORVA_SIM_OK);
    ASSERT_EQ(orva_sim_get_port_info(0, 3, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.portMap, 0x7654321076543210ull);
    EXPECT_EQ(info.dataPathState, 0u);
    EXPECT_EQ(info.dataPathSpeed, 0u);
    EXPECT_EQ(info.ledState, 0u);
    EXPECT_EQ(info.power, static_cast<uint32_t>(ORVA_SIM_POWER_ON)) << "a controller reset doesn't cut power";

    EXPECT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, 4, 2), ORVA_SIM_ERR_NO_SUCH_PORT);
    EXPECT_EQ(hal.OHalCameraCtrlSetPortDataPathSpeed(device, 99, 1250), ORVA_SIM_ERR_NO_SUCH_PORT);
}

TEST_F(Handles, PowerCanBeSwitchedAndTrippedFromOutside) {
    OHalDevice* device = open(0);
    ASSERT_EQ(orva_sim_set_power(0, 0, ORVA_SIM_POWER_OFF), ORVA_SIM_OK);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_OFF);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, 0, 2), ORVA_SIM_OK);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_ON);
    ASSERT_EQ(orva_sim_set_power(0, 0, ORVA_SIM_POWER_TRIPPED), ORVA_SIM_OK);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_TRIPPED);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, 0, 2), ORVA_SIM_OK);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_ON) << "switching again clears the trip";
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, 0, 1), ORVA_SIM_OK);
    EXPECT_EQ(orva_sim_get_power(0, 0), ORVA_SIM_POWER_OFF);
    EXPECT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, 0, 3), ORVA_SIM_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(orva_sim_set_power(0, 0, 7), ORVA_SIM_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(orva_sim_get_power(0, 4), ORVA_SIM_ERR_NO_SUCH_PORT);
    EXPECT_EQ(orva_sim_get_power(8, 0), ORVA_SIM_ERR_NO_SUCH_BOARD);
}

TEST_F(Handles, BoardInformationAndFirmware) {
    OHalDevice* board0 = open(0);
    EXPECT_EQ(hal.OHalGetBoardInfoInt(board0, "board/type"), 0xA64);
    EXPECT_EQ(hal.OHalGetBoardInfoInt(board0, "board/serial"), 100000);
    EXPECT_EQ(hal.OHalGetBoardInfoInt(board0, "board/ports"), 4);
    EXPECT_EQ(hal.OHalGetBoardInfoInt(board0, "board/colour"), ORVA_SIM_ERR_UNKNOWN_KEY);
    EXPECT_EQ(hal.OHalGetBoardInfoInt(board0, nullptr), ORVA_SIM_ERR_INVALID_ARGUMENT);
    uint64_t* nowhere = nullptr;
    EXPECT_EQ(hal.OHalRegisterRead(board0, 1, nowhere), ORVA_SIM_ERR_INVALID_ARGUMENT);

    // The firmware starts with its header and stops at the end of the flash.
    OHalDevice* device = open(1);
    std::string head(64, '\0');
    ASSERT_EQ(hal.OHalReadFirmware(device, 0, head.data(), 64), 64);
    EXPECT_THAT(head, ::testing::HasSubstr("type 0xA62"));
    unsigned char erased[4] = {};
    ASSERT_EQ(hal.OHalReadFirmware(device, 1 << 20, erased, 4), 4);
    EXPECT_EQ(erased[0], 0xFF);
    EXPECT_EQ(hal.OHalReadFirmware(device, (16u << 20) - 2, erased, 4), ORVA_SIM_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(hal.OHalReadFirmware(device, 0, nullptr, 4), ORVA_SIM_ERR_INVALID_ARGUMENT);
}

TEST_F(Handles, StatusTextsCoverTheStatuses) {
    for (int32_t status = ORVA_SIM_ERR_TIMEOUT; status < 0; ++status) {
        EXPECT_STRNE(orva_sim_status_text(status), "unknown status") << status;
    }
    EXPECT_STREQ(orva_sim_status_text(-999), "unknown status");
}

} // namespace
} // namespace orva::simtest
