#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "runtime/templates/ThreadSafety.h"

namespace orva::templates::platform {

// In-process mutex that the holding thread may take again. Satisfies the
// standard Lockable requirements, so std::lock_guard and std::unique_lock
// work with it. Thread-safe.
//
// The thread-safety analysis treats it as an exclusive capability: code that
// re-enters it within one function is the exception the analysis can't see,
// and says so where it does.
class CAPABILITY("mutex") RecursiveMutex {
public:
    RecursiveMutex();
    virtual ~RecursiveMutex();

    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;
    RecursiveMutex(RecursiveMutex&&) = delete;
    RecursiveMutex& operator=(RecursiveMutex&&) = delete;

    void lock() ACQUIRE();
    void unlock() RELEASE();
    bool try_lock() TRY_ACQUIRE(true);

    // Entries of the holding thread; meaningful only to that thread.
    int32_t entryCount() const { return entries_; }

private:
    std::recursive_mutex mutex_;
    // Raised after each acquisition, lowered before each release: only ever
    // written by the holder, so the mutex itself guards it.
    int32_t entries_ = 0;
};

} // namespace orva::templates::platform
