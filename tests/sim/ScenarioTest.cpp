// Scenarios: what a valid one sets up, and that a broken one is refused
// with a message that points at the mistake.

#include "SimTestSupport.h"

#include <gmock/gmock.h>

#include <fstream>

namespace orva::simtest {
namespace {

class Scenarios : public SimTest {};

// One board with a placeholder for the rest of the board's fields.
std::string board(const std::string& extra) {
    return R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"coaxpress","ports":4)" + extra + "}]}";
}

using ::testing::HasSubstr;

TEST_F(Scenarios, DefaultSetUpHasOneBoardOfEachTechnology) {
    orva_sim_board_info boards[8]{};
    ASSERT_EQ(orva_sim_list_boards(boards, 8), 4) << orva_sim_last_error();
    const uint32_t types[] = {0xA64, 0xA62, 0xA58, 0xB61};
    const uint32_t ports[] = {4, 2, 2, 4};
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(boards[i].index, i);
        EXPECT_EQ(boards[i].type, types[i]);
        EXPECT_EQ(boards[i].ports, ports[i]);
    }
    // Board 0 carries the CoaXPress cameras: a two-link one on ports 0 and 1,
    // a single-link one on port 2; port 3 is free.
    orva_sim_port_info info{};
    ASSERT_EQ(orva_sim_get_port_info(0, 1, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.camera, 0);
    EXPECT_EQ(info.link, 1U);
    EXPECT_STREQ(info.model, "cxp-camera");
    ASSERT_EQ(orva_sim_get_port_info(0, 2, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.camera, 1);
    ASSERT_EQ(orva_sim_get_port_info(0, 3, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.camera, -1);
}

TEST_F(Scenarios, BoardsAndCamerasAreSetUpAsWritten) {
    load(R"({"description":"two boards","boards":[
      {"index":7,"type":2660,"serial":900,"design":"gige","ports":3},
      {"index":2,"type":"0xa64","serial":123456789012,"design":"coaxpress","ports":4,"portPower":"on",
       "cameras":[{"model":"echo","ports":[3,1],"plugged":false}]}]})");
    orva_sim_board_info boards[4]{};
    ASSERT_EQ(orva_sim_list_boards(boards, 4), 2);
    EXPECT_EQ(boards[0].index, 2u) << "listed in order of index";
    EXPECT_EQ(boards[0].serial, 123456789012u);
    EXPECT_STREQ(boards[0].design, "coaxpress");
    EXPECT_EQ(boards[1].type, 2660u);

    orva_sim_port_info info{};
    ASSERT_EQ(orva_sim_get_port_info(2, 3, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.link, 0u);
    EXPECT_EQ(info.plugged, 0u);
    EXPECT_EQ(info.power, static_cast<uint32_t>(ORVA_SIM_POWER_ON));
    ASSERT_EQ(orva_sim_get_port_info(2, 1, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.link, 1u);
    EXPECT_STREQ(info.model, "echo");
    ASSERT_EQ(orva_sim_get_port_info(2, 0, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.camera, -1);
    EXPECT_EQ(orva_sim_get_port_info(2, 4, &info), ORVA_SIM_ERR_NO_SUCH_PORT);
}

// Each broken scenario is refused with a message that points at the mistake.
TEST_F(Scenarios, BrokenScenariosAreRefusedWithThePlaceOfTheMistake) {
    const auto gige = [](const std::string& fields) {
        return R"({"boards":[{"index":0,"type":1,"serial":1,"ports":1,)" + fields + "}]}";
    };
    const auto camera = [](const std::string& fields) { return board(R"(,"cameras":[)" + fields + "]"); };
    const std::pair<std::string, std::string> cases[] = {
        {R"({"boards": [ {"index": 0,, } ]})", "not valid JSON"},
        {"", "not valid JSON"},
        {"[]", "expected an object"},
        {"{}", "missing field 'boards'"},
        {R"({"boards":[{"index":0,"type":1,"design":"gige","ports":1}]})", "boards[0]: missing field 'serial'"},
        {camera(R"({"ports":[0]})"), "boards[0].cameras[0]: missing field 'model'"},
        {camera(R"({"model":"echo"})"), "missing field 'ports'"},
        {R"({"boards":[
          {"index":1,"type":1,"serial":1,"design":"gige","ports":1},
          {"index":0,"type":1,"serial":2,"design":"gige","ports":1},
          {"index":1,"type":1,"serial":3,"design":"gige","ports":1}]})",
         "boards[2].index: board index 1 appears twice (also at boards[0])"},
        {camera(R"({"model":"echo","ports":[0,4]})"),
         "boards[0].cameras[0].ports[1]: port 4 is out of range: board 0 has 4 ports"},
        {camera(R"({"model":"echo","ports":[1]},{"model":"echo","ports":[2,1]})"),
         "boards[0].cameras[1].ports[1]: port 1 is already cabled"},
        {camera(R"({"model":"echo","ports":[]})"), "non-empty list"},
        {R"({"boards":[{"index":64,"type":1,"serial":1,"design":"gige","ports":1}]})",
         "boards[0].index: expected a whole number from 0 to 63"},
        {R"({"boards":[{"index":0,"type":"A64","serial":1,"design":"gige","ports":1}]})", "boards[0].type"},
        {R"({"boards":[{"index":0,"type":-1,"serial":1,"design":"gige","ports":1}]})", "boards[0].type"},
        {R"({"boards":[{"index":0,"type":1,"serial":1,"design":"cameralink","ports":5}]})",
         "expected 1 to 4 ports for design 'cameralink'"},
        {board(R"(,"portPower":"maybe")"), "boards[0].portPower"},
        {gige(R"("design":"warp")"), "unknown design 'warp' (known: coaxpress,"},
        {camera(R"({"model":"ghost","ports":[0]})"), "unknown camera model 'ghost' (known: cxp-camera, echo"},
        {board(R"(,"prots":4)"), "unknown field 'prots'"},
        {gige(R"("design":{"base":"gige","without":["Scrach"]})"),
         "boards[0].design.without[0]: design 'gige' has no register 'Scrach'"},
        {camera(R"({"model":"echo","ports":[0],"params":{"latencyUs":-5}})"), "boards[0].cameras[0].params: latencyUs"},
        {camera(R"({"model":"echo","ports":[0],"params":{"colour":"red"}})"), "unknown parameter 'colour'"},
        {camera(R"({"model":"echo","ports":[0],"params":[1]})"), "params: expected an object"},
    };
    for (const auto& [json, message] : cases) {
        SCOPED_TRACE(json);
        EXPECT_EQ(orva_sim_load_text(json.c_str()), ORVA_SIM_ERR_SCENARIO);
        EXPECT_THAT(std::string(orva_sim_last_error()), HasSubstr(message));
    }
}

