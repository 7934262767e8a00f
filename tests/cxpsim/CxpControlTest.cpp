// The control channel of the simulated CoaXPress boards and camera, driven
// as a host drives it: command packets word by word through the registers
// or through the data queues, acknowledges checked word by word.

#include "CxpTestSupport.h"

#include <array>
#include <cstring>

namespace orva::cxpsimtest {
namespace {

// A register-path board (gtxIf 10) with a camera of two links on ports 0
// and 1 and one of one link on port 3; port power is on.
constexpr const char* kRegisterBoard = R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-4",
  "ports":4,"cameras":[{"model":"cxp-camera","ports":[0,1]},
                       {"model":"cxp-camera","ports":[3],"params":{"controlPacketSize":256}}]}]})";

constexpr uint32_t kReadConfig4014[] = {0x04000000, 0x14400000};

class RegisterPath : public CxpTest {
protected:
    void SetUp() override {
        CxpTest::SetUp();
        load(kRegisterBoard);
        board = open(0);
    }
    OHalDevice* board = nullptr;
};

TEST_F(RegisterPath, ReadOfFourBytesAtConnectionConfigGivesItsValueAndCrc) {
    const std::array<Row, 6> rows{
        {{0xFBFBFBFB, 1}, {0x02020202, 0}, {0x04000000, 0}, {0x14400000, 0}, {0x85FE1D2E, 0}, {0xFDFDFDFD, 3}}};
    sendRows(board, 0, rows);
    EXPECT_EQ(get(board, "CxpTxCmdPacketSent") & 1u, 1u) << "the packet has left";

    // After power-up the camera runs both links at 3125 (code 0x38).
    const uint32_t value = swap32(0x00020038);
    const std::vector<uint32_t> expected{0x00000000, 0x04000000, value, packetCrc({{0x00000000, 0x04000000, value}})};
    EXPECT_EQ(receiveByRegisters(board, 0), expected);
    EXPECT_EQ(drainRegisters(board, 0), 0u) << "one acknowledge, nothing behind it";
}

TEST_F(RegisterPath, WriteOfOneToConnectionResetIsNotAcknowledgedAndResetsTheLinks) {
    const uint32_t hostId[] = {swap32(0x00000105)};
    ASSERT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4008, 4, hostId)), (std::vector<uint32_t>{0x01010101}));

    const std::array<Row, 7> rows{{{0xFBFBFBFB, 1},
                                   {0x02020202, 0},
                                   {0x04000001, 0},
                                   {0x00400000, 0},
                                   {0x01000000, 0},
                                   {0x3A3C1E09, 0},
                                   {0xFDFDFDFD, 3}}};
    sendRows(board, 0, rows);

    // The camera answers again once its links are back; the first thing
    // that arrives is the answer to the read, so the reset had none, and
    // the reset cleared the master host connection id.
    std::vector<uint32_t> ack;
    ASSERT_TRUE(eventually([&] {
        sendRows(board, 0, registerRows(commandBody(false, 0x4008, 4)));
        ack = receiveByRegisters(board, 0, 20);
        return !ack.empty();
    }));
    EXPECT_EQ(ack, dataAck(0));
}

TEST_F(RegisterPath, BadCrcIsAnsweredWithItsStatus) {
    auto rows = registerRows(kReadConfig4014);
    rows[rows.size() - 2].first ^= 0x00010000;
    sendRows(board, 0, rows);
    EXPECT_EQ(receiveByRegisters(board, 0), (std::vector<uint32_t>{kAckBadCrc}));
    EXPECT_EQ(cameraCounter(0, 0, 8), 1u) << "the camera counts the bad CRC";
}

TEST_F(RegisterPath, AccessRightsAndUnknownAddressesGiveErrorStatus) {
    const uint32_t one[] = {swap32(1)};
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x0000, 4, one)),
              (std::vector<uint32_t>{kAckWriteReadOnly}))
        << "the magic value is read-only";
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4018, 4, one)),
              (std::vector<uint32_t>{kAckWriteReadOnly}));
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(false, 0x3000, 4)),
              (std::vector<uint32_t>{kAckInvalidAddress}));
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(false, 0x4000, 4)), (std::vector<uint32_t>{kAckReadWriteOnly}))
        << "the connection reset can't be read";
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(false, 0x4002, 4)), (std::vector<uint32_t>{kAckInvalidAddress}))
        << "misaligned";
}

TEST_F(RegisterPath, PacketsLargerThanTheCameraTakesAreRefused) {
    // The camera on port 3 takes 256 bytes at most.
    EXPECT_EQ(exchangeByRegisters(board, 3, commandBody(false, 0x100000, 260)),
              (std::vector<uint32_t>{kAckSizeTooLarge}));
    const auto ack = exchangeByRegisters(board, 3, commandBody(false, 0x100000, 256));
    ASSERT_EQ(ack.size(), 2u + 64u + 1u);
    EXPECT_EQ(ack[0], kAckWithData);
    EXPECT_EQ(ack.back(), packetCrc(std::span(ack).first(ack.size() - 1)));
}

