#include "BoardCore.h"

#include "BoardAccess.h"
#include "DataQueue.h"
#include "RegisterBehaviour.h"

namespace orva::sim {

void BoardCore::load(BoardAccess& /*board*/) const {}

const RegisterBehaviour& BoardCore::registers() const {
    // No design without a core has core registers (fitsLayout).
    return behaviourOf(BehaviourKind::Plain, *this);
}

void BoardCore::hostWrote(BoardAccess& board, uint32_t port, Channel channel, std::span<const uint8_t> bytes) const {
    board.deliverToCamera(port, channel, bytes);
}

bool BoardCore::cameraSent(BoardAccess& board, uint32_t port, Channel channel, std::span<const uint8_t> bytes,
                           uint64_t readyNs) const {
    layout::QueueSlot* slot = board.findQueue(port, channel, Direction::ToHost);
    return slot != nullptr && DataQueue(*slot).push(bytes, readyNs);
}

void BoardCore::checkPortSetting(BoardAccess& /*board*/, PortSetting /*setting*/, uint32_t /*value*/) const {}

void BoardCore::portSettingsChanged(BoardAccess& /*board*/, uint32_t /*port*/) const {}

const BoardCore& coreOf(const DesignDef& design) {
    static const BoardCore withoutCore;
    return design.core != nullptr ? design.core() : withoutCore;
}

} // namespace orva::sim
