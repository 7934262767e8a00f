#include "impl/cxp/CxpLinkWorker.h"

#include <chrono>
#include <exception>
#include <vector>

#include "impl/core/DiscoverySelector.h"
#include "impl/core/Stopwatch.h"
#include "impl/cxp/CxpLinkSpeeds.h"
#include "include/tgx_genicam.h"
#include "runtime/logging/LogMessage.h"

namespace orva::cxp {

namespace {

using templates::platform::MutexLock;
using tools::logging::LevelDebug;
using tools::logging::LevelError;
using tools::logging::LevelInfo;
using tools::logging::LevelTrace;

// The speed every port of a board of group 3 starts its link reset at.
constexpr uint32_t kLinkResetSpeed = 3125;

constexpr int64_t kNsPerMs = 1000000;

} // namespace

CxpLinkWorker::CxpLinkWorker(CxpBoard& board, CxpWorkerThread& thread, CxpPower& power, CxpTopology& topology)
    : board_(board), thread_(thread), power_(power), topology_(topology) {}

void CxpLinkWorker::SetEventCallback(core::ControllerEventSink sink, void* context) {
    MutexLock lock(callbackMutex_);
    eventFunction_ = sink;
    eventContext_ = context;
}

uint32_t CxpLinkWorker::GetConnectedMask() {
    MutexLock scan(board_.scanMutex);
    return connectedMask_;
}

// ---------------------------------------------------------------------------
// Discovery and reset, on application threads
// ---------------------------------------------------------------------------

int32_t CxpLinkWorker::Discover(uint32_t mask, uint32_t timeoutMs) {
    tools::logging::Logger* logger = board_.GetLogger();
    if (thread_.IsWorker()) {
        ORVA_LOG(logger, LevelError, "Discovery called from the discovery thread itself");
        return TGX_ERR_BLOCKED;
    }
    {
        MutexLock scan(board_.scanMutex);
        // The ports of the mask are forgotten, and with them the other links
        // of their cameras.
        connectedMask_ &= ~WithWholeCameras(mask);
        nextScanTimeNs_ = core::MonotonicNowNs();
    }
    thread_.Start([this] { Step(); });

    MutexLock scan(board_.scanMutex);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    if (!scan.WaitUntil(scanDone_, deadline,
                        [this, mask]() REQUIRES(board_.scanMutex) { return (connectedMask_ & mask) != 0; })) {
        ORVA_LOG(logger, LevelError, "No physical connections found");
        ORVA_LOG(logger, LevelInfo, "Try waiting for the camera to fully power up");
        ORVA_LOG(logger, LevelInfo,
                 "If there were errors try connecting the camera links 1:1 to the frame grabber ports, or "
                 "try using reverse order");
        return TGX_ERR_NO_CAMERA_FOUND;
    }
    return TGX_OK;
}

int32_t CxpLinkWorker::ResetPorts(uint32_t portMask) {
    MutexLock scan(board_.scanMutex);
    connectedMask_ &= ~portMask;
    return PerformCoreReset(portMask & board_.AllPortsMask()) == TGX_OK ? TGX_OK : TGX_ERR_INTERNAL;
}

// ---------------------------------------------------------------------------
// The worker's step
// ---------------------------------------------------------------------------

void CxpLinkWorker::Step() {
    uint32_t lost = 0;
    uint32_t gained = 0;
    {
        MutexLock scan(board_.scanMutex);
        lost = WatchLinks();
        if (core::MonotonicNowNs() >= nextScanTimeNs_) {
            try {
                ScanFreePorts(gained);
            } catch (const std::exception& e) {
                ORVA_LOG(board_.GetLogger(), LevelError, "Scan of the ports without a link failed: " << e.what());
            } catch (...) {
                ORVA_LOG(board_.GetLogger(), LevelError, "Scan of the ports without a link failed");
            }
            nextScanTimeNs_ = core::MonotonicNowNs() + int64_t{kScanIntervalMs} * kNsPerMs;
        }
    }
    Deliver(core::LinkEventKind::Lost, lost);
    Deliver(core::LinkEventKind::Gained, gained);
}

uint32_t CxpLinkWorker::WatchLinks() {
    // Ports without a link in use aren't polled: their NIT counters tell
    // nothing until they lock.
    uint32_t lost = 0;
    for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
        if ((connectedMask_ & PortBit(port)) != 0 && !board_.Port(port).IsTransceiverLocked()) {
            lost |= PortBit(port);
        }
    }
    if (lost == 0) {
        return 0;
    }
    // A camera that lost one link is brought up again as a whole: a link
    // reset on any of its links resets all of them.
    lost = WithWholeCameras(lost) & connectedMask_;
    for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
        if ((lost & PortBit(port)) != 0) {
            board_.Port(port).SetLedMode(kLedNoLink);
        }
    }
    connectedMask_ &= ~lost;
    return lost;
}

