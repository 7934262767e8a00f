#include "impl/cxp/CxpController.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>
#include <iomanip>
#include <pthread.h>
#include <set>
#include <sstream>

#include "impl/core/DesignRegisters.h"
#include "impl/core/DiscoverySelector.h"
#include "impl/core/PropertyArguments.h"
#include "impl/core/Stopwatch.h"
#include "impl/core/TweakValue.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logging.h"
#include "runtime/templates/ByteOrder.h"
#include "runtime/templates/InterProcessLockGuard.h"
#include "runtime/templates/RecursiveMutexGuard.h"
#include "runtime/templates/TweakProperties.h"

namespace orva::cxp {

namespace {

using templates::platform::RecursiveMutexGuard;
using templates::platform::swap32;
using tools::logging::LevelDebug;
using tools::logging::LevelError;
using tools::logging::LevelInfo;
using tools::logging::LevelTrace;
using tools::logging::LevelWarning;

constexpr const char* kLoggerName = "orva.genicam.CxpController";

// Camera bootstrap registers of the link layer.
constexpr uint32_t kConnectionReset = 0x4000;
constexpr uint32_t kDeviceConnectionId = 0x4004;
constexpr uint32_t kMasterHostConnectionId = 0x4008;
constexpr uint32_t kConnectionConfig = 0x4014;
constexpr uint32_t kConnectionConfigDefault = 0x4018;
constexpr uint32_t kCameraTimeoutMs = 200;

// Core reset value that holds a port's control core in reset.
constexpr uint32_t kCoreResetHold = 6;

// LED modes of a port.
constexpr uint32_t kLedNoLink = 2;
constexpr uint32_t kLedLinkReset = 3;
constexpr uint32_t kLedConnected = 8;

// Power stays off this long when a tripped port is cycled.
constexpr uint32_t kTripPowerOffMs = 1;

using core::kPropertyTypeDouble;
using core::kPropertyTypeText;
using core::kPropertyTypeUint32;

constexpr uint32_t Bit(uint32_t port) {
    return uint32_t{1} << port;
}

constexpr uint32_t CameraIdOf(uint32_t masterId) {
    return masterId >> 16;
}

std::string PortName(const char* base, uint32_t port) {
    return std::string(base) + std::to_string(port);
}

std::string Hex(uint64_t value) {
    std::ostringstream text;
    text << "0x" << std::hex << std::uppercase << value;
    return text.str();
}

// "Using ORVA_CXP_...   (ms) = value", the names in one column.
std::string KeyLine(const char* variable, bool milliseconds, uint64_t value) {
    return core::TweakLine(variable, milliseconds ? "(ms) = " : "     = ", value);
}

} // namespace

// ---------------------------------------------------------------------------
// Construction and destruction
// ---------------------------------------------------------------------------

CxpController::CxpController(OHalDevice* device, DsgDesign* design) : device_(device), design_(design) {
    logger_ = tools::logging::Logging::instance()->GetLogger(kLoggerName);
    boardIndex_ = static_cast<uint32_t>(board::OHalGetBoardIndex(device_, 0));
    boardType_ = static_cast<uint32_t>(board::OHalGetBoardInfoInt(device_, "board/type"));
    controllerLock_ = std::make_unique<templates::platform::InterProcessLock>(
        "orva_genicam-board_" + std::to_string(boardIndex_) + "-CxpController_lock");

    ReadTweaks();
    DetectNrPorts();

    regAppletMasterId_ = LookUp("DiscoveryAppletMasterID");
    regAppletExtensionId_ = LookUp("DiscoveryAppletExtensionID");
    regDiscoverySelectWrite_ = LookUp("wDiscoverySelect");
    regDiscoverySelectRead_ = LookUp("rDiscoverySelect");
    regDiscoveryConfig_ = LookUp("CxpDiscoveryConfig");
    regPowerEnableRead_ = LookUp("rCxpPowerEnablePower");
    regPowerEnableWrite_ = LookUp("wCxpPowerEnablePower");

    // A design that doesn't say how its ports are laid out expects one
    // camera of one link on port 0.
    uint64_t masterValue = 1;
    uint64_t extensionValue = 0;
    if (regAppletMasterId_ > 0) {
        masterValue = 0;
        board::OHalRegisterRead(device_, static_cast<uint32_t>(regAppletMasterId_), &masterValue);
        if (regAppletExtensionId_ > 0) {
            board::OHalRegisterRead(device_, static_cast<uint32_t>(regAppletExtensionId_), &extensionValue);
        }
    }
    layout_ = BuildDesignLayout(masterValue, extensionValue, nrPorts_);

    ports_.reserve(nrPorts_);
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        ports_.push_back(std::make_unique<CCxpPort>(port, gtxIf_, device_, design_));
    }

    if (disablePowerOverCxp_) {
        PowerOff(0xFF);
    }
}

CxpController::~CxpController() {
    {
        std::lock_guard<std::mutex> lock(workerMutex_);
        stopRequested_ = true;
        workerRunning_ = false;
    }
    workerWake_.notify_all();
    if (worker_.joinable()) {
        worker_.join();
    }
    // The ports go with ports_, after the worker that uses them.
}

void CxpController::ReadTweaks() {
    struct Row {
        const char* key;
        const char* variable;
        bool milliseconds;
        uint32_t fallback;
        uint32_t* field;
    };
    const Row rows[] = {
        {"CXP::WaitAfterLinkResetOnEachPort", "ORVA_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT", true, 0,
         &waitAfterLinkResetOnEachPort_},
        {"CXP::WaitAfterLinkResetDone", "ORVA_CXP_WAIT_AFTER_LINK_RESET_DONE", true, 200, &waitAfterLinkResetDone_},
        {"CXP::WaitAfterCameraConfigDone", "ORVA_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED", true, 200,
         &waitAfterCameraConfigDone_},
        {"CXP::WaitAfterUplinkSpeedReset", "ORVA_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", true, 1500,
         &waitAfterUplinkSpeedReset_},
        {"CXP::WaitAfterPowerup", "ORVA_CXP_WAIT_AFTER_POWERUP", true, 100, &waitAfterPowerup_},
        {"CXP::WaitAfterPowerdown", "ORVA_CXP_WAIT_AFTER_POWERDOWN", true, 100, &waitAfterPowerdown_},
        {"CXP::NumResetAttemptsOnPortTrip", "ORVA_CXP_NUM_RESET_ATTEMPTS_ON_PORT_TRIP", false, 3,
         &numResetAttemptsOnPortTrip_},
        {"CXP::WaitAfterTripReset", "ORVA_CXP_WAIT_AFTER_TRIP_RESET", true, 1500, &waitAfterTripReset_},
        {"CXP::ReadyThreadSleepTimeMs", "ORVA_CXP_READY_THREAD_SLEEP_TIME_MS", true, 5, &workerPeriodMs_},
    };
    for (const Row& row : rows) {
        *row.field = core::TweakOr<uint32_t>(row.key, row.fallback);
        ORVA_LOG(logger_, LevelInfo, KeyLine(row.variable, row.milliseconds, *row.field));
    }
    disablePowerOverCxp_ = core::TweakOr<bool>("CXP::DisablePowerOverCxp", false);
    ORVA_LOG(logger_, LevelInfo, KeyLine("ORVA_CXP_DISABLE_POWER_OVER_CXP", false, disablePowerOverCxp_ ? 1 : 0));
    // Read for the record only: nothing here depends on them.
    const bool useDefault = core::TweakOr<bool>("CXP::UseConnectionConfigDefault", false);
    ORVA_LOG(logger_, LevelInfo, KeyLine("ORVA_CXP_USE_CONNECTION_CONFIG_DEFAULT", false, useDefault ? 1 : 0));
    const bool receiveAck = core::TweakOr<bool>("CXP::ReceiveAckPacketOnLinkConfig", false);
    ORVA_LOG(logger_, LevelInfo,
             KeyLine("ORVA_CXP_RECEIVE_ACK_PACKET_AFTER_CAMERA_CONFIG_CHANGED", false, receiveAck ? 1 : 0));
}

