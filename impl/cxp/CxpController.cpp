#include "impl/cxp/CxpController.h"

#include "impl/cxp/CxpLinkSpeeds.h"
#include "include/tgx_genicam.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/templates/RecursiveMutexGuard.h"

namespace orva::cxp {

namespace {

using templates::platform::RecursiveMutexGuard;
using tools::logging::LevelDebug;
using tools::logging::LevelError;
using tools::logging::LevelTrace;

// Every port a board can have: a port mask for "all of them".
constexpr uint32_t kAllPorts = 0xF;
constexpr uint32_t kEveryPowerPort = 0xFF;

} // namespace

CxpController::CxpController(OHalDevice* device, DsgDesign* design)
    : board_(device, design), workerThread_(board_.Tweaks().workerPeriodMs, board_.GetLogger()),
      topology_(board_, workerThread_), properties_(board_, topology_), power_(board_, properties_, workerThread_),
      linkWorker_(board_, workerThread_, power_, topology_) {
    if (board_.Tweaks().disablePowerOverCxp) {
        power_.PowerOff(kEveryPowerPort);
    }
}

CxpController::~CxpController() {
    // The worker uses every part: it goes first. The ports go with board_,
    // the last member.
    workerThread_.Stop();
}

tools::logging::Logger* CxpController::GetLogger() {
    return board_.GetLogger();
}

void CxpController::WaitAfterReset() {}

void CxpController::SetEventCallback(core::ControllerEventSink sink, void* context) {
    linkWorker_.SetEventCallback(sink, context);
}

void CxpController::PowerOn(uint32_t portMask) {
    power_.PowerOn(portMask);
}

void CxpController::PowerOff(uint32_t portMask) {
    power_.PowerOff(portMask);
}

int32_t CxpController::SetDiscoverySelector(uint64_t selector) {
    return topology_.SetDiscoverySelector(selector);
}

uint64_t CxpController::GetDiscoverySelector() {
    return topology_.GetDiscoverySelector();
}

int32_t CxpController::DiscoverCameras(uint32_t portMask, uint32_t speed, uint32_t timeoutMs) {
    tools::logging::Logger* logger = board_.GetLogger();
    ORVA_LOG(logger, LevelTrace, "Starting Discovery");
    const int32_t speedStatus = IsValidSpeed(speed);
    if (speedStatus != TGX_OK) {
        ORVA_LOG(logger, LevelError, "Invalid user speed " << speed << "; port mask " << Hex(portMask));
        return speedStatus;
    }
    const uint32_t mask = portMask & board_.AllPortsMask();
    if (mask == 0) {
        ORVA_LOG(logger, LevelError, "Invalid port mask " << Hex(portMask));
        return TGX_ERR_INVALID_PORT;
    }
    ORVA_LOG(logger, LevelDebug, "Starting discovery; port mask " << Hex(mask) << "; links " << board_.NrPorts());
    const int32_t result = linkWorker_.Discover(mask, timeoutMs);
    ORVA_LOG(logger, LevelTrace, "Ending Discovery");
    return result;
}

void CxpController::ResetController() {
    ResetPorts(kAllPorts);
}

int32_t CxpController::ResetPorts(uint32_t portMask) {
    return linkWorker_.ResetPorts(portMask);
}

int32_t CxpController::GetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) {
    return properties_.Get(name, value, type, extra);
}

int32_t CxpController::SetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) {
    return properties_.Set(name, value, type, extra);
}

uint32_t CxpController::GetNrOfPorts() {
    return board_.NrPorts();
}

core::IPortInterface* CxpController::GetPort(uint32_t index) {
    return index < board_.NrPorts() ? &board_.Port(index) : nullptr;
}

int32_t CxpController::SetPortLinkSpeed(uint32_t portIndex, uint32_t speed) {
    RecursiveMutexGuard guard(board_.controllerMutex);
    if (portIndex >= board_.NrPorts()) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    CCxpPort& port = board_.Port(portIndex);
    bool changed = false;
    const int32_t status = port.SetUplinkSpeed(speed, changed);
    if (status != TGX_OK) {
        return status;
    }
    if (changed) {
        const uint32_t wait = board_.Tweaks().waitAfterUplinkSpeedReset;
        ORVA_LOG(board_.GetLogger(), LevelDebug, "Waiting " << wait << " milliseconds");
        workerThread_.Pause(wait);
    }
    return port.SetDownlinkSpeed(speed);
}

int32_t CxpController::ResetPortCores(uint32_t portMask, uint32_t value) {
    RecursiveMutexGuard guard(board_.controllerMutex);
    for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
        if ((portMask & PortBit(port)) == 0) {
            continue;
        }
        const int32_t status = board_.Port(port).SetCoreReset(value);
        if (status != TGX_OK) {
            return status;
        }
    }
    return TGX_OK;
}

uint64_t CxpController::ReadDesignRegister(const char* name, bool& found) {
    uint64_t value = 0;
    found = board_.ReadRegisterByName(name, value) != TGX_ERR_INVALID_COMMAND;
    return found ? value : 0;
}

int32_t CxpController::IsValidSpeed(uint32_t speed) const {
    ORVA_LOG(board_.GetLogger(), LevelTrace, "Starting IsValidSpeed");
    const int32_t result = ValidateLinkSpeed(board_.Facts(), speed);
    ORVA_LOG(board_.GetLogger(), LevelTrace, "Ending IsValidSpeed");
    return result;
}

uint32_t CxpController::GetConnectedMask() {
    return linkWorker_.GetConnectedMask();
}

} // namespace orva::cxp
