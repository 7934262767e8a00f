#include "CxpQueuePath.h"

#include "CxpLinkSlot.h"
#include "CxpTransceiver.h"
#include "DataQueue.h"

#include <algorithm>
#include <vector>

namespace orva::sim::cxp {

namespace {

constexpr uint32_t kQueueWordCountMask = 0xFFFF;
constexpr uint32_t kQueueTagFlag = 1u << 21;
// The camera control version that switches a port to CoaXPress 2.0.
constexpr uint32_t kPortVersion20 = 3;

// Camera control data path states: 2 all held, 3 receivers held, 4 only
// the acknowledge receiver held, 5 running; any other state runs as after
// power-up.
uint32_t resetBitsOfState(uint32_t state) {
    switch (state) {
    case 2:
        return kResetTransmitter | kResetAckReceiver | kResetReceiver;
    case 3:
        return kResetAckReceiver | kResetReceiver;
    case 4:
        return kResetAckReceiver;
    default:
        return 0;
    }
}

} // namespace

void sendQueueCommand(BoardAccess& board, uint32_t port, std::span<const uint8_t> bytes) {
    LinkSlot& link = linkOf(board, port);
    if (bytes.size() < 8 || bytes.size() % 4 != 0) {
        ++link.txDropped;
        return;
    }
    const uint32_t header = loadWord(bytes.data());
    const bool tagged = (header & kQueueTagFlag) != 0;
    if ((header & kQueueWordCountMask) != bytes.size() / 4 - 1 ||
        (tagged && board.block().ports[port].cxpVersion != kPortVersion20)) {
        ++link.txDropped;
        return;
    }
    std::vector<uint8_t> body(bytes.begin() + 4, bytes.end());
    appendCrc(body);
    const auto wire = framePacket(tagged ? PacketType::TaggedCommand : PacketType::Command, body);
    if (!sendToCamera(board, port, wire)) {
        ++link.txDropped;
    }
}

bool takeAckByQueue(BoardAccess& board, uint32_t port, const Packet& packet, uint64_t readyNs) {
    if ((linkOf(board, port).coreReset & kResetAckReceiver) != 0) {
        return false;
    }
    const bool tagged = packet.type == static_cast<uint8_t>(PacketType::TaggedAck);
    const size_t head = tagged ? 4 : 0;
    const std::vector<uint8_t>& body = packet.body;
    if (body.size() < head + 4) {
        return false;
    }
    const uint32_t status = loadWord(body.data() + head);
    size_t keep = body.size();
    // A final acknowledge with payload and a wait acknowledge carry a size
    // word, then as many bytes (the payload, or the delay word), then a CRC.
    if (status == 0x00000000u || status == 0x04040404u) {
        size_t expected = head + 8 + 4;
        if (body.size() >= head + 8) {
            expected += (size_t{loadBe32(body.data() + head + 4)} + 3) / 4 * 4;
        }
        if (body.size() != expected || !crcMatches(body)) {
            return false;
        }
        keep = body.size() - 4;
    }
    layout::QueueSlot* slot = board.findQueue(port, Channel::Control, Direction::ToHost);
    if (slot == nullptr) {
        return false;
    }
    std::vector<uint8_t> out(4 + keep);
    const auto words = static_cast<uint32_t>(keep / 4);
    storeWord(out.data(), (words & kQueueWordCountMask) | (tagged ? kQueueTagFlag : 0));
    std::copy(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(keep), out.begin() + 4);
    return DataQueue(*slot).push(out, readyNs);
}

void applyPortSettings(BoardAccess& board, uint32_t port) {
    const layout::PortSlot& slot = board.port(port);
    setDataPathSpeed(board, port, slot.dataPathSpeed);
    applyCoreReset(board, port, resetBitsOfState(slot.dataPathState));
}

} // namespace orva::sim::cxp