int32_t CxpController::LookUp(const std::string& name) const {
    return core::LookUpRegister(design_, name);
}

void CxpController::DetectNrPorts() {
    if (design_ == nullptr) {
        return;
    }
    bool drpAddress = false;
    bool drpData = false;
    std::array<bool, 4> status{};
    std::array<bool, 4> bitRate{};
    std::array<bool, 4> downlink{};
    for (uint32_t port = 0; port < 4; ++port) {
        drpAddress = drpAddress || LookUp(PortName("CxpTransceiverGtxDrpAddress_", port)) > 0;
        drpData = drpData || LookUp(PortName("CxpTransceiverGtxDrpWriteData_", port)) > 0;
        status[port] = LookUp(PortName("CxpTransceiverStatus_", port)) > 0;
        bitRate[port] = LookUp(PortName("CxpTransceiverGtxSetBitRate_", port)) > 0;
        downlink[port] = LookUp(PortName("CxpTransceiverDownLinkBitRate_", port)) > 0;
    }
    const bool bitRateDone = LookUp("CxpTransceiverGtxSetBitRateDone") > 0;
    const bool rxStatus = LookUp("CxpTransceiverRxStatus") > 0;
    const bool drp = drpAddress && drpData;

    if (InBoardGroup1(boardType_) && drp) {
        gtxIf_ = 1;
        nrPorts_ = 4;
    }
    if (InBoardGroup2(boardType_)) {
        if (drp) {
            gtxIf_ = 2;
            nrPorts_ = 4;
        } else if (nrPorts_ == 0 && bitRateDone && bitRate[0]) {
            gtxIf_ = rxStatus ? 6 : 3;
            nrPorts_ = 1;
            if (bitRate[1]) {
                nrPorts_ = 2;
                if (bitRate[2] && bitRate[3]) {
                    nrPorts_ = 4;
                }
            }
        }
    }
    if (InBoardGroup3(boardType_) && status[0]) {
        if (downlink[0]) {
            gtxIf_ = 10;
            nrPorts_ = 1;
            if (status[1] && downlink[1]) {
                nrPorts_ = 2;
                if (status[2] && downlink[2] && status[3] && downlink[3]) {
                    nrPorts_ = 4;
                }
            }
        } else if (board::OHalCameraCtrlIsAvailable(device_) == 0) {
            board::OHalCameraCtrlReset(device_);
            gtxIf_ = CCxpPort::kGtxIfQueue;
            nrPorts_ = 1;
            if (status[1]) {
                nrPorts_ = 2;
                if (status[2] && status[3]) {
                    nrPorts_ = 4;
                }
            }
        }
    }
    ORVA_LOG(logger_, LevelDebug,
             "DetectNrPorts - NrPorts " << nrPorts_ << " GtxIf " << gtxIf_ << " Board Type:" << Hex(boardType_));
}

// ---------------------------------------------------------------------------
// Simple operations
// ---------------------------------------------------------------------------

tools::logging::Logger* CxpController::GetLogger() {
    return logger_;
}

void CxpController::WaitAfterReset() {}

void CxpController::SetEventCallback(core::ControllerEventSink sink, void* context) {
    std::lock_guard<std::mutex> lock(callbackMutex_);
    eventFunction_ = sink;
    eventContext_ = context;
}

uint32_t CxpController::GetNrOfPorts() {
    return nrPorts_;
}

core::IPortInterface* CxpController::GetPort(uint32_t index) {
    return index < nrPorts_ ? ports_[index].get() : nullptr;
}

uint32_t CxpController::AllPortsMask() const {
    return nrPorts_ >= 32 ? ~uint32_t{0} : Bit(nrPorts_) - 1;
}

uint32_t CxpController::GetConnectedMask() {
    std::lock_guard<std::mutex> scan(scanMutex_);
    return connectedMask_;
}

int32_t CxpController::IsValidSpeed(uint32_t speed) const {
    ORVA_LOG(logger_, LevelTrace, "Starting IsValidSpeed");
    const int32_t result = ValidateLinkSpeed(boardType_, speed);
    ORVA_LOG(logger_, LevelTrace, "Ending IsValidSpeed");
    return result;
}

uint64_t CxpController::ReadDesignRegister(const char* name, bool& found) {
    uint64_t value = 0;
    found = ReadRegisterByName(name, value) != TGX_ERR_INVALID_COMMAND;
    return found ? value : 0;
}

int32_t CxpController::ReadRegisterByName(const std::string& name, uint64_t& value) {
    return core::ReadRegisterByName(device_, design_, name, value);
}

int32_t CxpController::ReadCameraWord(uint32_t port, uint32_t address, uint32_t& value) {
    uint32_t wire = 0;
    const int32_t status = ports_[port]->ReadMem(address, &wire, sizeof(wire), kCameraTimeoutMs);
    if (status == TGX_OK) {
        value = swap32(wire);
    }
    return status;
}

int32_t CxpController::WriteCameraWord(uint32_t port, uint32_t address, uint32_t value) {
    const uint32_t wire = swap32(value);
    return ports_[port]->WriteMem(address, &wire, sizeof(wire), kCameraTimeoutMs);
}

// ---------------------------------------------------------------------------
// The worker
// ---------------------------------------------------------------------------

