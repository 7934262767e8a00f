#include "support/TestSupport.h"

#include "runtime/templates/InterProcessLock.h"
#include "runtime/templates/InterProcessLockGuard.h"

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdexcept>
#include <sys/mman.h>
#include <thread>

using orva::templates::platform::InterProcessLock;
using orva::templates::platform::InterProcessLockGuard;
using orva::test::Pipe;
using orva::test::WaitForChild;

namespace {

// A lock name unique to this process and test, removed before and after.
class LockName {
public:
    explicit LockName(const std::string& tag)
        : name_("runtime_test_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name() + tag) {
        InterProcessLock::Remove(name_);
    }
    ~LockName() { InterProcessLock::Remove(name_); }
    LockName(const LockName&) = delete;
    LockName& operator=(const LockName&) = delete;

    const std::string& str() const { return name_; }

private:
    std::string name_;
};

// Runs body in a forked child, which exits with its result (99 if it threw).
pid_t Spawn(const std::function<int()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        int code = 99;
        try {
            code = body();
        } catch (...) {
        }
        ::_exit(code);
    }
    return child;
}

// Result of tryLock(0) on the named lock, seen from another process:
// 1 obtained, 0 not obtained.
int TryLockFromOtherProcess(const std::string& name) {
    const pid_t child = Spawn([&] {
        InterProcessLock lock(name);
        const bool got = lock.tryLock(0);
        if (got) {
            lock.unlock();
        }
        return got ? 1 : 0;
    });
    return WaitForChild(child);
}

} // namespace

TEST(InterProcessLock, ExcludesAnotherProcessUntilReleased) {
    LockName name("");
    Pipe toParent;
    Pipe toChild;
    ASSERT_TRUE(toParent.valid() && toChild.valid());

    const pid_t child = Spawn([&] {
        InterProcessLock lock(name.str());
        lock.lock();
        toParent.send('L');
        if (toChild.receive() != 'R') {
            return 2;
        }
        lock.unlock();
        return 0;
    });
    ASSERT_GT(child, 0);
    ASSERT_EQ(toParent.receive(), 'L');

    InterProcessLock lock(name.str());
    EXPECT_FALSE(lock.tryLock(50)) << "obtained a lock that another process holds";
    EXPECT_FALSE(lock.tryLock(0));

    // Released while this process waits: the timed wait must pick it up.
    ASSERT_TRUE(toChild.send('R'));
    EXPECT_TRUE(lock.tryLock(30000));
    EXPECT_EQ(TryLockFromOtherProcess(name.str()), 0) << "not excluded from the other side";
    lock.unlock();
    EXPECT_EQ(WaitForChild(child), 0);
    EXPECT_EQ(TryLockFromOtherProcess(name.str()), 1);
}

TEST(InterProcessLock, LockLeftByAKilledOwnerIsRecovered) {
    // lock() takes over an abandoned lock; tryLock() reports it as a failure
    // but repairs it for the next attempt.
    for (const bool viaTryLock : {false, true}) {
        SCOPED_TRACE(viaTryLock ? "tryLock" : "lock");
        LockName name(viaTryLock ? "try" : "");
        Pipe toParent;
        Pipe never;
        const pid_t child = Spawn([&] {
            InterProcessLock lock(name.str());
            lock.lock();
            toParent.send('L');
            never.receive(); // held until killed
            return 0;
        });
        ASSERT_GT(child, 0);
        ASSERT_EQ(toParent.receive(), 'L');
        ASSERT_EQ(::kill(child, SIGKILL), 0);
        EXPECT_EQ(WaitForChild(child), -1);

        InterProcessLock lock(name.str());
        if (viaTryLock) {
            EXPECT_FALSE(lock.tryLock(1000)) << "an abandoned lock counts as a failure";
            EXPECT_EQ(TryLockFromOtherProcess(name.str()), 1) << "left held by the failed attempt";
            ASSERT_TRUE(lock.tryLock(1000));
        } else {
            lock.lock();
        }
        // Really held, and consistent: others are excluded, then admitted.
        EXPECT_EQ(TryLockFromOtherProcess(name.str()), 0);
        lock.unlock();
        EXPECT_EQ(TryLockFromOtherProcess(name.str()), 1);
    }
}

TEST(InterProcessLock, RecursivePerThreadAcrossObjectsOfOneName) {
    LockName name("");
    InterProcessLock first(name.str());
    InterProcessLock second(name.str());
    InterProcessLock other(name.str());

    auto otherThreadGets = [&] {
        bool got = false;
        std::thread([&] {
            got = other.tryLock(0);
            if (got) {
                other.unlock();
            }
        }).join();
        return got;
    };

    first.lock();
    ASSERT_TRUE(second.tryLock(0)) << "the holding thread must get the lock through another handle";
    EXPECT_FALSE(otherThreadGets());
    second.unlock();
    EXPECT_FALSE(otherThreadGets()) << "released after the inner exit only";
    first.unlock();
    EXPECT_TRUE(otherThreadGets());
}

TEST(InterProcessLock, GuardSetsAndClearsLockedFlag) {
    LockName name("");
    InterProcessLock lock(name.str());
    {
        InterProcessLockGuard guard(&lock);
        EXPECT_TRUE(lock.locked);
        EXPECT_EQ(TryLockFromOtherProcess(name.str()), 0);
    }
    EXPECT_FALSE(lock.locked);
    EXPECT_EQ(TryLockFromOtherProcess(name.str()), 1);
}

TEST(InterProcessLock, ConstructionFailures) {
    const auto errorOf = [](const std::string& name, bool recursive) -> std::string {
        try {
            InterProcessLock lock(name, recursive);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "built";
    };
    EXPECT_EQ(errorOf("runtime_test_nonrecursive", false), "non-recursive locks are not implemented");
    EXPECT_EQ(errorOf("", true), "can not open the requested lock");
    // An object of the name that is no lock's.
    LockName name("");
    const int fd = ::shm_open(InterProcessLock::ObjectName(name.str()).c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::ftruncate(fd, 10), 0);
    ::close(fd);
    EXPECT_EQ(errorOf(name.str(), true), "can not open the requested lock");
}

TEST(InterProcessLock, NamesMapToDistinctValidObjects) {
    EXPECT_EQ(InterProcessLock::ObjectName("orva_genicam-board_0-CGbePort_lock1"),
              "/orva_genicam-board_0-CGbePort_lock1");
    EXPECT_EQ(InterProcessLock::ObjectName("a/b c:d"), "/a_b_c_d");

    const std::string base(300, 'x');
    const std::string longA = InterProcessLock::ObjectName(base + "A");
    const std::string longB = InterProcessLock::ObjectName(base + "B");
    EXPECT_LE(longA.size(), 200U);
    EXPECT_NE(longA, longB);

    // Two long names are two locks.
    LockName a(base.substr(0, 200) + "A");
    LockName b(base.substr(0, 200) + "B");
    InterProcessLock lockA(a.str());
    lockA.lock();
    EXPECT_EQ(TryLockFromOtherProcess(b.str()), 1);
    EXPECT_EQ(TryLockFromOtherProcess(a.str()), 0);
    lockA.unlock();
}
