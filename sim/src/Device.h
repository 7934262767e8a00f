#pragma once

// Frame for camera models. A camera sits on one or more ports of a board
// (its links, in link order) and is modelled from its own side of the cable:
// it receives what the host sends down a port and answers by putting bytes
// into the port's upstream queue, to arrive after a delay. It sees the power
// and cable state of its ports, and it keeps what must survive from one
// program to the next in its persistent memory in the board's shared memory.
//
// A Device object is process-local and holds nothing but its parameters;
// every call comes with the board's lock held.

#include "Design.h"
#include "DeviceContext.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace orva::sim {

// What a camera drives onto one of its links, as the board's receiver sees
// it: a signal at a bit rate, unchanged since `sinceNs`.
struct LinkSignal {
    bool present = false;
    uint32_t rateMbps = 0;
    uint64_t sinceNs = 0;
};

class Device {
public:
    virtual ~Device() = default;

    // Scenario load: sets up the persistent memory.
    virtual void onLoad(DeviceContext& ctx) {}
    // Bytes the host sent down a link; only ever called while its cable is in.
    virtual void onHostData(DeviceContext& ctx, uint32_t link, Channel channel, std::span<const uint8_t> bytes) = 0;
    virtual void onPowerChanged(DeviceContext& ctx, uint32_t link) {}
    virtual void onCableChanged(DeviceContext& ctx, uint32_t link) {}
    // Data path, speed, version or LED of a link's port were set.
    virtual void onPortSettingsChanged(DeviceContext& ctx, uint32_t link) {}
    // Whether the camera shows itself on a link whose cable is in.
    virtual bool present(DeviceContext& ctx, uint32_t link) const { return ctx.portPowered(link); }
    // Names of the faults the model knows.
    virtual std::span<const std::string_view> faultNames() const { return {}; }
    // What the camera sends on a link now (a cable that is out is the
    // board's business). Default: nothing a receiver can lock on.
    virtual LinkSignal signal(DeviceContext& ctx, uint32_t link) const { return {}; }
    // Current the camera draws from the port of a link, in mA.
    virtual uint32_t currentDrawMa(DeviceContext& ctx, uint32_t link) const { return 0; }
};

// Builds a device from its scenario parameters for a camera with `links`
// links; throws std::invalid_argument with a message that names the
// parameter when they are wrong.
using DeviceFactory = std::unique_ptr<Device> (*)(const nlohmann::json& params, uint32_t links);

struct DeviceModel {
    std::string_view name;
    std::string_view summary;
    DeviceFactory create;
};

} // namespace orva::sim
