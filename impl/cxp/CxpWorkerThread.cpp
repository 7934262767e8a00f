#include "impl/cxp/CxpWorkerThread.h"

#include <pthread.h>

#include <chrono>
#include <exception>

#include "runtime/logging/LogMessage.h"

namespace orva::cxp {

using templates::platform::MutexLock;
using tools::logging::LevelError;

CxpWorkerThread::CxpWorkerThread(uint32_t periodMs, tools::logging::Logger* logger)
    : periodMs_(periodMs), logger_(logger) {}

CxpWorkerThread::~CxpWorkerThread() {
    Stop();
}

void CxpWorkerThread::Start(std::function<void()> step) {
    MutexLock lock(workerMutex_);
    if (workerRunning_ || stopRequested_) {
        return;
    }
    // The thread waits for workerMutex before it looks at workerRunning_.
    thread_ = std::thread([this, step = std::move(step)] { Run(step); });
    workerRunning_ = true;
    workerId_ = thread_.get_id();
}

void CxpWorkerThread::Stop() {
    std::thread thread;
    {
        MutexLock lock(workerMutex_);
        stopRequested_ = true;
        workerRunning_ = false;
        thread = std::move(thread_);
    }
    workerWake_.notify_all();
    if (thread.joinable()) {
        thread.join();
    }
}

bool CxpWorkerThread::Pause(uint32_t ms) {
    MutexLock lock(workerMutex_);
    if (ms == 0) {
        return !stopRequested_;
    }
    return !lock.WaitFor(workerWake_, std::chrono::milliseconds(ms),
                         [this]() REQUIRES(workerMutex_) { return stopRequested_; });
}

bool CxpWorkerThread::StopRequested() {
    MutexLock lock(workerMutex_);
    return stopRequested_;
}

bool CxpWorkerThread::IsWorker() {
    MutexLock lock(workerMutex_);
    return workerId_ == std::this_thread::get_id();
}

void CxpWorkerThread::Run(const std::function<void()>& step) {
    // Named, so that the thread can be told apart in a debugger or profile.
    pthread_setname_np(pthread_self(), kName);
    MutexLock lock(workerMutex_);
    while (workerRunning_) {
        lock.Unlock();
        RunStep(step);
        lock.Lock();
        lock.WaitFor(workerWake_, std::chrono::milliseconds(periodMs_),
                     [this]() REQUIRES(workerMutex_) { return !workerRunning_; });
    }
}

void CxpWorkerThread::RunStep(const std::function<void()>& step) {
    // An exception must not end the thread, and with it the process: the
    // link watch and the scans go on at the next step.
    try {
        step();
    } catch (const std::exception& e) {
        ORVA_LOG(logger_, LevelError, "Link worker step failed: " << e.what());
    } catch (...) {
        ORVA_LOG(logger_, LevelError, "Link worker step failed");
    }
}

} // namespace orva::cxp
