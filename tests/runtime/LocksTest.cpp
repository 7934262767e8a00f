#include "support/TestSupport.h"

#include "runtime/templates/GenericLockGuard.h"
#include "runtime/templates/ReadWriteLockGuard.h"
#include "runtime/templates/RecursiveMutexGuard.h"
#include "runtime/templates/SpinLockVariableGuard.h"
#include "runtime/templates/ThreadId.h"

#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace orva::templates;
using orva::test::WaitUntil;

namespace {

bool OtherThreadTryLock(platform::RecursiveMutex& mutex) {
    bool got = false;
    std::thread([&] {
        got = mutex.try_lock();
        if (got) {
            mutex.unlock();
        }
    }).join();
    return got;
}

} // namespace

TEST(RecursiveMutex, ReentersOnOwnerThreadAndExcludesOthers) {
    platform::RecursiveMutex mutex;
    {
        std::lock_guard<platform::RecursiveMutex> outer(mutex);
        platform::RecursiveMutexGuard inner(mutex);
        ASSERT_TRUE(mutex.try_lock());
        EXPECT_EQ(mutex.entryCount(), 3);
        mutex.unlock();
        EXPECT_FALSE(OtherThreadTryLock(mutex));
    }
    EXPECT_EQ(mutex.entryCount(), 0);
    EXPECT_TRUE(OtherThreadTryLock(mutex));
}

namespace {

// Records what a GenericLockGuard does with its lock.
class RecordingLock : public patterns::GenericLock {
public:
    explicit RecordingLock(std::vector<std::string>& log) : log_(log) {}
    ~RecordingLock() override { log_.push_back("deleted"); }
    void lock() override { log_.push_back(locked ? "lock while flagged" : "lock"); }
    bool tryLock(uint32_t) override { return true; }
    void unlock() override { log_.push_back(locked ? "unlock while flagged" : "unlock"); }

private:
    std::vector<std::string>& log_;
};

} // namespace

TEST(GenericLockGuard, ReleasesOnlyWhatItHoldsAndDeletesOnRequest) {
    std::vector<std::string> log;
    RecordingLock kept(log);
    {
        patterns::GenericLockGuard guard(&kept);
        EXPECT_TRUE(kept.locked);
    }
    EXPECT_FALSE(kept.locked);
    EXPECT_EQ(log, (std::vector<std::string>{"lock", "unlock"})) << "flag must be cleared before the unlock";

    // Someone released the lock early and cleared the flag: no second unlock.
    log.clear();
    {
        patterns::GenericLockGuard guard(&kept);
        kept.locked = false;
        kept.unlock();
    }
    EXPECT_EQ(log, (std::vector<std::string>{"lock", "unlock"}));

    log.clear();
    { patterns::GenericLockGuard guard(new RecordingLock(log), true); }
    EXPECT_EQ(log, (std::vector<std::string>{"lock", "unlock", "deleted"}));
}

TEST(ReadWriteLock, ReadersShareTheLockUntilAWriterWaits) {
    platform::ReadWriteLock lock;
    std::mutex orderMutex;
    std::vector<std::string> order;
    auto record = [&](const char* what) {
        std::lock_guard<std::mutex> guard(orderMutex);
        order.emplace_back(what);
    };
    std::atomic<bool> lateReaderIn{false};
    bool lateReaderInDuringWrite = true;

    lock.lockRead();
    std::thread([&] {
        platform::ReadWriteLockGuard guard(lock, platform::ReadWriteLockGuard::Read);
        record("first reader");
    }).join(); // a second reader that were kept out would hang here
    std::thread writer([&] {
        platform::ReadWriteLockGuard guard(lock, platform::ReadWriteLockGuard::Write);
        record("writer");
        lateReaderInDuringWrite = lateReaderIn.load();
    });
    ASSERT_TRUE(WaitUntil([&] { return lock.waitingWriters() == 1; }));

    std::thread lateReader([&] {
        platform::ReadWriteLockGuard guard(lock, platform::ReadWriteLockGuard::Read);
        lateReaderIn = true;
        record("reader");
    });
    // Blocked although only a reader holds the lock.
    ASSERT_TRUE(WaitUntil([&] { return lock.waitingReaders() == 1 || lateReaderIn.load(); }));
    EXPECT_FALSE(lateReaderIn.load()) << "a new reader overtook the waiting writer";

    lock.unlock();
    writer.join();
    lateReader.join();
    EXPECT_FALSE(lateReaderInDuringWrite);
    EXPECT_EQ(order, (std::vector<std::string>{"first reader", "writer", "reader"}));
    EXPECT_EQ(lock.activeReaders(), 0);
    EXPECT_FALSE(lock.writerActive());
}