void CxpLinkWorker::ScanFreePorts(uint32_t& gained) {
    const uint32_t kept = connectedMask_;
    const uint32_t todo = board_.AllPortsMask() & ~kept;
    if (todo == 0) {
        return;
    }
    uint32_t found = 0;
    const int32_t status = RunPipeline(todo, kept, found);
    // Links taken out of their camera, or that the design has no place for,
    // are tried again at the next scan.
    for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
        if ((found & PortBit(port)) != 0 && !board_.Port(port).IsConnected()) {
            found &= ~PortBit(port);
        }
    }
    if (status == TGX_OK && (found & ~connectedMask_) != 0) {
        gained = found & ~connectedMask_;
        connectedMask_ |= found;
        scanDone_.notify_all();
    }
    for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
        if ((todo & PortBit(port)) == 0) {
            continue;
        }
        CCxpPort& link = board_.Port(port);
        if ((connectedMask_ & PortBit(port)) != 0) {
            link.SetLedMode(kLedConnected);
            if (link.GetLinkIndex() == core::kLinkIndexMaster) {
                link.ReadManifestInfo();
            }
        } else {
            link.SetLedMode(kLedNoLink);
        }
    }
}

int32_t CxpLinkWorker::RunPipeline(uint32_t todo, uint32_t kept, uint32_t& found) {
    const char* step = "CheckPortTrips";
    int32_t status = TGX_OK;
    try {
        status = power_.CheckPortTrips();
        if (status == TGX_OK) {
            step = "PerformCoreReset";
            status = PerformCoreReset(todo);
        }
        if (status == TGX_OK) {
            step = "PerformLinkReset";
            status = PerformLinkReset(todo);
        }
        if (status == TGX_OK) {
            step = "PerformSpeedDetect";
            status = PerformSpeedDetect(0, todo, found);
        }
        if (status == TGX_OK && found != 0 && !thread_.StopRequested()) {
            step = "ScanTopology";
            status = topology_.ScanTopology(kept, nextMasterIndex_);
            if (status == TGX_OK) {
                step = "SaveCameraInfo";
                status = topology_.SaveCameraInfo(true, kept, todo & ~found, found);
            }
            if (status == TGX_OK) {
                step = "SetFinalLinkConfig";
                status = topology_.SetFinalLinkConfig(kept);
            }
        }
    } catch (const std::exception& e) {
        ORVA_LOG(board_.GetLogger(), LevelError, "Discovery step " << step << " failed: " << e.what());
        status = TGX_ERR_EXCEPTION;
    } catch (...) {
        ORVA_LOG(board_.GetLogger(), LevelError, "Discovery step " << step << " failed");
        status = TGX_ERR_EXCEPTION;
    }
    return status;
}

// ---------------------------------------------------------------------------
// Steps of the pipeline
// ---------------------------------------------------------------------------

int32_t CxpLinkWorker::PerformCoreReset(uint32_t mask) {
    ORVA_LOG(board_.GetLogger(), LevelTrace, "Starting PerformCoreReset");
    nextMasterIndex_ = 0;
    const uint32_t nrPorts = board_.NrPorts();
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((mask & PortBit(port)) != 0) {
            board_.Port(port).ResetPortState();
        }
    }
    // The links in use keep their routes; the others serve the design port
    // of their own number where that is free.
    const uint32_t kept = connectedMask_ & ~mask & board_.AllPortsMask();
    std::vector<core::SelectorPair> pairs;
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((kept & PortBit(port)) != 0) {
            pairs.push_back({board_.Port(port).GetAppletPort(), port});
        }
    }
    topology_.ApplySelector(core::ComputeSelector(pairs), kept);
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((mask & PortBit(port)) != 0) {
            board_.Port(port).SetCoreReset(kCoreResetHold);
        }
    }
    ORVA_LOG(board_.GetLogger(), LevelTrace, "Ending PerformCoreReset");
    return TGX_OK;
}

