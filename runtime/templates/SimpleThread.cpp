#include "runtime/templates/SimpleThread.h"

#include "runtime/templates/ThreadId.h"

#include <chrono>
#include <system_error>
#include <utility>

namespace orva::templates::platform {

SimpleThread::SimpleThread() = default;

SimpleThread::~SimpleThread() {
    join(-1);
    std::unique_lock<std::mutex> lock(stateMutex_);
    if (!thread_.joinable()) {
        return;
    }
    if (thread_.get_id() == std::this_thread::get_id()) {
        // Destroyed from its own run(): the thread can't join itself.
        thread_.detach();
        return;
    }
    std::thread finished = std::move(thread_);
    lock.unlock();
    finished.join();
}

bool SimpleThread::start() {
    std::unique_lock<std::mutex> lock(stateMutex_);
    if (running_) {
        return true;
    }
    reapFinished(lock);
    if (running_) {
        return true; // started by another thread while we reaped
    }
    running_ = true;
    finished_ = false;
    try {
        // The new thread begins by taking stateMutex_, so it waits here
        // until the state above is complete.
        thread_ = std::thread(&SimpleThread::Entry, this);
    } catch (const std::system_error&) {
        running_ = false;
        finished_ = true;
        return false;
    }
    return true;
}

void SimpleThread::Entry(SimpleThread* self) {
    {
        std::lock_guard<std::mutex> lock(self->stateMutex_);
        self->threadId_ = CurrentThreadId();
    }
    try {
        self->run();
    } catch (...) {
        // An exception must not end the process from a worker thread; the
        // thread counts as finished so that joiners are released.
    }
    std::lock_guard<std::mutex> lock(self->stateMutex_);
    self->running_ = false;
    self->finished_ = true;
    self->threadId_ = 0;
    self->finishedSignal_.notify_all();
}

void SimpleThread::reapFinished(std::unique_lock<std::mutex>& lock) {
    if (!finished_ || !thread_.joinable() || thread_.get_id() == std::this_thread::get_id()) {
        return;
    }
    std::thread finished = std::move(thread_);
    lock.unlock();
    finished.join();
    lock.lock();
}

bool SimpleThread::join(int32_t timeoutSeconds) {
    std::unique_lock<std::mutex> lock(stateMutex_);
    if (!running_ || finished_) {
        reapFinished(lock);
        return true;
    }
    if (thread_.get_id() == std::this_thread::get_id()) {
        return false;
    }
    ++joiners_;
    if (timeoutSeconds < 0) {
        finishedSignal_.wait(lock, [this] { return finished_; });
    } else {
        finishedSignal_.wait_for(lock, std::chrono::seconds(timeoutSeconds), [this] { return finished_; });
    }
    --joiners_;
    const bool done = finished_;
    if (done && joiners_ == 0) {
        reapFinished(lock);
    }
    return done;
}

bool SimpleThread::isRunning() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return running_;
}

uint32_t SimpleThread::threadId() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return threadId_;
}

} // namespace orva::templates::platform
