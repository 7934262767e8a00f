#include "support/TestSupport.h"

#include "runtime/templates/SimpleThread.h"
#include "runtime/templates/ThreadId.h"

#include <atomic>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

using orva::templates::platform::SimpleThread;
using orva::test::WaitUntil;

namespace {

// A gate that run() waits at until the test opens it (bounded, so a broken
// test can't hang the process).
class Gate {
public:
    void open() {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        signal_.notify_all();
    }
    bool wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        return signal_.wait_for(lock, orva::test::kBound, [this] { return open_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable signal_;
    bool open_ = false;
};

class GatedThread : public SimpleThread {
public:
    explicit GatedThread(Gate* gate) : gate_(gate) {}
    // As every derived class must: end run() and join before the members go.
    ~GatedThread() override {
        gate_->open();
        join(-1);
    }

    void run() override {
        ranOn = orva::templates::platform::CurrentThreadId();
        runs.fetch_add(1);
        gate_->wait();
    }

    std::atomic<int> runs{0};
    std::atomic<uint32_t> ranOn{0};

private:
    Gate* gate_;
};

} // namespace

TEST(SimpleThread, TimedJoinGivesUpWhileRunAndTheThreadRestartsAfterwards) {
    Gate gate;
    GatedThread thread(&gate);
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.join(0)) << "a thread that never ran counts as finished";

    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(thread.start()) << "a start while running keeps the one thread";
    ASSERT_TRUE(WaitUntil([&] { return thread.runs.load() == 1; }));
    EXPECT_NE(thread.threadId(), 0U);
    EXPECT_FALSE(thread.join(1)) << "timed join returned true while run() still waits";
    EXPECT_FALSE(thread.join(0));
    EXPECT_TRUE(thread.isRunning());

    gate.open();
    EXPECT_TRUE(thread.join(-1));
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.join(0));
    EXPECT_EQ(thread.runs.load(), 1);
    EXPECT_NE(thread.ranOn.load(), orva::templates::platform::CurrentThreadId());
    EXPECT_EQ(thread.threadId(), 0U);

    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(thread.join(-1));
    EXPECT_EQ(thread.runs.load(), 2);
}

TEST(SimpleThread, SeveralJoinersAreAllReleased) {
    Gate gate;
    GatedThread thread(&gate);
    ASSERT_TRUE(thread.start());
    std::atomic<int> released{0};
    std::vector<std::thread> joiners;
    joiners.reserve(3);
    for (int i = 0; i < 3; ++i) {
        joiners.emplace_back([&] {
            if (thread.join(-1)) {
                ++released;
            }
        });
    }
    gate.open();
    for (auto& joiner : joiners) {
        joiner.join();
    }
    EXPECT_EQ(released.load(), 3);
}

TEST(SimpleThread, SelfJoinFailsAndAnExceptionFromRunEndsTheThreadOnly) {
    class Misbehaving : public SimpleThread {
    public:
        explicit Misbehaving(bool throwing) : throwing_(throwing) {}
        ~Misbehaving() override { join(-1); }
        void run() override {
            if (throwing_) {
                throw std::runtime_error("from run");
            }
            selfJoin = join(-1) ? 1 : 0;
        }
        std::atomic<int> selfJoin{-1};

    private:
        bool throwing_;
    };
    Misbehaving selfJoining(false);
    ASSERT_TRUE(selfJoining.start());
    ASSERT_TRUE(selfJoining.join(-1));
    EXPECT_EQ(selfJoining.selfJoin.load(), 0);

    Misbehaving throwing(true);
    ASSERT_TRUE(throwing.start());
    EXPECT_TRUE(throwing.join(-1));
    EXPECT_FALSE(throwing.isRunning());
}
