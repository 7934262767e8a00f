// Registers of the simulated boards: numbers by name from the design, plain
// storage and the behaviours the hardware attaches to some registers.

#include "SimTestSupport.h"

namespace orva::simtest {
namespace {

constexpr const char* kDiagnosticBoard = R"({"boards":[
  {"index":0,"type":"0xA64","serial":5,"design":"diagnostic","ports":4}]})";

class Registers : public SimTest {};

TEST_F(Registers, WriteAndReadBackAll64Bits) {
    OHalDevice* device = open(0);
    const int32_t scratch = registerNumber(device, "Scratch");
    ASSERT_GT(scratch, 0);
    ASSERT_EQ(hal.OHalRegisterWrite(device, scratch, 0x89ABCDEFu, 0x01234567u), ORVA_SIM_OK);
    uint64_t value = 0;
    ASSERT_EQ(hal.OHalRegisterRead(device, scratch, &value), ORVA_SIM_OK);
    EXPECT_EQ(value, 0x0123456789ABCDEFull);
}

TEST_F(Registers, EachDesignAnswersOnlyForItsOwnNames) {
    // The default set-up: coaxpress, clhs, cameralink and gige, boards 0 to 3.
    const char* versions[] = {"CxpDesignVersion", "ClhsDesignVersion", "ClDesignVersion", "GbeDesignVersion"};
    for (uint32_t board = 0; board < 4; ++board) {
        OHalDevice* device = open(board);
        for (uint32_t other = 0; other < 4; ++other) {
            const int32_t number = registerNumber(device, versions[other]);
            if (other == board) {
                EXPECT_GT(number, 0) << versions[other] << " on board " << board;
            } else {
                EXPECT_LE(number, 0) << versions[other] << " on board " << board;
            }
        }
        EXPECT_LE(registerNumber(device, "NoSuchRegister"), 0);
        EXPECT_LE(registerNumber(device, "scratch"), 0) << "names are case-sensitive";
    }
}

TEST_F(Registers, NumbersOutsideTheDesignAreRefused) {
    OHalDevice* device = open(0);
    uint64_t value = 0;
    EXPECT_EQ(hal.OHalRegisterRead(device, 0, &value), ORVA_SIM_ERR_NO_SUCH_REGISTER);
    EXPECT_EQ(hal.OHalRegisterRead(device, 4000, &value), ORVA_SIM_ERR_NO_SUCH_REGISTER);
    EXPECT_EQ(hal.OHalRegisterWrite(device, 0xFFFFFFFFu, 1, 0), ORVA_SIM_ERR_NO_SUCH_REGISTER);
    EXPECT_NE(std::string(orva_sim_last_error()).find("has no register"), std::string::npos);
}

TEST_F(Registers, ADesignCanLackARegisterWithoutRenumberingTheOthers) {
    load(R"({"boards":[
      {"index":0,"type":"0xA64","serial":1,"design":"coaxpress","ports":4},
      {"index":1,"type":"0xA64","serial":2,"ports":4,
       "design":{"base":"coaxpress","name":"cxp-no-power-status","without":["PortPowerStatus","Scratch"]}}]})");
    OHalDevice* full = open(0);
    OHalDevice* reduced = open(1);
    const int32_t status = registerNumber(full, "PortPowerStatus");
    const int32_t scratch = registerNumber(full, "Scratch");
    ASSERT_GT(status, 0);
    ASSERT_GT(scratch, 0);

    EXPECT_LE(registerNumber(reduced, "PortPowerStatus"), 0);
    EXPECT_LE(registerNumber(reduced, "Scratch"), 0);
    EXPECT_EQ(registerNumber(reduced, "Timestamp"), registerNumber(full, "Timestamp"));
    uint64_t value = 0;
    EXPECT_EQ(hal.OHalRegisterRead(reduced, status, &value), ORVA_SIM_ERR_NO_SUCH_REGISTER);
    EXPECT_EQ(hal.OHalRegisterWrite(reduced, scratch, 1, 0), ORVA_SIM_ERR_NO_SUCH_REGISTER);

    orva_sim_board_info boards[2]{};
    ASSERT_EQ(orva_sim_list_boards(boards, 2), 2);
    EXPECT_STREQ(boards[1].design, "cxp-no-power-status");
}

TEST_F(Registers, ReadOnlyRegisterIgnoresWrites) {
    OHalDevice* device = open(0);
    const uint64_t version = readRegister(device, "CxpDesignVersion");
    EXPECT_NE(version, 0u);
    writeRegister(device, "CxpDesignVersion", 0xDEAD);
    EXPECT_EQ(readRegister(device, "CxpDesignVersion"), version);
}

