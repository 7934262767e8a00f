// A simulated board lives outside any one process, like hardware: every
// program of a namespace sees the same board, and the board keeps its state
// when programs come and go.

#include "SimTestSupport.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace orva::simtest {
namespace {

class SharedState : public SimTest {};

TEST_F(SharedState, ValueWrittenByAChildProcessIsReadByTheParentAndOutlivesTheHandles) {
    OHalDevice* device = open(0);
    writeRegister(device, "Scratch", 1);
    const int32_t scratch = registerNumber(device, "Scratch");

    ASSERT_EQ(runInChild([&] {
                  return withOwnHandle(
                      0, [&](OHalDevice* own) { return hal.OHalRegisterWrite(own, scratch, 0xC0FFEE, 0x42); });
              }),
              ORVA_SIM_OK);
    EXPECT_EQ(readRegister(device, "Scratch"), 0x4200C0FFEEull);

    // The board keeps it while no handle is open.
    OHalDevice* closing = nullptr;
    ASSERT_EQ(hal.OHalInitDevice(3, &closing), ORVA_SIM_OK);
    writeRegister(closing, "Scratch", 0x5A5A);
    ASSERT_EQ(hal.OHalFreeDevice(closing), ORVA_SIM_OK);
    EXPECT_EQ(readRegister(open(3), "Scratch"), 0x5A5Au);
}

TEST_F(SharedState, NamespacesKeepTheirBoardsApart) {
    OHalDevice* first = open(0);
    writeRegister(first, "Scratch", 111);

    const std::string other = uniqueNamespace("b");
    setEnvironment("ORVA_SIM_NAMESPACE", other);
    OHalDevice* second = open(0);
    writeRegister(second, "Scratch", 222);
    EXPECT_EQ(readRegister(second, "Scratch"), 222u);
    EXPECT_EQ(orva_sim_destroy(), ORVA_SIM_OK);

    setEnvironment("ORVA_SIM_NAMESPACE", ns);
    EXPECT_EQ(readRegister(first, "Scratch"), 111u);
}

TEST_F(SharedState, ResetStartsTheBoardAnewUnderOpenHandles) {
    OHalDevice* device = open(0);
    writeRegister(device, "Scratch", 7);
    ASSERT_EQ(orva_sim_set_power(0, 1, ORVA_SIM_POWER_OFF), ORVA_SIM_OK);
    ASSERT_EQ(orva_sim_reset(), ORVA_SIM_OK) << orva_sim_last_error();
    EXPECT_EQ(readRegister(device, "Scratch"), 0u);
    EXPECT_EQ(orva_sim_get_power(0, 1), ORVA_SIM_POWER_ON) << "the default set-up powers board 0 at load";

    // A reset keeps the scenario loaded last.
    load(R"({"boards":[{"index":5,"type":"0xB61","serial":9,"design":"gige","ports":1}]})");
    ASSERT_EQ(orva_sim_reset(), ORVA_SIM_OK);
    orva_sim_board_info boards[4]{};
    ASSERT_EQ(orva_sim_list_boards(boards, 4), 1);
    EXPECT_EQ(boards[0].index, 5u);
    EXPECT_EQ(boards[0].serial, 9u);
}

TEST_F(SharedState, DestroyedNamespaceFailsOpenHandlesAndComesBackOnNextOpen) {
    OHalDevice* device = open(0);
    writeRegister(device, "Scratch", 9);
    ASSERT_EQ(orva_sim_destroy(), ORVA_SIM_OK);

    uint64_t value = 0;
    EXPECT_EQ(hal.OHalRegisterRead(device, 1, &value), ORVA_SIM_ERR_STATE);
    EXPECT_EQ(readRegister(open(0), "Scratch"), 0u) << "a new namespace starts from the scenario";
}

TEST_F(SharedState, DestroyLeavesNoObjectOfTheNamespaceBehind) {
    const auto objectsOfNamespace = [&] {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
            const std::string name = entry.path().filename().string();
            if (name.find("orva-sim." + ns + ".") == 0) {
                names.push_back(name);
            }
        }
        return names;
    };
    open(0);
    // Boards of an earlier scenario count too.
    load(R"({"boards":[{"index":9,"type":1,"serial":1,"design":"gige","ports":1}]})");
    load(R"({"boards":[{"index":8,"type":1,"serial":1,"design":"gige","ports":1}]})");
    EXPECT_EQ(objectsOfNamespace().size(), 2u) << "the control object and board 8";
    ASSERT_EQ(orva_sim_destroy(), ORVA_SIM_OK);
    EXPECT_THAT(objectsOfNamespace(), ::testing::IsEmpty());
}

