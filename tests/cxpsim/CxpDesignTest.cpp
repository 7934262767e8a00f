// The CoaXPress designs as a host finds them by register names, the
// camera's parameters as a scenario gives them, and the default set-up.

#include "CxpTestSupport.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>

namespace orva::cxpsimtest {
namespace {

using ::testing::HasSubstr;

struct DesignCase {
    const char* name;
    const char* type;
    uint32_t gtxIf;
    uint32_t ports;
    bool table; // CxpDiscoveryConfig instead of the selector registers
};

void PrintTo(const DesignCase& c, std::ostream* os) {
    *os << c.name;
}

class Designs : public CxpTest, public ::testing::WithParamInterface<DesignCase> {
protected:
    void SetUp() override {
        CxpTest::SetUp();
        const DesignCase& c = GetParam();
        load(std::string(R"({"boards":[{"index":0,"type":")") + c.type + R"(","serial":1,"design":")" + c.name +
             R"(","ports":)" + std::to_string(c.ports) + "}]}");
        board = open(0);
    }

    bool hasPorts(const std::string& base, uint32_t count) {
        for (uint32_t p = 0; p < count; ++p) {
            if (!has(board, base + std::to_string(p))) {
                return false;
            }
        }
        return true;
    }

    OHalDevice* board = nullptr;
};

// A host tells the transceiver interfaces apart by these names, and counts
// the ports by the last per-port register there is.
TEST_P(Designs, TransceiverRegistersTellTheInterfaceAndThePorts) {
    const DesignCase& c = GetParam();
    const struct {
        std::vector<uint32_t> interfaces;
        const char* name;
        bool perPort;
    } names[] = {
        {{1, 2}, "CxpTransceiverGtxDrpAddress_", true}, {{1, 2}, "CxpTransceiverGtxDrpWriteData_", true},
        {{1, 2}, "CxpTransceiverRxResetDone", false},   {{1}, "CxpTransceiverRxPlllDet", false},
        {{2}, "CxpTransceiverGtxDrpReady", false},      {{1, 2, 6}, "CxpTransceiverGtxRxReset", false},
        {{3, 6}, "CxpTransceiverGtxSetBitRate_", true}, {{3, 6}, "CxpTransceiverGtxSetBitRateDone", false},
        {{6}, "CxpTransceiverRxStatus", false},         {{10, 16}, "CxpTransceiverStatus_", true},
        {{10}, "CxpTransceiverDownLinkBitRate_", true}, {{10}, "CxpTransceiverUpLinkBitRate_", true},
    };
    for (const auto& n : names) {
        const bool expected = std::find(n.interfaces.begin(), n.interfaces.end(), c.gtxIf) != n.interfaces.end();
        if (n.perPort) {
            EXPECT_EQ(hasPorts(n.name, c.ports), expected) << n.name;
            EXPECT_FALSE(has(board, n.name + std::to_string(c.ports))) << n.name;
        } else {
            EXPECT_EQ(has(board, n.name), expected) << n.name;
        }
    }
}

TEST_P(Designs, EveryPortHasItsControlAndPowerRegisters) {
    const DesignCase& c = GetParam();
    const bool registerPath = c.gtxIf != 16;
    EXPECT_TRUE(hasPorts("CxpPowerStatus_", c.ports)) << "a host checks every port for a trip";
    EXPECT_FALSE(has(board, "CxpPowerStatus_" + std::to_string(c.ports)));
    EXPECT_TRUE(hasPorts("CxpTransceiverNotInTable_", c.ports));
    EXPECT_TRUE(has(board, "StreamPacketSize"));
    for (const char* base :
         {"CxpTxCmdWriteData_", "CxpRxCmdAckPacketData_", "CxpLedModeSelectWrite_", "CxpLedModeSelectRead_"}) {
        EXPECT_EQ(hasPorts(base, c.ports), registerPath) << base;
        EXPECT_FALSE(has(board, base + std::to_string(c.ports))) << base;
    }
    const bool coreReset = hasPorts("CxpControlCoreReset_", c.ports) || hasPorts("CxpReset_", c.ports);
    EXPECT_EQ(coreReset, registerPath);
    EXPECT_EQ(has(board, "CxpTxCmdPacketSent"), registerPath);
    EXPECT_EQ(has(board, "wCxpPowerEnablePower") && has(board, "rCxpPowerEnablePower"), registerPath);
    EXPECT_EQ(hal.OHalCameraCtrlIsAvailable(board) == ORVA_SIM_OK, !registerPath);
}

