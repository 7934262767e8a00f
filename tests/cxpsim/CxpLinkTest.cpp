// Transceivers and links of the simulated CoaXPress boards: a receiver locks
// only on a camera that sends at the rate the host gave it, and counts
// not-in-table errors otherwise; cameras change their links when told.

#include "CxpTestSupport.h"

#include <array>

namespace orva::cxpsimtest {
namespace {

constexpr uint32_t kNitMask = 0xFFFFFF;

// How a host programs the receiver of a port and reads its state, for each
// transceiver interface.
struct Interface {
    const char* design;
    const char* type;
    uint32_t gtxIf;
};

void PrintTo(const Interface& i, std::ostream* os) {
    *os << i.design << " on " << i.type;
}

class Transceivers : public CxpTest, public ::testing::WithParamInterface<Interface> {
protected:
    void SetUp() override {
        CxpTest::SetUp();
        const Interface& i = GetParam();
        load(std::string(R"({"boards":[{"index":0,"type":")") + i.type + R"(","serial":1,"design":")" + i.design +
             R"(","ports":2,"portPower":"on","cameras":[{"model":"cxp-camera","ports":[0,1]}]}]})");
        board = open(0);
        if (i.gtxIf == 16) {
            startQueuePort(board, 0);
            startQueuePort(board, 1);
        }
    }

    // Programs the receiver of `port` to `speed` and waits until the
    // transceiver says it is done, as a host does.
    void setRate(uint32_t port, uint32_t speed) {
        const std::string p = std::to_string(port);
        const uint32_t code = rateCode(speed);
        switch (GetParam().gtxIf) {
        case 1:
        case 2: {
            const bool tableA = GetParam().gtxIf == 1;
            const auto words = drpWords(tableA, speed);
            const std::vector<uint32_t> addresses =
                tableA ? std::vector<uint32_t>{0x1B, 0x1C, 0x1F, 0x20} : std::vector<uint32_t>{0xA9, 0x5E, 0x88};
            for (size_t i = 0; i < addresses.size(); ++i) {
                if (!tableA) {
                    ASSERT_TRUE(eventually([&] { return (get(board, "CxpTransceiverGtxDrpReady") >> port & 1) != 0; }));
                }
                set(board, "CxpTransceiverGtxDrpAddress_" + p, addresses[i]);
                set(board, "CxpTransceiverGtxDrpWriteData_" + p, words[i]);
            }
            // The words take effect as the receiver leaves its reset.
            set(board, "CxpTransceiverGtxRxReset", 1u << port);
            EXPECT_EQ(get(board, "CxpTransceiverRxResetDone") >> port & 1, 0u) << "held in reset";
            set(board, "CxpTransceiverGtxRxReset", 0);
            if (tableA) {
                ASSERT_TRUE(eventually([&] { return (get(board, "CxpTransceiverRxPlllDet") >> port & 1) != 0; }));
            }
            ASSERT_TRUE(eventually([&] { return (get(board, "CxpTransceiverRxResetDone") >> port & 1) != 0; }));
            break;
        }
        case 3:
        case 6:
            set(board, "CxpTransceiverGtxSetBitRate_" + p, code);
            ASSERT_TRUE(eventually([&] { return (get(board, "CxpTransceiverGtxSetBitRateDone") >> port & 1) != 0; }));
            if (GetParam().gtxIf == 6) {
                set(board, "CxpTransceiverGtxRxReset", 1u << port);
                set(board, "CxpTransceiverGtxRxReset", 0);
                ASSERT_TRUE(eventually([&] { return (get(board, "CxpTransceiverRxStatus") >> (2 * port) & 1) != 0; }));
            }
            break;
        case 10:
            set(board, "CxpTransceiverDownLinkBitRate_" + p, code);
            ASSERT_TRUE(eventually([&] { return (get(board, "CxpTransceiverStatus_" + p) >> 49 & 1) != 0; }));
            break;
        default:
            ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathSpeed(board, port, speed), ORVA_SIM_OK);
            break;
        }
    }

    uint64_t nit(uint32_t port) {
        const std::string p = std::to_string(port);
        const uint32_t gtxIf = GetParam().gtxIf;
        const uint64_t value =
            get(board, (gtxIf == 10 || gtxIf == 16 ? "CxpTransceiverStatus_" : "CxpTransceiverNotInTable_") + p);
        return value & kNitMask;
    }

    // The lock the transceiver shows, where it shows one.
    std::optional<bool> lockBit(uint32_t port) {
        switch (GetParam().gtxIf) {
        case 6:
            return (get(board, "CxpTransceiverRxStatus") >> (2 * port + 1) & 1) != 0;
        case 10:
        case 16:
            return (get(board, "CxpTransceiverStatus_" + std::to_string(port)) >> 48 & 1) != 0;
        default:
            return std::nullopt;
        }
    }

    // Many reads of the counter in a row, all 0.
    bool staysAtZero(uint32_t port) {
        for (int i = 0; i < 200; ++i) {
            if (nit(port) != 0) {
                return false;
            }
        }
        return true;
    }

    static uint32_t rateCode(uint32_t speed) {
        const uint32_t speeds[] = {1250, 2500, 3125, 5000, 6250, 10000, 12500};
        for (uint32_t i = 0; i < 7; ++i) {
            if (speeds[i] == speed) {
                return i;
            }
        }
        return 99;
    }

    // The configuration words of the two rates the tests use: 3125, 5000.
    static std::array<uint32_t, 4> drpWords(bool tableA, uint32_t speed) {
        if (speed == 3125) {
            return tableA ? std::array<uint32_t, 4>{0x78C6, 0x20, 0x78C6, 0x20}
                          : std::array<uint32_t, 4>{0x1020, 0x1083, 0x11};
        }
        return tableA ? std::array<uint32_t, 4>{0x38C4, 0x20, 0x38C4, 0x20}
                      : std::array<uint32_t, 4>{0x1040, 0x1082, 0};
    }

    OHalDevice* board = nullptr;
};

