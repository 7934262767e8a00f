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

namespace {

// The thread sanitizer of this tool chain doesn't know pthread_mutex_clocklock;
// there the bound runs on the wall clock, which is all the same for a bound
// that only catches a hung holder.
#if defined(__SANITIZE_THREAD__)
int lockWithin(pthread_mutex_t& mutex, uint64_t boundNs) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const timespec deadline =
        toTimespec(static_cast<uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<uint64_t>(now.tv_nsec) + boundNs);
    return pthread_mutex_timedlock(&mutex, &deadline);
}
#else
int lockWithin(pthread_mutex_t& mutex, uint64_t boundNs) {
    const timespec deadline = toTimespec(monotonicNs() + boundNs);
    return pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &deadline);
}
#endif

} // namespace

SharedLock::SharedLock(layout::Sync& sync) : sync_(sync) {
    const int result = lockWithin(sync_.mutex, kLockBoundNs);
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