bool CxpController::Pause(uint32_t ms) {
    std::unique_lock<std::mutex> lock(workerMutex_);
    if (ms == 0) {
        return !stopRequested_;
    }
    return !workerWake_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return stopRequested_; });
}

bool CxpController::StopRequested() {
    std::lock_guard<std::mutex> lock(workerMutex_);
    return stopRequested_;
}

void CxpController::WorkerMain() {
    // Named, so that the thread can be told apart in a debugger or profile.
    pthread_setname_np(pthread_self(), kWorkerThreadName);
    std::unique_lock<std::mutex> lock(workerMutex_);
    while (workerRunning_) {
        lock.unlock();
        WorkerStep();
        lock.lock();
        workerWake_.wait_for(lock, std::chrono::milliseconds(workerPeriodMs_), [this] { return !workerRunning_; });
    }
}

void CxpController::Deliver(core::LinkEventKind kind, uint32_t portMask) {
    if (portMask == 0) {
        return;
    }
    std::lock_guard<std::mutex> lock(callbackMutex_);
    if (eventFunction_ != nullptr) {
        eventFunction_(kind, portMask, eventContext_);
    }
}

uint32_t CxpController::WithWholeCameras(uint32_t mask) {
    uint32_t result = mask;
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((mask & Bit(port)) == 0) {
            continue;
        }
        const uint32_t masterId = ports_[port]->GetMasterId();
        if (masterId == CCxpPort::kUnknown) {
            continue;
        }
        for (uint32_t other = 0; other < nrPorts_; ++other) {
            if ((connectedMask_ & Bit(other)) != 0 &&
                CameraIdOf(ports_[other]->GetMasterId()) == CameraIdOf(masterId)) {
                result |= Bit(other);
            }
        }
    }
    return result;
}

void CxpController::WorkerStep() {
    uint32_t lost = 0;
    uint32_t gained = 0;
    {
        std::lock_guard<std::mutex> scan(scanMutex_);

        // Link watch. Ports without a link in use aren't polled: their NIT
        // counters tell nothing until they lock.
        for (uint32_t port = 0; port < nrPorts_; ++port) {
            if ((connectedMask_ & Bit(port)) != 0 && !ports_[port]->IsTransceiverLocked()) {
                lost |= Bit(port);
            }
        }
        if (lost != 0) {
            // A camera that lost one link is brought up again as a whole: a
            // link reset on any of its links resets all of them.
            lost = WithWholeCameras(lost) & connectedMask_;
            for (uint32_t port = 0; port < nrPorts_; ++port) {
                if ((lost & Bit(port)) != 0) {
                    ports_[port]->SetLedMode(kLedNoLink);
                }
            }
            connectedMask_ &= ~lost;
        }

        if (core::MonotonicNowNs() >= nextScanTimeNs_) {
            const uint32_t kept = connectedMask_;
            const uint32_t todo = AllPortsMask() & ~kept;
            uint32_t found = 0;
            if (todo != 0) {
                int32_t status = CheckPortTrips();
                if (status == TGX_OK) {
                    status = PerformCoreReset(todo);
                }
                if (status == TGX_OK) {
                    status = PerformLinkReset(todo);
                }
                if (status == TGX_OK) {
                    status = PerformSpeedDetect(0, todo, found);
                }
                if (status == TGX_OK && found != 0 && !StopRequested()) {
                    ScanTopology(kept);
                    status = SaveCameraInfo(true, kept, todo & ~found, found);
                    if (status == TGX_OK) {
                        SetFinalLinkConfig(kept);
                    }
                }
                // Links taken out of their camera, or that the design has no
                // place for, are tried again at the next scan.
                for (uint32_t port = 0; port < nrPorts_; ++port) {
                    if ((found & Bit(port)) != 0 && !ports_[port]->IsConnected()) {
                        found &= ~Bit(port);
                    }
                }
                if (status == TGX_OK && (found & ~connectedMask_) != 0) {
                    gained = found & ~connectedMask_;
                    connectedMask_ |= found;
                    scanDone_.notify_all();
                }
                for (uint32_t port = 0; port < nrPorts_; ++port) {
                    if ((todo & Bit(port)) == 0) {
                        continue;
                    }
                    if ((connectedMask_ & Bit(port)) != 0) {
                        ports_[port]->SetLedMode(kLedConnected);
                        if (ports_[port]->GetLinkIndex() == core::kLinkIndexMaster) {
                            ports_[port]->ReadManifestInfo();
                        }
                    } else {
                        ports_[port]->SetLedMode(kLedNoLink);
                    }
                }
            }
            nextScanTimeNs_ = core::MonotonicNowNs() + int64_t{kScanIntervalMs} * 1000000;
        }
    }
    // Outside scanMutex, so that an event function may use the API: losses
    // first, then gains.
    Deliver(core::LinkEventKind::Lost, lost);
    Deliver(core::LinkEventKind::Gained, gained);
}

// ---------------------------------------------------------------------------
// Discovery
// ---------------------------------------------------------------------------

int32_t CxpController::DiscoverCameras(uint32_t portMask, uint32_t speed, uint32_t timeoutMs) {
    ORVA_LOG(logger_, LevelTrace, "Starting Discovery");
    const int32_t speedStatus = IsValidSpeed(speed);
    if (speedStatus != TGX_OK) {
        ORVA_LOG(logger_, LevelError, "Invalid user speed " << speed << "; port mask " << Hex(portMask));
        return speedStatus;
    }
    const uint32_t mask = portMask & AllPortsMask();
    if (mask == 0) {
        ORVA_LOG(logger_, LevelError, "Invalid port mask " << Hex(portMask));
        return TGX_ERR_INVALID_PORT;
    }
    ORVA_LOG(logger_, LevelDebug, "Starting discovery; port mask " << Hex(mask) << "; links " << nrPorts_);

    {
        std::lock_guard<std::mutex> lock(workerMutex_);
        if (worker_.joinable() && worker_.get_id() == std::this_thread::get_id()) {
            ORVA_LOG(logger_, LevelError, "Discovery called from the discovery thread itself");
            return TGX_ERR_BLOCKED;
        }
    }

    {
        std::lock_guard<std::mutex> scan(scanMutex_);
        // The ports of the mask are forgotten, and with them the other links
        // of their cameras.
        connectedMask_ &= ~WithWholeCameras(mask);
        nextScanTimeNs_ = core::MonotonicNowNs();
    }

    {
        std::lock_guard<std::mutex> lock(workerMutex_);
        if (!workerRunning_ && !stopRequested_) {
            workerRunning_ = true;
            worker_ = std::thread(&CxpController::WorkerMain, this);
        }
    }

    int32_t result = TGX_OK;
    {
        std::unique_lock<std::mutex> scan(scanMutex_);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        if (!scanDone_.wait_until(scan, deadline, [this, mask] { return (connectedMask_ & mask) != 0; })) {
            ORVA_LOG(logger_, LevelError, "No physical connections found");
            ORVA_LOG(logger_, LevelInfo, "Try waiting for the camera to fully power up");
            ORVA_LOG(logger_, LevelInfo,
                     "If there were errors try connecting the camera links 1:1 to the frame grabber ports, or "
                     "try using reverse order");
            result = TGX_ERR_NO_CAMERA_FOUND;
        }
    }
    ORVA_LOG(logger_, LevelTrace, "Ending Discovery");
    return result;
}