TEST(ReadWriteLock, WritersExcludeEveryoneUnderLoad) {
    platform::ReadWriteLock lock;
    // Writers keep the two halves equal; a reader that sees them differ ran
    // inside a writer's section.
    int64_t first = 0;
    int64_t second = 0;
    std::atomic<int> tornReads{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                platform::ReadWriteLockGuard guard(lock, platform::ReadWriteLockGuard::Write);
                ++first;
                ++second;
            }
        });
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                platform::ReadWriteLockGuard guard(lock, platform::ReadWriteLockGuard::Read);
                if (first != second) {
                    ++tornReads;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(tornReads.load(), 0);
    EXPECT_EQ(first, 4000);
}

TEST(SpinLockVariableGuard, OwnerReentersWithoutTakingItAgain) {
    std::atomic<int32_t> spin{0};
    std::atomic<int32_t> owner{0};
    {
        platform::SpinLockVariableGuard outer(&spin, &owner);
        EXPECT_TRUE(outer.acquired);
        EXPECT_EQ(owner.load(), static_cast<int32_t>(platform::CurrentThreadId()));
        {
            platform::SpinLockVariableGuard inner(&spin, &owner);
            EXPECT_FALSE(inner.acquired);
        }
        // The inner exit must not have released the outer hold.
        EXPECT_EQ(spin.load(), 1);
        EXPECT_EQ(owner.load(), static_cast<int32_t>(platform::CurrentThreadId()));
    }
    EXPECT_EQ(spin.load(), 0);
    EXPECT_EQ(owner.load(), 0);
}

TEST(SpinLockVariableGuard, ExcludesOtherThreads) {
    std::atomic<int32_t> spin{0};
    std::atomic<int32_t> owner{0};
    int64_t counter = 0; // plain on purpose: only the guard protects it
    std::atomic<int> passedThrough{0};
    std::atomic<int> ready{0};
    auto work = [&] {
        const auto self = static_cast<int32_t>(platform::CurrentThreadId());
        // Start together, so that the two really contend.
        ready.fetch_add(1);
        while (ready.load() < 2) {
        }
        for (int i = 0; i < 20000; ++i) {
            platform::SpinLockVariableGuard guard(&spin, &owner);
            if (!guard.acquired || owner.load() != self) {
                ++passedThrough;
            }
            for (int step = 0; step < 8; ++step) {
                ++counter;
            }
        }
    };
    std::thread a(work);
    std::thread b(work);
    a.join();
    b.join();
    EXPECT_EQ(counter, 2 * 20000 * 8);
    EXPECT_EQ(passedThrough.load(), 0) << "a thread entered while another held the spin variable";
}

TEST(ThreadId, DistinctPerThreadAndNeverZero) {
    const uint32_t mine = platform::CurrentThreadId();
    uint32_t other = 0;
    std::thread([&] { other = platform::CurrentThreadId(); }).join();
    EXPECT_NE(mine, 0U);
    EXPECT_NE(other, 0U);
    EXPECT_NE(mine, other);
    EXPECT_EQ(mine, platform::CurrentThreadId());
}
