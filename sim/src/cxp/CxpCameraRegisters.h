#pragma once

// The address space of a simulated CoaXPress camera as its control packets
// reach it: the bootstrap registers and texts of the standard, the URL of
// its description, the registers its description addresses, and the
// description itself. One object serves the commands of one call.

#include "CxpCameraConfig.h"
#include "CxpCameraState.h"
#include "CxpWire.h"
#include "DeviceContext.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orva::sim::cxp {

// Where the URL text goes; below the description if the description's own
// registers are at 0x6000.
constexpr uint32_t kUrlAddress = 0x6000;
constexpr uint32_t kUrlBytes = 0x100;
constexpr uint32_t kDescriptionAddress = 0x100000;
constexpr uint32_t kAlternativeUrlAddress = kDescriptionAddress - kUrlBytes;

// Who may do what at an address of the camera.
enum class AreaAccess : uint8_t { Read, Write, ReadWrite };

class CxpCameraRegisters {
public:
    // What a command asks of the camera, and what the camera answers.
    struct Reply {
        AckCode code = AckCode::Final;
        std::vector<uint8_t> data;
        bool silent = false;    // no acknowledge at all
        bool linkReset = false; // the links go through a reset
        std::optional<uint32_t> connectionConfig;
    };

    CxpCameraRegisters(const CxpCameraConfig& config, DeviceContext& ctx, CxpCameraState& state, uint32_t link)
        : config_(config), ctx_(ctx), state_(state), link_(link) {}

    Reply read(uint32_t at, uint32_t size);
    // Writes nothing unless all of it can be written.
    Reply write(uint32_t at, std::span<const uint8_t> data);
    static Reply error(AckCode code);

    // The registers and texts of the standard that the camera serves
    // itself, rather than from its description.
    static bool servesBootstrap(const CxpCameraConfig& config, uint32_t at);

private:
    using Access = AreaAccess;
    enum class AreaKind : uint8_t { Register, Text, UserId, Url, Described, Description };
    struct Area {
        uint32_t start = 0;
        uint32_t size = 0;
        Access access = Access::Read;
        AreaKind kind = AreaKind::Register;
    };

    static std::optional<Area> bootstrapAreaAt(const CxpCameraConfig& config, uint32_t at);
    std::optional<Area> areaAt(uint32_t at) const;
    const std::string& textAt(uint32_t at) const;
    uint32_t registerValue(uint32_t at) const;
    bool registerValueFits(uint32_t at, uint32_t value) const;
    void fill(const Area& area, uint32_t offset, std::span<uint8_t> out) const;
    void store(const Area& area, uint32_t offset, std::span<const uint8_t> in, Reply& reply);
    void storeRegister(uint32_t at, uint32_t value, Reply& reply);
    // The bytes of a described register in the store. A command the camera
    // has carried out by now reads back as 0.
    std::span<uint8_t> describedBytes(const RegisterSpace::Extent& extent) const;
    void storeDescribed(const RegisterSpace::Extent& extent, uint32_t offset, std::span<const uint8_t> in);
    // The camera's own description: its acquisition status follows the two
    // commands.
    void actOnAcquisitionCommand(uint32_t reg);

    const CxpCameraConfig& config_;
    DeviceContext& ctx_;
    CxpCameraState& state_;
    uint32_t link_;
};

} // namespace orva::sim::cxp
