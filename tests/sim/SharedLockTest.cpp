// The lock of a shared object across processes: a holder that dies leaves
// it usable, and waits end at their deadline.

#include "SharedLock.h"
#include "Clock.h"
#include "SharedMemory.h"
#include "support/SimTestSupport.h"

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

} // namespace
} // namespace orva::sim