TEST_P(Designs, SelectorIsInRegistersOrInATable) {
    const DesignCase& c = GetParam();
    EXPECT_EQ(has(board, "CxpDiscoveryConfig"), c.table);
    EXPECT_EQ(has(board, "rDiscoverySelect"), !c.table);
    EXPECT_EQ(has(board, "wDiscoverySelect"), !c.table && c.gtxIf != 16)
        << "the queue path sets its port map through the camera control";
    EXPECT_TRUE(has(board, "DiscoveryAppletMasterID"));
    EXPECT_TRUE(has(board, "DiscoveryAppletExtensionID"));
}

INSTANTIATE_TEST_SUITE_P(
    Cxp, Designs,
    ::testing::Values(
        DesignCase{"coaxpress", "0xA64", 16, 4, false}, DesignCase{"cxp-queue-1", "0xA66", 16, 1, false},
        DesignCase{"cxp-queue-2", "0xB63", 16, 2, false}, DesignCase{"cxp-drp", "0xA51", 1, 4, false},
        DesignCase{"cxp-drp-cfg", "0xA5A", 1, 4, true}, DesignCase{"cxp-drp-ready", "0x750", 2, 4, false},
        DesignCase{"cxp-drp-ready-cfg", "0x7511", 2, 4, true}, DesignCase{"cxp-rate-1", "0x755", 3, 1, false},
        DesignCase{"cxp-rate-2", "0x7541", 3, 2, false}, DesignCase{"cxp-rate-2-cfg", "0x7540", 3, 2, true},
        DesignCase{"cxp-rate-4", "0x759", 3, 4, false}, DesignCase{"cxp-rate-4-cfg", "0x7591", 3, 4, true},
        DesignCase{"cxp-rxstatus-1", "0x7510", 6, 1, false}, DesignCase{"cxp-rxstatus-2", "0x752", 6, 2, false},
        DesignCase{"cxp-rxstatus-2-cfg", "0x753", 6, 2, true}, DesignCase{"cxp-rxstatus-4", "0x754", 6, 4, false},
        DesignCase{"cxp-rxstatus-4-cfg", "0x756", 6, 4, true}, DesignCase{"cxp-dual-1", "0xA61", 10, 1, false},
        DesignCase{"cxp-dual-2", "0xA62", 10, 2, false}, DesignCase{"cxp-dual-2-cfg", "0xA65", 10, 2, true},
        DesignCase{"cxp-dual-4", "0xB61", 10, 4, false}, DesignCase{"cxp-dual-4-cfg", "0xB68", 10, 4, true},
        DesignCase{"coaxpress-x4", "0xA64", 16, 4, false}, DesignCase{"cxp-dual-4-x4", "0xA67", 10, 4, false}),
    [](const auto& info) {
        std::string name = info.param.name;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

class CxpScenarios : public CxpTest {
protected:
    std::string refused(const std::string& params, const std::string& ports = "[0]",
                        const std::string& design = "cxp-dual-4", uint32_t boardPorts = 4) {
        const std::string json = R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":")" + design +
                                 R"(","ports":)" + std::to_string(boardPorts) +
                                 R"(,"cameras":[{"model":"cxp-camera","ports":)" + ports + R"(,"params":)" + params +
                                 "}]}]}";
        EXPECT_EQ(orva_sim_load_text(json.c_str()), ORVA_SIM_ERR_SCENARIO) << json;
        return orva_sim_last_error();
    }
};