TEST_P(Transceivers, LockOnlyAtTheCamerasRateAndCountErrorsOtherwise) {
    // The camera's links come up at 3125.
    setRate(0, 3125);
    EXPECT_TRUE(staysAtZero(0));
    EXPECT_NE(lockBit(0), std::optional<bool>(false));

    setRate(0, 5000);
    ASSERT_TRUE(eventually([&] { return nit(0) > 0; }));
    const uint64_t first = nit(0);
    ASSERT_TRUE(eventually([&] { return nit(0) > first; })) << "the counter goes on counting";
    EXPECT_NE(lockBit(0), std::optional<bool>(true));

    setRate(0, 3125);
    EXPECT_TRUE(staysAtZero(0)) << "a new rate starts the counter from 0";
    EXPECT_NE(lockBit(0), std::optional<bool>(false));
}

TEST_P(Transceivers, ReceiverFollowsTheCameraToItsNewSpeed) {
    setRate(0, 3125);
    setRate(1, 3125);
    ASSERT_TRUE(staysAtZero(0));

    const uint32_t config[] = {swap32(connectionConfig(2, 5000))};
    const auto body = commandBody(true, 0x4014, 4, config);
    if (GetParam().gtxIf == 16) {
        EXPECT_EQ(exchangeByQueue(board, 0, body), (std::vector<uint32_t>{1, kAckFinal}));
    } else {
        EXPECT_EQ(exchangeByRegisters(board, 0, body), (std::vector<uint32_t>{kAckFinal}))
            << "the acknowledge comes at the old speed";
    }
    ASSERT_TRUE(eventually([&] { return nit(0) > 0 && nit(1) > 0; })) << "both links left 3125";

    setRate(0, 5000);
    setRate(1, 5000);
    EXPECT_TRUE(staysAtZero(0));
    EXPECT_TRUE(staysAtZero(1));
}

INSTANTIATE_TEST_SUITE_P(EachInterface, Transceivers,
                         ::testing::Values(Interface{"cxp-drp", "0xA55", 1}, Interface{"cxp-drp-ready", "0x7540", 2},
                                           Interface{"cxp-rate-2", "0x7591", 3},
                                           Interface{"cxp-rxstatus-2", "0x7510", 6},
                                           Interface{"cxp-dual-2", "0xB68", 10}, Interface{"cxp-queue-2", "0xA64", 16}),
                         [](const auto& info) { return "gtxIf" + std::to_string(info.param.gtxIf); });

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
