#include "CxpCameraState.h"

#include "CxpWire.h"

#include <algorithm>
#include <cstring>

namespace orva::sim::cxp {

namespace {

constexpr uint32_t kDefaultStreamPacketSize = 1024;

uint32_t defaultVersionUsed(const CxpCameraConfig& config) {
    if (config.revision < kVersion20) {
        return config.revision;
    }
    if ((config.versionsSupported & kSupports10) != 0) {
        return kVersion10;
    }
    if ((config.versionsSupported & kSupports11) != 0) {
        return kVersion11;
    }
    return kVersion20;
}

// The described registers go back to their initial values.
void setRegisterDefaults(const CxpCameraConfig& config, DeviceContext& ctx) {
    auto store = ctx.memory().subspan(kRegisterStoreOffset, kRegisterStoreBytes);
    const auto initial = config.registers.initialStore();
    std::copy(initial.begin(), initial.end(), store.begin());
}

} // namespace

CxpCameraState loadState(DeviceContext& ctx) {
    CxpCameraState s{};
    std::memcpy(&s, ctx.memory().data(), sizeof(s));
    return s;
}

void storeState(DeviceContext& ctx, const CxpCameraState& s) {
    std::memcpy(ctx.memory().data(), &s, sizeof(s));
}

Connection connectionAt(const CxpCameraState& s, uint64_t now) {
    if (s.powered == 0) {
        return {0, 0, s.unpoweredAtNs};
    }
    if (now >= s.configAtNs) {
        return {s.links, s.speed, s.configAtNs};
    }
    return {s.prevLinks, s.prevSpeed, s.prevAtNs};
}

bool poweredNow(const CxpCameraConfig& config, DeviceContext& ctx) {
    if (config.externalPower) {
        return true;
    }
    for (uint32_t link = 0; link < ctx.linkCount(); ++link) {
        if (ctx.portPowered(link) && ctx.plugged(link)) {
            return true;
        }
    }
    return false;
}

void resetConnection(const CxpCameraConfig& config, CxpCameraState& s, uint64_t now, uint64_t upAtNs) {
    s.prevLinks = 0;
    s.prevSpeed = 0;
    s.prevAtNs = now;
    s.links = config.masterOnlyAtReset ? 1 : config.links;
    s.speed = config.nativeSpeed;
    s.configAtNs = upAtNs;
    s.masterHostId = 0;
    s.manifestSelector = 0;
    s.versionUsed = defaultVersionUsed(config);
    s.streamPacketSize = kDefaultStreamPacketSize;
    s.testMode = 0;
}

void powerUp(const CxpCameraConfig& config, DeviceContext& ctx, CxpCameraState& s, uint64_t now, uint64_t upAtNs) {
    s.powered = 1;
    s.poweredAtNs = now;
    resetConnection(config, s, now, upAtNs);
    setRegisterDefaults(config, ctx);
}

void syncPower(const CxpCameraConfig& config, DeviceContext& ctx, CxpCameraState& s) {
    const bool powered = poweredNow(config, ctx);
    if (powered == (s.powered != 0)) {
        return;
    }
    const uint64_t now = ctx.nowNs();
    if (powered) {
        powerUp(config, ctx, s, now, now + config.bootNs);
    } else {
        s.powered = 0;
        s.unpoweredAtNs = now;
    }
}

void tripIfOverCurrent(const CxpCameraConfig& config, DeviceContext& ctx, uint32_t link) {
    if (config.overCurrent && !config.externalPower && ctx.portPowered(link) && ctx.plugged(link)) {
        ctx.tripPort(link);
    }
}

} // namespace orva::sim::cxp
