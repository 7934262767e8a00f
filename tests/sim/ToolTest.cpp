// The orva-sim command steers the boards that the board libraries see.

#include "SimTestSupport.h"

#include <gmock/gmock.h>

#include <sys/wait.h>

#include <cstdio>
#include <fstream>

namespace orva::simtest {
namespace {

using ::testing::HasSubstr;

class Tool : public SimTest {
protected:
    struct Result {
        int exitCode;
        std::string output;
    };
    Result run(const std::string& arguments) {
        const std::string command = buildDirectory() + "/bin/orva-sim --namespace " + ns + " " + arguments + " 2>&1";
        Result result{-1, {}};
        FILE* pipe = ::popen(command.c_str(), "r");
        if (pipe == nullptr) {
            ADD_FAILURE() << "can't run " << command;
            return result;
        }
        char buffer[512];
        while (std::fgets(buffer, sizeof(buffer), pipe) != nullptr) {
            result.output += buffer;
        }
        const int status = ::pclose(pipe);
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result;
    }
};

TEST_F(Tool, LoadsAScenarioAndListsItsBoards) {
    const auto path = writeFile(R"({"boards":[
      {"index":1,"type":"0xA62","serial":4242,"design":"clhs","ports":2},
      {"index":6,"type":"0xB61","serial":7,"design":{"base":"gige","name":"gige-lite","without":["Timestamp"]},
       "ports":1}]})");
    ASSERT_EQ(run("load " + path).exitCode, 0);
    const Result boards = run("boards");
    ASSERT_EQ(boards.exitCode, 0) << boards.output;
    EXPECT_THAT(boards.output, HasSubstr("0xA62"));
    EXPECT_THAT(boards.output, HasSubstr("4242"));
    EXPECT_THAT(boards.output, HasSubstr("gige-lite"));
    // The libraries see what the tool loaded.
    EXPECT_EQ(hal.OHalGetBoardInfoInt(open(6), "board/serial"), 7);
}

TEST_F(Tool, SwitchesPowerPlugsCablesAndArmsFaults) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"coaxpress","ports":2,
              "cameras":[{"model":"echo","ports":[1]}]}]})");
    EXPECT_EQ(run("power on 0 1").exitCode, 0);
    EXPECT_EQ(orva_sim_get_power(0, 1), ORVA_SIM_POWER_ON);
    EXPECT_EQ(run("power trip 0 1").exitCode, 0);
    EXPECT_EQ(orva_sim_get_power(0, 1), ORVA_SIM_POWER_TRIPPED);
    EXPECT_EQ(run("power off 0 1").exitCode, 0);
    EXPECT_EQ(orva_sim_get_power(0, 1), ORVA_SIM_POWER_OFF);

    EXPECT_EQ(run("unplug 0 1").exitCode, 0);
    orva_sim_port_info info{};
    ASSERT_EQ(orva_sim_get_port_info(0, 1, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.plugged, 0u);
    EXPECT_EQ(run("plug 0 1").exitCode, 0);
    ASSERT_EQ(orva_sim_get_port_info(0, 1, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.plugged, 1u);

    EXPECT_EQ(run("fault 0 1 drop-next-answer 3").exitCode, 0);
    EXPECT_EQ(orva_sim_pending_fault(0, 1, "drop-next-answer"), 3);
    EXPECT_EQ(run("fault 0 1 corrupt-next-answer").exitCode, 0);
    EXPECT_EQ(orva_sim_pending_fault(0, 1, "corrupt-next-answer"), 1);

    const Result ports = run("ports 0");
    ASSERT_EQ(ports.exitCode, 0);
    EXPECT_THAT(ports.output, HasSubstr("0:echo"));
}

TEST_F(Tool, ResetAndDestroyActOnTheNamespace) {
    OHalDevice* device = open(0);
    writeRegister(device, "Scratch", 5);
    ASSERT_EQ(run("reset").exitCode, 0);
    EXPECT_EQ(readRegister(device, "Scratch"), 0u);
    ASSERT_EQ(run("destroy").exitCode, 0);
    uint64_t value = 0;
    EXPECT_EQ(hal.OHalRegisterRead(device, 1, &value), ORVA_SIM_ERR_STATE);
}

TEST_F(Tool, FailuresSayWhatWentWrongAndExitNonZero) {
    const auto broken = writeFile(R"({"boards":[{"index":0,"type":1,"serial":1,"design":"gige","ports":9}]})");
    Result result = run("load " + broken);
    EXPECT_NE(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("boards[0].ports"));

    result = run("fault 0 3 drop-next-answer");
    EXPECT_NE(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("no camera on port 3"));

    result = run("power sideways 0 0");
    EXPECT_NE(result.exitCode, 0);
    result = run("plug 0 17");
    EXPECT_NE(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("has no port 17"));
}

} // namespace
} // namespace orva::simtest