TEST_F(RegisterPath, PacketWithoutStartMarkerIsIgnored) {
    auto rows = registerRows(kReadConfig4014);
    rows.front().second = 0; // the start marker sent as data
    sendRows(board, 0, rows);
    sendRows(board, 0, registerRows(commandBody(false, 0x0000, 4)));
    const auto ack = receiveByRegisters(board, 0);
    EXPECT_EQ(ack, dataAck(kMagic)) << "only the good packet is answered";
    EXPECT_EQ(cameraCounter(0, 0, 12), 1u) << "the camera counts what it couldn't frame";
}

TEST_F(RegisterPath, CorruptedAcknowledgeFailsItsCrcOrItsStatus) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "corrupt-next-ack", 2), ORVA_SIM_OK);
    const auto data = exchangeByRegisters(board, 0, commandBody(false, 0x0000, 4));
    ASSERT_EQ(data.size(), 4u);
    EXPECT_NE(data.back(), packetCrc(std::span(data).first(3)));
    const uint32_t hostId[] = {swap32(1)};
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4008, 4, hostId)), (std::vector<uint32_t>{0x01010100}))
        << "a status word that isn't one";
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(false, 0x0000, 4)), dataAck(kMagic));
}

TEST_F(RegisterPath, WaitAndTentativeAcknowledgesComeBeforeTheFinalOne) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "wait-next-ack", 1), ORVA_SIM_OK);
    const uint32_t hostId[] = {swap32(1)};
    const auto wait = exchangeByRegisters(board, 0, commandBody(true, 0x4008, 4, hostId));
    ASSERT_EQ(wait.size(), 4u);
    EXPECT_EQ(wait[0], kAckWait);
    EXPECT_EQ(swap32(wait[1]), 4u) << "the size of the delay that follows";
    EXPECT_EQ(swap32(wait[2]), 100u) << "the time to wait, in ms";
    EXPECT_EQ(wait[3], packetCrc(std::span(wait).first(3)));
    EXPECT_EQ(receiveByRegisters(board, 0), (std::vector<uint32_t>{kAckFinal}));

    ASSERT_EQ(orva_sim_inject_fault(0, 0, "tentative-next-ack", 1), ORVA_SIM_OK);
    sendRows(board, 0, registerRows(commandBody(false, 0x0000, 4)));
    EXPECT_EQ(receiveByRegisters(board, 0), (std::vector<uint32_t>{kAckTentative}));
    EXPECT_EQ(receiveByRegisters(board, 0), dataAck(kMagic));
}

// The default set-up: board 0 with the queue path, a camera of two links on
// ports 0 and 1, and one of one link (revision 1.1) on port 2.
class QueuePath : public CxpTest {
protected:
    void SetUp() override {
        CxpTest::SetUp();
        board = open(0);
        startQueuePort(board, 0);
    }
    OHalDevice* board = nullptr;
};

TEST_F(QueuePath, ReadWithoutTagComesBackWithoutMarkersAndCrc) {
    sendQueue(board, 0, std::array<uint32_t, 3>{2, 0x04000000, 0x14400000});
    const std::vector<uint32_t> expected{3, 0x00000000, 0x04000000, swap32(0x00020038)};
    EXPECT_EQ(receiveQueue(board, 0), expected);
    EXPECT_EQ(hal.OHalDataQueueGetNrOfWords(board, 0), 0);
}

TEST_F(QueuePath, TaggedPacketsOnceBothSidesRunVersionTwo) {
    const uint8_t tag = 0x5A;
    // Version 1.1 is in use after power-up: a tagged packet isn't understood.
    sendQueue(board, 0, queueCommand(commandBody(false, 0x4014, 4, {}, tag), true));
    ASSERT_EQ(hal.OHalCameraCtrlSetPortCxpStandardVersion(board, 0, 3), ORVA_SIM_OK);
    sendQueue(board, 0, queueCommand(commandBody(false, 0x4014, 4, {}, tag), true));

    const uint32_t v20[] = {swap32(0x00020000)};
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(true, 0x4048, 4, v20)), (std::vector<uint32_t>{1, kAckFinal}))
        << "nothing answered the tagged packets before";

    const auto ack = exchangeByQueue(board, 0, commandBody(false, 0x4014, 4, {}, tag), true);
    const std::vector<uint32_t> expected{4 | kQueueTagFlag, 0x5A5A5A5A, kAckWithData, 0x04000000, swap32(0x00020038)};
    EXPECT_EQ(ack, expected);

    const uint32_t one[] = {swap32(1)};
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(true, 0x0000, 4, one, 0x07), true),
              (std::vector<uint32_t>{2 | kQueueTagFlag, 0x07070707, kAckWriteReadOnly}));
}

TEST_F(QueuePath, CommandCorruptedOnTheCableIsAnsweredWithBadCrc) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "corrupt-next-command", 1), ORVA_SIM_OK);
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(false, 0x0000, 4)), (std::vector<uint32_t>{1, kAckBadCrc}));
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(false, 0x0000, 4)), queueDataAck(kMagic));
}

TEST_F(QueuePath, WaitAcknowledgeArrivesWithoutItsCrc) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "wait-next-ack", 1), ORVA_SIM_OK);
    const uint32_t hostId[] = {swap32(1)};
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(true, 0x4008, 4, hostId)),
              (std::vector<uint32_t>{3, kAckWait, swap32(4), swap32(100)}));
    EXPECT_EQ(receiveQueue(board, 0), (std::vector<uint32_t>{1, kAckFinal}));
}

} // namespace
} // namespace orva::cxpsimtest
