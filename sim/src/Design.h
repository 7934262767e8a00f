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
    Cxp = 8,             // a register of the CoaXPress core; `param` names its function and port (CxpCore.h)
};

// What stands between the host's registers and queues and the cable.
enum class LinkCore : uint32_t {
    None = 0,        // bytes go to the camera as the host wrote them
    CxpRegister = 1, // CoaXPress, control packets built word by word in registers
    CxpQueue = 2,    // CoaXPress, control packets through data queues; the core adds markers and CRC
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
    LinkCore core = LinkCore::None;
    uint32_t gtxIf = 0; // CoaXPress transceiver interface: 1, 2, 3, 6, 10 or 16
};

std::span<const DesignDef> designTable();
// Null if no design has this name.
const DesignDef* findDesign(std::string_view name);

std::string_view channelName(Channel channel);

} // namespace orva::sim
