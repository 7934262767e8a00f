// Transceivers and links of the simulated CoaXPress boards: a receiver locks
// only on a camera that sends at the rate the host gave it, and counts
// not-in-table errors otherwise; cameras change their links when told. How
// each transceiver interface takes its rate is checked through the port, as
// the library programs it (tests/cxpport, SimCoreType).

#include "CxpTestSupport.h"

namespace orva::cxpsimtest {
namespace {

constexpr uint32_t kNitMask = 0xFFFFFF;

// A register-path board of gtxIf 10 with two ports for one camera.
class Links : public CxpTest {
protected:
    void loadCamera(const std::string& params, const std::string& design = "cxp-dual-2") {
        load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":")" + design +
             R"(","ports":2,"cameras":[{"model":"cxp-camera","ports":[0,1],"params":)" + params + "}]}]}");
        board = open(0);
    }
    uint64_t status(uint32_t port) { return get(board, "CxpTransceiverStatus_" + std::to_string(port)); }
    uint64_t nit(uint32_t port) { return status(port) & kNitMask; }
    bool locked(uint32_t port) { return (status(port) >> 48 & 1) != 0; }
    void setRate(uint32_t port, uint32_t code) {
        set(board, "CxpTransceiverDownLinkBitRate_" + std::to_string(port), code);
        ASSERT_TRUE(eventually([&] { return (status(port) >> 49 & 1) != 0; }));
    }
    // Reads a camera register on a port; empty if nothing came back.
    std::optional<uint32_t> readCamera(uint32_t port, uint32_t address, uint32_t timeoutMs = 1000) {
        sendRows(board, port, registerRows(commandBody(false, address, 4)));
        const auto ack = receiveByRegisters(board, port, timeoutMs);
        if (ack.size() != 4 || ack[0] != kAckWithData) {
            return std::nullopt;
        }
        return swap32(ack[2]);
    }
    OHalDevice* board = nullptr;
};

constexpr uint32_t k3125 = 2;
constexpr uint32_t k6250 = 4;

TEST_F(Links, ConnectionConfigurationBringsTheExtensionLinkUp) {
    loadCamera(R"({"linksAtReset":"master"})");
    EXPECT_TRUE(locked(0));
    EXPECT_FALSE(locked(1)) << "the extension link stays dark after power-up";
    EXPECT_EQ(readCamera(0, 0x4014), connectionConfig(1, 3125));
    EXPECT_EQ(readCamera(0, 0x4018), connectionConfig(2, 6250)) << "the camera's default";

    const uint32_t config[] = {swap32(connectionConfig(2, 6250))};
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4014, 4, config)), (std::vector<uint32_t>{kAckFinal}));
    ASSERT_TRUE(eventually([&] { return !locked(0); })) << "the master link left 3125";
    setRate(0, k6250);
    setRate(1, k6250);
    ASSERT_TRUE(eventually([&] { return locked(0) && locked(1); }));
    EXPECT_EQ(nit(1), 0u);
    EXPECT_EQ(readCamera(1, 0x4004), 1u) << "the extension link answers with its connection id";
    EXPECT_EQ(readCamera(1, 0x4014), connectionConfig(2, 6250));
}

TEST_F(Links, ConfigurationTheCameraCantRunIsRefused) {
    loadCamera(R"({"maxSpeed":6250})");
    for (const uint32_t word :
         {connectionConfig(3, 3125), connectionConfig(2, 10000), connectionConfig(0, 3125), (2u << 16) | 0x33u}) {
        const uint32_t config[] = {swap32(word)};
        EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4014, 4, config)),
                  (std::vector<uint32_t>{kAckInvalidData}))
            << std::hex << word;
    }
    EXPECT_EQ(readCamera(0, 0x4014), connectionConfig(2, 3125)) << "nothing changed";
    EXPECT_TRUE(locked(0) && locked(1));
}

