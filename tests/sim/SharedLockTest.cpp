// The lock of a shared object across processes: a holder that dies leaves
// it usable, and waits end at their deadline.

#include "SharedLock.h"
#include "Clock.h"
#include "SharedMemory.h"
#include "SimTestSupport.h"

#include <sys/wait.h>
#include <unistd.h>

namespace orva::sim {
namespace {

class SharedLockTest : public ::testing::Test {
protected:
    void SetUp() override {
        name_ = "/orva-sim-locktest." + simtest::uniqueNamespace();
        SharedMemory::unlink(name_);
        memory_ = SharedMemory::create(name_, sizeof(layout::Sync));
        ASSERT_NE(memory_, nullptr);
        sync_ = static_cast<layout::Sync*>(memory_->data());
        initialiseSync(*sync_);
    }
    void TearDown() override { SharedMemory::unlink(name_); }

    std::string name_;
    std::unique_ptr<SharedMemory> memory_;
    layout::Sync* sync_ = nullptr;
};

TEST_F(SharedLockTest, LockLeftByADeadProcessIsTakenOverAndStaysUsable) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer takes a lock that returns EOWNERDEAD from a timed lock as not taken";
#endif
    const int code = simtest::runInChild([&] {
        new SharedLock(*sync_); // held when the process ends
        return 0;
    });
    ASSERT_EQ(code, 0);
    { SharedLock first(*sync_); }
    // Still usable for a process that comes later.
    EXPECT_EQ(simtest::runInChild([&] {
                  SharedLock again(*sync_);
                  return 0;
              }),
              0);
}

TEST_F(SharedLockTest, WaitEndsAtItsDeadlineWithoutNotification) {
    SharedLock lock(*sync_);
    const uint64_t deadline = monotonicNs() + 20 * kNsPerMs;
    // A condition may wake spuriously; what counts is that the wait gives
    // up, and not before its deadline.
    while (lock.waitUntil(deadline)) {
    }
    EXPECT_GE(monotonicNs(), deadline);
}

TEST_F(SharedLockTest, NotificationFromAnotherProcessEndsTheWait) {
    simtest::Signal waiting;
    bool notified = false;
    const pid_t child = simtest::startChild([&] {
        if (!waiting.wait()) {
            return 1;
        }
        SharedLock lock(*sync_); // free only once the parent waits
        lock.notifyAll();
        return 0;
    });
    {
        SharedLock lock(*sync_);
        waiting.send();
        notified = lock.waitUntil(monotonicNs() + 10 * kNsPerSecond);
    }
    EXPECT_TRUE(notified);
    EXPECT_EQ(simtest::waitChild(child), 0);
}

} // namespace
} // namespace orva::sim
