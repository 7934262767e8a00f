#pragma once

// The FPGA designs the simulated boards can carry. A design is a set of named
// registers, each with the behaviour the hardware attaches to it, the data
// queues it gives each port, and the core between them and the cables.
// Register numbers follow the order of the register table, from 1; a board
// whose design leaves a register out keeps the other numbers. The designs
// themselves are their technologies' (Technologies.h).

#include "SharedLayout.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace orva::sim {

enum class Channel : uint32_t {
    Control = 0, // control packets of CoaXPress and the command channel
    Serial = 1,  // Camera Link serial line
    Network = 2, // Ethernet frames, one record each
};

enum class Direction : uint32_t {
    ToCamera = 0, // downstream: the host writes, the camera receives
    ToHost = 1,   // upstream: the camera answers, the host reads
};

enum class BehaviourKind : uint32_t {
    Plain = 0,           // storage
    ReadOnly = 1,        // writes are ignored
    SelfClearing = 2,    // bits of `param` read back as 0 after a write
    WriteOneToClear = 3, // writing 1 to a bit of `param` clears it
    FifoData = 4,        // a write pushes a word, a read pops one (0 when empty)
    FifoLevel = 5,       // words waiting in the FIFO register named by `link`
    TimeCounter = 6,     // counts `param` ticks per second from the last write
    PortPowerStatus = 7, // bit p: port p powered; bit 16 + p: port p tripped
    Core = 8,            // a register of the design's core, which reads `param` (BoardCore.h)
};

struct RegisterDef {
    std::string_view name;
    BehaviourKind kind;
    uint64_t initial = 0;
    uint64_t param = 0;
    std::string_view link = {};
};

// Queue number of the queue of port p: queueBase + p * queueStride + offset.
struct QueueDef {
    Channel channel;
    Direction direction;
    uint32_t offset;
    bool packet;           // reads return one record at a time
    bool internal = false; // a FIFO of the design's own that the queue functions don't reach
};

class BoardCore;

struct DesignDef {
    std::string_view name;
    uint32_t maxPorts;
    bool cameraControl; // the OHalCameraCtrl interface: port power, data path, LEDs
    bool serialPorts;   // Camera Link serial ports
    uint32_t queueBase;
    uint32_t queueStride;
    std::span<const QueueDef> queues;
    std::span<const RegisterDef> registers;
    // What stands between the registers and queues and the cables; null for
    // a design without a core of its own, whose bytes go as the host wrote
    // them.
    const BoardCore& (*core)() = nullptr;
    // Which variant of its core the design carries, for the core to read
    // (CoaXPress: the transceiver interface).
    uint32_t coreVariant = 0;
};

// Every design must fit the board's shared layout, the queues of one port
// must not run into those of the next, and registers of a core need a core.
constexpr bool queuesFitLayout(const DesignDef& d) {
    if (d.registers.size() > layout::kMaxRegisters || d.maxPorts > layout::kMaxPorts) {
        return false;
    }
    return std::all_of(d.queues.begin(), d.queues.end(), [&](const QueueDef& q) {
        return q.offset < d.queueStride &&
               d.queueBase + (d.maxPorts - 1) * d.queueStride + q.offset < layout::kMaxQueues;
    });
}
constexpr bool fitsLayout(const DesignDef& d) {
    const bool coreFits =
        d.core != nullptr || std::none_of(d.registers.begin(), d.registers.end(),
                                          [](const RegisterDef& r) { return r.kind == BehaviourKind::Core; });
    return queuesFitLayout(d) && coreFits;
}

} // namespace orva::sim
