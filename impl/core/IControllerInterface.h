// One board's camera technology, as the core sees it. The controller owns its
// ports; deleting it deletes them. Operations may be called from any thread
// while the controller's own workers run: each implementation guards itself.
#pragma once

#include <cstdint>

#include "impl/core/IPortInterface.h"

namespace orva::core {

// Link events of a controller: kind 0 the ports of the mask got a link, kind 1
// they lost it. Called on the controller's worker thread.
enum class LinkEventKind : int32_t { Gained = 0, Lost = 1 };
using ControllerEventSink = void (*)(LinkEventKind kind, uint32_t portMask, void* context);

// The board property through which a camera's link configuration reaches
// its controller: speed in the low 24 bits, number of links in bits 24 to
// 27, `extra` the camera's port.
inline constexpr const char* kLinkConfigProperty = "LinkConfig";

// The discovery selector that maps every link to the port of the same number.
inline constexpr uint64_t kIdentitySelector = 0x7654321076543210ULL;

class IControllerInterface {
public:
    virtual ~IControllerInterface() = default;

    virtual void WaitAfterReset() = 0;
    virtual void SetEventCallback(ControllerEventSink sink, void* context) = 0;
    virtual void PowerOn(uint32_t portMask) = 0;
    virtual void PowerOff(uint32_t portMask) = 0;
    virtual int32_t SetDiscoverySelector(uint64_t selector) = 0;
    virtual uint64_t GetDiscoverySelector() = 0;
    // Afterwards every port's link index, master ids, applet port and
    // connection state are valid.
    virtual int32_t DiscoverCameras(uint32_t portMask, uint32_t speed, uint32_t timeoutMs) = 0;
    virtual void ResetController() = 0;
    // TGX_ERR_NOT_IMPLEMENTED for a name the technology doesn't know.
    virtual int32_t GetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) = 0;
    virtual int32_t SetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) = 0;
    virtual uint32_t GetNrOfPorts() = 0;
    // Null past the end; the index equals the port number.
    virtual IPortInterface* GetPort(uint32_t index) = 0;
    virtual int32_t SetPortLinkSpeed(uint32_t portIndex, uint32_t speed) = 0;
    virtual int32_t ResetPortCores(uint32_t portMask, uint32_t value) = 0;
};

} // namespace orva::core