void CxpController::ResetController() {
    ResetPorts(0xF);
}

int32_t CxpController::ResetPorts(uint32_t portMask) {
    std::lock_guard<std::mutex> scan(scanMutex_);
    connectedMask_ &= ~portMask;
    return PerformCoreReset(portMask & AllPortsMask()) == TGX_OK ? TGX_OK : TGX_ERR_INTERNAL;
}

int32_t CxpController::PerformCoreReset(uint32_t mask) {
    ORVA_LOG(logger_, LevelTrace, "Starting PerformCoreReset");
    nextMasterIndex_ = 0;
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((mask & Bit(port)) != 0) {
            ports_[port]->ResetPortState();
        }
    }
    // The links in use keep their routes; the others serve the design port
    // of their own number where that is free.
    const uint32_t kept = connectedMask_ & ~mask & AllPortsMask();
    std::vector<core::SelectorPair> pairs;
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((kept & Bit(port)) != 0) {
            pairs.push_back({ports_[port]->GetAppletPort(), port});
        }
    }
    ApplySelector(core::ComputeSelector(pairs), kept);
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((mask & Bit(port)) != 0) {
            ports_[port]->SetCoreReset(kCoreResetHold);
        }
    }
    ORVA_LOG(logger_, LevelTrace, "Ending PerformCoreReset");
    return TGX_OK;
}

int32_t CxpController::PerformLinkReset(uint32_t mask) {
    ORVA_LOG(logger_, LevelTrace, "Starting PerformLinkReset");
    bool anyChanged = false;
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((mask & Bit(port)) == 0) {
            continue;
        }
        ports_[port]->SetLedMode(kLedLinkReset);
        ports_[port]->SetTagMode(false);
        if (InBoardGroup3(boardType_)) {
            ORVA_LOG(logger_, LevelDebug, "Resetting link speed");
            bool changed = false;
            ports_[port]->SetUplinkSpeed(3125, changed);
            ports_[port]->SetDownlinkSpeed(3125);
            anyChanged = anyChanged || changed;
        }
    }
    if (anyChanged) {
        ORVA_LOG(logger_, LevelDebug, "Waiting " << waitAfterUplinkSpeedReset_ << " milliseconds");
        Pause(waitAfterUplinkSpeedReset_);
    }
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((mask & Bit(port)) == 0) {
            continue;
        }
        ORVA_LOG(logger_, LevelDebug, "Performing link reset on port " << port);
        // No acknowledge comes for a link reset; a failed send shows at the lock.
        WriteCameraWord(port, kConnectionReset, 1);
        ORVA_LOG(logger_, LevelDebug, "Waiting " << waitAfterLinkResetOnEachPort_ << " milliseconds");
        Pause(waitAfterLinkResetOnEachPort_);
    }
    ORVA_LOG(logger_, LevelDebug, "Link reset done on all requested ports");
    ORVA_LOG(logger_, LevelDebug, "Waiting " << waitAfterLinkResetDone_ << " milliseconds");
    Pause(waitAfterLinkResetDone_);
    ORVA_LOG(logger_, LevelTrace, "Ending PerformLinkReset");
    return TGX_OK;
}

int32_t CxpController::PerformSpeedDetect(uint32_t speed, uint32_t mask, uint32_t& found) {
    ORVA_LOG(logger_, LevelTrace, "Starting PerformSpeedDetect");
    uint32_t remaining = mask & AllPortsMask();
    for (uint32_t trial : SpeedDetectionOrder(speed)) {
        if (remaining == 0 || StopRequested()) {
            break;
        }
        ORVA_LOG(logger_, LevelDebug, "Trying to lock links at " << trial << " Gbps");
        SetUplinkSpeedOnMask(remaining, trial, nullptr);
        uint32_t locked = 0;
        LockGroupAtSpeed(remaining, trial, locked);
        remaining &= ~locked;
        found |= locked;
    }
    ORVA_LOG(logger_, LevelTrace, "Ending PerformSpeedDetect");
    return TGX_OK;
}

// ---------------------------------------------------------------------------
// Topology
// ---------------------------------------------------------------------------

int32_t CxpController::ScanTopology(uint32_t kept) {
    ORVA_LOG(logger_, LevelTrace, "Starting ScanTopology");
    // Master ids in use by the cameras that keep their links.
    std::set<uint32_t> usedIds;
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((kept & Bit(port)) != 0) {
            usedIds.insert(CameraIdOf(ports_[port]->GetMasterId()));
        }
    }

    std::array<uint32_t, 32> connectionIds{};
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((kept & Bit(port)) != 0 || !ports_[port]->IsConnected()) {
            continue;
        }
        uint32_t id = 0;
        int32_t status = ReadCameraWord(port, kDeviceConnectionId, id);
        if (status == TGX_OK && id == 0) {
            // A master link: give its camera the next free master id.
            while (nextMasterIndex_ < kMasterIdCount &&
                   usedIds.count(layout_.masterIds[nextMasterIndex_] & 0xFF) != 0) {
                ++nextMasterIndex_;
            }
            if (nextMasterIndex_ >= kMasterIdCount) {
                status = TGX_ERR_INTERNAL;
            } else {
                const uint32_t masterId = layout_.masterIds[nextMasterIndex_++] & 0xFF;
                usedIds.insert(masterId);
                status = WriteCameraWord(port, kMasterHostConnectionId, ((boardIndex_ & 0xFF) << 8) | masterId);
            }
        }
        if (status != TGX_OK) {
            ORVA_LOG(logger_, LevelError,
                     "Failed to set camera master id - Port: " << port << " Speed: " << ports_[port]->GetLinkSpeed());
            ports_[port]->ResetPortState();
            continue;
        }
        connectionIds[port] = id;
    }

    // Every link shows the value of its camera's master link: that is how
    // extension links find their master.
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((kept & Bit(port)) != 0 || !ports_[port]->IsConnected()) {
            continue;
        }
        uint32_t value = 0;
        if (ReadCameraWord(port, kMasterHostConnectionId, value) == TGX_OK) {
            const uint32_t id = connectionIds[port];
            ports_[port]->SetLinkRole(id != 0 ? core::kLinkIndexExtension : core::kLinkIndexMaster,
                                      ((value & 0xFF) << 16) + id);
        }
    }
    ORVA_LOG(logger_, LevelTrace, "Ending ScanTopology");
    return TGX_OK;
}

