#pragma once

#include <condition_variable>
#include <mutex>

#include "runtime/templates/ThreadSafety.h"

namespace orva::templates::platform {

// A plain (non-recursive) std::mutex the thread-safety analysis knows.
// Thread-safe.
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    Mutex(Mutex&&) = delete;
    Mutex& operator=(Mutex&&) = delete;
    ~Mutex() = default;

    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

private:
    friend class MutexLock;
    std::mutex mutex_;
};

// Holds a Mutex for its scope; Wait* release it while they sleep, as a
// condition variable needs.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex.mutex_) {}
    ~MutexLock() RELEASE() = default;

    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    MutexLock(MutexLock&&) = delete;
    MutexLock& operator=(MutexLock&&) = delete;

    // Gives the mutex up for an inner scope that must not hold it (an event
    // function, a join); Lock takes it back.
    void Unlock() RELEASE() { lock_.unlock(); }
    void Lock() ACQUIRE() { lock_.lock(); }

    template <class Predicate> void Wait(std::condition_variable& cv, Predicate done) { cv.wait(lock_, done); }
    template <class Duration, class Predicate>
    bool WaitFor(std::condition_variable& cv, Duration timeout, Predicate done) {
        return cv.wait_for(lock_, timeout, done);
    }
    template <class Duration> std::cv_status WaitFor(std::condition_variable& cv, Duration timeout) {
        return cv.wait_for(lock_, timeout);
    }
    template <class TimePoint, class Predicate>
    bool WaitUntil(std::condition_variable& cv, TimePoint deadline, Predicate done) {
        return cv.wait_until(lock_, deadline, done);
    }

private:
    std::unique_lock<std::mutex> lock_;
};

} // namespace orva::templates::platform
