#pragma once

// A CoaXPress camera, seen from its own side of the cables: one to four
// links, bootstrap registers and control packets of revision 1.0, 1.1 or
// 2.0, a GenICam description in its memory, power over the cable.
// sim/README.md lists its parameters and faults.

#include "CxpDescription.h"
#include "CxpRegisterSpace.h"
#include "Device.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace orva::sim {

struct CxpCameraConfig {
    uint32_t links = 1;
    uint32_t revision = 0;          // 16.16
    uint32_t versionsSupported = 0; // bits: 1 for 1.0, 2 for 1.1, 4 for 2.0
    std::string deviceName;
    std::string modelName;
    std::string manufacturerInfo;
    std::string deviceVersion;
    std::string firmwareVersion;
    std::string serialNumber;
    std::string userId;
    uint32_t controlPacketSize = 0;
    uint32_t nativeSpeed = 0;
    uint32_t defaultLinks = 0;
    uint32_t defaultSpeed = 0;
    uint32_t maxSpeed = 0;
    bool masterOnlyAtReset = false;
    uint64_t latencyNs = 0;
    uint64_t resetNs = 0;
    uint64_t bootNs = 0;
    uint64_t configSwitchNs = 0;
    uint32_t waitAckMs = 0;
    bool tentativeAcks = false;
    uint32_t lateAckMs = 0;
    bool externalPower = false;
    uint32_t currentMa = 0;
    bool overCurrent = false;
    std::string descriptionUrl;
    uint32_t urlAddress = 0;
    std::vector<uint8_t> description; // as the camera holds it: text or zip
    bool builtInDescription = false;
    cxp::RegisterSpace registers; // what its description addresses
    uint64_t commandNs = 0;       // a command's register clears itself after this
};

class CxpCamera : public Device {
public:
    // Offsets in the camera's persistent memory (sim/README.md).
    static constexpr uint32_t kCommandsOffset = 0;
    static constexpr uint32_t kAcksOffset = 4;
    static constexpr uint32_t kCrcErrorsOffset = 8;
    static constexpr uint32_t kUnframedOffset = 12;
    static constexpr uint32_t kIgnoredOffset = 16;
    static constexpr uint32_t kAcksDroppedOffset = 20;
    static constexpr uint32_t kUserIdOffset = 0x800;
    // The store of the described registers (cxp::RegisterSpace), to the end.
    static constexpr uint32_t kRegisterStoreOffset = 0x1000;
    static constexpr uint32_t kRegisterStoreBytes = 64 * 1024 - kRegisterStoreOffset;

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

} // namespace orva::sim