int32_t CxpController::SaveCameraInfo(bool remap, uint32_t kept, uint32_t candidates, uint32_t& found) {
    ORVA_LOG(logger_, LevelTrace, "Starting SaveCameraInfo");
    const int32_t status = ConnectUnconnectedPorts(kept, candidates, found);
    if (status != TGX_OK) {
        return status;
    }
    if (remap) {
        MapPorts(kept);
    }
    if (nrPorts_ > 1) {
        Pause(kWaitBeforeCameraInfoMs);
    }
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((kept & Bit(port)) == 0 && ports_[port]->IsConnected() &&
            ports_[port]->GetLinkIndex() == core::kLinkIndexMaster) {
            ports_[port]->SaveCameraInfo();
        }
    }
    return TGX_OK;
}

int32_t CxpController::ConnectUnconnectedPorts(uint32_t kept, uint32_t candidates, uint32_t& found) {
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        CCxpPort& master = *ports_[port];
        if ((kept & Bit(port)) != 0 || !master.IsConnected() || master.GetLinkIndex() != core::kLinkIndexMaster) {
            continue;
        }
        const uint32_t cameraId = CameraIdOf(master.GetMasterId());
        const auto designMax = static_cast<uint32_t>(
            std::count_if(layout_.designPorts.begin(), layout_.designPorts.end(),
                          [cameraId](const DesignPort& entry) { return CameraIdOf(entry.key) == cameraId; }));
        const uint32_t portMax = static_cast<uint32_t>(std::popcount(CameraGroup(port)));
        ORVA_LOG(logger_, LevelTrace,
                 "ConnectUnconnectedPorts check Max DL conn: " << designMax << " Port Max conn: " << portMax);
        if (designMax <= portMax) {
            continue;
        }
        ORVA_LOG(logger_, LevelInfo, "ConnectUnconnectedPorts Detect open port on: " << port);
        uint32_t word = 0;
        if (ReadCameraWord(port, kConnectionConfigDefault, word) != TGX_OK) {
            continue;
        }
        const uint32_t cameraMax = DecodeConnectionConfigWord(word).links;
        ORVA_LOG(logger_, LevelTrace,
                 "ConnectUnconnectedPorts camera allow more conn : " << designMax << " " << portMax << " "
                                                                     << cameraMax);
        if (cameraMax > designMax || cameraMax <= portMax) {
            continue;
        }
        ORVA_LOG(logger_, LevelTrace, "ConnectUnconnectedPorts detect free conn : " << port);
        const uint32_t links = std::min(designMax, cameraMax);
        const uint32_t speed = master.GetLinkSpeed();
        const int32_t written = WriteCameraWord(port, kConnectionConfig, ConnectionConfigWord(links, speed));
        ORVA_LOG(logger_, LevelTrace, "ConnectUnconnectedPorts activate conn on : " << port << " status " << written);
        ORVA_LOG(logger_, LevelDebug, "Wait " << waitAfterCameraConfigDone_ << " milliseconds");
        if (!Pause(waitAfterCameraConfigDone_)) {
            break;
        }

        // The camera now drives more links: find them among the ports that
        // didn't lock, and take the ones that show this camera's master id.
        uint32_t hostId = 0;
        if (ReadCameraWord(port, kMasterHostConnectionId, hostId) != TGX_OK) {
            continue;
        }
        for (uint32_t added = portMax; added < links; ++added) {
            bool joined = false;
            for (uint32_t other = 0; other < nrPorts_ && !joined; ++other) {
                if ((candidates & Bit(other)) == 0 || ports_[other]->IsConnected()) {
                    continue;
                }
                bool changed = false;
                ports_[other]->SetUplinkSpeed(speed, changed);
                if (ports_[other]->LockLinksAtSpeed(speed) != TGX_OK) {
                    continue;
                }
                candidates &= ~Bit(other);
                uint32_t id = 0;
                uint32_t value = 0;
                if (ReadCameraWord(other, kDeviceConnectionId, id) == TGX_OK && id != 0 &&
                    ReadCameraWord(other, kMasterHostConnectionId, value) == TGX_OK && value == hostId) {
                    ports_[other]->SetLinkRole(core::kLinkIndexExtension, (cameraId << 16) + id);
                    found |= Bit(other);
                    joined = true;
                } else {
                    // Another camera's link: it is found by the next scan.
                    ports_[other]->ResetPortState();
                }
            }
            if (!joined) {
                break;
            }
        }
    }
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if (ports_[port]->IsConnected()) {
            return TGX_OK;
        }
    }
    return TGX_ERR_INVALID_PORT;
}

int32_t CxpController::MapPorts(uint32_t kept) {
    std::vector<core::SelectorPair> pairs;
    std::vector<bool> taken(layout_.designPorts.size(), false);
    // The kept links stay where they are.
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((kept & Bit(port)) != 0) {
            const uint32_t designPort = ports_[port]->GetAppletPort();
            pairs.push_back({designPort, port});
            if (designPort < taken.size()) {
                taken[designPort] = true;
            }
        }
    }
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((kept & Bit(port)) != 0 || !ports_[port]->IsConnected()) {
            continue;
        }
        const uint32_t key = ports_[port]->GetMasterId();
        bool mapped = false;
        for (const DesignPort& entry : layout_.designPorts) {
            if (entry.key == key && !taken[entry.designPort]) {
                taken[entry.designPort] = true;
                pairs.push_back({entry.designPort, port});
                ports_[port]->SetAppletMasterId(entry.key);
                ORVA_LOG(logger_, LevelTrace, "Found map port: " << port << " To DL Port " << entry.designPort);
                mapped = true;
                break;
            }
        }
        if (!mapped) {
            // The design has no place for this link.
            ORVA_LOG(logger_, LevelTrace, "Found map port notconnected: " << port << " Logical port ID: " << Hex(key));
            ports_[port]->ResetPortState();
        }
    }
    const uint64_t selector = core::ComputeSelector(pairs);
    ORVA_LOG(logger_, LevelTrace, "New Selector: " << Hex(selector));
    ApplySelector(selector, kept);
    return TGX_OK;
}