TEST_F(CxpScenarios, DefaultSetUpCablesTwoCamerasToTheFirstBoard) {
    const struct {
        uint32_t port;
        int32_t camera;
        uint32_t link;
    } expected[] = {{0, 0, 0}, {1, 0, 1}, {2, 1, 0}, {3, -1, 0}};
    for (const auto& e : expected) {
        orva_sim_port_info info{};
        ASSERT_EQ(orva_sim_get_port_info(0, e.port, &info), ORVA_SIM_OK);
        EXPECT_EQ(info.camera, e.camera) << "port " << e.port;
        if (e.camera >= 0) {
            EXPECT_EQ(info.link, e.link) << "port " << e.port;
            EXPECT_STREQ(info.model, "cxp-camera");
        }
        EXPECT_EQ(info.power, static_cast<uint32_t>(ORVA_SIM_POWER_ON)) << "the default set-up starts powered";
    }
    orva_sim_board_info boards[4]{};
    ASSERT_EQ(orva_sim_list_boards(boards, 4), 4);
    EXPECT_STREQ(boards[0].design, "coaxpress");
    EXPECT_EQ(boards[0].type, 0xA64u);
}

TEST_F(CxpScenarios, CameraParametersAreChecked) {
    EXPECT_THAT(refused(R"({"revision":"3.0"})"), HasSubstr("params: revision: expected \"1.0\", \"1.1\" or \"2.0\""));
    EXPECT_THAT(refused(R"({"colour":"red"})"), HasSubstr("unknown parameter 'colour' (known: revision,"));
    EXPECT_THAT(refused(R"({"revision":"1.1","versionsSupported":["1.1"]})"),
                HasSubstr("versionsSupported: only a camera of revision 2.0"));
    EXPECT_THAT(refused(R"({"versionsSupported":["3.0"]})"), HasSubstr("unknown version"));
    EXPECT_THAT(refused(R"({"defaultLinks":3})", "[0,1]"),
                HasSubstr("defaultLinks: expected a whole number from 1 to 2"));
    EXPECT_THAT(refused(R"({"nativeSpeed":3000})"), HasSubstr("nativeSpeed: expected a link speed"));
    EXPECT_THAT(refused(R"({"defaultSpeed":6250,"maxSpeed":5000})"), HasSubstr("maxSpeed: 5000 is below"));
    EXPECT_THAT(refused(R"({"controlPacketSize":1022})"), HasSubstr("controlPacketSize: expected a multiple of 4"));
    EXPECT_THAT(refused(R"({"serialNumber":"0123456789abcdefX"})"), HasSubstr("longer than the register's 16 bytes"));
    EXPECT_THAT(refused(R"({"linksAtReset":"some"})"), HasSubstr("linksAtReset"));
    EXPECT_THAT(refused(R"({"descriptionFile":"/nonexistent/camera.xml"})"),
                HasSubstr("descriptionFile: can't open '/nonexistent/camera.xml'"));
    EXPECT_THAT(refused("{}", "[0,1,2,3,4]", "diagnostic", 8), HasSubstr("1 to 4 links, not 5"));
}

TEST_F(CxpScenarios, ZipFileCantBeOfferedAsText) {
    const std::string path = ::testing::TempDir() + simtest::uniqueNamespace() + ".zip";
    std::ofstream(path, std::ios::binary) << "PK\x03\x04 rest of a zip";
    EXPECT_THAT(refused(R"({"descriptionFile":")" + path + R"(","descriptionFormat":"plain"})"),
                HasSubstr("is a zip container"));
    std::remove(path.c_str());
}

