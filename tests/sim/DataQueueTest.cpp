// The data queue on its own, with an explicit clock: when data becomes
// visible, in what order, and what is lost.

#include "DataQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace orva::sim {
namespace {

std::span<const uint8_t> bytesOf(const std::string& s) {
    return {reinterpret_cast<const uint8_t*>(s.data()), s.size()};
}

class DataQueueTest : public ::testing::Test {
protected:
    void SetUp() override { makeQueue(false); }
    void makeQueue(bool packet) {
        slot_ = std::make_unique<layout::QueueSlot>();
        queue_ = std::make_unique<DataQueue>(*slot_);
        queue_->reset(0, Channel::Control, Direction::ToHost, packet);
    }
    std::string pop(uint64_t now, size_t capacity = 1024) {
        std::vector<uint8_t> buffer(capacity);
        const uint32_t n = queue_->pop(buffer, now);
        return {buffer.begin(), buffer.begin() + n};
    }

    std::unique_ptr<layout::QueueSlot> slot_;
    std::unique_ptr<DataQueue> queue_;
};

TEST_F(DataQueueTest, DataBecomesVisibleAtItsReadyTimeAndInOrder) {
    ASSERT_TRUE(queue_->push(bytesOf("late"), 1000));
    EXPECT_EQ(queue_->visibleBytes(999), 0u);
    EXPECT_EQ(pop(999), "");
    EXPECT_EQ(queue_->nextReadyNs(999), 1000u);
    EXPECT_EQ(queue_->visibleBytes(1000), 4u);
    EXPECT_EQ(pop(1000), "late");
    EXPECT_FALSE(queue_->nextReadyNs(1000).has_value());

    // Later data never overtakes earlier data.
    ASSERT_TRUE(queue_->push(bytesOf("slow"), 2000));
    ASSERT_TRUE(queue_->push(bytesOf("fast"), 1100));
    EXPECT_EQ(queue_->visibleBytes(1500), 0u);
    EXPECT_EQ(pop(2000), "slowfast");

    // A clear drops only what has arrived.
    ASSERT_TRUE(queue_->push(bytesOf("old"), 2010));
    ASSERT_TRUE(queue_->push(bytesOf("new"), 2050));
    queue_->dropVisible(2020);
    EXPECT_EQ(pop(2020), "");
    EXPECT_EQ(pop(2050), "new");
}

TEST_F(DataQueueTest, BytesSurviveWrappingRoundTheRing) {
    // Chunks of a size that doesn't divide the ring, so writes and reads
    // straddle its end many times.
    std::string chunk(1000, '\0');
    for (uint64_t round = 0; round < uint64_t{3} * layout::kQueueBytes / chunk.size(); ++round) {
        std::iota(chunk.begin(), chunk.end(), static_cast<char>(round));
        ASSERT_TRUE(queue_->push(bytesOf(chunk), 0));
        std::string out = pop(0, 700);
        out += pop(0, 700);
        ASSERT_EQ(out, chunk) << "round " << round;
    }
}

TEST_F(DataQueueTest, DataThatDoesNotFitIsLostWhole) {
    const std::string big(layout::kQueueBytes - 10, 'x');
    ASSERT_TRUE(queue_->push(bytesOf(big), 0));
    EXPECT_FALSE(queue_->push(bytesOf(std::string(11, 'y')), 0));
    EXPECT_EQ(queue_->lostBytes(), 11u);
    EXPECT_TRUE(queue_->push(bytesOf(std::string(10, 'z')), 0));
    EXPECT_EQ(queue_->visibleBytes(0), layout::kQueueBytes);
}

TEST_F(DataQueueTest, StreamWithMoreArrivalTimesThanMarksStaysInOrder) {
    std::string expected;
    for (uint64_t i = 0; i < uint64_t{3} * layout::kMaxQueueMarks; ++i) {
        const std::string piece = std::to_string(i) + ",";
        ASSERT_TRUE(queue_->push(bytesOf(piece), i));
        expected += piece;
    }
    EXPECT_EQ(pop(uint64_t{3} * layout::kMaxQueueMarks), expected);
}

TEST_F(DataQueueTest, PacketQueueReturnsOneRecordPerReadAndDropsWhatHasNoMark) {
    makeQueue(true);
    ASSERT_TRUE(queue_->push(bytesOf("first"), 0));
    ASSERT_TRUE(queue_->push(bytesOf("second"), 0));
    EXPECT_EQ(queue_->visibleBytes(0), 11u);
    EXPECT_EQ(pop(0), "first");
    EXPECT_EQ(pop(0, 3), "sec") << "the rest of a cut record is dropped";
    EXPECT_EQ(pop(0), "");

    for (uint32_t i = 0; i < layout::kMaxQueueMarks; ++i) {
        ASSERT_TRUE(queue_->push(bytesOf("r"), 0));
    }
    EXPECT_FALSE(queue_->push(bytesOf("over"), 0));
    EXPECT_EQ(queue_->lostBytes(), 4u);
    EXPECT_EQ(pop(0), "r");
    EXPECT_TRUE(queue_->push(bytesOf("fits"), 0));
}

} // namespace
} // namespace orva::sim
