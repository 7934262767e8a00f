// The transceivers of one CoaXPress port and the health of its link: bit
// rates of the downlink and uplink, the reset of the control core and of the
// receivers, the lock procedure at one speed, the NIT poll that decides
// whether a link still stands, and the port's LED. How each is done is the
// port's core type's (CxpCoreTraits); this class reads the row's fields.
//
// Borrows from the port its portMutex, which guards the uplink class, the
// core reset value, the magic value and the design port's core reset and LED
// registers, and is held over a lock test; and txcLock, the named lock
// "orva_genicam-board_<b>-CCxpTxc_lock": every port of the board in every
// process holds it over rate, core reset and LED writes, across the flag
// waits, so that no two program a transceiver at once. The NIT counters are
// atomics under no lock: every thread that polls shares them.
// Lock order: portMutex, then txcLock. The magic value read takes portMutex
// and comLock in the channel, never under txcLock.
//
// Thread-safe. Nothing throws.
#pragma once

#include <atomic>
#include <cstdint>

#include "impl/cxp/CxpBootstrapRegisters.h"
#include "impl/cxp/CxpCoreTraits.h"
#include "impl/cxp/CxpDesignRegisters.h"
#include "runtime/board/OrvaBoardApi.h"
#include "runtime/templates/InterProcessLock.h"
#include "runtime/templates/RecursiveMutex.h"
#include "runtime/templates/ThreadSafety.h"

namespace orva::core {
class LazyLogger;
}

namespace orva::cxp {

class CxpControlChannel;

class CxpTransceivers {
public:
    // Control core reset values: held in reset, lock test, running.
    static constexpr uint32_t kCoreHeld = 6;
    static constexpr uint32_t kCoreLockTest = 2;
    static constexpr uint32_t kCoreRunning = 0;

    struct Setup {
        uint32_t portNumber = 0;
        OHalDevice* device = nullptr;
        uint32_t waitAfterLinkLockFound = 0; // ms before the magic value is read
        bool skipRegisterCheck = false;      // a lock counts without the magic value
        uint32_t toleratedNitErrors = 0;     // new NIT errors a poll tolerates
        uint32_t toleratedIntervals = 0;     // polls in a row over it before the link counts as lost
    };

    CxpTransceivers(const Setup& setup, const CxpCoreTraits& traits, const CxpBoardRegisters& boardRegs,
                    CxpControlChannel& channel, orva::templates::platform::RecursiveMutex& portMutex,
                    orva::templates::platform::InterProcessLock& txcLock, core::LazyLogger& logger);

    // Programs the receivers to `speed` (Mbit/s), then resets them. -2075 for
    // a speed the core lacks, -2031 for a core without a known way,
    // TGX_ERR_LINK_TIMEOUT if a flag never comes.
    int32_t SetDownlinkSpeed(uint32_t speed);
    // Holds the core in reset, then sets the uplink class (high for 10000 and
    // 12500); `changed` when the class differs from the last one.
    int32_t SetUplinkSpeed(uint32_t speed, bool& changed);
    // Control core reset mask: 6 held in reset, 2 lock test, 0 running.
    int32_t SetCoreReset(uint32_t value);
    uint32_t GetCoreResetValue(); // the last value given to SetCoreReset
    int32_t TransceiverReset();
    // 0 once more than 100 NIT reads in a row are 0 within 5 ms and the link
    // flag of the core, if it has one, is set; else TGX_ERR_LINK_LOCK_TIMEOUT.
    int32_t WaitLinkLock();
    // The lock procedure at one speed up to the magic value check. The link
    // speed is the port's to set when this gives 0.
    int32_t LockLinksAtSpeed(uint32_t speed);
    // The magic value read at the last lock; bootstrap::kNotRead before.
    uint32_t GetMagicValue();
    // NIT error counter; 0xFFFFFFFF (masked) when it can't be read.
    uint64_t ReadNitCounter();
    // The NIT poll: false once too many polls in a row saw too many new
    // errors.
    bool IsTransceiverLocked();
    // LED: 1 construction, 2 no link, 3 link reset, 8 connected.
    int32_t SetLedMode(uint32_t mode);

    // The core reset and LED registers of the design port that serves the
    // connector.
    void UsePortRegisters(const CxpPortRegisters& regs);

private:
    bool ByCameraControl() const { return traits_.control == PortControl::CameraControl; }
    int32_t Register(int32_t CxpBoardRegisters::*reg) const { return boardRegs_.*reg; }
    // Polls `flag` until it reads as `set`; TGX_ERR_LINK_TIMEOUT after a
    // bound.
    int32_t WaitForBit(const RegisterBit& flag, bool set, const char* what) REQUIRES(txcLock_);
    int32_t ProgramDownlink(uint32_t speed) REQUIRES(txcLock_);
    int32_t WriteConfigurationWords(uint32_t speed) REQUIRES(txcLock_);
    int32_t WriteRateCode(uint32_t speed) REQUIRES(txcLock_);
    int32_t RunResetStep(const ResetStep& step) REQUIRES(txcLock_);

    const CxpCoreTraits& traits_;
    const CxpBoardRegisters boardRegs_;
    const uint32_t portNumber_;
    OHalDevice* const device_;
    const uint32_t waitAfterLinkLockFound_;
    const bool skipRegisterCheck_;
    const uint32_t toleratedNitErrors_;
    const uint32_t toleratedIntervals_;
    CxpControlChannel& channel_;
    core::LazyLogger& logger_;
    // The port's locks, lent for this object's lifetime.
    orva::templates::platform::RecursiveMutex& portMutex_;
    orva::templates::platform::InterProcessLock& txcLock_;

    uint32_t uplinkHighSpeed_ GUARDED_BY(portMutex_) = 2; // 1 high, 0 low, 2 not set yet
    uint32_t coreResetValue_ GUARDED_BY(portMutex_) = 0;
    uint32_t magicValue_ GUARDED_BY(portMutex_) = bootstrap::kNotRead;
    int32_t controlCoreReset_ GUARDED_BY(portMutex_) = 0; // of the design port
    int32_t ledModeSelectWrite_ GUARDED_BY(portMutex_) = 0;
    std::atomic<uint32_t> lastNitCount_{0};
    std::atomic<uint32_t> criticalIntervals_{0};
};

} // namespace orva::cxp
