// Links of the simulated CoaXPress boards, where a lenient model would let
// a host's fault pass: a connection the camera can't run is refused, and the
// discovery selector really routes design ports to cables. How each
// transceiver interface takes its rate is checked through the port, as the
// library programs it (tests/cxpport, SimCoreType).

#include "CxpTestSupport.h"

namespace orva::cxpsimtest {
namespace {

// A register-path board of gtxIf 10 with two ports for one camera.
class Links : public CxpTest {
protected:
    void loadCamera(const std::string& params, const std::string& design = "cxp-dual-2") {
        load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":")" + design +
             R"(","ports":2,"cameras":[{"model":"cxp-camera","ports":[0,1],"params":)" + params + "}]}]}");
        board = open(0);
    }
    uint64_t status(uint32_t port) { return get(board, "CxpTransceiverStatus_" + std::to_string(port)); }
    bool locked(uint32_t port) { return (status(port) >> 48 & 1) != 0; }
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

} // namespace
} // namespace orva::cxpsimtest