TEST_F(CxpScenarios, DesignLayoutCanBeGivenAtLoad) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"ports":4,
      "design":{"base":"cxp-dual-4","name":"one-camera-four-links",
                "initial":{"DiscoveryAppletMasterID":"0x0000","DiscoveryAppletExtensionID":"0x3210"}}},
      {"index":1,"type":"0xA64","serial":2,"ports":4,
      "design":{"base":"cxp-dual-4","without":["DiscoveryAppletMasterID","DiscoveryAppletExtensionID"]}}]})");
    OHalDevice* board = open(0);
    EXPECT_EQ(get(board, "DiscoveryAppletMasterID"), 0x0u);
    EXPECT_EQ(get(board, "DiscoveryAppletExtensionID"), 0x3210u);
    set(board, "DiscoveryAppletExtensionID", 0);
    EXPECT_EQ(get(board, "DiscoveryAppletExtensionID"), 0x3210u) << "read-only";
    OHalDevice* other = open(1);
    EXPECT_FALSE(has(other, "DiscoveryAppletMasterID"));
    EXPECT_TRUE(has(other, "CxpTransceiverStatus_3"));

    EXPECT_EQ(orva_sim_load_text(R"({"boards":[{"index":0,"type":1,"serial":1,"ports":4,
      "design":{"base":"cxp-dual-4","initial":{"NoSuchRegister":1}}}]})"),
              ORVA_SIM_ERR_SCENARIO);
    EXPECT_THAT(orva_sim_last_error(), HasSubstr("design.initial.NoSuchRegister: design 'cxp-dual-4' has no register"));
    EXPECT_EQ(orva_sim_load_text(R"({"boards":[{"index":0,"type":1,"serial":1,"ports":4,
      "design":{"base":"cxp-dual-4","initial":{"Scratch":"12"}}}]})"),
              ORVA_SIM_ERR_SCENARIO);
    EXPECT_THAT(orva_sim_last_error(), HasSubstr("design.initial.Scratch: expected a number or a hex text"));
}

TEST_F(CxpScenarios, DesignsShowTheLayoutOfTheirPorts) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-2","ports":2},
                       {"index":1,"type":"0xA64","serial":2,"design":"cxp-dual-4","ports":4},
                       {"index":2,"type":"0xA64","serial":3,"design":"coaxpress-x4","ports":4},
                       {"index":3,"type":"0xA64","serial":4,"design":"cxp-dual-4-x4","ports":4}]})");
    OHalDevice* two = open(0);
    EXPECT_EQ(get(two, "DiscoveryAppletMasterID"), 0x11u) << "one camera";
    EXPECT_EQ(get(two, "DiscoveryAppletExtensionID"), 0x10u) << "with two links";
    OHalDevice* four = open(1);
    EXPECT_EQ(get(four, "DiscoveryAppletMasterID"), 0x2211u) << "two cameras";
    EXPECT_EQ(get(four, "DiscoveryAppletExtensionID"), 0x1010u) << "of two links each";
    for (const uint32_t index : {2u, 3u}) {
        OHalDevice* group = open(index);
        EXPECT_EQ(get(group, "DiscoveryAppletMasterID"), 0x1111u) << "one camera on board " << index;
        EXPECT_EQ(get(group, "DiscoveryAppletExtensionID"), 0x3210u) << "of four links on board " << index;
    }
}

TEST_F(CxpScenarios, ExampleScenarioOfTheReadmeLoads) {
    ASSERT_EQ(orva_sim_load_file(TGX_TEST_SOURCE_DIR_PATH "/sim/scenarios/coaxpress.json"), ORVA_SIM_OK)
        << orva_sim_last_error();
    orva_sim_port_info info{};
    ASSERT_EQ(orva_sim_get_port_info(1, 3, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.link, 3u);
    EXPECT_EQ(orva_sim_get_power(2, 1), ORVA_SIM_POWER_TRIPPED) << "the camera that draws too much";
    OHalDevice* board = open(1);
    EXPECT_EQ(get(board, "DiscoveryAppletExtensionID"), 0x3210u);
}

TEST_F(CxpScenarios, DesignLoadedByNameNumbersItsRegistersAsTheBoardDoes) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-rate-4","ports":4}]})");
    OHalDevice* board = open(0);
    DsgDesign* design = nullptr;
    ASSERT_EQ(hal.DsgLoadDsgFileWithType(&design, "/designs/cxp-rate-4.dsg", 0), ORVA_SIM_OK);
    for (const char* name : {"CxpTxCmdWriteData_3", "CxpTransceiverGtxSetBitRateDone", "CxpPowerShuntVoltage_2"}) {
        EXPECT_EQ(hal.DsgGetRegisterByName(design, name), number(board, name)) << name;
    }
    EXPECT_EQ(hal.DsgUnloadDsgFile(design), ORVA_SIM_OK);
}

} // namespace
} // namespace orva::cxpsimtest
