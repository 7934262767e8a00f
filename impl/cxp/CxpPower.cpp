#include "impl/cxp/CxpPower.h"

#include "impl/core/PropertyArguments.h"
#include "impl/cxp/CxpPowerStatus.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/templates/RecursiveMutexGuard.h"

namespace orva::cxp {

namespace {

using templates::platform::RecursiveMutexGuard;
using tools::logging::LevelDebug;
using tools::logging::LevelWarning;

// Power stays off this long when a tripped port is cycled.
constexpr uint32_t kTripPowerOffMs = 1;

// States of the camera control interface's port power.
constexpr uint32_t kPortPowerOff = 1;
constexpr uint32_t kPortPowerOn = 2;

} // namespace

CxpPower::CxpPower(CxpBoard& board, CxpBoardProperties& properties, CxpWorkerThread& worker)
    : board_(board), properties_(properties), worker_(worker) {
    regPowerEnableRead_ = board_.LookUp("rCxpPowerEnablePower");
    regPowerEnableWrite_ = board_.LookUp("wCxpPowerEnablePower");
}

void CxpPower::PowerOn(uint32_t portMask) {
    SwitchPower(portMask, true);
}

void CxpPower::PowerOff(uint32_t portMask) {
    SwitchPower(portMask, false);
}

void CxpPower::SwitchPower(uint32_t portMask, bool on) {
    RecursiveMutexGuard guard(board_.controllerMutex);
    OHalDevice* device = board_.Device();
    ORVA_LOG(board_.GetLogger(), LevelDebug,
             (on ? "Enabling" : "Disabling")
                 << " power over CXP,port-mask=" << Hex(portMask) << ",handle=(" << static_cast<const void*>(device)
                 << "),board-index=" << board_.BoardIndex() << ",board-serial="
                 << board::OHalGetBoardInfoInt(device, "board/serial") << ",board-type=" << Hex(board_.BoardType()));
    if (board_.GtxIf() == CCxpPort::kGtxIfQueue) {
        for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
            if ((portMask & PortBit(port)) != 0) {
                board::OHalCameraCtrlSetPortPowerState(device, port, on ? kPortPowerOn : kPortPowerOff);
            }
        }
    } else if (regPowerEnableRead_ > 0 && regPowerEnableWrite_ > 0) {
        uint64_t enabled = 0;
        board::OHalRegisterRead(device, static_cast<uint32_t>(regPowerEnableRead_), &enabled);
        enabled = on ? (enabled | portMask) : (enabled & ~uint64_t{portMask});
        enabled &= board_.AllPortsMask();
        board::OHalRegisterWrite(device, static_cast<uint32_t>(regPowerEnableWrite_), enabled);
    } else {
        ORVA_LOG(board_.GetLogger(), LevelWarning, "No power over CXP interface");
    }
    const uint32_t wait = on ? board_.Tweaks().waitAfterPowerup : board_.Tweaks().waitAfterPowerdown;
    worker_.Pause(wait);
    ORVA_LOG(board_.GetLogger(), LevelDebug,
             "Power state changed; waiting " << wait << " ms for camera(s) to power " << (on ? "up" : "down"));
}

int32_t CxpPower::CheckPortTrips() {
    tools::logging::Logger* logger = board_.GetLogger();
    const uint32_t waitAfterTripReset = board_.Tweaks().waitAfterTripReset;
    // Signed: with no attempts configured the ports are still cycled once.
    int64_t attempts = board_.Tweaks().numResetAttemptsOnPortTrip;
    int32_t result = TGX_OK;
    uint32_t tripped = 0;
    do {
        tripped = 0;
        for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
            uint32_t status = kPowerStatusUnknown;
            uint32_t portNumber = port;
            result = properties_.Get("CxpPowerStatus", &status, core::kPropertyTypeUint32, &portNumber);
            if (result == TGX_OK && IsTrippedPowerStatus(status)) {
                tripped |= PortBit(port);
            } else if (result != TGX_OK) {
                ORVA_LOG(logger, LevelDebug, "Failed to get power state for port " << port);
            }
        }
        if (tripped == 0) {
            return result;
        }
        ORVA_LOG(logger, LevelDebug,
                 "Some ports are in a tripped state; port mask " << Hex(tripped) << "; resetting ports");
        PowerOff(tripped);
        worker_.Pause(kTripPowerOffMs);
        PowerOn(tripped);
        if (waitAfterTripReset != 0) {
            ORVA_LOG(logger, LevelDebug, "Waiting " << waitAfterTripReset << " milliseconds");
            if (!worker_.Pause(waitAfterTripReset)) {
                return result;
            }
        }
        --attempts;
    } while (attempts > 0);
    ORVA_LOG(logger, LevelWarning, "Some ports are in a tripped state; port mask " << Hex(tripped));
    return result;
}

} // namespace orva::cxp
