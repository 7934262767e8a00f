#include "impl/cxp/CxpTransceivers.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "impl/core/LazyLogger.h"
#include "impl/core/Stopwatch.h"
#include "impl/cxp/CxpBootstrapRegisters.h"
#include "impl/cxp/CxpControlChannel.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logger.h"
#include "runtime/templates/InterProcessLockGuard.h"
#include "runtime/templates/RecursiveMutexGuard.h"

namespace orva::cxp {

namespace {

using orva::core::Stopwatch;
using orva::templates::platform::InterProcessLockGuard;
using orva::templates::platform::RecursiveMutexGuard;
using orva::tools::logging::LevelDebug;
using orva::tools::logging::LevelError;
using orva::tools::logging::LevelInfo;
using orva::tools::logging::LevelTrace;
using orva::tools::logging::LevelWarning;

// Statuses of the transceiver programming that have no public code.
constexpr int32_t kErrSpeedNotSupported = -2075;
constexpr int32_t kErrUnknownCoreType = -2031;

// Flag waits and the link lock window.
constexpr uint64_t kFlagWaitUs = 1000000;
constexpr uint64_t kLockWindowUs = 5000;
constexpr uint32_t kLockGoodReads = 100;
constexpr uint32_t kLockAttempts = 10;

// Bits a port may set in a core reset register that serves another design
// port: everything but the acknowledge receiver.
constexpr uint32_t kCoreResetForeignMask = 5;
// What a NIT read that fails leaves: all errors, so nothing counts as locked.
constexpr uint64_t kNitUnread = 0xFFFFFFFF;
// The 24-bit NIT counter the poll measures against.
constexpr uint32_t kNitCountMask = 0xFFFFFF;

constexpr uint32_t kHighSpeedFirst = 10000;

// Data path states of the camera control interface for core reset values.
uint32_t DataPathState(uint32_t coreReset) {
    switch (coreReset) {
    case 0:
        return 5;
    case 2:
        return 4;
    case 7:
        return 2;
    default:
        return 3;
    }
}

// LED states of the camera control interface for LED modes.
uint32_t LedState(uint32_t mode) {
    switch (mode) {
    case 1:
    case 2:
    case 3:
        return mode;
    case 5:
    case 6:
        return 6;
    case 8:
        return 4;
    default:
        return 7;
    }
}

int32_t BoardStatus(int32_t status) {
    return status < 0 ? status : 0;
}

} // namespace

CxpTransceivers::CxpTransceivers(const Setup& setup, const CxpCoreTraits& traits, const CxpBoardRegisters& boardRegs,
                                 CxpControlChannel& channel, orva::templates::platform::RecursiveMutex& portMutex,
                                 orva::templates::platform::InterProcessLock& txcLock, core::LazyLogger& logger)
    : traits_(traits), boardRegs_(boardRegs), portNumber_(setup.portNumber), device_(setup.device),
      waitAfterLinkLockFound_(setup.waitAfterLinkLockFound), skipRegisterCheck_(setup.skipRegisterCheck),
      toleratedNitErrors_(setup.toleratedNitErrors), toleratedIntervals_(setup.toleratedIntervals), channel_(channel),
      logger_(logger), portMutex_(portMutex), txcLock_(txcLock) {}

void CxpTransceivers::UsePortRegisters(const CxpPortRegisters& regs) {
    RecursiveMutexGuard lock(portMutex_);
    controlCoreReset_ = regs.controlCoreReset;
    ledModeSelectWrite_ = regs.ledModeSelectWrite;
}

int32_t CxpTransceivers::WaitForBit(const RegisterBit& flag, bool set, const char* what) {
    const uint32_t bit = flag.BitOf(portNumber_);
    const Stopwatch watch;
    for (;;) {
        uint64_t value = 0;
        const int32_t status = ReadDesignRegister(device_, Register(flag.reg), value);
        if (status != 0) {
            return status;
        }
        if ((((value >> bit) & 1u) != 0) == set) {
            return 0;
        }
        if (watch.ElapsedUs() > kFlagWaitUs) {
            ORVA_LOG(logger_.Get(), LevelError,
                     "Port " << portNumber_ << ": " << what << " didn't " << (set ? "set" : "clear") << " bit " << bit
                             << " within " << kFlagWaitUs / 1000 << " ms");
            return TGX_ERR_LINK_TIMEOUT;
        }
        std::this_thread::yield();
    }
}

// ---------------------------------------------------------------------------
// bit rates

int32_t CxpTransceivers::WriteConfigurationWords(uint32_t speed) {
    const auto& settings = traits_.drpSettings;
    const auto setting =
        std::find_if(settings.begin(), settings.end(), [speed](const DrpSetting& s) { return s.speed == speed; });
    if (setting == settings.end()) {
        return kErrSpeedNotSupported;
    }
    const RegisterBit& ready = traits_.drpReady;
    int32_t status = ready.Present() ? WaitForBit(ready, true, "DRP ready") : 0;
    for (uint32_t i = 0; status == 0 && i < setting->count; ++i) {
        status = WriteDesignRegister(device_, boardRegs_.gtxDrpAddress, setting->words[i].address);
        if (status == 0) {
            status = WriteDesignRegister(device_, boardRegs_.gtxDrpWriteData, setting->words[i].data);
        }
        if (status != 0) {
            break;
        }
        if (ready.Present()) {
            // The first read after a word may still show the old flag.
            uint64_t ignored = 0;
            status = ReadDesignRegister(device_, Register(ready.reg), ignored);
            if (status == 0) {
                status = WaitForBit(ready, true, "DRP ready");
            }
        } else {
            // Without a ready flag the core takes a word within this time.
            std::this_thread::sleep_for(std::chrono::milliseconds(traits_.drpSettleMs));
        }
    }
    return status;
}

int32_t CxpTransceivers::WriteRateCode(uint32_t speed) {
    const auto& codes = traits_.rateCodes;
    const auto rate = std::find(codes.begin(), codes.end(), speed);
    if (rate == codes.end()) {
        return kErrSpeedNotSupported;
    }
    const auto code = static_cast<uint64_t>(rate - codes.begin());
    const RegisterBit& done = traits_.rateDone;
    int32_t status = WaitForBit(done, true, "bit rate done");
    if (status == 0) {
        status = WriteDesignRegister(device_, Register(traits_.rateRegister), code);
    }
    uint64_t ignored = 0;
    if (status == 0) {
        // As with the configuration words: the first read may be stale.
        status = ReadDesignRegister(device_, Register(done.reg), ignored);
    }
    if (status == 0) {
        status = WaitForBit(done, true, "bit rate done");
    }
    return status;
}

int32_t CxpTransceivers::ProgramDownlink(uint32_t speed) {
    switch (traits_.downlink) {
    case DownlinkProgramming::ConfigurationWords:
        return WriteConfigurationWords(speed);
    case DownlinkProgramming::BitRateRegister:
        return WriteRateCode(speed);
    case DownlinkProgramming::Unsupported:
        break;
    }
    return kErrUnknownCoreType;
}

int32_t CxpTransceivers::SetDownlinkSpeed(uint32_t speed) {
    int32_t status = 0;
    if (ByCameraControl()) {
        status = BoardStatus(orva::board::OHalCameraCtrlSetPortDataPathSpeed(device_, portNumber_, speed));
    } else {
        InterProcessLockGuard txc(&txcLock_);
        status = ProgramDownlink(speed);
    }
    if (status != 0) {
        ORVA_LOG(logger_.Get(), LevelError,
                 "Failed to set bitrate of downlink transceivers,port-mask=" << portNumber_
                                                                             << " Error code: " << status);
        return status;
    }
    status = TransceiverReset();
    ORVA_LOG(logger_.Get(), LevelDebug,
             "Downlink transceivers set to " << speed / 1000.0 << " Gbit/s, port " << portNumber_);
    return status;
}

int32_t CxpTransceivers::SetUplinkSpeed(uint32_t speed, bool& changed) {
    changed = false;
    const uint32_t high = speed >= kHighSpeedFirst ? 1 : 0;
    int32_t status = SetCoreReset(kCoreHeld);
    if (status == 0 && ByCameraControl()) {
        status = BoardStatus(orva::board::OHalCameraCtrlSetPortDataPathSpeed(device_, portNumber_, speed));
    } else if (status == 0) {
        switch (traits_.uplink) {
        case UplinkProgramming::ClassRegister: {
            InterProcessLockGuard txc(&txcLock_);
            status = WaitForBit(traits_.uplinkReady, true, "uplink ready");
            if (status == 0) {
                status = WriteDesignRegister(device_, Register(traits_.uplinkRegister), high);
            }
            break;
        }
        case UplinkProgramming::Fixed:
            break;
        case UplinkProgramming::Unsupported:
            status = TGX_ERR_INTERNAL;
            break;
        }
    }
    if (status != 0) {
        ORVA_LOG(logger_.Get(), LevelError, "Failed to set bitrate of uplink transceivers");
        return status;
    }
    {
        RecursiveMutexGuard lock(portMutex_);
        if (uplinkHighSpeed_ != high) {
            uplinkHighSpeed_ = high;
            changed = true;
        }
    }
    ORVA_LOG(logger_.Get(), LevelDebug, "Uplink transceivers set to " << (high != 0 ? "high" : "low") << " speed");
    return 0;
}

// ---------------------------------------------------------------------------
// resets

int32_t CxpTransceivers::SetCoreReset(uint32_t value) {
    int32_t status = 0;
    bool writeFailed = false;
    if (ByCameraControl()) {
        status =
            BoardStatus(orva::board::OHalCameraCtrlSetPortDataPathState(device_, portNumber_, DataPathState(value)));
    } else {
        RecursiveMutexGuard lock(portMutex_);
        InterProcessLockGuard txc(&txcLock_);
        // The acknowledge receiver bit belongs to the design port that this
        // register serves; another port's routing mustn't hold it.
        const uint32_t written = boardRegs_.coreReset == controlCoreReset_ ? value : (value & kCoreResetForeignMask);
        // A design without the register still runs its links; the write's
        // failure is only reported.
        writeFailed = WriteDesignRegister(device_, boardRegs_.coreReset, written) != 0;
    }
    {
        RecursiveMutexGuard lock(portMutex_);
        coreResetValue_ = value;
    }
    if (status != 0 || writeFailed) {
        ORVA_LOG(logger_.Get(), LevelWarning, "CXP Control Core Reset failed");
    } else {
        ORVA_LOG(logger_.Get(), LevelDebug, "CXP Control Core Reset set to 0x" << std::hex << value);
    }
    return status;
}

uint32_t CxpTransceivers::GetCoreResetValue() {
    RecursiveMutexGuard lock(portMutex_);
    return coreResetValue_;
}

int32_t CxpTransceivers::RunResetStep(const ResetStep& step) {
    switch (step.action) {
    case ResetStep::Action::WritePortBit:
        return WriteDesignRegister(device_, Register(step.flag.reg), uint64_t{1} << portNumber_);
    case ResetStep::Action::WriteZero:
        return WriteDesignRegister(device_, Register(step.flag.reg), 0);
    case ResetStep::Action::Sleep:
        std::this_thread::sleep_for(std::chrono::milliseconds(step.sleepMs));
        return 0;
    case ResetStep::Action::WaitSet:
        return WaitForBit(step.flag, true, step.what);
    case ResetStep::Action::WaitClear:
        return WaitForBit(step.flag, false, step.what);
    }
    return TGX_ERR_INTERNAL;
}

int32_t CxpTransceivers::TransceiverReset() {
    if (ByCameraControl()) {
        return 0;
    }
    ORVA_LOG(logger_.Get(), LevelDebug, "Performing transceiver reset...");
    InterProcessLockGuard txc(&txcLock_);
    for (const ResetStep& step : traits_.receiverReset) {
        const int32_t status = RunResetStep(step);
        if (status != 0) {
            return status;
        }
    }
    return 0;
}

// ---------------------------------------------------------------------------
// link lock

uint64_t CxpTransceivers::ReadNitCounter() {
    if (traits_.nitCounter == nullptr) {
        ORVA_LOG(logger_.Get(), LevelWarning, "Failed to check transceiver lock: Invalid GTX interface");
        return kNitUnread;
    }
    uint64_t value = kNitUnread;
    (void)ReadDesignRegister(device_, Register(traits_.nitCounter), value);
    return value & traits_.nitMask;
}

int32_t CxpTransceivers::WaitLinkLock() {
    RecursiveMutexGuard lock(portMutex_);
    uint32_t good = 0;
    const Stopwatch watch;
    // A locked receiver shows a NIT counter that stays at 0.
    while (good <= kLockGoodReads) {
        const uint64_t elapsed = watch.ElapsedUs();
        if (elapsed >= kLockWindowUs) {
            break;
        }
        if (ReadNitCounter() == 0) {
            ++good;
            continue;
        }
        // The counter counts errors from the receiver's release on and goes
        // back to 0 only with a reset: this window can't show a lock any
        // more. Its rest is slept, not polled, so that the attempts keep
        // their length without a port that has no camera keeping a core
        // busy: the worker runs 50 lock tests per free port every second.
        good = 0;
        std::this_thread::sleep_for(std::chrono::microseconds(kLockWindowUs - elapsed));
    }
    if (good <= kLockGoodReads) {
        return TGX_ERR_LINK_LOCK_TIMEOUT;
    }
    ORVA_LOG(logger_.Get(), LevelDebug,
             "Port " << portNumber_ << ": link lock found after " << watch.ElapsedUs() << " us");

    const RegisterBit& linkUp = traits_.linkUp;
    if (!linkUp.Present()) {
        return 0;
    }
    uint64_t status = 0;
    if (ReadDesignRegister(device_, Register(linkUp.reg), status) != 0 ||
        ((status >> linkUp.BitOf(portNumber_)) & 1u) == 0) {
        return TGX_ERR_LINK_LOCK_TIMEOUT;
    }
    return 0;
}

int32_t CxpTransceivers::LockLinksAtSpeed(uint32_t speed) {
    int32_t status = SetCoreReset(kCoreHeld);
    if (status != 0) {
        return status;
    }
    ORVA_LOG(logger_.Get(), LevelTrace, "[CXP::LockLinksAtSpeed] ... CXP control core reset.");
    status = SetDownlinkSpeed(speed);
    if (status != 0) {
        return status;
    }
    ORVA_LOG(logger_.Get(), LevelTrace, "[CXP::LockLinksAtSpeed] ... Downlink transceiver bitrate set.");

    status = TGX_ERR_LINK_LOCK_TIMEOUT;
    for (uint32_t attempt = 0; attempt < kLockAttempts; ++attempt) {
        const int32_t reset = SetCoreReset(kCoreLockTest);
        if (reset != 0) {
            return reset;
        }
        ORVA_LOG(logger_.Get(), LevelTrace, "[CXP::LockLinksAtSpeed] ... CXP control core reset.");
        status = WaitLinkLock();
        if (status == TGX_ERR_LINK_LOCK_TIMEOUT) {
            const int32_t held = SetCoreReset(kCoreHeld);
            if (held != 0) {
                return held;
            }
            std::this_thread::yield();
            continue;
        }
        const int32_t running = SetCoreReset(kCoreRunning);
        if (running != 0) {
            return running;
        }
        break;
    }
    ORVA_LOG(logger_.Get(), LevelTrace, "[CXP::LockLinksAtSpeed] ... Waiting for link synchronisation done.");
    if (status != 0) {
        return status;
    }

    if (waitAfterLinkLockFound_ != 0) {
        ORVA_LOG(logger_.Get(), LevelDebug, "Waiting " << waitAfterLinkLockFound_ << " milliseconds");
        std::this_thread::sleep_for(std::chrono::milliseconds(waitAfterLinkLockFound_));
    }

    if (!skipRegisterCheck_) {
        uint32_t magic = 0;
        if (channel_.ReadRegister32(bootstrap::kMagic, magic) != 0) {
            ORVA_LOG(logger_.Get(), LevelWarning, "Link " << portNumber_ << " up but register communication failed");
            return TGX_ERR_INVALID_LINK_SPEED;
        }
        {
            RecursiveMutexGuard lock(portMutex_);
            magicValue_ = magic;
        }
        ORVA_LOG(logger_.Get(), LevelDebug, "[CXP::nMagicValue] ... Check magic value:0x" << std::hex << magic);
        if (magic != bootstrap::kMagicValue) {
            ORVA_LOG(logger_.Get(), LevelWarning,
                     "Link " << portNumber_ << " up but received wrong magic value 0x" << std::hex << magic);
            return TGX_ERR_INVALID_LINK_SPEED;
        }
        ORVA_LOG(logger_.Get(), LevelInfo,
                 "Port " << portNumber_ << ": link locked at " << speed / 1000.0 << " Gbit/s");
    }
    return 0;
}

uint32_t CxpTransceivers::GetMagicValue() {
    RecursiveMutexGuard lock(portMutex_);
    return magicValue_;
}

bool CxpTransceivers::IsTransceiverLocked() {
    const auto count = static_cast<uint32_t>(ReadNitCounter());
    const uint32_t last = lastNitCount_.load();
    const uint32_t limit = (last + toleratedNitErrors_) & kNitCountMask;
    // The counter has 24 bits and wraps: so may the range of tolerated counts.
    const bool withinTolerance = limit > last ? (count >= last && count < limit) : (count >= last || count < limit);
    lastNitCount_.store(count);

    if (withinTolerance) {
        const uint32_t critical = criticalIntervals_.exchange(0);
        if (critical != 0) {
            ORVA_LOG(logger_.Get(), LevelDebug,
                     "Reseting Number of critical NIT polling intervals from: "
                         << critical << " to zero, total NIT errors: " << count);
        }
        return true;
    }
    const uint32_t critical = criticalIntervals_.fetch_add(1) + 1;
    ORVA_LOG(logger_.Get(), LevelDebug,
             "Number of critical NIT polling intervals: " << critical << ", total NIT errors: " << count);
    return critical <= toleratedIntervals_;
}

int32_t CxpTransceivers::SetLedMode(uint32_t mode) {
    if (ByCameraControl()) {
        return BoardStatus(orva::board::OHalCameraCtrlSetPortCxpLedState(device_, portNumber_, LedState(mode)));
    }
    RecursiveMutexGuard lock(portMutex_);
    InterProcessLockGuard txc(&txcLock_);
    return WriteDesignRegister(device_, ledModeSelectWrite_, mode);
}

} // namespace orva::cxp