void CxpController::ApplySelector(uint64_t selector, uint32_t kept) {
    const uint32_t held = AllPortsMask() & ~kept;
    // Bound to their new design ports first, the held ports can't hold the
    // acknowledge receiver of a design port that a kept link uses.
    RebindPorts(held, selector);
    std::array<uint32_t, 32> saved{};
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((held & Bit(port)) != 0) {
            saved[port] = ports_[port]->GetCoreResetValue();
            ports_[port]->SetCoreReset(kCoreResetHold);
        }
    }
    SetDiscoverySelector(selector);
    // A design that can't be told a selector keeps its own: bind by that.
    const uint64_t inForce = GetDiscoverySelector();
    if (inForce != selector && inForce != core::kUnknownSelector) {
        RebindPorts(held, inForce);
    }
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((held & Bit(port)) != 0) {
            ports_[port]->SetCoreReset(saved[port]);
        }
    }
}

void CxpController::RebindPorts(uint32_t mask, uint64_t selector) {
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((mask & Bit(port)) == 0) {
            continue;
        }
        uint32_t designPort = core::DesignPortOfPhysical(selector, port);
        if (designPort >= nrPorts_) {
            designPort = port;
        }
        if (designPort != ports_[port]->GetAppletPort()) {
            ports_[port]->SetAppletPort(designPort);
            ports_[port]->BindPortRegisters(designPort);
        }
    }
}

uint32_t CxpController::CameraGroup(uint32_t port) {
    const uint32_t cameraId = CameraIdOf(ports_[port]->GetMasterId());
    uint32_t group = 0;
    for (uint32_t other = 0; other < nrPorts_; ++other) {
        if (ports_[other]->IsConnected() && ports_[other]->GetMasterId() != CCxpPort::kUnknown &&
            CameraIdOf(ports_[other]->GetMasterId()) == cameraId) {
            group |= Bit(other);
        }
    }
    return group;
}

void CxpController::SetUplinkSpeedOnMask(uint32_t portMask, uint32_t speed, uint32_t* changedMask) {
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((portMask & Bit(port)) == 0) {
            continue;
        }
        bool changed = false;
        ports_[port]->SetUplinkSpeed(speed, changed);
        if (changed && changedMask != nullptr) {
            *changedMask |= Bit(port);
        }
    }
}

void CxpController::LockGroupAtSpeed(uint32_t portMask, uint32_t speed, uint32_t& lockedMask) {
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((portMask & Bit(port)) != 0 && ports_[port]->LockLinksAtSpeed(speed) == TGX_OK) {
            lockedMask |= Bit(port);
        }
    }
}

int32_t CxpController::SetFinalLinkConfig(uint32_t kept) {
    ORVA_LOG(logger_, LevelTrace, "Starting SetFinalLinkConfig");
    for (uint32_t port = 0; port < nrPorts_ && !StopRequested(); ++port) {
        CCxpPort& master = *ports_[port];
        if ((kept & Bit(port)) != 0 || !master.IsConnected() || master.GetLinkIndex() != core::kLinkIndexMaster) {
            continue;
        }
        uint32_t word = 0;
        if (ReadCameraWord(port, kConnectionConfigDefault, word) != TGX_OK) {
            continue;
        }
        const ConnectionConfig defaults = DecodeConnectionConfigWord(word);
        const uint32_t current = master.GetLinkSpeed();
        // A default speed the table doesn't know counts as the one found.
        const uint32_t defaultSpeed = defaults.speed != 0 ? defaults.speed : current;
        const uint32_t target = std::max(current, defaultSpeed);
        const uint32_t group = CameraGroup(port);
        const auto count = static_cast<uint32_t>(std::popcount(group));
        if (current == defaultSpeed && defaults.links == count) {
            continue;
        }
        WriteCameraWord(port, kConnectionConfig, ConnectionConfigWord(count, target));
        SetUplinkSpeedOnMask(group, target, nullptr);
        ORVA_LOG(logger_, LevelDebug, "Wait " << waitAfterCameraConfigDone_ << " milliseconds");
        Pause(waitAfterCameraConfigDone_);
        uint32_t locked = 0;
        LockGroupAtSpeed(group, target, locked);
        if (locked == group) {
            continue;
        }
        // Back to the lower of the two; the camera keeps the word it got.
        const uint32_t low = std::min(current, defaultSpeed);
        uint32_t changed = 0;
        SetUplinkSpeedOnMask(group, low, &changed);
        if (changed != 0) {
            ORVA_LOG(logger_, LevelDebug, "Waiting " << waitAfterUplinkSpeedReset_ << " milliseconds");
            Pause(waitAfterUplinkSpeedReset_);
        }
        locked = 0;
        LockGroupAtSpeed(group, low, locked);
        // The camera stays with the links that locked; the others have no
        // link to offer and are tried again at the next scan.
        for (uint32_t other = 0; other < nrPorts_; ++other) {
            if ((group & ~locked & Bit(other)) != 0) {
                ORVA_LOG(logger_, LevelWarning,
                         "Port " << other << " locked neither at " << target << " nor at " << low);
                ports_[other]->ResetPortState();
            }
        }
    }
    ORVA_LOG(logger_, LevelTrace, "Ending SetFinalLinkConfig");
    return TGX_OK;
}

int32_t CxpController::SetPortConnectionConfig(uint32_t portIndex, uint32_t config) {
    if (portIndex >= nrPorts_ || ports_[portIndex]->GetLinkIndex() != core::kLinkIndexMaster) {
        return TGX_ERR_INVALID_PORT;
    }
    ConnectionConfig wanted = DecodeLinkConfigProperty(config);
    const uint32_t group = CameraGroup(portIndex);
    if (wanted.speed == 0 || wanted.links == 0) {
        uint32_t word = 0;
        const int32_t status = ReadCameraWord(portIndex, kConnectionConfig, word);
        if (status != TGX_OK) {
            return status;
        }
        const ConnectionConfig current = DecodeConnectionConfigWord(word);
        if (wanted.speed == 0) {
            wanted.speed = current.speed;
        }
        if (wanted.links == 0) {
            wanted.links = current.links;
        }
    }
    if (SpeedCode(wanted.speed) == 0) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    const int32_t written =
        WriteCameraWord(portIndex, kConnectionConfig, ConnectionConfigWord(wanted.links, wanted.speed));
    if (written != TGX_OK) {
        return written;
    }
    SetUplinkSpeedOnMask(group, wanted.speed, nullptr);
    ORVA_LOG(logger_, LevelDebug, "Waiting " << waitAfterCameraConfigDone_ << " milliseconds");
    Pause(waitAfterCameraConfigDone_);
    uint32_t locked = 0;
    LockGroupAtSpeed(group, wanted.speed, locked);
    return locked == group ? TGX_OK : TGX_ERR_INVALID_LINK_SPEED;
}

// ---------------------------------------------------------------------------
// The discovery selector
// ---------------------------------------------------------------------------

