// The identity record a port fills in its discovery. Not synchronised: the
// owning port guards it with its own mutex.
#pragma once

#include <string>

#include "impl/core/ICameraInfo.h"

namespace orva::core {

class CCameraInfo : public ICameraInfo {
public:
    uint32_t GetControlPacketSizeLimit() const override { return controlPacketSizeLimit_; }
    uint32_t GetRevision() const override { return revision_; }
    const char* GetDeviceName() const override { return deviceName_.c_str(); }
    const char* GetModelName() const override { return modelName_.c_str(); }
    const char* GetManufacturerInfo() const override { return manufacturerInfo_.c_str(); }
    const char* GetDeviceVersion() const override { return deviceVersion_.c_str(); }
    const char* GetSerialNumber() const override { return serialNumber_.c_str(); }
    const char* GetUserId() const override { return userId_.c_str(); }
    const char* GetFirmwareVersion() const override { return firmwareVersion_.c_str(); }
    const char* GetFamilyName() const override { return familyName_.c_str(); }

    uint32_t GetVersionsSupported() const { return versionsSupported_; }
    // True when every bit of `mask` is among the versions supported.
    bool IsVersionSupported(uint32_t mask) const { return (versionsSupported_ & mask) == mask; }
    uint32_t GetVersionUsed() const { return versionUsed_; }

    void SetControlPacketSizeLimit(uint32_t value) { controlPacketSizeLimit_ = value; }
    void SetRevision(uint32_t value) { revision_ = value; }
    void SetVersionsSupported(uint32_t value) { versionsSupported_ = value; }
    void SetVersionUsed(uint32_t value) { versionUsed_ = value; }
    void SetDeviceName(std::string value) { deviceName_ = std::move(value); }
    void SetModelName(std::string value) { modelName_ = std::move(value); }
    void SetManufacturerInfo(std::string value) { manufacturerInfo_ = std::move(value); }
    void SetDeviceVersion(std::string value) { deviceVersion_ = std::move(value); }
    void SetSerialNumber(std::string value) { serialNumber_ = std::move(value); }
    void SetUserId(std::string value) { userId_ = std::move(value); }
    void SetFirmwareVersion(std::string value) { firmwareVersion_ = std::move(value); }
    void SetFamilyName(std::string value) { familyName_ = std::move(value); }

    // Zeroes all values and empties all texts; ports call it before they
    // read a camera's identity anew.
    void Reset() { *this = CCameraInfo(); }

private:
    uint32_t controlPacketSizeLimit_ = 0;
    uint32_t revision_ = 0;
    uint32_t versionsSupported_ = 0;
    uint32_t versionUsed_ = 0;
    std::string deviceName_;
    std::string modelName_;
    std::string manufacturerInfo_;
    std::string deviceVersion_;
    std::string serialNumber_;
    std::string userId_;
    std::string firmwareVersion_;
    std::string familyName_;
};

} // namespace orva::core
