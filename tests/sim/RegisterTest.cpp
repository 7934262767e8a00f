// Registers of the simulated boards: numbers by name from the design, plain
// storage and the behaviours the hardware attaches to some registers.

#include "support/SimTestSupport.h"

namespace orva::simtest {
namespace {

constexpr const char* kDiagnosticBoard = R"({"boards":[
  {"index":0,"type":"0xA64","serial":5,"design":"diagnostic","ports":4}]})";

class Registers : public SimTest {};

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

} // namespace
} // namespace orva::simtest
