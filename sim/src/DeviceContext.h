#pragma once

#include "Design.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace orva::sim {

class BoardAccess;

// A camera model's view of the board during one call: its own ports, what
// the host set on them, the way up its cables, and its persistent memory.
class DeviceContext {
public:
    DeviceContext(BoardAccess& board, uint32_t camera) : board_(board), camera_(camera) {}

    uint32_t linkCount() const;
    uint32_t portOfLink(uint32_t link) const;
    // The board switches power to the port on (not off, not tripped).
    bool portPowered(uint32_t link) const;
    bool plugged(uint32_t link) const;
    // Settings of the port as the host made them through the camera control
    // or the serial port.
    uint32_t dataPathState(uint32_t link) const;
    uint32_t dataPathSpeed(uint32_t link) const;
    uint32_t cxpVersion(uint32_t link) const;
    uint32_t serialBaud(uint32_t link) const;

    // Sends bytes to the host on the upstream queue of `channel` of the
    // link's port, arriving after `delayNs`. False when they are lost: the
    // cable is out, the design has no such queue, or the queue is full.
    bool sendToHost(uint32_t link, Channel channel, std::span<const uint8_t> bytes, uint64_t delayNs);
    // Consumes one armed occurrence of a fault at the link's port.
    bool takeFault(uint32_t link, std::string_view name);
    // The camera's persistent memory, zero-filled at scenario load.
    std::span<uint8_t> memory();
    uint64_t nowNs() const;
    // When the host's call that brought the current event came in; a
    // camera's answer time counts from there.
    uint64_t hostCallNs() const;
    // The port's over-current protection fires: its power goes to tripped.
    void tripPort(uint32_t link);

private:
    BoardAccess& board_;
    uint32_t camera_;
};

} // namespace orva::sim
