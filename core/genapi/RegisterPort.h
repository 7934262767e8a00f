// The register access a node map goes through, and its adapter to a board
// port of the core.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/genapi/GenApiError.h"
#include "impl/core/IPortInterface.h"

namespace orva::core::genapi {

// Reads and writes bytes of the camera's address space, in the camera's byte
// order. A failed access throws (a PortError where the port has a status);
// it never hands back a value it didn't read.
class IRegisterPort {
public:
    virtual ~IRegisterPort() = default;
    virtual void Read(uint64_t address, void* buffer, uint64_t length) = 0;
    virtual void Write(uint64_t address, const void* buffer, uint64_t length) = 0;
};

// Time-outs of a port's node map access, in milliseconds, by technology.
struct PortTimeouts {
    uint32_t readMs;
    uint32_t writeMs;
};
inline constexpr PortTimeouts kCoaXPressTimeouts{200, 200};
inline constexpr PortTimeouts kCameraLinkHsTimeouts{200, 2000};
inline constexpr PortTimeouts kCameraLinkTimeouts{0, 2000};
inline constexpr PortTimeouts kGigEVisionTimeouts{2000, 2000};

// Text of a port status, for the exception; the API layer passes its error
// table's description.
using StatusDescriber = std::function<std::string(int32_t status)>;

// Serves a node map from a board port through ReadMem and WriteMem, so that
// a failure keeps the port's status. The port is borrowed and must outlive
// the adapter. Thread-safety: as that of the port (each port serialises its
// own channel).
class CorePortAdapter final : public IRegisterPort {
public:
    explicit CorePortAdapter(orva::core::IPortInterface& port, PortTimeouts timeouts = kCoaXPressTimeouts,
                             StatusDescriber describe = {});

    // PortError with the port's status when ReadMem/WriteMem fails;
    // GenApiError for an address or length beyond the port's 32 bits.
    void Read(uint64_t address, void* buffer, uint64_t length) override;
    void Write(uint64_t address, const void* buffer, uint64_t length) override;

    PortTimeouts GetTimeouts() const { return timeouts_; }

private:
    [[noreturn]] void Fail(const char* operation, uint64_t address, uint64_t length, int32_t status) const;

    orva::core::IPortInterface& port_;
    PortTimeouts timeouts_;
    StatusDescriber describe_;
};

} // namespace orva::core::genapi
