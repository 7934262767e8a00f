// The CoaXPress control packet on its own: CRC, building a command, the
// rows of the register path, and reading acknowledges.

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "impl/cxp/CCxpBufferRW.h"
#include "impl/cxp/CxpPacket.h"
#include "include/tgx_genicam.h"

namespace orva::cxp {
namespace {

using wire::Row;

std::vector<Row> RowsOf(const CCxpBufferRW& command) {
    std::vector<uint32_t> packet;
    uint32_t packetWords = 0;
    uint32_t payloadWords = 0;
    EXPECT_TRUE(command.BuildCommand(packet, packetWords, payloadWords,
                                     command.HasTag() ? wire::kTaggedCommandType : wire::kCommandType));
    return wire::RegisterPathRows(packet);
}

TEST(PacketCrc, EmptyListIsTheStartValue) {
    EXPECT_EQ(wire::PacketCrc({}), 0xFFFFFFFFu);
}

TEST(PacketCrc, TakesTheLowByteOfEachWordFirstAndIsNotInverted) {
    // "12345678" in memory order; its usual CRC-32 is 0x9AE0DAAF, with the
    // final inversion this packet CRC leaves out.
    const std::array<uint32_t, 2> words{0x34333231, 0x38373635};
    EXPECT_EQ(wire::PacketCrc(words), ~0x9AE0DAAFu);
}

// The rows of the two example packets are checked where the port writes
// them, against the scripted board.
TEST(RegisterPathRows, TagIsCoveredByTheCrcAndTypeIsNot) {
    const CCxpBufferRW command(0x0000, nullptr, 1, 30, true, 0xA7, false);
    const auto rows = RowsOf(command);
    ASSERT_EQ(rows.size(), 7u);
    EXPECT_EQ(rows[1].low, 0x05050505u);
    EXPECT_EQ(rows[2].low, 0xA7A7A7A7u);
    const std::array<uint32_t, 3> covered{0xA7A7A7A7, 0x04000000, 0x00000000};
    EXPECT_EQ(rows[5].low, wire::PacketCrc(covered));
}

TEST(BuildCommand, LimitsThePayloadToThePacketAndCountsTheTag) {
    std::vector<uint32_t> data(20);
    for (uint32_t i = 0; i < data.size(); ++i) {
        data[i] = 0x1000 + i;
    }
    std::vector<uint32_t> packet;
    uint32_t packetWords = 0;
    uint32_t payloadWords = 0;

    // 10 words: type, tag, size, address leave 6 for data.
    const CCxpBufferRW tagged(0x100, data.data(), 20, 10, true, 3, true);
    ASSERT_TRUE(tagged.BuildCommand(packet, packetWords, payloadWords, wire::kQueueTagFlag));
    EXPECT_EQ(payloadWords, 6u);
    EXPECT_EQ(packetWords, 10u);
    ASSERT_EQ(packet.size(), 10u);
    EXPECT_EQ(packet[0], wire::kQueueTagFlag);
    EXPECT_EQ(packet[1], 0x03030303u);
    EXPECT_EQ(packet[2], wire::ToWire(24) | 1u);
    EXPECT_EQ(packet[3], wire::ToWire(0x100));
    EXPECT_EQ(packet[4], 0x1000u);
    EXPECT_EQ(packet[9], 0x1005u);

    // A read asks for as much as fits and carries no data.
    const CCxpBufferRW read(0x100, nullptr, 20, 10, false, 0, false);
    ASSERT_TRUE(read.BuildCommand(packet, packetWords, payloadWords, wire::kCommandType));
    EXPECT_EQ(payloadWords, 0u);
    EXPECT_EQ(packetWords, 3u);
    EXPECT_EQ(packet[1], wire::ToWire(7 * 4));
}

TEST(BuildCommand, RefusesWhenThereIsNothingToSendOrNoRoom) {
    std::vector<uint32_t> packet;
    uint32_t packetWords = 0;
    uint32_t payloadWords = 0;
    const uint32_t word = 0;
    EXPECT_FALSE(CCxpBufferRW(0, &word, 0, 30, false, 0, true).BuildCommand(packet, packetWords, payloadWords, 0));
    EXPECT_FALSE(CCxpBufferRW(0, &word, 1, 4, true, 0, true).BuildCommand(packet, packetWords, payloadWords, 0));
    EXPECT_FALSE(CCxpBufferRW(0, nullptr, 1, 30, false, 0, true).BuildCommand(packet, packetWords, payloadWords, 0))
        << "a write without data";
}

struct StatusCase {
    uint32_t word;
    int32_t result;
};

class AckStatus : public ::testing::TestWithParam<StatusCase> {};

TEST_P(AckStatus, OfEveryStatusWord) {
    const CCxpBufferRW plain(0, nullptr, 1, 30, false, 0, false);
    const CCxpBufferRW tagged(0, nullptr, 1, 30, true, 9, false);
    // Long enough for a final ACK with data, so that only the word decides.
    const std::array<uint32_t, 4> words{GetParam().word, wire::ToWire(4), 0, 0};
    const std::array<uint32_t, 5> taggedWords{0x09090909, GetParam().word, wire::ToWire(4), 0, 0};
    EXPECT_EQ(plain.GetAckStatus(words), GetParam().result);
    EXPECT_EQ(tagged.GetAckStatus(taggedWords), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Words, AckStatus,
                         ::testing::Values(StatusCase{0x00000000, 0}, StatusCase{0x04040404, 4},
                                           StatusCase{0x46464646, TGX_ERR_CXP_SIZE_INCONSISTENT},
                                           StatusCase{0x80808080, TGX_ERR_CXP_CRC},
                                           // Words that are no status at all.
                                           StatusCase{0x40404041, TGX_ERR_CXP_MALFORMED_PACKET},
                                           StatusCase{0x48484848, TGX_ERR_CXP_MALFORMED_PACKET},
                                           StatusCase{0x01010100, TGX_ERR_CXP_MALFORMED_PACKET},
                                           StatusCase{0xFDFDFDFD, TGX_ERR_CXP_MALFORMED_PACKET}));

TEST(AckStatusLength, ListsTooShortForTheirStatus) {
    const CCxpBufferRW plain(0, nullptr, 1, 30, false, 0, false);
    const CCxpBufferRW tagged(0, nullptr, 1, 30, true, 0, false);
    EXPECT_EQ(plain.GetAckStatus({}), TGX_ERR_INVALID_DATA);
    const std::array<uint32_t, 1> tagOnly{0x01010101};
    EXPECT_EQ(tagged.GetAckStatus(tagOnly), TGX_ERR_INVALID_DATA) << "the tag alone";
    const std::array<uint32_t, 2> statusAndSize{0, wire::ToWire(4)};
    EXPECT_EQ(plain.GetAckStatus(statusAndSize), TGX_ERR_GENCP_INVALID_PACKET);
    const std::array<uint32_t, 3> withTag{0, 0, wire::ToWire(4)};
    EXPECT_EQ(tagged.GetAckStatus(withTag), TGX_ERR_GENCP_INVALID_PACKET);
}

std::vector<uint32_t> DataAck(std::vector<uint32_t> payload, bool withCrc, std::optional<uint8_t> tag = {}) {
    std::vector<uint32_t> ack;
    if (tag) {
        ack.push_back(wire::TagWord(*tag));
    }
    ack.push_back(0);
    ack.push_back(wire::ToWire(static_cast<uint32_t>(payload.size() * 4)));
    ack.insert(ack.end(), payload.begin(), payload.end());
    if (withCrc) {
        ack.push_back(wire::PacketCrc(ack));
    }
    return ack;
}

TEST(DataFromRawPacket, CopiesWithOrWithoutCrc) {
    const CCxpBufferRW parser(0, nullptr, 2, 30, false, 0, false);
    for (bool withCrc : {true, false}) {
        std::array<uint32_t, 2> dest{};
        uint32_t got = 0;
        uint8_t tag = 0;
        EXPECT_EQ(parser.GetDataFromRawPacket(DataAck({0x11, 0x22}, withCrc), dest.data(), 2, got, tag), 0);
        EXPECT_EQ(got, 2u);
        EXPECT_EQ(dest, (std::array<uint32_t, 2>{0x11, 0x22}));
    }
}

TEST(DataFromRawPacket, BadCrcGivesNoData) {
    const CCxpBufferRW parser(0, nullptr, 2, 30, false, 0, false);
    auto ack = DataAck({0x11, 0x22}, true);
    ack.back() ^= 1;
    std::array<uint32_t, 2> dest{7, 7};
    uint32_t got = 5;
    uint8_t tag = 0;
    EXPECT_EQ(parser.GetDataFromRawPacket(ack, dest.data(), 2, got, tag), TGX_ERR_GENCP_CRC);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(dest, (std::array<uint32_t, 2>{7, 7}));
}

TEST(DataFromRawPacket, CopiesOnlyTheRoomAndReportsTheTag) {
    const CCxpBufferRW parser(0, nullptr, 1, 30, true, 0x21, false);
    auto ack = DataAck({0x11, 0x22, 0x33}, true, uint8_t{0x21});
    ack[0] = 0x00000021; // one byte carries it: the tag is the OR of the four
    ack.back() = wire::PacketCrc(std::span(ack).first(ack.size() - 1));
    std::array<uint32_t, 2> dest{};
    uint32_t got = 0;
    uint8_t tag = 0;
    EXPECT_EQ(parser.GetDataFromRawPacket(ack, dest.data(), 1, got, tag), 0);
    EXPECT_EQ(got, 1u);
    EXPECT_EQ(dest[0], 0x11u);
    EXPECT_EQ(dest[1], 0u);
    EXPECT_EQ(tag, 0x21);
}

TEST(DataFromRawPacket, LengthThatDisagreesWithTheSizeTakesNothing) {
    const CCxpBufferRW parser(0, nullptr, 4, 30, false, 0, false);
    std::array<uint32_t, 4> dest{};
    uint32_t got = 9;
    uint8_t tag = 0;
    auto shortAck = DataAck({1, 2, 3}, false);
    shortAck.pop_back();
    EXPECT_EQ(parser.GetDataFromRawPacket(shortAck, dest.data(), 4, got, tag), 0);
    EXPECT_EQ(got, 0u);
    auto longAck = DataAck({1, 2}, true);
    longAck.push_back(0x01010101);
    longAck.push_back(0);
    EXPECT_EQ(parser.GetDataFromRawPacket(longAck, dest.data(), 4, got, tag), 0);
    EXPECT_EQ(got, 0u);
    // A size the list can't hold at all.
    const std::array<uint32_t, 3> huge{0, wire::ToWire(0xFFFFFC), 1};
    EXPECT_EQ(parser.GetDataFromRawPacket(huge, dest.data(), 4, got, tag), 0);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(dest, (std::array<uint32_t, 4>{}));
}

TEST(ByteOrder, CameraValuesAndWireWords) {
    const std::array<uint8_t, 4> bytes{0xC0, 0xA7, 0x9A, 0xE5};
    EXPECT_EQ(wire::LoadBigEndian32(bytes.data()), 0xC0A79AE5u);
    EXPECT_EQ(wire::StoreBigEndian32(0xC0A79AE5), bytes);
    EXPECT_EQ(wire::ToWire(0x00020038), 0x38000200u);
    EXPECT_EQ(wire::SizeAndOperationWord(false, 0x123456), 0x56341200u);
    EXPECT_EQ(wire::SizeAndOperationWord(true, 4), 0x04000001u);
    EXPECT_EQ(wire::TagOfWord(0x00FF0000), 0xFF);
}

} // namespace
} // namespace orva::cxp
