#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace orva::templates::platform {

// A thread that runs the derived class's run() once per start().
//
// run() is pure, so by the time ~SimpleThread runs the derived part is gone:
// a derived class must make run() return and join() in its own destructor.
// ~SimpleThread still joins without limit as a last safety net.
//
// start(), join() and isRunning() are thread-safe. join() from inside run()
// (the thread joining itself) returns false instead of deadlocking.
class SimpleThread {
public:
    SimpleThread();
    virtual void run() = 0;
    virtual ~SimpleThread();

    SimpleThread(const SimpleThread&) = delete;
    SimpleThread& operator=(const SimpleThread&) = delete;
    SimpleThread(SimpleThread&&) = delete;
    SimpleThread& operator=(SimpleThread&&) = delete;

    // Starts run() on a new thread unless it is running already. True if the
    // thread is running afterwards; false if no thread could be created.
    bool start();
    // Waits for run() to return: timeoutSeconds -1 waits without limit,
    // 0 only looks. True if the thread has finished or never ran.
    bool join(int32_t timeoutSeconds);
    bool isRunning() const;
    // Operating system id of the running thread, 0 when there is none.
    uint32_t threadId() const;

private:
    static void Entry(SimpleThread* self);
    // Joins a finished std::thread outside the state lock; the thread has
    // left run() already, so this only waits for its last instructions.
    void reapFinished(std::unique_lock<std::mutex>& lock);

    // Guards all fields below. Taken by start/join/isRunning and by the
    // thread itself at its start and end; never held while run() works.
    mutable std::mutex stateMutex_;
    // Signalled when run() has returned.
    std::condition_variable finishedSignal_;
    std::thread thread_;
    uint32_t threadId_ = 0;
    bool running_ = false;
    bool finished_ = true;
    int32_t joiners_ = 0;
};

} // namespace orva::templates::platform
