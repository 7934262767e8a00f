// With tracing off a frame allocates nothing; with tracing on it keeps a
// trace record. Counted through the global allocator of this binary.
#include <gtest/gtest.h>

#include "impl/core/CDriver.h"
#include "include/tgx_genicam.h"
#include "runtime/logging/Logging.h"
#include "support/CountingAllocator.h"
#include "support/FakeTechnology.h"

using orva::test::gAllocations;

namespace {

uint64_t AllocationsOf(TgxBoardHandle* board) {
    const uint64_t before = gAllocations.load();
    EXPECT_EQ(Tgx_getCameraCount(board), 0);
    return gAllocations.load() - before;
}

class FrameAllocations : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("ORVA_LOG_FILE", "/dev/null", 1);
        ASSERT_EQ(driver.Init(std::make_unique<orva::test::FakeController>(2)), TGX_OK);
    }
    orva::core::CDriver driver;
};

TEST_F(FrameAllocations, NoneWithTracingOff) {
    setenv("ORVA_LOG", "*=4", 1);
    GenICamInit();
    ASSERT_TRUE(orva::tools::logging::Logging::instance()->HasDispatcher());
    AllocationsOf(&driver); // the first call obtains the logger
    EXPECT_EQ(AllocationsOf(&driver), 0U);
    GenICamDeinit();
}

TEST_F(FrameAllocations, ATraceRecordWithTracingOn) {
    setenv("ORVA_LOG", "orva.genicam.lib=1", 1);
    GenICamInit();
    AllocationsOf(&driver);
    EXPECT_GT(AllocationsOf(&driver), 0U);
    GenICamDeinit();
}

} // namespace