TEST_F(Registers, SelfClearingAndWriteOneToClearBits) {
    load(kDiagnosticBoard);
    OHalDevice* device = open(0);
    writeRegister(device, "Control", 0x13);
    EXPECT_EQ(readRegister(device, "Control"), 0x12u) << "the self-clearing bit reads back as 0, the others stay";

    ASSERT_EQ(readRegister(device, "ResetStatus"), 0x3u) << "both reset causes are pending after power-up";
    writeRegister(device, "ResetStatus", 0x0);
    EXPECT_EQ(readRegister(device, "ResetStatus"), 0x3u);
    writeRegister(device, "ResetStatus", 0x1);
    EXPECT_EQ(readRegister(device, "ResetStatus"), 0x2u);
    writeRegister(device, "ResetStatus", 0xFFFF);
    EXPECT_EQ(readRegister(device, "ResetStatus"), 0x0u);
}

TEST_F(Registers, FifoKeepsOrderCountsItsLevelAndDropsNewWordsWhenFull) {
    load(kDiagnosticBoard);
    OHalDevice* device = open(0);
    EXPECT_EQ(readRegister(device, "EventFifoLevel"), 0u);
    EXPECT_EQ(readRegister(device, "EventFifo"), 0u) << "an empty FIFO reads 0";
    // Fill past any plausible depth, then drain: what comes out is the
    // beginning of what went in, in order, all 64 bits, and as much as the
    // level said.
    constexpr uint64_t kWritten = 100;
    for (uint64_t v = 1; v <= kWritten; ++v) {
        writeRegister(device, "EventFifo", v * 0x100000001ull);
    }
    const uint64_t level = readRegister(device, "EventFifoLevel");
    ASSERT_GT(level, 0u);
    ASSERT_LT(level, kWritten);
    for (uint64_t v = 1; v <= level; ++v) {
        EXPECT_EQ(readRegister(device, "EventFifo"), v * 0x100000001ull);
    }
    EXPECT_EQ(readRegister(device, "EventFifoLevel"), 0u);
}

TEST_F(Registers, TimeCounterRunsOnFromTheValueWritten) {
    OHalDevice* device = open(0);
    const uint64_t base = uint64_t{1} << 40;
    writeRegister(device, "Timestamp", base);
    const uint64_t first = readRegister(device, "Timestamp");
    const uint64_t second = readRegister(device, "Timestamp");
    EXPECT_GE(first, base);
    EXPECT_GE(second, first);
}

TEST_F(Registers, PortPowerStatusFollowsThePorts) {
    OHalDevice* device = open(0);
    EXPECT_EQ(readRegister(device, "PortPowerStatus"), 0xFu) << "the default set-up powers board 0";
    for (uint32_t port = 0; port < 4; ++port) {
        ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, port, 1), ORVA_SIM_OK);
    }
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, 1, 2), ORVA_SIM_OK);
    ASSERT_EQ(orva_sim_set_power(0, 2, ORVA_SIM_POWER_TRIPPED), ORVA_SIM_OK);
    EXPECT_EQ(readRegister(device, "PortPowerStatus"), (1u << 1) | (1u << (16 + 2)));
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, 1, 1), ORVA_SIM_OK);
    EXPECT_EQ(readRegister(device, "PortPowerStatus"), 1u << (16 + 2));
}

TEST_F(Registers, DesignLoadedByNameAnswersLookupsWithoutABoard) {
    DsgDesign* design = nullptr;
    ASSERT_EQ(hal.DsgLoadDsgFileWithType(&design, "/opt/designs/cameralink.dsg", 0), ORVA_SIM_OK)
        << orva_sim_last_error();
    // The same numbers as on a board that carries the design.
    EXPECT_EQ(hal.DsgGetRegisterByName(design, "ClDesignVersion"), registerNumber(open(2), "ClDesignVersion"));
    EXPECT_EQ(hal.DsgUnloadDsgFile(design), ORVA_SIM_OK);
    EXPECT_EQ(hal.DsgGetRegisterByName(design, "Scratch"), ORVA_SIM_ERR_INVALID_HANDLE);

    DsgDesign* unknown = nullptr;
    EXPECT_LT(hal.DsgLoadDsgFileWithType(&unknown, "no-such-design", 0), 0);
    EXPECT_EQ(unknown, nullptr);
}

} // namespace
} // namespace orva::simtest
