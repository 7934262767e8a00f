// What a port knows of the identity of the camera on it.
#pragma once

#include <cstdint>

namespace orva::core {

class ICameraInfo {
public:
    virtual ~ICameraInfo() = default;
    virtual uint32_t GetControlPacketSizeLimit() const = 0;
    virtual uint32_t GetRevision() const = 0;
    // Texts are owned by the record and stay valid until its next change.
    virtual const char* GetDeviceName() const = 0;
    virtual const char* GetModelName() const = 0;
    virtual const char* GetManufacturerInfo() const = 0;
    virtual const char* GetDeviceVersion() const = 0;
    virtual const char* GetSerialNumber() const = 0;
    virtual const char* GetUserId() const = 0;
    virtual const char* GetFirmwareVersion() const = 0;
    virtual const char* GetFamilyName() const = 0;
};

} // namespace orva::core