int32_t CxpLinkWorker::PerformLinkReset(uint32_t mask) {
    tools::logging::Logger* logger = board_.GetLogger();
    const CxpControllerTweaks& tweaks = board_.Tweaks();
    ORVA_LOG(logger, LevelTrace, "Starting PerformLinkReset");
    const uint32_t nrPorts = board_.NrPorts();
    bool anyChanged = false;
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((mask & PortBit(port)) == 0) {
            continue;
        }
        CCxpPort& link = board_.Port(port);
        link.SetLedMode(kLedLinkReset);
        link.SetTagMode(false);
        if (board_.Facts().InCxpGroup(core::kCxpGroup3)) {
            ORVA_LOG(logger, LevelDebug, "Resetting link speed");
            bool changed = false;
            link.SetUplinkSpeed(kLinkResetSpeed, changed);
            link.SetDownlinkSpeed(kLinkResetSpeed);
            anyChanged = anyChanged || changed;
        }
    }
    if (anyChanged) {
        ORVA_LOG(logger, LevelDebug, "Waiting " << tweaks.waitAfterUplinkSpeedReset << " milliseconds");
        thread_.Pause(tweaks.waitAfterUplinkSpeedReset);
    }
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((mask & PortBit(port)) == 0) {
            continue;
        }
        ORVA_LOG(logger, LevelDebug, "Performing link reset on port " << port);
        // No acknowledge comes for a link reset; a failed send shows at the lock.
        board_.WriteCameraWord(port, kConnectionReset, 1);
        ORVA_LOG(logger, LevelDebug, "Waiting " << tweaks.waitAfterLinkResetOnEachPort << " milliseconds");
        thread_.Pause(tweaks.waitAfterLinkResetOnEachPort);
    }
    ORVA_LOG(logger, LevelDebug, "Link reset done on all requested ports");
    ORVA_LOG(logger, LevelDebug, "Waiting " << tweaks.waitAfterLinkResetDone << " milliseconds");
    thread_.Pause(tweaks.waitAfterLinkResetDone);
    ORVA_LOG(logger, LevelTrace, "Ending PerformLinkReset");
    return TGX_OK;
}

int32_t CxpLinkWorker::PerformSpeedDetect(uint32_t speed, uint32_t mask, uint32_t& found) {
    ORVA_LOG(board_.GetLogger(), LevelTrace, "Starting PerformSpeedDetect");
    uint32_t remaining = mask & board_.AllPortsMask();
    for (uint32_t trial : SpeedDetectionOrder(speed)) {
        if (remaining == 0 || thread_.StopRequested()) {
            break;
        }
        ORVA_LOG(board_.GetLogger(), LevelDebug, "Trying to lock links at " << trial << " Gbps");
        topology_.SetUplinkSpeedOnMask(remaining, trial, nullptr);
        uint32_t locked = 0;
        topology_.LockGroupAtSpeed(remaining, trial, locked);
        remaining &= ~locked;
        found |= locked;
    }
    ORVA_LOG(board_.GetLogger(), LevelTrace, "Ending PerformSpeedDetect");
    return TGX_OK;
}

uint32_t CxpLinkWorker::WithWholeCameras(uint32_t mask) {
    uint32_t result = mask;
    const uint32_t nrPorts = board_.NrPorts();
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((mask & PortBit(port)) == 0) {
            continue;
        }
        const uint32_t masterId = board_.Port(port).GetMasterId();
        if (masterId == CCxpPort::kUnknown) {
            continue;
        }
        for (uint32_t other = 0; other < nrPorts; ++other) {
            if ((connectedMask_ & PortBit(other)) != 0 &&
                CameraIdOf(board_.Port(other).GetMasterId()) == CameraIdOf(masterId)) {
                result |= PortBit(other);
            }
        }
    }
    return result;
}

// ---------------------------------------------------------------------------
// Events
// ---------------------------------------------------------------------------

void CxpLinkWorker::Deliver(core::LinkEventKind kind, uint32_t portMask) {
    if (portMask == 0) {
        return;
    }
    MutexLock lock(callbackMutex_);
    if (eventFunction_ == nullptr) {
        return;
    }
    // Whatever the event function throws stays here: the worker goes on.
    try {
        eventFunction_(kind, portMask, eventContext_);
    } catch (const std::exception& e) {
        ORVA_LOG(board_.GetLogger(), LevelError, "Event function failed: " << e.what());
    } catch (...) {
        ORVA_LOG(board_.GetLogger(), LevelError, "Event function failed");
    }
}

} // namespace orva::cxp
