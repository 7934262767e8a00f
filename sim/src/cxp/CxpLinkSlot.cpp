#include "CxpLinkSlot.h"

#include "CxpTransceiver.h"
#include "DataQueue.h"

#include <algorithm>

namespace orva::sim::cxp {

namespace {

void clearFifo(BoardAccess& board, uint32_t port, Direction direction) {
    if (layout::QueueSlot* slot = internalQueue(board, port, direction)) {
        DataQueue(*slot).reset(port, Channel::Control, direction, false);
    }
}

} // namespace

void applyCoreReset(BoardAccess& board, uint32_t port, uint32_t bits) {
    LinkSlot& link = linkOf(board, port);
    const uint32_t old = link.coreReset;
    link.coreReset = bits & kResetBits;
    const uint32_t raised = link.coreReset & ~old;
    if ((old & kResetReceiver) != 0 && (link.coreReset & kResetReceiver) == 0) {
        restartReceiver(link, std::max(board.nowNs(), link.rxStartNs));
    }
    if ((raised & kResetAckReceiver) != 0) {
        clearFifo(board, port, Direction::ToHost);
    }
    if ((raised & kResetTransmitter) != 0) {
        clearFifo(board, port, Direction::ToCamera);
    }
}

bool sendToCamera(BoardAccess& board, uint32_t port, std::span<const uint8_t> wire) {
    if (!isBoardPort(board, port) || (linkOf(board, port).coreReset & kResetTransmitter) != 0) {
        return false;
    }
    board.deliverToCamera(port, Channel::Control, wire);
    return true;
}

layout::QueueSlot* internalQueue(BoardAccess& board, uint32_t port, Direction direction) {
    for (auto& slot : board.block().queues) {
        if (slot.present != 0 && slot.internal != 0 && slot.port == port &&
            slot.direction == static_cast<uint32_t>(direction)) {
            return &slot;
        }
    }
    return nullptr;
}

} // namespace orva::sim::cxp
