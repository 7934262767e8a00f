#include "CxpCore.h"

#include "CxpCoreRegisters.h"
#include "CxpLinkSlot.h"
#include "CxpQueuePath.h"
#include "CxpRegisterPath.h"
#include "CxpTransceiver.h"
#include "CxpWire.h"
#include "SimError.h"
#include "orva_sim.h"

#include <string>

namespace orva::sim::cxp {

void CxpCore::load(BoardAccess& board) const {
    for (uint32_t p = 0; p < layout::kMaxPorts; ++p) {
        LinkSlot& link = linkOf(board, p);
        link = LinkSlot{};
        powerUpTransceiver(board, p);
        link.packetSent = 1;
    }
}

const RegisterBehaviour& CxpCore::registers() const {
    return coreRegisters();
}

void CxpCore::hostWrote(BoardAccess& board, uint32_t port, Channel channel, std::span<const uint8_t> bytes) const {
    // The register path's control FIFOs are the design's own: the host's
    // queue functions reach only the queue path's.
    if (channel == Channel::Control && !registerPath(board)) {
        sendQueueCommand(board, port, bytes);
        return;
    }
    BoardCore::hostWrote(board, port, channel, bytes);
}

bool CxpCore::cameraSent(BoardAccess& board, uint32_t port, Channel channel, std::span<const uint8_t> bytes,
                         uint64_t readyNs) const {
    if (channel != Channel::Control) {
        return BoardCore::cameraSent(board, port, channel, bytes, readyNs);
    }
    if (!isBoardPort(board, port)) {
        return false;
    }
    LinkSlot& link = linkOf(board, port);
    const Receiver receiver = evaluate(board, port);
    const auto packet = parsePacket(bytes);
    const bool isAck = packet && (packet->type == static_cast<uint8_t>(PacketType::Ack) ||
                                  packet->type == static_cast<uint8_t>(PacketType::TaggedAck));
    if (!receiver.locked || !isAck || packet->body.size() % 4 != 0) {
        ++link.rxDropped;
        return false;
    }
    const bool taken = registerPath(board) ? takeAckByRegisters(board, port, *packet, readyNs)
                                           : takeAckByQueue(board, port, *packet, readyNs);
    if (!taken) {
        ++link.rxDropped;
    }
    return taken;
}

void CxpCore::checkPortSetting(BoardAccess& board, PortSetting setting, uint32_t value) const {
    if (setting == PortSetting::DataPathSpeed && value != 0 && !isSpeed(value)) {
        throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, "the transceivers of " + board.boardText() + " have no rate of " +
                                                          std::to_string(value) + " Mbit/s");
    }
}

void CxpCore::portSettingsChanged(BoardAccess& board, uint32_t port) const {
    // On the register path the transceivers are the registers' alone.
    if (!registerPath(board)) {
        applyPortSettings(board, port);
    }
}

const BoardCore& boardCore() {
    static const CxpCore core;
    return core;
}

} // namespace orva::sim::cxp
