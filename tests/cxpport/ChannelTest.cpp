// The control channel of the port against a scripted board: the words of the
// two example packets, partial words, the optional acknowledge, and the
// answers the simulated camera can't give (several packets in one list,
// waits without end, malformed or short acknowledges, wrong tags), with the
// waits they set.

#include <array>
#include <cstring>

#include "FakeBoardTest.h"
#include "include/tgx_genicam.h"

namespace orva::cxptest {
namespace {

using cxp::CCxpPort;
namespace wire = cxp::wire;

constexpr uint32_t kRegisterPath = 10;
constexpr uint32_t kQueuePath = 16;

// A port of the given path, made after the tweaks of SetUp.
template <uint32_t kNumber, uint32_t kGtxIf> class Path : public FakeBoardTest {
protected:
    void SetUp() override {
        FakeBoardTest::SetUp();
        port = MakePort(kNumber, kGtxIf);
    }
    std::unique_ptr<CCxpPort> port;
};
using RegisterPath = Path<0, kRegisterPath>;
using QueuePath = Path<1, kQueuePath>;

TEST_F(RegisterPath, ReadOfFourBytesAtConnectionConfigurationWritesTheseRows) {
    FakeCxp_SetMemory(0, 0x4014, 0x00020038);
    std::array<uint8_t, 4> value{};
    ASSERT_EQ(port->ReadMem(0x4014, value.data(), 4, 200), 0);
    EXPECT_EQ(value, (std::array<uint8_t, 4>{0x00, 0x02, 0x00, 0x38})) << "the camera's bytes, big-endian";

    const std::vector<uint64_t> rows{0x1FBFBFBFB, 0x02020202, 0x04000000, 0x14400000, 0x85FE1D2E, 0x3FDFDFDFD};
    ASSERT_EQ(Commands(0).size(), 1u);
    EXPECT_EQ(Commands(0)[0], rows);
}

TEST_F(RegisterPath, WriteOfOneToConnectionResetWritesTheseRowsAndReadsNoAcknowledge) {
    // Whatever comes back isn't read: not even an error.
    Answer(0, {{0x40404040}});
    const std::array<uint8_t, 4> one{0, 0, 0, 1};
    ASSERT_EQ(port->WriteMem(0x4000, one.data(), 4, 200), 0);
    const std::vector<uint64_t> rows{0x1FBFBFBFB, 0x02020202, 0x04000001, 0x00400000,
                                     0x01000000,  0x3A3C1E09, 0x3FDFDFDFD};
    ASSERT_EQ(Commands(0).size(), 1u);
    EXPECT_EQ(Commands(0)[0], rows);

    // The answer left behind is dropped before the next command.
    FakeCxp_SetMemory(0, 0x4014, 0x00010048);
    std::array<uint8_t, 4> value{};
    EXPECT_EQ(port->ReadMem(0x4014, value.data(), 4, 200), 0);
    EXPECT_EQ(value, (std::array<uint8_t, 4>{0x00, 0x01, 0x00, 0x48}));
}

TEST_F(RegisterPath, OddLengthsAskForWholeWordsAndCopyOnlyWhatWasAskedFor) {
    FakeCxp_SetMemory(0, 0x2000, 0x11223344);
    FakeCxp_SetMemory(0, 0x2004, 0x55667788);
    std::array<uint8_t, 8> buffer;
    buffer.fill(0xEE);
    ASSERT_EQ(port->ReadMem(0x2000, buffer.data(), 5, 200), 0);
    EXPECT_EQ(AccessOf(Commands(0).at(0), false).bytes, 8u);
    EXPECT_EQ(buffer, (std::array<uint8_t, 8>{0x11, 0x22, 0x33, 0x44, 0x55, 0xEE, 0xEE, 0xEE}));

    // A write of 5 bytes is padded with zeros to whole words.
    const std::array<uint8_t, 5> five{1, 2, 3, 4, 5};
    ASSERT_EQ(port->WriteMem(0x3000, five.data(), 5, 200), 0);
    EXPECT_EQ(AccessOf(Commands(0).at(1), false).bytes, 8u);
    EXPECT_EQ(FakeCxp_GetMemory(0, 0x3004), 0x05000000u);
}

TEST_F(RegisterPath, NothingToMoveSendsNothing) {
    std::array<uint8_t, 4> buffer{};
    EXPECT_EQ(port->ReadMem(0x4014, buffer.data(), 0, 200), 0);
    EXPECT_EQ(port->WriteMem(0x4014, buffer.data(), 0, 200), 0);
    EXPECT_EQ(FakeCxp_CommandCount(0), 0u);
    EXPECT_EQ(port->ReadMem(0x4014, nullptr, 4, 200), TGX_ERR_INVALID_POINTER);
    EXPECT_EQ(port->ExecCmd(false, 0x4014, nullptr, 4, 0, 200), TGX_ERR_INVALID_POINTER);
    uint32_t word = 0;
    EXPECT_EQ(port->ExecCmd(true, 0x4014, &word, 4, 3, 200), TGX_ERR_INVALID_DATA);
    EXPECT_EQ(FakeCxp_CommandCount(0), 0u);
}

TEST_F(RegisterPath, OptionalAcknowledgeOfConnectionConfigurationMayStayAway) {
    Answer(0, {});
    const auto config = wire::StoreBigEndian32(0x00020048);
    EXPECT_EQ(port->WriteMem(0x4014, config.data(), 4, 30), 0);
    EXPECT_NE(LogSinceStart().find("Did not receive optional ACK."), std::string::npos);

    // Any other address needs its acknowledge.
    Answer(0, {});
    EXPECT_EQ(port->WriteMem(0x4008, config.data(), 4, 30), TGX_ERR_PACKET_TIMEOUT);
    EXPECT_NE(LogSinceStart().find("Timeout while waiting for CXP Packet after "), std::string::npos);
    EXPECT_EQ(FakeCxp_CommandCount(0), 2u) << "silence is no reason to send again";
}

TEST_F(RegisterPath, WaitAndFinalAcknowledgeInOneListAreTakenInOnePass) {
    // No end marker between them: the board hands over both as one list.
    std::vector<uint32_t> both = WaitAck(5, true);
    const auto data = DataAck({wire::ToWire(0x1234)}, true);
    both.insert(both.end(), data.begin(), data.end());
    Answer(0, {both});
    std::array<uint8_t, 4> read{};
    EXPECT_EQ(port->ReadMem(0x10000, read.data(), 4, 200), 0);
    EXPECT_EQ(wire::LoadBigEndian32(read.data()), 0x1234u);
    EXPECT_EQ(FakeCxp_CommandCount(0), 1u);
}

TEST_F(RegisterPath, FourWaitsThenSilenceFinishAWriteButSendAReadAgain) {
    const std::vector<std::vector<uint32_t>> waits(4, WaitAck(1, true));
    Answer(0, waits);
    const auto value = wire::StoreBigEndian32(1);
    EXPECT_EQ(port->WriteMem(0x10000, value.data(), 4, 200), 0);
    EXPECT_EQ(FakeCxp_CommandCount(0), 1u);

    Answer(0, waits);
    FakeCxp_SetMemory(0, 0x10004, 99);
    std::array<uint8_t, 4> read{};
    EXPECT_EQ(port->ReadMem(0x10004, read.data(), 4, 200), 0);
    EXPECT_EQ(wire::LoadBigEndian32(read.data()), 99u);
    EXPECT_EQ(FakeCxp_CommandCount(0), 3u) << "the read went out a second time";
}

TEST_F(RegisterPath, OnePacketOutlastsFourWaitsAtMost) {
    FakeCxp_SetMemory(0, 0x10004, 99);
    std::vector<std::vector<uint32_t>> acks(3, WaitAck(1, true));
    acks.push_back(DataAck({wire::ToWire(5)}, true));
    Answer(0, acks);
    std::array<uint8_t, 4> read{};
    ASSERT_EQ(port->ReadMem(0x10004, read.data(), 4, 200), 0);
    EXPECT_EQ(wire::LoadBigEndian32(read.data()), 5u) << "three waits, then the data";
    EXPECT_EQ(FakeCxp_CommandCount(0), 1u);

    // After four waits the read goes out again; the late answer to the
    // first packet is for the same address and is taken.
    acks.insert(acks.begin(), WaitAck(1, true));
    Answer(0, acks);
    read.fill(0);
    ASSERT_EQ(port->ReadMem(0x10004, read.data(), 4, 200), 0);
    EXPECT_EQ(wire::LoadBigEndian32(read.data()), 5u);
    EXPECT_EQ(FakeCxp_CommandCount(0), 3u);
}

TEST_F(RegisterPath, MalformedAnswersAreResentFourTimesAtMost) {
    const auto value = wire::StoreBigEndian32(3);
    for (int i = 0; i < 4; ++i) {
        Answer(0, {{0x12345678}});
    }
    EXPECT_EQ(port->WriteMem(0x10000, value.data(), 4, 200), 0) << "the fifth send is answered";
    EXPECT_EQ(FakeCxp_CommandCount(0), 5u);
    EXPECT_EQ(FakeCxp_GetMemory(0, 0x10000), 3u);

    for (int i = 0; i < 5; ++i) {
        Answer(0, {{0x47474747}});
    }
    std::array<uint8_t, 4> read{};
    EXPECT_EQ(port->ReadMem(0x10000, read.data(), 4, 200), TGX_ERR_CXP_MALFORMED_PACKET);
    EXPECT_EQ(FakeCxp_CommandCount(0), 10u);
    // Each resend carries the same access.
    for (size_t i = 5; i < 10; ++i) {
        EXPECT_EQ(Commands(0)[i], Commands(0)[5]);
    }
}

TEST_F(RegisterPath, ReadThatNeverGetsDataFailsAfterABoundedNumberOfPackets) {
    for (int i = 0; i < 20; ++i) {
        Answer(0, {{wire::kAckFinal}});
    }
    std::array<uint8_t, 4> read{};
    EXPECT_EQ(port->ReadMem(0x10000, read.data(), 4, 200), TGX_ERR_GENCP_NO_READ_DATA);
    EXPECT_EQ(FakeCxp_CommandCount(0), 5u);
}

TEST_F(RegisterPath, AcknowledgesTooShortForTheirFields) {
    std::array<uint8_t, 4> read{};
    Answer(0, {{wire::kAckWait, wire::ToWire(4), wire::ToWire(5)}}); // delay without its CRC
    EXPECT_EQ(port->ReadMem(0x10000, read.data(), 4, 200), TGX_ERR_GENCP_SHORT_READ);
    // The delay stands behind a size word; without it the fields fall short.
    std::vector<uint32_t> unsized{wire::kAckWait, wire::ToWire(5)};
    unsized.push_back(wire::PacketCrc(unsized));
    Answer(0, {unsized});
    EXPECT_EQ(port->ReadMem(0x10000, read.data(), 4, 200), TGX_ERR_GENCP_SHORT_READ);
    Answer(0, {{wire::kAckFinalWithData, wire::ToWire(4)}});
    EXPECT_EQ(port->ReadMem(0x10000, read.data(), 4, 200), TGX_ERR_GENCP_INVALID_PACKET);
}

TEST_F(QueuePath, WaitAcknowledgeSetsTheNextWait) {
    SetTweak("ORVA_CXP_COMMAND_ACK_TIMEOUT", "500");
    port = MakePort(1, kQueuePath);
    const auto value = wire::StoreBigEndian32(1);
    Answer(1, {WaitAck(2000, false), {wire::kAckFinal}});
    ASSERT_EQ(port->WriteMem(0x10000, value.data(), 4, 200), 0);
    // Each packet: its header without waiting, then the rest with the wait:
    // the larger of time-out and ack time-out first, then the camera's.
    EXPECT_EQ(QueueReadTimeouts(1), (std::vector<uint32_t>{0, 500, 0, 2000}));

    Answer(1, {WaitAck(10, false), {wire::kAckFinal}});
    ASSERT_EQ(port->WriteMem(0x10000, value.data(), 4, 900), 0);
    EXPECT_EQ(QueueReadTimeouts(1), (std::vector<uint32_t>{0, 500, 0, 2000, 0, 900, 0, 10}));
}

TEST_F(QueuePath, TagsCountUpAndWrap) {
    port->SetTagMode(true);
    std::array<uint8_t, 4> read{};
    for (int i = 0; i < 258; ++i) {
        ASSERT_EQ(port->ReadMem(0x0000, read.data(), 4, 200), 0) << "packet " << i;
    }
    const auto commands = Commands(1);
    ASSERT_EQ(commands.size(), 258u);
    for (uint32_t i : {0u, 1u, 255u, 256u, 257u}) {
        const Access access = AccessOf(commands[i], true);
        EXPECT_TRUE(access.tagged);
        EXPECT_EQ(access.tagWord, wire::TagWord(static_cast<uint8_t>(i))) << "packet " << i;
        EXPECT_EQ(access.address, 0u);
    }
    EXPECT_EQ(commands[0][0], (wire::kQueueTagFlag | 3u));

    port->SetTagMode(true);
    ASSERT_EQ(port->ReadMem(0x0000, read.data(), 4, 200), 0);
    EXPECT_EQ(AccessOf(Commands(1).back(), true).tagWord, 0u) << "turning tags on starts the count anew";
}

TEST_F(QueuePath, TagMismatchIsLoggedAndTheDataTaken) {
    port->SetTagMode(true);
    Answer(1, {DataAck({wire::ToWire(77)}, false, 5)});
    std::array<uint8_t, 4> read{};
    ASSERT_EQ(port->ReadMem(0x10000, read.data(), 4, 200), 0);
    EXPECT_EQ(wire::LoadBigEndian32(read.data()), 77u);
    EXPECT_NE(LogSinceStart().find("Ack received with invalid tag: expected 0, received 5"), std::string::npos);
}

} // namespace
} // namespace orva::cxptest
