// The device under a node map: an ArvDevice whose memory and register access
// goes to an IRegisterPort. Aravis reports a failed access through GError,
// which it may prefix, wrap or, on some paths, drop; so the device also keeps
// the port's own exception, and the node map rethrows that, with its status,
// after every operation that touched the port.
//
// Not thread-safe: the node map that owns it serialises every use.
#pragma once

#include <arv.h>

#include <exception>
#include <memory>

#include "core/genapi/GObjectPtr.h"
#include "core/genapi/RegisterPort.h"

namespace orva::core::genapi::detail {

// GError domain of the failures the device reports to Aravis; the code is
// the port's status where it has one.
GQuark PortErrorQuark();

class PortDevice {
public:
    PortDevice();
    ~PortDevice();
    PortDevice(const PortDevice&) = delete;
    PortDevice& operator=(const PortDevice&) = delete;

    // Borrowed by Aravis for as long as this object lives.
    ArvDevice* Get() const { return device_.get(); }

    // Null disconnects: every access then fails.
    void SetPort(std::shared_ptr<IRegisterPort> port);
    bool HasPort() const;

    // The first failure since the last call, as thrown by the port; null if
    // none. Clears it.
    std::exception_ptr TakeFailure();
    bool HasFailure() const;

    struct State;

private:
    std::unique_ptr<State> state_;
    GObjectPtr<ArvDevice> device_;
};

} // namespace orva::core::genapi::detail
