// Addresses of the camera's bootstrap registers that the port reads and
// writes, and the values it checks them against. All are 32-bit big-endian
// numbers except the texts.
#pragma once

#include <cstdint>

namespace orva::cxp::bootstrap {

inline constexpr uint32_t kMagic = 0x0000;
inline constexpr uint32_t kRevision = 0x0004;
inline constexpr uint32_t kManifestCount = 0x0008;
inline constexpr uint32_t kManifestSelect = 0x000C;
inline constexpr uint32_t kXmlVersion = 0x0010;
inline constexpr uint32_t kXmlSchemaVersion = 0x0014;
inline constexpr uint32_t kXmlUrlAddress = 0x0018;
inline constexpr uint32_t kDeviceName = 0x2000;
inline constexpr uint32_t kModelName = 0x2020;
inline constexpr uint32_t kManufacturerInfo = 0x2040;
inline constexpr uint32_t kDeviceVersion = 0x2070;
inline constexpr uint32_t kFirmwareVersion = 0x2090;
inline constexpr uint32_t kSerialNumber = 0x20B0;
inline constexpr uint32_t kUserId = 0x20C0;
// Link registers: the first and the last of them.
inline constexpr uint32_t kConnectionReset = 0x4000;
inline constexpr uint32_t kControlPacketSize = 0x400C;
inline constexpr uint32_t kStreamPacketSize = 0x4010;
inline constexpr uint32_t kConnectionConfig = 0x4014;
inline constexpr uint32_t kVersionsSupported = 0x4044;
inline constexpr uint32_t kVersionUsed = 0x4048;

// What the port holds for a register it hasn't read yet.
inline constexpr uint32_t kNotRead = 0xFFFFFFFF;

// Value of kMagic on a working link.
inline constexpr uint32_t kMagicValue = 0xC0A79AE5;

// Revisions as 16.16 versions, and the bits of kVersionsSupported.
inline constexpr uint32_t kRevision11 = 0x10001;
inline constexpr uint32_t kRevision20 = 0x20000;
inline constexpr uint32_t kVersionBit11 = 2;
inline constexpr uint32_t kVersionBit20 = 4;

} // namespace orva::cxp::bootstrap