TEST_F(Scenarios, RefusedScenarioLeavesTheBoardsAsTheyWere) {
    OHalDevice* device = open(0);
    writeRegister(device, "Scratch", 31);
    EXPECT_EQ(orva_sim_load_text(R"({"boards":[{"index":0}]})"), ORVA_SIM_ERR_SCENARIO);
    EXPECT_EQ(readRegister(device, "Scratch"), 31u);
    orva_sim_board_info boards[8]{};
    EXPECT_EQ(orva_sim_list_boards(boards, 8), 4);
}

TEST_F(Scenarios, FileIsLoadedAndAMissingOneNamed) {
    const std::string path =
        writeFile(R"({"boards":[{"index":3,"type":"0xB61","serial":4,"design":"gige","ports":2}]})");
    ASSERT_EQ(orva_sim_load_file(path.c_str()), ORVA_SIM_OK) << orva_sim_last_error();
    orva_sim_board_info boards[2]{};
    ASSERT_EQ(orva_sim_list_boards(boards, 2), 1);
    EXPECT_EQ(boards[0].index, 3u);
    std::remove(path.c_str());

    EXPECT_EQ(orva_sim_load_file(path.c_str()), ORVA_SIM_ERR_SCENARIO);
    EXPECT_THAT(std::string(orva_sim_last_error()), HasSubstr(path));
    EXPECT_EQ(orva_sim_load_file(nullptr), ORVA_SIM_ERR_INVALID_ARGUMENT);
}

TEST_F(Scenarios, InvalidNamespaceIsRefused) {
    setEnvironment("ORVA_SIM_NAMESPACE", "a/b");
    EXPECT_EQ(orva_sim_reset(), ORVA_SIM_ERR_INVALID_ARGUMENT);
    EXPECT_THAT(std::string(orva_sim_last_error()), HasSubstr("ORVA_SIM_NAMESPACE"));
    OHalDevice* device = nullptr;
    EXPECT_EQ(hal.OHalInitDevice(0, &device), ORVA_SIM_ERR_INVALID_ARGUMENT);
}

} // namespace
} // namespace orva::simtest
