#pragma once

// Layout of the shared-memory objects of a namespace: one control block and
// one block per board. Every process that maps them must agree on this
// layout, so fields have fixed widths and each object starts with a header
// that is checked on open; change kLayoutVersion with any change here.

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace orva::sim::layout {

constexpr uint32_t kLayoutVersion = 3;
constexpr uint32_t kControlMagic = 0x4C43534Fu; // "OSCL"
constexpr uint32_t kBoardMagic = 0x4F42534Fu;   // "OSBO"

constexpr uint32_t kMaxBoards = 64;
constexpr uint32_t kMaxPorts = 8;
constexpr uint32_t kMaxCameras = kMaxPorts;
constexpr uint32_t kMaxRegisters = 256;
constexpr uint32_t kMaxQueues = 32;
constexpr uint32_t kQueueBytes = 64 * 1024;
constexpr uint32_t kMaxQueueMarks = 64;
constexpr uint32_t kNameBytes = 48;
constexpr uint32_t kRegisterStateWords = 18;
constexpr uint32_t kMaxFaultsPerPort = 8;
constexpr uint32_t kPortCoreBytes = 512;
constexpr uint32_t kCameraParamsBytes = 4096;
constexpr uint32_t kCameraMemoryBytes = 64 * 1024;
constexpr uint32_t kMaxScenarioBytes = 256 * 1024;
// The port map after load and after a reset of the camera control:
// position n takes port n.
constexpr uint64_t kIdentityPortMap = 0x7654321076543210ull;

enum class ObjectState : uint32_t {
    Uninitialised = 0, // being set up by its creator
    Live = 1,
    Removed = 2, // destroyed or dropped by a new scenario; handles must let go
};

struct Header {
    uint32_t magic;
    uint32_t version;
    uint64_t size;
    uint32_t state; // ObjectState, accessed atomically
    uint32_t reserved;
};

// The lock of an object and the condition that is signalled whenever data
// arrives in one of its queues.
struct Sync {
    pthread_mutex_t mutex;
    pthread_cond_t changed;
};

struct ControlBlock {
    Header header;
    Sync sync;
    uint32_t loaded; // 1 once a scenario is in place
    uint32_t scenarioBytes;
    uint64_t presentBoards; // bit i: board i is in the loaded scenario
    uint64_t createdBoards; // bit i: a board object of index i was created
    uint64_t loadCount;
    char scenario[kMaxScenarioBytes]; // JSON text of the loaded scenario, for reset
};

struct RegisterSlot {
    uint64_t value;
    uint64_t param;
    uint64_t state[kRegisterStateWords]; // owned by the register's behaviour
    uint32_t present;                    // 0: the design lacks this number
    uint32_t behaviour;                  // BehaviourKind
    char name[kNameBytes];
};

// Bytes up to stream position `endPos` become visible at `readyNs`.
struct QueueMark {
    uint64_t endPos;
    uint64_t readyNs;
};

struct QueueSlot {
    uint64_t readPos; // stream positions; the ring index is position % kQueueBytes
    uint64_t writePos;
    uint64_t lostBytes;
    uint64_t ownerStart; // start time of the owner process, against pid reuse
    int32_t ownerPid;    // 0: no owner
    uint32_t present;
    uint32_t port;
    uint32_t channel;   // Channel
    uint32_t direction; // Direction
    uint32_t packet;    // 1: a read returns at most one record
    uint32_t internal;  // 1: a FIFO of the design's own, not reachable through the queue functions
    uint32_t markHead;
    uint32_t markCount;
    uint32_t reserved;
    QueueMark marks[kMaxQueueMarks];
    uint8_t data[kQueueBytes];
};

struct FaultSlot {
    char name[kNameBytes];
    uint32_t count;
    uint32_t reserved;
};

struct PortSlot {
    uint32_t power; // ORVA_SIM_POWER_*
    uint32_t plugged;
    uint32_t dataPathState;
    uint32_t dataPathSpeed;
    uint32_t cxpVersion;
    uint32_t ledState;
    uint32_t serialBaud;
    uint32_t serialOpen;
    int32_t camera; // camera slot, -1 if none
    uint32_t link;  // link number of this port in that camera
    FaultSlot faults[kMaxFaultsPerPort];
    // What the design's core keeps for this port (its transceiver, its
    // packet engine): zero-filled at load, then the core's alone.
    alignas(8) uint8_t core[kPortCoreBytes];
};

struct CameraSlot {
    uint32_t present;
    uint32_t linkCount;
    uint32_t ports[kMaxPorts]; // in link order
    char model[kNameBytes];
    char params[kCameraParamsBytes]; // model parameters as JSON text
    uint8_t memory[kCameraMemoryBytes];
};

struct BoardBlock {
    Header header;
    Sync sync;
    uint64_t generation; // raised by every load: handles rebuild their process-local view
    uint64_t serial;
    uint64_t portMap;
    uint32_t index;
    uint32_t type;
    uint32_t portCount;
    uint32_t cameraControl;
    uint32_t serialPorts;
    uint32_t registerCount; // slots in use, present or not
    uint32_t coreVariant;   // the design's variant of its core
    uint32_t reserved;
    char design[kNameBytes];
    char baseDesign[kNameBytes];
    RegisterSlot registers[kMaxRegisters]; // register number n is slot n - 1
    PortSlot ports[kMaxPorts];
    CameraSlot cameras[kMaxCameras];
    QueueSlot queues[kMaxQueues]; // queue number q is slot q
};

static_assert(std::is_standard_layout_v<ControlBlock> && std::is_trivially_copyable_v<ControlBlock>);
static_assert(std::is_standard_layout_v<BoardBlock> && std::is_trivially_copyable_v<BoardBlock>);
static_assert(offsetof(QueueSlot, marks) % 8 == 0 && offsetof(QueueSlot, data) % 8 == 0);
static_assert(sizeof(RegisterSlot) % 8 == 0 && sizeof(QueueSlot) % 8 == 0 && sizeof(CameraSlot) % 8 == 0);
static_assert(sizeof(PortSlot) % 8 == 0 && offsetof(PortSlot, core) % 8 == 0);
static_assert(offsetof(CameraSlot, memory) % 8 == 0);

} // namespace orva::sim::layout