TEST_F(SharedState, ScenarioWithoutABoardDropsItsOpenHandles) {
    OHalDevice* board3 = open(3);
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"coaxpress","ports":4}]})");
    EXPECT_EQ(hal.OHalGetBoardInfoInt(board3, "board/type"), ORVA_SIM_ERR_STATE);
    OHalDevice* none = nullptr;
    EXPECT_EQ(hal.OHalInitDevice(3, &none), ORVA_SIM_ERR_NO_SUCH_BOARD);
}

TEST_F(SharedState, BrokenScenarioFileKeepsBoardsClosedAndSaysWhy) {
    setEnvironment("ORVA_SIM_SCENARIO", "/nonexistent/scenario.json");
    OHalDevice* device = nullptr;
    EXPECT_EQ(hal.OHalInitDevice(0, &device), ORVA_SIM_ERR_SCENARIO);
    EXPECT_EQ(device, nullptr);
    EXPECT_NE(std::string(orva_sim_last_error()).find("/nonexistent/scenario.json"), std::string::npos);
    EXPECT_EQ(hal.Gb_InitEx(0, nullptr, 0), nullptr);
}

TEST_F(SharedState, ProcessesOpeningAFreshNamespaceAtOnceShareOneBoardOfTheScenarioFile) {
    // The scenario file of the environment is loaded on the first open.
    // Whoever of the children does that, every child must land on the same
    // board: each pushes its number into one FIFO register.
    setEnvironment("ORVA_SIM_SCENARIO",
                   writeFile(R"({"boards":[{"index":0,"type":2660,"serial":77,"design":"diagnostic","ports":1}]})"));
    DsgDesign* design = nullptr;
    ASSERT_EQ(hal.DsgLoadDsgFileWithType(&design, "diagnostic", 0), ORVA_SIM_OK);
    const int32_t fifo = hal.DsgGetRegisterByName(design, "EventFifo");
    ASSERT_GT(fifo, 0);
    hal.DsgUnloadDsgFile(design);

    constexpr uint32_t kChildren = 4;
    Signal go;
    std::vector<pid_t> children;
    for (uint32_t i = 0; i < kChildren; ++i) {
        children.push_back(startChild([&, i] {
            if (!go.wait()) {
                return 1;
            }
            return withOwnHandle(0, [&](OHalDevice* own) { return hal.OHalRegisterWrite(own, fifo, i + 1, 0); });
        }));
    }
    for (uint32_t i = 0; i < kChildren; ++i) {
        go.send();
    }
    for (pid_t child : children) {
        EXPECT_EQ(waitChild(child), 0);
    }
    OHalDevice* device = open(0);
    ASSERT_EQ(readRegister(device, "EventFifoLevel"), kChildren);
    uint64_t seen = 0;
    for (uint32_t i = 0; i < kChildren; ++i) {
        seen |= uint64_t{1} << readRegister(device, "EventFifo");
    }
    EXPECT_EQ(seen, 0b11110u);
    EXPECT_EQ(hal.OHalGetBoardInfoInt(device, "board/serial"), 77);
    EXPECT_EQ(hal.OHalGetBoardInfoInt(device, "board/type"), 0xA64);
    OHalDevice* missing = nullptr;
    EXPECT_EQ(hal.OHalInitDevice(1, &missing), ORVA_SIM_ERR_NO_SUCH_BOARD) << "only the file's boards exist";
}

} // namespace
} // namespace orva::simtest
