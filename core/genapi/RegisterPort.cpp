#include "core/genapi/RegisterPort.h"

#include <limits>
#include <sstream>
#include <utility>

namespace orva::core::genapi {

namespace {

std::string Hex(uint64_t value) {
    std::ostringstream text;
    text << "0x" << std::hex << value;
    return text.str();
}

// The port takes 32-bit addresses and lengths; a node map asking beyond them
// has a broken description, and silently cutting the address would reach
// another register.
void CheckRange(const char* operation, uint64_t address, uint64_t length) {
    constexpr uint64_t kLimit = std::numeric_limits<uint32_t>::max();
    if (address > kLimit || length > kLimit || address + length > kLimit + 1) {
        throw GenApiError(std::string(operation) + " of " + std::to_string(length) + " bytes at " + Hex(address) +
                          ": beyond the port's 32-bit address space");
    }
}

} // namespace

CorePortAdapter::CorePortAdapter(orva::core::IPortInterface& port, PortTimeouts timeouts, StatusDescriber describe)
    : port_(port), timeouts_(timeouts), describe_(std::move(describe)) {}

void CorePortAdapter::Read(uint64_t address, void* buffer, uint64_t length) {
    CheckRange("ReadMem", address, length);
    const int32_t status =
        port_.ReadMem(static_cast<uint32_t>(address), buffer, static_cast<uint32_t>(length), timeouts_.readMs);
    if (status != 0) {
        Fail("ReadMem", address, length, status);
    }
}

void CorePortAdapter::Write(uint64_t address, const void* buffer, uint64_t length) {
    CheckRange("WriteMem", address, length);
    const int32_t status =
        port_.WriteMem(static_cast<uint32_t>(address), buffer, static_cast<uint32_t>(length), timeouts_.writeMs);
    if (status != 0) {
        Fail("WriteMem", address, length, status);
    }
}

void CorePortAdapter::Fail(const char* operation, uint64_t address, uint64_t length, int32_t status) const {
    std::string text = std::string(operation) + " of " + std::to_string(length) + " bytes at " + Hex(address) +
                       " failed with status " + std::to_string(status);
    if (describe_) {
        text += " (" + describe_(status) + ")";
    }
    throw PortError(status, text);
}

} // namespace orva::core::genapi
