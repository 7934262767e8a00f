// Thresholds taken from ORVA_LOG when the dispatcher is connected.
#include "DispatcherHarness.h"

#include <gmock/gmock.h>

namespace orva::logging::dispatcher::test {
namespace {

using testing::HasSubstr;

class LevelConfigTest : public DispatcherTest {};

TEST_F(LevelConfigTest, WithoutOrvaLogOnlyErrorsPass) {
    useLogFile();
    const Connection connection = connect();

    EXPECT_EQ(connection.level("orva.genicam.lib"), 5u);
    EXPECT_EQ(connection.level("orva.core.GenICamManager"), 5u);
    connection.write("orva.genicam.lib", 4, "thread-id=1|a warning");
    connection.write("orva.genicam.lib", 5, "thread-id=1|an error");
    disconnect();

    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 1u);
    const auto line = ParseLine(lines[0]);
    ASSERT_TRUE(line);
    EXPECT_EQ(line->text, "thread-id=1|an error");
}

TEST_F(LevelConfigTest, ExactNameBeatsLongerPrefixBeatsShorterPrefixBeatsStar) {
    // Mixed order, so that neither "first wins" nor "last wins" passes.
    SetEnv("ORVA_LOG", "orva.genicam.lib*=6,orva.genicam.lib=1,*=4,orva.genicam.*=2");
    const Connection connection = connect();

    EXPECT_EQ(connection.level("orva.genicam.lib"), 1u);
    EXPECT_EQ(connection.level("orva.genicam.library"), 6u);
    EXPECT_EQ(connection.level("orva.genicam.GbePort"), 2u);
    EXPECT_EQ(connection.level("orva.core.GenICamManager"), 4u);
    EXPECT_EQ(connection.level("orva.genicam"), 4u);
}

TEST_F(LevelConfigTest, PrefixWithoutStarIsAnExactName) {
    SetEnv("ORVA_LOG", "orva.genicam.=1");
    const Connection connection = connect();

    EXPECT_EQ(connection.level("orva.genicam.lib"), 5u);
    EXPECT_EQ(connection.level("orva.genicam."), 1u);
}

TEST_F(LevelConfigTest, LevelWordsAnyCaseAndBlanksAreAccepted) {
    useLogFile();
    SetEnv("ORVA_LOG", " a=trace, b = DEBUG ,c=Info,d=warning,e=warn,f=error,g=off,h=6,i=3,i=2,,");
    const Connection connection = connect();

    EXPECT_EQ(connection.level("a"), 1u);
    EXPECT_EQ(connection.level("b"), 2u);
    EXPECT_EQ(connection.level("c"), 3u);
    EXPECT_EQ(connection.level("d"), 4u);
    EXPECT_EQ(connection.level("e"), 4u);
    EXPECT_EQ(connection.level("f"), 5u);
    EXPECT_EQ(connection.level("g"), 7u);
    EXPECT_EQ(connection.level("h"), 6u);
    EXPECT_EQ(connection.level("i"), 2u) << "a later item for the same pattern replaces an earlier one";
    disconnect();
    EXPECT_THAT(logLines(), testing::IsEmpty()) << "nothing to warn about";
}

TEST_F(LevelConfigTest, MalformedItemsAreSkippedAndNamedInOneWarning) {
    useLogFile();
    SetEnv("ORVA_LOG", "a=1,b,c=8,=3,d=,e*f=2,g=loud,h=0,i=2");
    const Connection connection = connect();

    EXPECT_EQ(connection.level("a"), 1u);
    EXPECT_EQ(connection.level("i"), 2u);
    for (const char* name : {"b", "c", "d", "e*f", "ef", "g", "h"}) {
        EXPECT_EQ(connection.level(name), 5u) << name;
    }
    disconnect();

    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 1u);
    const auto warning = ParseLine(lines[0]);
    ASSERT_TRUE(warning) << lines[0];
    EXPECT_EQ(warning->level, "warning");
    EXPECT_EQ(warning->logger, kOwnLogger);
    EXPECT_THAT(warning->text, HasSubstr("ORVA_LOG"));
    for (const char* item : {"\"b\"", "\"c=8\"", "\"=3\"", "\"d=\"", "\"e*f=2\"", "\"g=loud\"", "\"h=0\""}) {
        EXPECT_THAT(warning->text, HasSubstr(item));
    }
    EXPECT_THAT(warning->text, testing::Not(HasSubstr("\"a=1\"")));
}

} // namespace
} // namespace orva::logging::dispatcher::test
