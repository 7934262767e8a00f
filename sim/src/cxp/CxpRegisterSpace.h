#pragma once

// The register map of a simulated CoaXPress camera, read from the GenICam
// description it serves.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace orva::sim::cxp {

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
