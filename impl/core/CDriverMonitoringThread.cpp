#include "impl/core/CDriverMonitoringThread.h"

#include <chrono>

namespace orva::core {

namespace {
constexpr std::chrono::milliseconds kMonitorPeriod{1000};
constexpr int32_t kJoinWithoutLimit = -1;
} // namespace

CDriverMonitoringThread::CDriverMonitoringThread(IMonitorInterface* owner) : owner_(owner) {}

CDriverMonitoringThread::~CDriverMonitoringThread() {
    Stop();
    join(kJoinWithoutLimit);
}

void CDriverMonitoringThread::Stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
}

void CDriverMonitoringThread::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_) {
        lock.unlock();
        owner_->Monitor();
        lock.lock();
        wake_.wait_for(lock, kMonitorPeriod, [this] { return stop_; });
    }
}

} // namespace orva::core