int32_t CxpController::SetDiscoverySelector(uint64_t selector) {
    if (gtxIf_ == CCxpPort::kGtxIfQueue) {
        return board::OHalCameraCtrlSetPortMap(device_, static_cast<uint32_t>(selector),
                                               static_cast<uint32_t>(selector >> 32));
    }
    if (regDiscoverySelectWrite_ <= 0 || regDiscoverySelectRead_ <= 0) {
        ORVA_LOG(logger_, LevelDebug, "No Discovery Select interface");
        return TGX_OK;
    }
    templates::platform::InterProcessLockGuard guard(controllerLock_.get());
    if (!HasSelectorRegisters(boardType_)) {
        ORVA_LOG(logger_, LevelDebug, "Board Type not supported");
        return TGX_ERR_INTERNAL;
    }
    uint64_t current = 0;
    board::OHalRegisterRead(device_, static_cast<uint32_t>(regDiscoverySelectRead_), &current);
    if (current != selector) {
        board::OHalRegisterWrite(device_, static_cast<uint32_t>(regDiscoverySelectWrite_), selector);
    }
    return TGX_OK;
}

uint64_t CxpController::GetDiscoverySelector() {
    templates::platform::InterProcessLockGuard guard(controllerLock_.get());
    uint64_t value = 0;
    if (regDiscoverySelectRead_ > 0) {
        if (board::OHalRegisterRead(device_, static_cast<uint32_t>(regDiscoverySelectRead_), &value) < 0) {
            return core::kUnknownSelector;
        }
        return value;
    }
    if (regDiscoveryConfig_ > 0 && (nrPorts_ == 2 || nrPorts_ == 4)) {
        if (board::OHalRegisterRead(device_, static_cast<uint32_t>(regDiscoveryConfig_), &value) < 0) {
            return core::kUnknownSelector;
        }
        return SelectorOfDiscoveryConfig(nrPorts_, value);
    }
    return core::kIdentitySelector;
}

// ---------------------------------------------------------------------------
// Speeds and cores
// ---------------------------------------------------------------------------

int32_t CxpController::SetPortLinkSpeed(uint32_t portIndex, uint32_t speed) {
    RecursiveMutexGuard guard(controllerMutex_);
    if (portIndex >= nrPorts_) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    bool changed = false;
    const int32_t status = ports_[portIndex]->SetUplinkSpeed(speed, changed);
    if (status != TGX_OK) {
        return status;
    }
    if (changed) {
        ORVA_LOG(logger_, LevelDebug, "Waiting " << waitAfterUplinkSpeedReset_ << " milliseconds");
        Pause(waitAfterUplinkSpeedReset_);
    }
    return ports_[portIndex]->SetDownlinkSpeed(speed);
}

int32_t CxpController::ResetPortCores(uint32_t portMask, uint32_t value) {
    RecursiveMutexGuard guard(controllerMutex_);
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        if ((portMask & Bit(port)) == 0) {
            continue;
        }
        const int32_t status = ports_[port]->SetCoreReset(value);
        if (status != TGX_OK) {
            return status;
        }
    }
    return TGX_OK;
}

// ---------------------------------------------------------------------------
// Power over the cable
// ---------------------------------------------------------------------------

void CxpController::PowerOn(uint32_t portMask) {
    SwitchPower(portMask, true);
}

void CxpController::PowerOff(uint32_t portMask) {
    SwitchPower(portMask, false);
}

void CxpController::SwitchPower(uint32_t portMask, bool on) {
    RecursiveMutexGuard guard(controllerMutex_);
    ORVA_LOG(logger_, LevelDebug,
             (on ? "Enabling" : "Disabling") << " power over CXP,port-mask=" << Hex(portMask) << ",handle=("
                                             << static_cast<const void*>(device_) << "),board-index=" << boardIndex_
                                             << ",board-serial=" << board::OHalGetBoardInfoInt(device_, "board/serial")
                                             << ",board-type=" << Hex(boardType_));
    if (gtxIf_ == CCxpPort::kGtxIfQueue) {
        for (uint32_t port = 0; port < nrPorts_; ++port) {
            if ((portMask & Bit(port)) != 0) {
                board::OHalCameraCtrlSetPortPowerState(device_, port, on ? 2 : 1);
            }
        }
    } else if (regPowerEnableRead_ > 0 && regPowerEnableWrite_ > 0) {
        uint64_t enabled = 0;
        board::OHalRegisterRead(device_, static_cast<uint32_t>(regPowerEnableRead_), &enabled);
        enabled = on ? (enabled | portMask) : (enabled & ~uint64_t{portMask});
        enabled &= AllPortsMask();
        board::OHalRegisterWrite(device_, static_cast<uint32_t>(regPowerEnableWrite_), enabled);
    } else {
        ORVA_LOG(logger_, LevelWarning, "No power over CXP interface");
    }
    const uint32_t wait = on ? waitAfterPowerup_ : waitAfterPowerdown_;
    Pause(wait);
    ORVA_LOG(logger_, LevelDebug,
             "Power state changed; waiting " << wait << " ms for camera(s) to power " << (on ? "up" : "down"));
}

int32_t CxpController::CheckPortTrips() {
    // Signed: with no attempts configured the ports are still cycled once.
    int64_t attempts = numResetAttemptsOnPortTrip_;
    int32_t result = TGX_OK;
    uint32_t tripped = 0;
    do {
        tripped = 0;
        for (uint32_t port = 0; port < nrPorts_; ++port) {
            uint32_t status = kPowerStatusUnknown;
            uint32_t portNumber = port;
            result = GetBoardProperty("CxpPowerStatus", &status, kPropertyTypeUint32, &portNumber);
            if (result == TGX_OK && IsTrippedPowerStatus(status)) {
                tripped |= Bit(port);
            } else if (result != TGX_OK) {
                ORVA_LOG(logger_, LevelDebug, "Failed to get power state for port " << port);
            }
        }
        if (tripped == 0) {
            return result;
        }
        ORVA_LOG(logger_, LevelDebug,
                 "Some ports are in a tripped state; port mask " << Hex(tripped) << "; resetting ports");
        PowerOff(tripped);
        Pause(kTripPowerOffMs);
        PowerOn(tripped);
        if (waitAfterTripReset_ != 0) {
            ORVA_LOG(logger_, LevelDebug, "Waiting " << waitAfterTripReset_ << " milliseconds");
            if (!Pause(waitAfterTripReset_)) {
                return result;
            }
        }
        --attempts;
    } while (attempts > 0);
    ORVA_LOG(logger_, LevelWarning, "Some ports are in a tripped state; port mask " << Hex(tripped));
    return result;
}

// ---------------------------------------------------------------------------
// Board properties
// ---------------------------------------------------------------------------

