#include "SharedLock.h"

#include "Clock.h"
#include "SimError.h"
#include "orva_sim.h"

#include <cerrno>

namespace orva::sim {

namespace {

constexpr uint64_t kLockBoundNs = 10 * kNsPerSecond;

void check(int result, const char* what) {
    if (result != 0) {
        throwSystemError(what, result);
    }
}

class MutexAttributes {
public:
    MutexAttributes() { check(pthread_mutexattr_init(&attr_), "pthread_mutexattr_init"); }
    ~MutexAttributes() { pthread_mutexattr_destroy(&attr_); }
    MutexAttributes(const MutexAttributes&) = delete;
    MutexAttributes& operator=(const MutexAttributes&) = delete;
    pthread_mutexattr_t* get() { return &attr_; }

private:
    pthread_mutexattr_t attr_{};
};

class CondAttributes {
public:
    CondAttributes() { check(pthread_condattr_init(&attr_), "pthread_condattr_init"); }
    ~CondAttributes() { pthread_condattr_destroy(&attr_); }
    CondAttributes(const CondAttributes&) = delete;
    CondAttributes& operator=(const CondAttributes&) = delete;
    pthread_condattr_t* get() { return &attr_; }

private:
    pthread_condattr_t attr_{};
};

// After EOWNERDEAD the caller holds the mutex; marking it consistent keeps it
// usable for everyone after us.
void recoverIfOwnerDied(int result, layout::Sync& sync) {
    if (result == EOWNERDEAD) {
        pthread_mutex_consistent(&sync.mutex);
    }
}

} // namespace

void initialiseSync(layout::Sync& sync) {
    MutexAttributes mutexAttributes;
    check(pthread_mutexattr_setpshared(mutexAttributes.get(), PTHREAD_PROCESS_SHARED), "pthread_mutexattr_setpshared");
    check(pthread_mutexattr_setrobust(mutexAttributes.get(), PTHREAD_MUTEX_ROBUST), "pthread_mutexattr_setrobust");
    check(pthread_mutex_init(&sync.mutex, mutexAttributes.get()), "pthread_mutex_init");

    CondAttributes condAttributes;
    check(pthread_condattr_setpshared(condAttributes.get(), PTHREAD_PROCESS_SHARED), "pthread_condattr_setpshared");
    check(pthread_condattr_setclock(condAttributes.get(), CLOCK_MONOTONIC), "pthread_condattr_setclock");
    check(pthread_cond_init(&sync.changed, condAttributes.get()), "pthread_cond_init");
}

SharedLock::SharedLock(layout::Sync& sync) : sync_(sync) {
    const timespec deadline = toTimespec(monotonicNs() + kLockBoundNs);
    const int result = pthread_mutex_clocklock(&sync_.mutex, CLOCK_MONOTONIC, &deadline);
    if (result == ETIMEDOUT) {
        throw SimError(ORVA_SIM_ERR_TIMEOUT, "the simulated board stays locked by another process");
    }
    if (result != 0 && result != EOWNERDEAD) {
        throwSystemError("pthread_mutex_clocklock", result);
    }
    recoverIfOwnerDied(result, sync_);
}

SharedLock::~SharedLock() {
    pthread_mutex_unlock(&sync_.mutex);
}

bool SharedLock::waitUntil(uint64_t deadlineNs) {
    const timespec deadline = toTimespec(deadlineNs);
    const int result = pthread_cond_timedwait(&sync_.changed, &sync_.mutex, &deadline);
    recoverIfOwnerDied(result, sync_);
    return result != ETIMEDOUT;
}

void SharedLock::notifyAll() {
    pthread_cond_broadcast(&sync_.changed);
}

} // namespace orva::sim
