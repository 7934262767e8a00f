// Changing thresholds at run time through logging_dispatcher_set_levels.
#include "DispatcherHarness.h"

#include <gmock/gmock.h>

namespace orva::logging::dispatcher::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class SetLevelsTest : public DispatcherTest {};

TEST_F(SetLevelsTest, OnlyLoggersWhoseThresholdChangedAreReported) {
    useLogFile();
    SetEnv("ORVA_LOG", "a=1,b=3");
    const Connection connection = connect();
    const uint32_t a = connection.id("a");
    const uint32_t b = connection.id("b");
    const uint32_t c = connection.id("c");

    ASSERT_EQ(setLevels("a=trace,b=2,*=4"), 0);

    EXPECT_THAT(LevelCalls(0), UnorderedElementsAre(Pair(b, 2u), Pair(c, 4u)));
    EXPECT_EQ(connection.level("a"), 1u);
    EXPECT_EQ(connection.level("b"), 2u);
    EXPECT_EQ(connection.level("c"), 4u);
    EXPECT_EQ(connection.level("d"), 4u) << "loggers created later follow the new levels too";
    EXPECT_EQ(connection.id("a"), a);

    // The dispatcher's own filter follows as well.
    connection.write("c", 4, "thread-id=1|now passes");
    connection.write("b", 1, "thread-id=1|still below");
    disconnect();
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], testing::HasSubstr("[c] thread-id=1|now passes"));
}

TEST_F(SetLevelsTest, NewSpecReplacesTheOneInForce) {
    SetEnv("ORVA_LOG", "a=1");
    const Connection connection = connect();
    const uint32_t a = connection.id("a");
    const uint32_t b = connection.id("b");

    ASSERT_EQ(setLevels("*=3"), 0);
    EXPECT_THAT(LevelCalls(0), UnorderedElementsAre(Pair(a, 3u), Pair(b, 3u)));

    // Empty: back to the defaults.
    ASSERT_EQ(setLevels(""), 0);
    EXPECT_THAT(LevelCalls(0), UnorderedElementsAre(Pair(a, 3u), Pair(b, 3u), Pair(a, 5u), Pair(b, 5u)));
    EXPECT_EQ(connection.level("a"), 5u);
}

TEST_F(SetLevelsTest, MalformedSpecChangesNothing) {
    SetEnv("ORVA_LOG", "a=2");
    const Connection connection = connect();
    connection.id("a");
    connection.id("b");

    EXPECT_EQ(setLevels("a=1,b=loud"), -1);
    EXPECT_EQ(setLevels("*=8"), -1);
    EXPECT_EQ(setLevels("b"), -1);
    EXPECT_EQ(setLevels(nullptr), -1);

    EXPECT_THAT(LevelCalls(0), IsEmpty());
    EXPECT_EQ(connection.level("a"), 2u);
    EXPECT_EQ(connection.level("b"), 5u);
}

TEST_F(SetLevelsTest, EveryOpenConnectionIsTold) {
    const Connection first = connect(0);
    connect(1);
    const uint32_t a = first.id("a");

    ASSERT_EQ(setLevels("a=2"), 0);
    EXPECT_THAT(LevelCalls(0), ElementsAre(Pair(a, 2u)));
    EXPECT_THAT(LevelCalls(1), ElementsAre(Pair(a, 2u)));

    disconnect(1);
    ASSERT_EQ(setLevels("a=3"), 0);
    EXPECT_THAT(LevelCalls(0), ElementsAre(Pair(a, 2u), Pair(a, 3u)));
    EXPECT_THAT(LevelCalls(1), ElementsAre(Pair(a, 2u)));
}

} // namespace
} // namespace orva::logging::dispatcher::test