TEST_F(Links, LinkResetBringsTheLinksBackAtTheNativeSpeed) {
    loadCamera(R"({"nativeSpeed":3125,"resetUs":2000})");
    const uint32_t config[] = {swap32(connectionConfig(2, 6250))};
    ASSERT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4014, 4, config)), (std::vector<uint32_t>{kAckFinal}));
    setRate(0, k6250);
    setRate(1, k6250);
    ASSERT_TRUE(eventually([&] { return locked(0) && locked(1); }));

    const uint32_t one[] = {swap32(1)};
    sendRows(board, 0, registerRows(commandBody(true, 0x4000, 4, one)));
    ASSERT_TRUE(eventually([&] { return !locked(0) && !locked(1); }));
    setRate(0, k3125);
    setRate(1, k3125);
    ASSERT_TRUE(eventually([&] { return locked(0) && locked(1); })) << "both links back at 3125";
    EXPECT_EQ(readCamera(1, 0x4014), connectionConfig(2, 3125));
    EXPECT_EQ(drainRegisters(board, 0), 0u) << "the reset had no acknowledge";
}

TEST_F(Links, UnpluggedLinkLosesLockAndComesBack) {
    loadCamera("{}");
    ASSERT_TRUE(locked(1));
    ASSERT_EQ(orva_sim_plug(0, 1, 0), ORVA_SIM_OK);
    ASSERT_TRUE(eventually([&] { return nit(1) > 0; }));
    EXPECT_FALSE(locked(1));
    EXPECT_EQ(readCamera(1, 0x0000, 20), std::nullopt) << "nothing answers through an open cable";
    EXPECT_EQ(readCamera(0, 0x0000), kMagic) << "the other link goes on";

    ASSERT_EQ(orva_sim_plug(0, 1, 1), ORVA_SIM_OK);
    EXPECT_TRUE(locked(1));
    EXPECT_EQ(readCamera(1, 0x0000), kMagic);
}

TEST_F(Links, CameraWithAllCablesOutStartsAnewWhenPluggedIn) {
    loadCamera("{}");
    const uint32_t config[] = {swap32(connectionConfig(1, 6250))};
    ASSERT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4014, 4, config)), (std::vector<uint32_t>{kAckFinal}));
    ASSERT_EQ(orva_sim_plug(0, 0, 0), ORVA_SIM_OK);
    ASSERT_EQ(orva_sim_plug(0, 1, 0), ORVA_SIM_OK);
    ASSERT_EQ(orva_sim_plug(0, 0, 1), ORVA_SIM_OK);
    EXPECT_EQ(hal.OHalGetCameraStatusExtended(board, 1) & 1, 0u) << "its power came through the cables";
    ASSERT_EQ(orva_sim_plug(0, 1, 1), ORVA_SIM_OK);
    EXPECT_EQ(hal.OHalGetCameraStatusExtended(board, 0) & 1, 1u);
    EXPECT_TRUE(locked(0)) << "back at its native speed";
    EXPECT_EQ(readCamera(0, 0x4014), connectionConfig(2, 3125));
}

TEST_F(Links, ErrorBurstLandsOnTheCounterOnce) {
    loadCamera("{}");
    ASSERT_EQ(nit(0), 0u);
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "nit-burst", 1), ORVA_SIM_OK);
    const uint64_t after = nit(0);
    EXPECT_GE(after, 100u);
    EXPECT_EQ(nit(0), after) << "one burst, and the link is fine again";
    EXPECT_TRUE(locked(0));
    EXPECT_EQ(nit(1), 0u) << "the other port saw nothing";
    EXPECT_EQ(orva_sim_pending_fault(0, 0, "nit-burst"), 0);
}

TEST_F(Links, CoreResetBitsHoldTheirPartOfThePort) {
    loadCamera("{}");
    setRate(0, k6250);
    ASSERT_TRUE(eventually([&] { return nit(0) > 0; }));

    set(board, "CxpControlCoreReset_0", 0x4);
    EXPECT_EQ(nit(0), 0u) << "a receiver in reset counts nothing";
    EXPECT_FALSE(locked(0));
    set(board, "CxpControlCoreReset_0", 0x0);
    ASSERT_TRUE(eventually([&] { return nit(0) > 0; })) << "and counts again once released";
    setRate(0, k3125);
    ASSERT_TRUE(locked(0));

    // Acknowledge receiver in reset: the camera answers, the board drops it.
    set(board, "CxpControlCoreReset_0", 0x2);
    const uint32_t commandsBefore = cameraCounter(0, 0, 0);
    sendRows(board, 0, registerRows(commandBody(false, 0x0000, 4)));
    EXPECT_EQ(cameraCounter(0, 0, 0), commandsBefore + 1);
    set(board, "CxpControlCoreReset_0", 0x0);
    EXPECT_EQ(drainRegisters(board, 0), 0u);

    // Transmitter in reset: nothing reaches the camera.
    set(board, "CxpControlCoreReset_0", 0x1);
    sendRows(board, 0, registerRows(commandBody(false, 0x0000, 4)));
    EXPECT_EQ(cameraCounter(0, 0, 0), commandsBefore + 1);
    set(board, "CxpControlCoreReset_0", 0x0);
    EXPECT_EQ(readCamera(0, 0x0000), kMagic);
}

