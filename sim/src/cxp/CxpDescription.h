#pragma once

// The GenICam description a simulated CoaXPress camera holds in its memory:
// a small one of its own, or a file, offered as text or in a zip container.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orva::sim::cxp {

// Where the camera's own description puts its registers.
namespace userspace {
constexpr uint32_t kWidth = 0x10000;
constexpr uint32_t kHeight = 0x10004;
constexpr uint32_t kPixelFormat = 0x10008;
constexpr uint32_t kAcquisitionMode = 0x1000C;
constexpr uint32_t kAcquisitionStart = 0x10010;
constexpr uint32_t kAcquisitionStop = 0x10014;
constexpr uint32_t kExposureTime = 0x10018; // 32-bit float, microseconds
constexpr uint32_t kGain = 0x1001C;         // 32-bit float
constexpr uint32_t kAcquisitionStatus = 0x10020;
constexpr uint32_t kBlackLevelSelector = 0x10024;
constexpr uint32_t kBlackLevel = 0x10028; // four, by selector: All, Red, Green, Blue
} // namespace userspace

// The description of a camera with this vendor and model name.
std::string builtInDescription(std::string_view vendorName, std::string_view modelName);

// A zip container with one file, its data deflated.
std::vector<uint8_t> zipContainer(std::string_view fileName, std::span<const uint8_t> content);

bool isZipContainer(std::span<const uint8_t> bytes);

// The content of the one file of a zip container (stored or deflated);
// empty if the container can't be read or the file is larger than `maxBytes`.
std::optional<std::string> unzippedContent(std::span<const uint8_t> zip, size_t maxBytes);

} // namespace orva::sim::cxp
