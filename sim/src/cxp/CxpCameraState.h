#pragma once

// What a simulated CoaXPress camera keeps in its persistent memory in the
// board's shared memory, and how power, cables and link resets change its
// links. Native byte order: only the camera reads it, and tests through
// orva_sim_read_camera_memory at the offsets sim/README.md gives.

#include "CxpCameraConfig.h"
#include "DeviceContext.h"
#include "SharedLayout.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace orva::sim::cxp {

// Offsets in the camera's persistent memory.
constexpr uint32_t kCommandsOffset = 0;
constexpr uint32_t kAcksOffset = 4;
constexpr uint32_t kCrcErrorsOffset = 8;
constexpr uint32_t kUnframedOffset = 12;
constexpr uint32_t kIgnoredOffset = 16;
constexpr uint32_t kAcksDroppedOffset = 20;
constexpr uint32_t kUserIdOffset = 0x800;
constexpr uint32_t kUserIdBytes = 16;
// The store of the described registers (RegisterSpace), to the end.
constexpr uint32_t kRegisterStoreOffset = 0x1000;
constexpr uint32_t kRegisterStoreBytes = layout::kCameraMemoryBytes - kRegisterStoreOffset;

// The counters come first.
struct CxpCameraState {
    uint32_t commands;
    uint32_t acks;
    uint32_t crcErrors;
    uint32_t unframed;
    uint32_t ignored;
    uint32_t acksDropped;
    uint32_t magic;
    uint32_t powered;
    uint64_t poweredAtNs;
    uint64_t unpoweredAtNs;
    uint64_t cableChangedNs[kMaxLinks];
    // The connection: `links` x `speed` from `configAtNs` on, and before
    // that `prevLinks` x `prevSpeed` from `prevAtNs` on.
    uint32_t links;
    uint32_t speed;
    uint64_t configAtNs;
    uint32_t prevLinks;
    uint32_t prevSpeed;
    uint64_t prevAtNs;
    uint32_t masterHostId;
    uint32_t manifestSelector;
    uint32_t versionUsed;
    uint32_t streamPacketSize;
    uint32_t testMode;
    uint32_t reserved;
};
static_assert(std::is_trivially_copyable_v<CxpCameraState>);
static_assert(offsetof(CxpCameraState, commands) == kCommandsOffset);
static_assert(offsetof(CxpCameraState, acks) == kAcksOffset);
static_assert(offsetof(CxpCameraState, crcErrors) == kCrcErrorsOffset);
static_assert(offsetof(CxpCameraState, unframed) == kUnframedOffset);
static_assert(offsetof(CxpCameraState, ignored) == kIgnoredOffset);
static_assert(offsetof(CxpCameraState, acksDropped) == kAcksDroppedOffset);
static_assert(sizeof(CxpCameraState) <= kUserIdOffset);
static_assert(kUserIdOffset + kUserIdBytes <= kRegisterStoreOffset);

CxpCameraState loadState(DeviceContext& ctx);
void storeState(DeviceContext& ctx, const CxpCameraState& s);

// What the camera drives onto its links.
struct Connection {
    uint32_t links = 0;
    uint32_t speed = 0;
    uint64_t sinceNs = 0;
};
Connection connectionAt(const CxpCameraState& s, uint64_t now);

// One of its ports powers it with the cable in, or it has its own supply.
bool poweredNow(const CxpCameraConfig& config, DeviceContext& ctx);
// After power-up or a link reset: the links are silent until `upAtNs`, then
// come up at the native speed, all of them or the master link alone.
void resetConnection(const CxpCameraConfig& config, CxpCameraState& s, uint64_t now, uint64_t upAtNs);
// Power-up: a reset connection and the described registers at their
// initial values.
void powerUp(const CxpCameraConfig& config, DeviceContext& ctx, CxpCameraState& s, uint64_t now, uint64_t upAtNs);
// Brings the camera's state up to its power: a camera that was without
// power and has it now boots.
void syncPower(const CxpCameraConfig& config, DeviceContext& ctx, CxpCameraState& s);
// An over-current camera trips the port of a link that powers it.
void tripIfOverCurrent(const CxpCameraConfig& config, DeviceContext& ctx, uint32_t link);

} // namespace orva::sim::cxp
