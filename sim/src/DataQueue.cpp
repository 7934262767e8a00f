#include "DataQueue.h"

#include <algorithm>
#include <cstring>

namespace orva::sim {

using layout::kMaxQueueMarks;
using layout::kQueueBytes;

void DataQueue::reset(uint32_t port, Channel channel, Direction direction, bool packet) {
    slot_.readPos = 0;
    slot_.writePos = 0;
    slot_.lostBytes = 0;
    slot_.ownerPid = 0;
    slot_.ownerStart = 0;
    slot_.present = 1;
    slot_.port = port;
    slot_.channel = static_cast<uint32_t>(channel);
    slot_.direction = static_cast<uint32_t>(direction);
    slot_.packet = packet ? 1 : 0;
    slot_.markHead = 0;
    slot_.markCount = 0;
}

bool DataQueue::push(std::span<const uint8_t> bytes, uint64_t readyNs) {
    if (bytes.empty()) {
        return true;
    }
    const uint64_t used = slot_.writePos - slot_.readPos;
    const bool noMarkLeft = slot_.markCount == kMaxQueueMarks;
    if (bytes.size() > kQueueBytes - used || (packet() && noMarkLeft)) {
        slot_.lostBytes += bytes.size();
        return false;
    }
    size_t copied = 0;
    while (copied < bytes.size()) {
        const size_t at = static_cast<size_t>((slot_.writePos + copied) % kQueueBytes);
        const size_t chunk = std::min(bytes.size() - copied, static_cast<size_t>(kQueueBytes) - at);
        std::memcpy(slot_.data + at, bytes.data() + copied, chunk);
        copied += chunk;
    }
    slot_.writePos += bytes.size();

    if (slot_.markCount > 0) {
        layout::QueueMark& last = mark(slot_.markCount - 1);
        readyNs = std::max(readyNs, last.readyNs);
        // A stream keeps no boundaries: data that becomes visible together,
        // or that finds no free mark, joins the last mark.
        if (!packet() && (last.readyNs == readyNs || noMarkLeft)) {
            last.endPos = slot_.writePos;
            last.readyNs = readyNs;
            return true;
        }
    }
    layout::QueueMark& added = mark(slot_.markCount);
    added.endPos = slot_.writePos;
    added.readyNs = readyNs;
    ++slot_.markCount;
    return true;
}

void DataQueue::forgetConsumedMarks() {
    while (slot_.markCount > 0 && mark(0).endPos <= slot_.readPos) {
        slot_.markHead = (slot_.markHead + 1) % kMaxQueueMarks;
        --slot_.markCount;
    }
}

uint64_t DataQueue::visibleEnd(uint64_t nowNs, bool firstRecordOnly) {
    forgetConsumedMarks();
    uint64_t end = slot_.readPos;
    for (uint32_t i = 0; i < slot_.markCount; ++i) {
        const layout::QueueMark& m = mark(i);
        if (m.readyNs > nowNs) {
            break;
        }
        end = m.endPos;
        if (firstRecordOnly) {
            break;
        }
    }
    return end;
}

uint64_t DataQueue::visibleBytes(uint64_t nowNs) {
    return visibleEnd(nowNs, false) - slot_.readPos;
}

std::optional<uint64_t> DataQueue::nextReadyNs(uint64_t nowNs) {
    forgetConsumedMarks();
    for (uint32_t i = 0; i < slot_.markCount; ++i) {
        if (mark(i).readyNs > nowNs) {
            return mark(i).readyNs;
        }
    }
    return std::nullopt;
}

uint32_t DataQueue::pop(std::span<uint8_t> out, uint64_t nowNs) {
    if (out.empty()) {
        return 0;
    }
    const uint64_t end = visibleEnd(nowNs, packet());
    const uint64_t available = end - slot_.readPos;
    const auto count = static_cast<uint32_t>(std::min<uint64_t>(available, out.size()));
    size_t copied = 0;
    while (copied < count) {
        const size_t at = static_cast<size_t>((slot_.readPos + copied) % kQueueBytes);
        const size_t chunk = std::min(static_cast<size_t>(count) - copied, static_cast<size_t>(kQueueBytes) - at);
        std::memcpy(out.data() + copied, slot_.data + at, chunk);
        copied += chunk;
    }
    slot_.readPos = packet() ? end : slot_.readPos + count;
    forgetConsumedMarks();
    return count;
}

void DataQueue::dropVisible(uint64_t nowNs) {
    slot_.readPos = visibleEnd(nowNs, false);
    forgetConsumedMarks();
}

} // namespace orva::sim
