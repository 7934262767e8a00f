#include "runtime/templates/ReadWriteLock.h"

namespace orva::templates::platform {

void ReadWriteLock::lockRead() {
    std::unique_lock<std::mutex> lock(stateMutex_);
    ++readersWaiting_;
    noWriter_.wait(lock, [this] { return !writerActive_ && writersWaiting_ == 0; });
    --readersWaiting_;
    ++readers_;
}

void ReadWriteLock::lockWrite() {
    std::unique_lock<std::mutex> lock(stateMutex_);
    ++writersWaiting_;
    noReaders_.wait(lock, [this] { return readers_ == 0 && !writerActive_; });
    --writersWaiting_;
    writerActive_ = true;
}

void ReadWriteLock::unlock() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    if (writerActive_) {
        writerActive_ = false;
    } else if (readers_ > 0) {
        --readers_;
    } else {
        return; // not held: nothing to release
    }
    if (readers_ != 0) {
        return;
    }
    if (writersWaiting_ > 0) {
        noReaders_.notify_one();
    } else {
        noWriter_.notify_all();
    }
}

int32_t ReadWriteLock::activeReaders() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return readers_;
}

int32_t ReadWriteLock::waitingReaders() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return readersWaiting_;
}

int32_t ReadWriteLock::waitingWriters() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return writersWaiting_;
}

bool ReadWriteLock::writerActive() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return writerActive_;
}

} // namespace orva::templates::platform
