#pragma once

#include "Device.h"

namespace orva::sim {

// Test camera: answers every downstream write with the same bytes on the
// upstream queue of the same channel, after `latencyUs`. Powered by its port
// unless `externalPower` is set. Its persistent memory counts what it did:
// offset 0 answers sent, offset 4 answers dropped by a fault (32-bit each).
class EchoDevice : public Device {
public:
    static constexpr uint32_t kAnsweredOffset = 0;
    static constexpr uint32_t kDroppedOffset = 4;

    static std::unique_ptr<Device> create(const nlohmann::json& params, uint32_t links);

    void onHostData(DeviceContext& ctx, uint32_t link, Channel channel, std::span<const uint8_t> bytes) override;
    bool present(DeviceContext& ctx, uint32_t link) const override;
    std::span<const std::string_view> faultNames() const override;

private:
    EchoDevice(uint64_t latencyNs, bool externalPower) : latencyNs_(latencyNs), externalPower_(externalPower) {}
    bool powered(const DeviceContext& ctx, uint32_t link) const;

    uint64_t latencyNs_;
    bool externalPower_;
};

} // namespace orva::sim
