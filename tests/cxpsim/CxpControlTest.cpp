// The control channel of the simulated CoaXPress boards and camera, driven
// as a host drives it: command packets word by word through the registers
// or through the data queues, acknowledges checked word by word.

#include "CxpTestSupport.h"

#include <array>
#include <cstring>
#include <random>

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

TEST_F(RegisterPath, WriteIsAcknowledgedAndReadBackOnEveryLink) {
    const uint32_t hostId[] = {swap32(0x00000203)};
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4008, 4, hostId)), (std::vector<uint32_t>{kAckFinal}));
    for (uint32_t port : {0u, 1u}) {
        EXPECT_EQ(exchangeByRegisters(board, port, commandBody(false, 0x4008, 4)), dataAck(0x203))
            << "the master link's value shows on port " << port;
        EXPECT_EQ(exchangeByRegisters(board, port, commandBody(false, 0x4004, 4)), dataAck(port))
            << "device connection id of link " << port;
    }
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

TEST_F(RegisterPath, DroppedAcknowledgeLeavesTheNextOneToTheNextCommand) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "drop-next-ack", 1), ORVA_SIM_OK);
    sendRows(board, 0, registerRows(commandBody(false, 0x0000, 4)));
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(false, 0x0004, 4)), dataAck(0x00020000))
        << "the first answer to arrive is the one to the revision";
    EXPECT_EQ(cameraCounter(0, 0, 20), 1u) << "the camera counts what it dropped";
    EXPECT_EQ(orva_sim_pending_fault(0, 0, "drop-next-ack"), 0);
}

TEST_F(RegisterPath, LateAcknowledgeComesAfterThoseOfOtherLinks) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "late-next-ack", 1), ORVA_SIM_OK);
    sendRows(board, 0, registerRows(commandBody(false, 0x0000, 4)));
    ASSERT_EQ(exchangeByRegisters(board, 1, commandBody(false, 0x4004, 4)).size(), 4u);
    EXPECT_NE(get(board, "CxpRxCmdAckPacketData_0") >> 33 & 1, 0u) << "nothing yet on the late link";
    EXPECT_EQ(receiveByRegisters(board, 0, 5000), dataAck(kMagic));
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

TEST_F(RegisterPath, CameraOfSlowWritesAnnouncesItsWait) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-1","ports":1,
      "cameras":[{"model":"cxp-camera","ports":[0],"params":{"waitAckMs":40,"tentativeAcks":true}}]}]})");
    board = open(0);
    const uint32_t width[] = {swap32(640)};
    sendRows(board, 0, registerRows(commandBody(true, 0x10000, 4, width)));
    EXPECT_EQ(receiveByRegisters(board, 0), (std::vector<uint32_t>{kAckTentative}));
    const auto wait = receiveByRegisters(board, 0);
    ASSERT_EQ(wait.size(), 4u);
    EXPECT_EQ(wait[0], kAckWait);
    EXPECT_EQ(swap32(wait[2]), 40u);
    EXPECT_EQ(receiveByRegisters(board, 0), (std::vector<uint32_t>{kAckFinal}));
    // Reads need no wait.
    sendRows(board, 0, registerRows(commandBody(false, 0x10000, 4)));
    EXPECT_EQ(receiveByRegisters(board, 0), (std::vector<uint32_t>{kAckTentative}));
    EXPECT_EQ(receiveByRegisters(board, 0), dataAck(640));
}

TEST_F(RegisterPath, FaultsTheCameraDoesntKnowAreRefused) {
    EXPECT_EQ(orva_sim_inject_fault(0, 0, "drop-next-answer", 1), ORVA_SIM_ERR_UNKNOWN_FAULT);
    EXPECT_NE(std::string(orva_sim_last_error()).find("drop-next-ack"), std::string::npos) << "it names those it knows";
    EXPECT_EQ(orva_sim_inject_fault(0, 2, "drop-next-ack", 1), ORVA_SIM_ERR_NO_CAMERA);
}

TEST_F(RegisterPath, GarbageInTheCommandFifoLeavesTheChannelWorking) {
    std::mt19937 random(20240601);
    for (int packet = 0; packet < 200; ++packet) {
        const int words = static_cast<int>(random() % 40);
        std::vector<Row> rows;
        rows.reserve(static_cast<size_t>(words) + 3);
        for (int i = 0; i < words; ++i) {
            rows.emplace_back(static_cast<uint32_t>(random()), static_cast<uint32_t>(random() % 2));
        }
        // Sometimes well framed around a random body, sometimes not at all.
        if (packet % 2 == 0) {
            rows.insert(rows.begin(), {{kStartOfPacket, 1}, {kCommandType, 0}});
            rows.emplace_back(kEndOfPacket, 3);
        } else {
            rows.emplace_back(static_cast<uint32_t>(random()), 3);
        }
        sendRows(board, 0, rows);
    }
    drainRegisters(board, 0);
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(false, 0x0000, 4)), dataAck(kMagic));
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

