// The link worker of a CoaXPress board: one step every worker period on the
// worker thread. A step watches the links in use (NIT counters) and reports
// those lost; once a second while a port has no link it runs the discovery
// pipeline on the ports without one: power check, core reset, link reset,
// speed detection, then topology scan, camera information and final link
// configuration (CxpTopology). DiscoverCameras arms it and waits for a link.
//
// Locks: a whole step holds scanMutex (CxpBoard), and so do the start and
// the wait of a discovery and a reset of ports. callbackMutex guards the
// event function and is held over its call. It ranks below scanMutex, but a
// step delivers its events only after it has released scanMutex, losses
// first: an event function may call back into the API, and a call that
// takes scanMutex (a new link configuration, a reset of ports) would wait
// for ever on the worker that holds it.
#pragma once

#include <condition_variable>
#include <cstdint>

#include "impl/core/IControllerInterface.h"
#include "impl/cxp/CxpBoard.h"
#include "impl/cxp/CxpPower.h"
#include "impl/cxp/CxpTopology.h"
#include "impl/cxp/CxpWorkerThread.h"
#include "runtime/templates/Mutex.h"
#include "runtime/templates/ThreadSafety.h"

namespace orva::cxp {

class CxpLinkWorker {
public:
    // Ports without a link are tried this often.
    static constexpr uint32_t kScanIntervalMs = 1000;

    CxpLinkWorker(CxpBoard& board, CxpWorkerThread& thread, CxpPower& power, CxpTopology& topology);

    void SetEventCallback(core::ControllerEventSink sink, void* context) EXCLUDES(callbackMutex_);

    // Forgets the ports of `mask` (and the other links of their cameras),
    // starts the worker if it doesn't run, and waits up to `timeoutMs` for a
    // port of the mask to have a link: 0, else TGX_ERR_NO_CAMERA_FOUND. From
    // the worker itself (an event function) TGX_ERR_BLOCKED: the worker can't
    // wait for itself.
    int32_t Discover(uint32_t mask, uint32_t timeoutMs) EXCLUDES(board_.scanMutex);
    // Forgets the ports of the mask (idle state, no master id) and sets the
    // selector so that they serve the design port of their own number, as
    // far as the routes of connected cameras leave free.
    int32_t ResetPorts(uint32_t portMask) EXCLUDES(board_.scanMutex);
    // Ports whose link is in use; bit n for port n.
    uint32_t GetConnectedMask() EXCLUDES(board_.scanMutex);

private:
    // One step of the worker thread.
    void Step() EXCLUDES(board_.scanMutex, callbackMutex_);
    // Takes the connected ports whose link is gone out of use; the ports lost.
    uint32_t WatchLinks() REQUIRES(board_.scanMutex);
    // The pipeline on the ports without a link; the ports that got one go
    // into `gained` as soon as they are in use.
    void ScanFreePorts(uint32_t& gained) REQUIRES(board_.scanMutex);
    // Runs the pipeline up to the first step that fails; an exception in a
    // step counts as its failure. 0 when all steps passed.
    int32_t RunPipeline(uint32_t todo, uint32_t kept, uint32_t& found) REQUIRES(board_.scanMutex);
    int32_t PerformCoreReset(uint32_t mask) REQUIRES(board_.scanMutex);
    int32_t PerformLinkReset(uint32_t mask) REQUIRES(board_.scanMutex);
    int32_t PerformSpeedDetect(uint32_t speed, uint32_t mask, uint32_t& found) REQUIRES(board_.scanMutex);
    // Adds to `mask` the other connected links of the cameras it touches: a
    // camera is brought up again as a whole.
    uint32_t WithWholeCameras(uint32_t mask) REQUIRES(board_.scanMutex);
    void Deliver(core::LinkEventKind kind, uint32_t portMask) EXCLUDES(board_.scanMutex, callbackMutex_);

    CxpBoard& board_;
    CxpWorkerThread& thread_;
    CxpPower& power_;
    CxpTopology& topology_;

    // Wakes DiscoverCameras when ports get a link.
    std::condition_variable scanDone_;
    uint32_t connectedMask_ GUARDED_BY(board_.scanMutex) = 0;
    // Monotonic clock, ns; the next scan of the free ports is due then.
    int64_t nextScanTimeNs_ GUARDED_BY(board_.scanMutex) = 0;
    // The next entry of the design's master ids to give away in this scan.
    uint32_t nextMasterIndex_ GUARDED_BY(board_.scanMutex) = 0;

    // The event function and its context; held over its call, and taken
    // with scanMutex released.
    templates::platform::Mutex callbackMutex_ ACQUIRED_AFTER(board_.scanMutex);
    core::ControllerEventSink eventFunction_ GUARDED_BY(callbackMutex_) = nullptr;
    void* eventContext_ GUARDED_BY(callbackMutex_) = nullptr;
};

} // namespace orva::cxp
