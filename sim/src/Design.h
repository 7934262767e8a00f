#pragma once

// The FPGA designs the simulated boards can carry. A design is a set of named
// registers, each with the behaviour the hardware attaches to it, and the
// data queues it gives each port. Register numbers follow the order of the
// register table, from 1; a board whose design leaves a register out keeps
// the other numbers.

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
    bool packet; // reads return one record at a time
};

struct DesignDef {
    std::string_view name;
    std::string_view technology;
    uint32_t maxPorts;
    bool cameraControl; // the OHalCameraCtrl interface: port power, data path, LEDs
    bool serialPorts;   // Camera Link serial ports
    uint32_t queueBase;
    uint32_t queueStride;
    std::span<const QueueDef> queues;
    std::span<const RegisterDef> registers;
};

std::span<const DesignDef> designTable();
// Null if no design has this name.
const DesignDef* findDesign(std::string_view name);

std::string_view channelName(Channel channel);

} // namespace orva::sim
