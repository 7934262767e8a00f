#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace orva::templates::platform {

// Many readers or one writer, with priority for writers: once a writer
// waits, new readers wait behind it even while other readers still hold the
// lock. Not recursive: a reader that takes the read lock again while a
// writer waits deadlocks. Thread-safe.
class ReadWriteLock {
public:
    ReadWriteLock() = default;
    virtual ~ReadWriteLock() = default;

    ReadWriteLock(const ReadWriteLock&) = delete;
    ReadWriteLock& operator=(const ReadWriteLock&) = delete;
    ReadWriteLock(ReadWriteLock&&) = delete;
    ReadWriteLock& operator=(ReadWriteLock&&) = delete;

    void lockRead();
    void lockWrite();
    // Releases whichever lock the calling thread holds.
    void unlock();

    // Snapshots for diagnostics and tests.
    int32_t activeReaders() const;
    int32_t waitingReaders() const;
    int32_t waitingWriters() const;
    bool writerActive() const;

private:
    // Guards every counter below; held only for the bookkeeping, never while
    // a lock holder works.
    mutable std::mutex stateMutex_;
    // Signalled when no writer is active and none waits (readers may enter).
    std::condition_variable noWriter_;
    // Signalled when neither readers nor a writer hold the lock.
    std::condition_variable noReaders_;
    int32_t readers_ = 0;
    int32_t readersWaiting_ = 0;
    int32_t writersWaiting_ = 0;
    bool writerActive_ = false;
};

} // namespace orva::templates::platform