TEST_F(QueuePath, WriteOfOneToConnectionResetIsNotAcknowledged) {
    sendQueue(board, 0, std::array<uint32_t, 4>{3, 0x04000001, 0x00400000, 0x01000000});
    std::vector<uint32_t> ack;
    ASSERT_TRUE(eventually([&] {
        sendQueue(board, 0, queueCommand(commandBody(false, 0x0000, 4)));
        ack = receiveQueue(board, 0, 20);
        return !ack.empty();
    }));
    EXPECT_EQ(ack, queueDataAck(kMagic));
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

TEST_F(QueuePath, TaggedWriteOfConnectionResetDropsTheCameraBackToVersionOneOne) {
    ASSERT_EQ(hal.OHalCameraCtrlSetPortCxpStandardVersion(board, 0, 3), ORVA_SIM_OK);
    const uint32_t v20[] = {swap32(0x00020000)};
    ASSERT_EQ(exchangeByQueue(board, 0, commandBody(true, 0x4048, 4, v20)), (std::vector<uint32_t>{1, kAckFinal}));
    const uint32_t one[] = {swap32(1)};
    sendQueue(board, 0, queueCommand(commandBody(true, 0x4000, 4, one, 0x01), true));

    std::vector<uint32_t> ack;
    ASSERT_TRUE(eventually([&] {
        sendQueue(board, 0, queueCommand(commandBody(false, 0x4048, 4)));
        ack = receiveQueue(board, 0, 20);
        return !ack.empty();
    }));
    EXPECT_EQ(ack, queueDataAck(0x00010001));
}

TEST_F(QueuePath, CommandCorruptedOnTheCableIsAnsweredWithBadCrc) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "corrupt-next-command", 1), ORVA_SIM_OK);
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(false, 0x0000, 4)), (std::vector<uint32_t>{1, kAckBadCrc}));
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(false, 0x0000, 4)), queueDataAck(kMagic));
}

TEST_F(QueuePath, BoardDropsAnAcknowledgeWhoseCrcFails) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "corrupt-next-ack", 1), ORVA_SIM_OK);
    sendQueue(board, 0, queueCommand(commandBody(false, 0x0000, 4)));
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(false, 0x0004, 4)), queueDataAck(0x00020000))
        << "the first acknowledge to come through is the second one";
}

TEST_F(QueuePath, WaitAcknowledgeArrivesWithoutItsCrc) {
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "wait-next-ack", 1), ORVA_SIM_OK);
    const uint32_t hostId[] = {swap32(1)};
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(true, 0x4008, 4, hostId)),
              (std::vector<uint32_t>{3, kAckWait, swap32(4), swap32(100)}));
    EXPECT_EQ(receiveQueue(board, 0), (std::vector<uint32_t>{1, kAckFinal}));
}

TEST_F(QueuePath, GarbageInTheCommandQueueLeavesTheChannelWorking) {
    std::mt19937 random(20240602);
    for (int packet = 0; packet < 200; ++packet) {
        std::vector<uint32_t> words(random() % 40);
        for (auto& w : words) {
            w = static_cast<uint32_t>(random());
        }
        if (packet % 2 == 0 && !words.empty()) {
            words[0] = static_cast<uint32_t>(words.size() - 1); // a header that fits
        }
        std::vector<uint8_t> bytes(words.size() * 4 + random() % 4);
        if (!words.empty()) {
            std::memcpy(bytes.data(), words.data(), words.size() * 4);
        }
        ASSERT_GE(hal.OHalDataQueueWriteBufferLong(board, 3, bytes.data(), static_cast<uint32_t>(bytes.size()), 0), 0);
    }
    while (!receiveQueue(board, 0, 20).empty()) {
    }
    EXPECT_EQ(exchangeByQueue(board, 0, commandBody(false, 0x0000, 4)), queueDataAck(kMagic));
}

TEST_F(QueuePath, ControlQueuesOfAPortAreOnlyItsOwn) {
    // Queue 4p + 1 and 4p + 2 aren't there; acknowledges come only from 4p.
    uint32_t word = 0;
    EXPECT_EQ(hal.OHalDataQueueReadBufferLong(board, 1, &word, 4, 0), ORVA_SIM_ERR_NO_SUCH_QUEUE);
    EXPECT_EQ(hal.OHalDataQueueWriteBufferLong(board, 0, &word, 4, 0), ORVA_SIM_ERR_WRONG_DIRECTION);
    EXPECT_EQ(hal.OHalDataQueueReadBufferLong(board, 3, &word, 4, 0), ORVA_SIM_ERR_WRONG_DIRECTION);
}

} // namespace
} // namespace orva::cxpsimtest
