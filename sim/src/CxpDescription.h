#pragma once

// The GenICam description a simulated CoaXPress camera holds in its memory:
// a small one of its own, or a file, offered as text or in a zip container;
// and the registers it addresses, which the camera backs with its memory.

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

// The registers of a description, as the camera that serves it keeps them: a
// camera maker knows its own register map, so it is read from the
// description's register nodes (IntReg, MaskedIntReg, FloatReg, StringReg,
// Register, StructReg) with a fixed address and length. Overlapping registers
// share their bytes, one extent for all of them, readable if one of them is,
// writable if one of them is. The extents' bytes lie one after the other in a
// store (in address order, each at a multiple of 4), followed by a 64-bit
// time stamp for each extent that holds a command's register.
class RegisterSpace {
public:
    struct Extent {
        uint32_t address = 0;
        uint32_t length = 0;
        bool readable = false;
        bool writable = false;
        uint32_t offset = 0;               // in the store
        std::optional<uint32_t> stampedAt; // offset of its command time stamp in the store
    };

    // Registers for which `servedElsewhere(address)` holds (the camera's
    // bootstrap registers) take no room. A text that isn't well-formed XML
    // gives an empty space: a camera may serve a broken description.
    //
    // Initial values are 0, but for an IntReg or FloatReg that is the
    // <pValue> of an Integer or Float with a literal <Min> above 0 (it holds
    // that minimum) or of an Enumeration (it holds the value of its first
    // entry): a camera doesn't power up with a value its own description
    // refuses.
    static RegisterSpace fromDescription(std::string_view xml, const std::function<bool(uint32_t)>& servedElsewhere);

    // The extent that holds the address, if any.
    const Extent* find(uint32_t address) const;
    bool overlaps(uint32_t address, uint64_t size) const;
    // Bytes of the store, time stamps included.
    uint32_t storeBytes() const { return static_cast<uint32_t>(initial_.size()); }
    // What the store holds at power-up.
    std::span<const uint8_t> initialStore() const { return initial_; }
    // Overrides the initial value of the bytes at `address`, which must lie
    // in one extent.
    void setInitial(uint32_t address, std::span<const uint8_t> bytes);

private:
    std::vector<Extent> extents_; // by address, disjoint
    std::vector<uint8_t> initial_;
};

} // namespace orva::sim::cxp
