#pragma once

#include "Design.h"
#include "SharedLayout.h"

#include <cstdint>
#include <optional>
#include <span>

namespace orva::sim {

// A data queue of the board: a byte FIFO in shared memory whose data becomes
// visible to the reader at a time set by the writer (a camera's answer
// travels down the cable). Data stays in order: nothing becomes visible
// before data written earlier. The caller holds the board's lock.
class DataQueue {
public:
    explicit DataQueue(layout::QueueSlot& slot) : slot_(slot) {}

    void reset(uint32_t port, Channel channel, Direction direction, bool packet);
    bool present() const { return slot_.present != 0; }
    uint32_t port() const { return slot_.port; }
    Channel channel() const { return static_cast<Channel>(slot_.channel); }
    Direction direction() const { return static_cast<Direction>(slot_.direction); }
    bool packet() const { return slot_.packet != 0; }

    // Appends bytes that become visible at `readyNs`. False, and the bytes
    // counted as lost, when they don't fit.
    bool push(std::span<const uint8_t> bytes, uint64_t readyNs);
    // Bytes that a read at `nowNs` could take.
    uint64_t visibleBytes(uint64_t nowNs);
    // When the next data not yet visible becomes visible.
    std::optional<uint64_t> nextReadyNs(uint64_t nowNs);
    // Takes up to `capacity` visible bytes; in packet mode at most one
    // record, whose rest is dropped if the buffer is too small.
    uint32_t pop(std::span<uint8_t> out, uint64_t nowNs);
    // Drops what is visible; data still travelling arrives later.
    void dropVisible(uint64_t nowNs);
    uint64_t lostBytes() const { return slot_.lostBytes; }

private:
    layout::QueueMark& mark(uint32_t i) { return slot_.marks[(slot_.markHead + i) % layout::kMaxQueueMarks]; }
    void forgetConsumedMarks();
    // End of the data visible at `nowNs`, or of the first visible record.
    uint64_t visibleEnd(uint64_t nowNs, bool firstRecordOnly);

    layout::QueueSlot& slot_;
};

} // namespace orva::sim
