#pragma once

// A CoaXPress camera, seen from its own side of the cables: one to four
// links, bootstrap registers and control packets of revision 1.0, 1.1 or
// 2.0, a GenICam description in its memory, power over the cable.
// sim/README.md lists its parameters and faults. What it is comes from its
// parameters (CxpCameraConfig.h), what it keeps lives in its persistent
// memory (CxpCameraState.h), what its commands reach is its address space
// (CxpCameraRegisters.h); this class takes the host's control packets and
// answers them.

#include "CxpCameraConfig.h"
#include "Device.h"

#include <memory>
#include <span>
#include <string_view>

namespace orva::sim::cxp {

class CxpCamera : public Device {
public:
    static std::unique_ptr<Device> create(const nlohmann::json& params, uint32_t links);
    explicit CxpCamera(CxpCameraConfig config) : config_(std::move(config)) {}

    void onLoad(DeviceContext& ctx) override;
    void onHostData(DeviceContext& ctx, uint32_t link, Channel channel, std::span<const uint8_t> bytes) override;
    void onPowerChanged(DeviceContext& ctx, uint32_t link) override;
    void onCableChanged(DeviceContext& ctx, uint32_t link) override;
    bool present(DeviceContext& ctx, uint32_t link) const override;
    std::span<const std::string_view> faultNames() const override;
    LinkSignal signal(DeviceContext& ctx, uint32_t link) const override;
    uint32_t currentDrawMa(DeviceContext& ctx, uint32_t link) const override;

private:
    CxpCameraConfig config_;
};

// The camera models of CoaXPress: "cxp-camera".
std::span<const DeviceModel> cameraModels();

} // namespace orva::sim::cxp
