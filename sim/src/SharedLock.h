#pragma once

#include "SharedLayout.h"

#include <cstdint>

namespace orva::sim {

// Sets up the lock and condition of a new shared object: process-shared,
// robust, condition on CLOCK_MONOTONIC.
void initialiseSync(layout::Sync& sync);

// Holds the lock of a shared object. A lock left by a process that died is
// taken over: the data it guards may be half updated by the dead process,
// which is what a board shows after a crashed driver, too.
class SharedLock {
public:
    // Fails with ORVA_SIM_ERR_TIMEOUT if the lock stays taken longer than
    // the bound: a live process that holds it that long is hung.
    explicit SharedLock(layout::Sync& sync);
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;
    ~SharedLock();

    // Waits for a notification, at most until `deadlineNs` (monotonic). The
    // lock is held again on return. False when the deadline passed.
    bool waitUntil(uint64_t deadlineNs);
    void notifyAll();

private:
    layout::Sync& sync_;
};

} // namespace orva::sim
