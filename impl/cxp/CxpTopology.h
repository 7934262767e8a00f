// Topology and link groups of a CoaXPress board: which links belong to one
// camera and in which order, the identity each camera is given, the route of
// each physical port to a port of the design through the discovery selector,
// and the connection configuration (links, speed) a camera ends with.
//
// The pipeline steps run on the link worker with scanMutex held; they touch
// only the ports outside `kept`, the links in use that keep their routes,
// ids and configuration. SetPortConnectionConfig runs on an application
// thread with scanMutex and controllerMutex held. The selector registers
// are read and written under controllerLock.
#pragma once

#include <cstdint>

#include "impl/cxp/CxpBoard.h"
#include "impl/cxp/CxpDesignLayout.h"
#include "impl/cxp/CxpWorkerThread.h"

namespace orva::cxp {

class CxpTopology {
public:
    // Settling time of the cameras before their identity is read, on a board
    // of more than one port. Fixed: no tweak changes it.
    static constexpr uint32_t kWaitBeforeCameraInfoMs = 256;

    // Looks up the selector registers and reads the design's layout.
    CxpTopology(CxpBoard& board, CxpWorkerThread& worker);

    // ---- steps of the discovery pipeline ----

    // Gives every master link found the next free master id of the design
    // (from `nextMasterIndex` on) and tells every link its camera and its
    // number in it. Always 0.
    int32_t ScanTopology(uint32_t kept, uint32_t& nextMasterIndex);
    // Brings up the links a camera can still offer, routes the links
    // (`remap`) and reads each camera's identity. `candidates`: ports that
    // didn't lock and may be a camera's further links; those that join are
    // added to `found`. TGX_ERR_INVALID_PORT if no port has a link.
    int32_t SaveCameraInfo(bool remap, uint32_t kept, uint32_t candidates, uint32_t& found);
    // Brings each camera to the higher of the speed found and its default,
    // or failing that the lower. Always 0.
    int32_t SetFinalLinkConfig(uint32_t kept);
    // Routes the ports outside `kept` by `selector`, holding them in core
    // reset while it changes; the kept ports' routes must be part of it.
    void ApplySelector(uint64_t selector, uint32_t kept);

    // ---- link groups ----

    // Connected ports of the camera of `port` (same master id).
    uint32_t CameraGroup(uint32_t port);
    // SetUplinkSpeed on each port of the mask; the ports whose uplink class
    // changed go into `changedMask`, if given.
    void SetUplinkSpeedOnMask(uint32_t portMask, uint32_t speed, uint32_t* changedMask);
    // LockLinksAtSpeed on each port of the mask; a failure doesn't stop the
    // run. The ports that locked are added to `lockedMask`.
    void LockGroupAtSpeed(uint32_t portMask, uint32_t speed, uint32_t& lockedMask);
    // Board property "LinkConfig" of a camera's master port: bits 23..0
    // speed, 27..24 links, a part that is 0 taken from the camera.
    int32_t SetPortConnectionConfig(uint32_t portIndex, uint32_t config);

    // ---- the discovery selector ----

    int32_t SetDiscoverySelector(uint64_t selector);
    uint64_t GetDiscoverySelector();

private:
    int32_t ConnectUnconnectedPorts(uint32_t kept, uint32_t candidates, uint32_t& found);
    int32_t MapPorts(uint32_t kept);
    // Binds the ports of the mask to the design ports the selector gives them.
    void RebindPorts(uint32_t mask, uint64_t selector);

    CxpBoard& board_;
    CxpWorkerThread& worker_;
    int32_t regDiscoverySelectWrite_ = 0;
    int32_t regDiscoverySelectRead_ = 0;
    int32_t regDiscoveryConfig_ = 0;
    DesignLayout layout_;
};

} // namespace orva::cxp
