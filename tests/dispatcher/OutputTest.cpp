// What is written, where, and in which form.
#include "DispatcherHarness.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <latch>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace orva::logging::dispatcher::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class OutputTest : public DispatcherTest {};

TEST_F(OutputTest, LineHoldsTimeLevelNameLoggerNameAndTheTextAsGiven) {
    useLogFile();
    SetEnv("ORVA_LOG", "orva.genicam.*=trace");
    const Connection connection = connect();

    // Braces and percent signs must not be taken for format fields.
    const std::string traceText = "source-file=/src/dir name/Port.cpp,source-line=42,thread-id=4711|enter {} %v {0}";
    connection.write("orva.genicam.lib", 1, traceText);
    connection.write("orva.genicam.lib", 2, "thread-id=4711|register 0x4000 = 0x0000002a");
    connection.write("orva.genicam.CxpController", 3, "thread-id=12|board detected");
    connection.write("orva.genicam.GbePort", 4, "thread-id=13|retrying [1/3]");
    connection.write("orva.genicam.lib", 5, "thread-id=14|failed: 100%");
    disconnect();

    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 5u);
    std::vector<std::string> levels;
    std::vector<std::string> loggers;
    std::vector<std::string> texts;
    for (const std::string& text : lines) {
        const auto line = ParseLine(text);
        ASSERT_TRUE(line) << text;
        levels.push_back(line->level);
        loggers.push_back(line->logger);
        texts.push_back(line->text);
    }
    EXPECT_THAT(levels, ElementsAre("trace", "debug", "info", "warning", "error"));
    EXPECT_THAT(loggers, ElementsAre("orva.genicam.lib", "orva.genicam.lib", "orva.genicam.CxpController",
                                     "orva.genicam.GbePort", "orva.genicam.lib"));
    EXPECT_THAT(texts,
                ElementsAre(traceText, "thread-id=4711|register 0x4000 = 0x0000002a", "thread-id=12|board detected",
                            "thread-id=13|retrying [1/3]", "thread-id=14|failed: 100%"));
}

TEST_F(OutputTest, LinesBelowThresholdOrOutsideTheLevelsAreDropped) {
    useLogFile();
    SetEnv("ORVA_LOG", "*=warning,quiet=off");
    const Connection connection = connect();

    connection.write("loud", 3, "thread-id=1|info");
    connection.write("loud", 4, "thread-id=1|warning");
    connection.write("quiet", 5, "thread-id=1|error of a logger that is off");
    connection.write("loud", 0, "thread-id=1|level 0");
    connection.write("loud", 7, "thread-id=1|level 7");
    connection.log(connection.id("loud") + 1000, 5, "thread-id=1|unknown id", 0, 0);
    connection.log(0, 5, "thread-id=1|id 0", 0, 0);
    connection.log(connection.id("loud"), 5, nullptr, 0, 0);
    disconnect();

    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("[loud] thread-id=1|warning"));
}

TEST_F(OutputTest, FileIsAppendedTo) {
    {
        std::ofstream existing(logPath());
        existing << "line from an earlier run\n";
    }
    useLogFile();
    const Connection connection = connect();
    connection.write("orva.genicam.lib", 5, "thread-id=1|new line");
    disconnect();

    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "line from an earlier run");
    EXPECT_THAT(lines[1], HasSubstr("[orva.genicam.lib] thread-id=1|new line"));
}

TEST_F(OutputTest, WithoutLogFileLinesGoToStandardError) {
    StderrCapture capture(tempPath(".stderr"));
    const Connection connection = connect();
    connection.write("orva.genicam.lib", 5, "thread-id=9|to stderr");
    disconnect();

    const auto lines = capture.finish();
    ASSERT_EQ(lines.size(), 1u);
    const auto line = ParseLine(lines[0]);
    ASSERT_TRUE(line) << lines[0];
    EXPECT_EQ(line->logger, "orva.genicam.lib");
    EXPECT_EQ(line->text, "thread-id=9|to stderr");
}

TEST_F(OutputTest, LogFileThatCannotBeOpenedFallsBackToStandardErrorWithWarning) {
    // A directory can't be opened for appending.
    SetEnv("ORVA_LOG_FILE", testing::TempDir());
    StderrCapture capture(tempPath(".stderr"));
    const Connection connection = connect();
    connection.write("orva.genicam.lib", 5, "thread-id=9|still written");
    disconnect();

    const auto lines = capture.finish();
    ASSERT_EQ(lines.size(), 2u);
    const auto warning = ParseLine(lines[0]);
    ASSERT_TRUE(warning) << lines[0];
    EXPECT_EQ(warning->level, "warning");
    EXPECT_EQ(warning->logger, kOwnLogger);
    EXPECT_THAT(warning->text, HasSubstr(testing::TempDir()));
    EXPECT_THAT(lines[1], HasSubstr("[orva.genicam.lib] thread-id=9|still written"));
}

TEST_F(OutputTest, ConcurrentLinesAreNeitherLostNorTorn) {
    useLogFile();
    SetEnv("ORVA_LOG", "*=1");
    const Connection connection = connect();
    constexpr int kThreads = 8;
    constexpr int kLines = 300;

    // Writers, a thread creating loggers and one changing levels (always
    // letting level 3 through) all start together.
    std::latch start(kThreads + 2);
    std::vector<std::jthread> threads;
    threads.reserve(kThreads + 2);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            const uint32_t id = connection.id("worker." + std::to_string(t));
            for (int i = 0; i < kLines; ++i) {
                const std::string text = "thread-id=" + std::to_string(t) + "|line " + std::to_string(i);
                connection.log(id, 3, text.c_str(), 0, 0);
            }
        });
    }
    threads.emplace_back([&] {
        start.arrive_and_wait();
        for (int i = 0; i < kLines; ++i) {
            connection.id("other." + std::to_string(i));
        }
    });
    std::vector<int32_t> results;
    threads.emplace_back([&] {
        start.arrive_and_wait();
        for (int i = 0; i < kLines; ++i) {
            results.push_back(setLevels(i % 2 == 0 ? "*=2" : "*=1"));
        }
    });
    threads.clear();
    disconnect();

    EXPECT_THAT(results, testing::Each(0));
    std::set<std::string> seen;
    for (const std::string& text : logLines()) {
        const auto line = ParseLine(text);
        ASSERT_TRUE(line) << text;
        const std::string thread = line->logger.substr(line->logger.find('.') + 1);
        EXPECT_EQ(line->logger, "worker." + thread);
        EXPECT_THAT(line->text, testing::StartsWith("thread-id=" + thread + "|line "));
        EXPECT_TRUE(seen.insert(line->text).second) << "twice: " << text;
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLines));
}

} // namespace
} // namespace orva::logging::dispatcher::test
