// The board's monitoring thread: calls its owner's Monitor() once a second
// until stopped. Stop() wakes it at once.
#pragma once

#include <condition_variable>
#include <mutex>

#include "impl/core/IMonitorInterface.h"
#include "runtime/templates/SimpleThread.h"

namespace orva::core {

class CDriverMonitoringThread : public templates::platform::SimpleThread {
public:
    explicit CDriverMonitoringThread(IMonitorInterface* owner);
    // Stops and joins the thread.
    ~CDriverMonitoringThread() override;

    // Sets the stop flag and wakes the thread; join() then returns promptly.
    void Stop();

protected:
    void run() override;

private:
    IMonitorInterface* const owner_; // borrowed: the CDriver
    // Guards stop_; the thread waits on wake_ for the next second or a stop.
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
};

} // namespace orva::core