TEST_F(Links, DataPathStateHoldsTheReceiversOfTheQueuePath) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-queue-1","ports":1,"portPower":"on",
      "cameras":[{"model":"cxp-camera","ports":[0]}]}]})");
    board = open(0);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathSpeed(board, 0, 3125), ORVA_SIM_OK);
    EXPECT_EQ(hal.OHalCameraCtrlSetPortDataPathSpeed(board, 0, 3000), ORVA_SIM_ERR_INVALID_ARGUMENT);
    // State 3 holds receiver and acknowledge receiver, 4 only the latter.
    ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathState(board, 0, 3), ORVA_SIM_OK);
    EXPECT_EQ(get(board, "CxpTransceiverStatus_0") >> 48 & 1, 0u);
    ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathState(board, 0, 4), ORVA_SIM_OK);
    EXPECT_EQ(get(board, "CxpTransceiverStatus_0") >> 48 & 1, 1u);
    sendQueue(board, 0, queueCommand(commandBody(false, 0x0000, 4)));
    ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathState(board, 0, 5), ORVA_SIM_OK);
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(false, 0x0004, 4)), queueDataAck(0x00020000))
        << "the answer that came while the acknowledge receiver was held is gone";
}

// Design ports and physical ports, through the discovery selector.
TEST_F(Links, SelectorRoutesDesignPortsToCablesPluggedInAnyOrder) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-4","ports":4,
      "cameras":[{"model":"cxp-camera","ports":[2,0]}]}]})");
    board = open(0);
    EXPECT_EQ(get(board, "rDiscoverySelect"), 0x7654321076543210u);
    EXPECT_EQ(readCamera(0, 0x4004), 1u) << "identity: design port 0 is port 0, the extension link";

    // Design port 0 to physical 2, the other ports in order.
    set(board, "wDiscoverySelect", 0x7654302176543102u);
    EXPECT_EQ(get(board, "rDiscoverySelect"), 0x7654302176543102u);
    EXPECT_EQ(readCamera(0, 0x4004), 0u) << "design port 0 reaches the master link on port 2";
    EXPECT_EQ(readCamera(1, 0x4004), 1u) << "design port 1 reaches the extension on port 0";
    EXPECT_EQ(readCamera(2, 0x4004, 20), std::nullopt) << "design port 2 reaches port 1: no camera";

    set(board, "CxpLedModeSelectWrite_0", 8);
    EXPECT_EQ(get(board, "CxpLedModeSelectRead_0"), 8u);
    orva_sim_port_info info{};
    ASSERT_EQ(orva_sim_get_port_info(0, 2, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.ledState, 8u) << "the LED of the cable the design port reaches";
}

TEST_F(Links, DiscoveryConfigurationPicksTheSelectorFromItsTable) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-4-cfg","ports":4,
      "cameras":[{"model":"cxp-camera","ports":[2,0]}]}]})");
    board = open(0);
    EXPECT_FALSE(has(board, "rDiscoverySelect"));
    EXPECT_FALSE(has(board, "wDiscoverySelect"));
    EXPECT_EQ(get(board, "CxpDiscoveryConfig"), 0u);
    EXPECT_EQ(readCamera(0, 0x4004), 1u);
    // Entry 12: high word 0x76543021, low word 0x76543102.
    set(board, "CxpDiscoveryConfig", 12);
    EXPECT_EQ(get(board, "CxpDiscoveryConfig"), 12u);
    EXPECT_EQ(readCamera(0, 0x4004), 0u);
    EXPECT_EQ(readCamera(1, 0x4004), 1u);
    set(board, "CxpDiscoveryConfig", 24);
    EXPECT_EQ(readCamera(0, 0x4004, 20), std::nullopt) << "no entry 24: nothing is routed";
}

} // namespace
} // namespace orva::cxpsimtest
