// The thread of the CoaXPress link worker and its life. Started by the first
// discovery, it runs one step, pauses up to the worker period, and again,
// until the controller goes. Every wait of the controller goes through Pause,
// so that a controller being destroyed isn't held up by a scan's sleeps.
//
// Thread-safe. workerMutex guards the run state and is taken alone: a step
// runs without it. workerWake wakes the worker out of its pause, and every
// Pause, once the worker is to stop.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <thread>

#include "runtime/templates/Mutex.h"
#include "runtime/templates/ThreadSafety.h"

namespace orva::tools::logging {
class Logger;
}

namespace orva::cxp {

class CxpWorkerThread {
public:
    // Name of the thread as the system shows it.
    static constexpr const char* kName = "CxpWorker";

    // `periodMs` is the pause between two steps; `logger` takes the lines of
    // a step that failed by an exception.
    CxpWorkerThread(uint32_t periodMs, tools::logging::Logger* logger);
    // Stops and joins the thread.
    ~CxpWorkerThread();
    CxpWorkerThread(const CxpWorkerThread&) = delete;
    CxpWorkerThread& operator=(const CxpWorkerThread&) = delete;
    CxpWorkerThread(CxpWorkerThread&&) = delete;
    CxpWorkerThread& operator=(CxpWorkerThread&&) = delete;

    // Starts the thread on the first call; it calls `step` until Stop. Later
    // calls, and calls after Stop, do nothing. Nothing `step` throws ends the
    // thread: it is logged, and the next step comes after the pause.
    void Start(std::function<void()> step) EXCLUDES(workerMutex_);
    // Tells the worker to stop, wakes it and every Pause, and joins it. Not
    // from the worker itself.
    void Stop() EXCLUDES(workerMutex_);
    // Sleeps up to `ms`, on any thread. False, at once or as soon as it
    // comes, once the worker is to stop.
    bool Pause(uint32_t ms) EXCLUDES(workerMutex_);
    bool StopRequested() EXCLUDES(workerMutex_);
    // True on the worker thread.
    bool IsWorker() EXCLUDES(workerMutex_);

private:
    void Run(const std::function<void()>& step) EXCLUDES(workerMutex_);
    void RunStep(const std::function<void()>& step);

    const uint32_t periodMs_;
    tools::logging::Logger* const logger_;
    templates::platform::Mutex workerMutex_;
    std::condition_variable workerWake_;
    bool workerRunning_ GUARDED_BY(workerMutex_) = false;
    bool stopRequested_ GUARDED_BY(workerMutex_) = false;
    std::thread::id workerId_ GUARDED_BY(workerMutex_);
    // Joined by Stop, which takes it out under workerMutex first.
    std::thread thread_ GUARDED_BY(workerMutex_);
};

} // namespace orva::cxp