namespace {

struct PropertyRow {
    const char* name;
    uint32_t type;
};

constexpr PropertyRow kGetProperties[] = {
    {"CxpPowerSense", kPropertyTypeDouble},
    {"CxpPowerVin", kPropertyTypeDouble},
    {"CxpPowerAdIn", kPropertyTypeDouble},
    {"CxpPowerStatus", kPropertyTypeUint32},
    {"CxpTransceiverNotInTable", kPropertyTypeUint32},
    {"CxpTransceiverDisparityError", kPropertyTypeUint32},
    {"MagicValue", kPropertyTypeUint32},
    {"XmlSize", kPropertyTypeUint32},
    {"XmlFile", kPropertyTypeText},
    {"CameraRevision", kPropertyTypeUint32},
};

const PropertyRow* FindProperty(const char* name) {
    for (const PropertyRow& row : kGetProperties) {
        if (std::strcmp(row.name, name) == 0) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace

int32_t CxpController::GetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) {
    if (name == nullptr) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    const PropertyRow* row = FindProperty(name);
    if (row == nullptr) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    RecursiveMutexGuard guard(controllerMutex_);
    const int32_t check = core::CheckPortPropertyArguments(value, type, row->type, extra, nrPorts_);
    if (check != TGX_OK) {
        return check;
    }
    return GetPortProperty(row->name, value, type, *extra);
}

int32_t CxpController::GetPortProperty(const std::string& name, void* value, uint32_t type, uint32_t port) {
    const bool group1 = InBoardGroup1(boardType_);
    const bool group2 = InBoardGroup2(boardType_);
    const bool group4 = InBoardGroup4(boardType_);
    uint64_t raw = 0;
    const auto read = [&](const char* base) { return ReadRegisterByName(PortName(base, port), raw); };
    const auto storeDouble = [value](double result) {
        *static_cast<double*>(value) = result;
        return TGX_OK;
    };
    const auto storeUint = [value](uint32_t result) {
        *static_cast<uint32_t*>(value) = result;
        return TGX_OK;
    };
    int32_t status = TGX_OK;

    if (name == "CxpPowerSense") {
        if (group1) {
            status = read("CxpPowerSense_");
            return status != TGX_OK ? status : storeDouble(static_cast<double>(raw) * 0.0004 * 1000.0);
        }
        if (group2) {
            status = read("CxpPowerShuntVoltage_");
            return status != TGX_OK ? status : storeDouble(static_cast<double>(raw) * 0.2);
        }
        if (group4) {
            status = read("CxpPowerStatus_");
            return status != TGX_OK ? status : storeDouble(static_cast<double>(raw & 0xFFFF) * 0.2);
        }
        return TGX_ERR_INVALID_COMMAND;
    }
    if (name == "CxpPowerVin") {
        if (group1) {
            status = read("CxpPowerVin_");
            return status != TGX_OK ? status : storeDouble(static_cast<double>(raw) * 0.025);
        }
        if (group2) {
            status = read("CxpPowerBusVoltage_");
            return status != TGX_OK ? status : storeDouble(static_cast<double>(raw) * 0.004);
        }
        if (group4) {
            status = read("CxpPowerStatus_");
            return status != TGX_OK ? status : storeDouble(static_cast<double>((raw >> 16) & 0x3FFF) * 0.004);
        }
        return TGX_ERR_INVALID_COMMAND;
    }
    if (name == "CxpPowerAdIn") {
        if (!group1) {
            return TGX_ERR_INVALID_COMMAND;
        }
        status = read("CxpPowerAdIn_");
        if (status != TGX_OK) {
            return status;
        }
        const double reading = static_cast<double>(raw);
        // The sensor's divider is undefined at its top reading.
        if (reading == 13800.0) {
            return TGX_ERR_INVALID_DATA;
        }
        return storeDouble(reading * 300.0 / (13800.0 - reading));
    }
    if (name == "CxpPowerStatus") {
        if (!group1 && !group2 && !InBoardGroup3(boardType_)) {
            return TGX_ERR_INVALID_COMMAND;
        }
        status = read("CxpPowerStatus_");
        if (status != TGX_OK) {
            return status;
        }
        uint32_t powerStatus = kPowerStatusUnknown;
        switch (DecodePowerStatus(boardType_, raw, powerStatus)) {
        case PowerStatusDecode::Ok:
            break;
        case PowerStatusDecode::InvalidValue:
            ORVA_LOG(logger_, LevelWarning, "Failed to get PoCXP status: invalid value");
            break;
        case PowerStatusDecode::BoardNotSupported:
            ORVA_LOG(logger_, LevelWarning, "Failed to get PoCXP status: board not supported");
            break;
        }
        return storeUint(powerStatus);
    }
    if (name == "CxpTransceiverNotInTable" || name == "CxpTransceiverDisparityError") {
        const bool nit = name == "CxpTransceiverNotInTable";
        if (group4) {
            status = read("CxpTransceiverStatus_");
            if (status != TGX_OK) {
                return status;
            }
            return storeUint(static_cast<uint32_t>(nit ? raw & 0xFFFFFF : (raw >> 24) & 0xFFFFFF));
        }
        status = read(nit ? "CxpTransceiverNotInTable_" : "CxpTransceiverDisparityError_");
        return status != TGX_OK ? status : storeUint(static_cast<uint32_t>(raw));
    }
    CCxpPort& cxpPort = *ports_[port];
    if (name == "MagicValue") {
        return storeUint(cxpPort.GetMagicValue());
    }
    if (name == "XmlSize") {
        return storeUint(cxpPort.GetXmlManifestSize());
    }
    if (name == "CameraRevision") {
        return storeUint(cxpPort.GetCameraRevision());
    }
    if (name == "XmlFile" && type == kPropertyTypeText) {
        // The caller's buffer has no size: the text is bounded instead, and
        // copied without a terminating zero.
        const std::string text = cxpPort.GetXmlManifestInfo();
        const std::size_t bytes = std::min<std::size_t>(text.size(), kXmlFileMaxBytes);
        std::memcpy(value, text.data(), bytes);
        return TGX_OK;
    }
    return TGX_ERR_NOT_IMPLEMENTED;
}

int32_t CxpController::SetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) {
    if (name == nullptr || std::strcmp(name, "LinkConfig") != 0) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    // The links of the camera are locked again: the link watch must not see
    // that as a loss, so the worker waits meanwhile.
    std::lock_guard<std::mutex> scan(scanMutex_);
    RecursiveMutexGuard guard(controllerMutex_);
    const int32_t check = core::CheckPortPropertyArguments(value, type, kPropertyTypeUint32, extra, nrPorts_);
    if (check != TGX_OK) {
        return check;
    }
    return SetPortConnectionConfig(*extra, *static_cast<const uint32_t*>(value));
}

} // namespace orva::cxp
