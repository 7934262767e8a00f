// The log dispatcher, loaded the way the library loads it, with the test
// playing the library's part: connections and ids, thresholds from ORVA_LOG
// and at run time, and the lines written.
#include "CommonLoggingDispatcher.h"
#include "support/TestSupport.h"

#include <dlfcn.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <latch>
#include <map>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

constexpr const char* kOwnLogger = "common-logging-dispatcher";

// What the dispatcher called back on one connection. The callbacks carry no
// context, so every slot has its own pair of functions.
struct Calls {
    std::mutex mutex;
    std::vector<std::pair<uint32_t, uint32_t>> levels;
    int disconnects = 0;
};
std::array<Calls, 2> calls;
std::array<int, 2> tokens;

template <int Slot> void OnSetLevel(uint32_t id, uint32_t level) {
    const std::lock_guard lock(calls[Slot].mutex);
    calls[Slot].levels.emplace_back(id, level);
}
template <int Slot> void OnDisconnect() {
    const std::lock_guard lock(calls[Slot].mutex);
    ++calls[Slot].disconnects;
}
constexpr std::array<LoggingOnSetLevel, 2> kOnSetLevel{&OnSetLevel<0>, &OnSetLevel<1>};
constexpr std::array<LoggingOnDisconnect, 2> kOnDisconnect{&OnDisconnect<0>, &OnDisconnect<1>};

std::vector<std::pair<uint32_t, uint32_t>> LevelCalls(int slot) {
    const std::lock_guard lock(calls.at(slot).mutex);
    return calls.at(slot).levels;
}
int DisconnectCalls(int slot) {
    const std::lock_guard lock(calls.at(slot).mutex);
    return calls.at(slot).disconnects;
}

// The two functions a connection hands out.
struct Connection {
    LoggingGetLogger getLogger = nullptr;
    LoggingLog log = nullptr;

    std::pair<uint32_t, uint32_t> idAndLevel(const std::string& name) const {
        uint32_t id = 0xdeadbeef;
        uint32_t level = 0xdeadbeef;
        getLogger(name.c_str(), &id, &level);
        return {id, level};
    }
    uint32_t id(const std::string& name) const { return idAndLevel(name).first; }
    uint32_t level(const std::string& name) const { return idAndLevel(name).second; }
    void write(const std::string& name, uint32_t level, const std::string& text) const {
        log(id(name), level, text.c_str(), 0, 0);
    }
};

struct LogLine {
    std::string level;
    std::string logger;
    std::string text;
};
// Null unless `line` is "<time> [<level>] [<logger>] <text>" with a time like
// 2024-05-01T12:34:56.789+02:00.
std::optional<LogLine> ParseLine(const std::string& line) {
    static const std::regex shape(
        R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d \[([a-z]+)\] \[([^\]]*)\] (.*))");
    std::smatch match;
    if (!std::regex_match(line, match, shape)) {
        return std::nullopt;
    }
    return LogLine{match[1], match[2], match[3]};
}

std::vector<std::string> Lines(std::istream&& in) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

using orva::test::SetEnv;

class Dispatcher : public testing::Test {
protected:
    void SetUp() override {
        // The tests decide the environment; whatever the caller has set must not leak in.
        ::unsetenv(COMMON_LOGGING_DISPATCHER_ENV_LEVELS); // NOLINT(concurrency-mt-unsafe)
        ::unsetenv(COMMON_LOGGING_DISPATCHER_ENV_FILE);   // NOLINT(concurrency-mt-unsafe)
        logPath_ = tempPath(".log");
        std::remove(logPath_.c_str());
        handle_ = ::dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle_, nullptr) << ::dlerror(); // NOLINT(concurrency-mt-unsafe)
        descriptor_ =
            static_cast<const LoggingDispatcherDescriptor*>(::dlsym(handle_, LOGGING_DISPATCHER_DESCRIPTOR_SYMBOL));
        setLevels_ =
            reinterpret_cast<LoggingDispatcherSetLevels>(::dlsym(handle_, LOGGING_DISPATCHER_SET_LEVELS_SYMBOL));
        ASSERT_TRUE(descriptor_ != nullptr && setLevels_ != nullptr);
    }
    void TearDown() override {
        unload();
        std::remove(logPath_.c_str());
    }

    // Connects `slot`'s token with the callbacks of `callbackSlot` (by default
    // its own); throws when the dispatcher refuses.
    Connection connect(int slot = 0, int callbackSlot = -1) {
        const int callbacks = callbackSlot < 0 ? slot : callbackSlot;
        Connection connection;
        if (descriptor_->connect(&tokens.at(slot), kOnDisconnect.at(callbacks), kOnSetLevel.at(callbacks),
                                 &connection.getLogger, &connection.log) != 0 ||
            connection.getLogger == nullptr || connection.log == nullptr) {
            throw std::runtime_error("the dispatcher refused the connection");
        }
        return connection;
    }
    void disconnect(int slot = 0) const { descriptor_->disconnect(&tokens.at(slot)); }
    int32_t setLevels(const char* rules) const { return setLevels_(rules); }

    void useLogFile() const { SetEnv(COMMON_LOGGING_DISPATCHER_ENV_FILE, logPath_); }
    std::vector<std::string> logLines() const { return Lines(std::ifstream(logPath_)); }
    static std::string tempPath(const std::string& suffix) {
        return testing::TempDir() + "dispatcher-" + std::to_string(::getpid()) + "-" +
               testing::UnitTest::GetInstance()->current_test_info()->name() + suffix;
    }
    static std::string LibraryPath() {
        const char* build = std::getenv("TGX_TEST_BUILD_DIR"); // NOLINT(concurrency-mt-unsafe)
        return std::string(build != nullptr ? build : ".") + "/lib/" + COMMON_LOGGING_DISPATCHER_LIBRARY;
    }
    // dlclose; true when the library is really gone from the process.
    bool unload() {
        if (handle_ != nullptr) {
            ::dlclose(handle_);
            handle_ = nullptr;
        }
        void* still = ::dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (still != nullptr) {
            ::dlclose(still);
        }
        return still == nullptr;
    }

    void* handle_ = nullptr;
    const LoggingDispatcherDescriptor* descriptor_ = nullptr;
    LoggingDispatcherSetLevels setLevels_ = nullptr;
    std::string logPath_;
};

TEST_F(Dispatcher, ThresholdsComeFromOrvaLogReadAtEachFirstConnection) {
    struct Case {
        const char* rules; // null: unset
        std::vector<std::pair<const char*, uint32_t>> levels;
    };
    const std::vector<Case> cases = {
        {nullptr, {{"orva.genicam.lib", 5}, {"orva.core.GenICamManager", 5}}},
        // Exact name beats longer prefix beats shorter prefix beats star; in
        // mixed order, so that neither "first wins" nor "last wins" passes.
        {"orva.genicam.lib*=6,orva.genicam.lib=1,*=4,orva.genicam.*=2",
         {{"orva.genicam.lib", 1},
          {"orva.genicam.library", 6},
          {"orva.genicam.GbePort", 2},
          {"orva.core.GenICamManager", 4},
          {"orva.genicam", 4}}},
        {"orva.genicam.=1", {{"orva.genicam.lib", 5}, {"orva.genicam.", 1}}}, // no star: an exact name
        // Level words in any case, blanks, and a later item for a pattern replacing an earlier one.
        {" a=trace, b = DEBUG ,c=Info,d=warning,e=warn,f=error,g=off,h=6,i=3,i=2,,",
         {{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}, {"e", 4}, {"f", 5}, {"g", 7}, {"h", 6}, {"i", 2}}},
        {"a=3", {{"a", 3}, {"b", 5}}},
    };
    useLogFile();
    std::map<std::string, uint32_t> ids;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.rules != nullptr ? c.rules : "unset");
        if (c.rules != nullptr) {
            SetEnv("ORVA_LOG", c.rules);
        }
        const Connection connection = connect();
        for (const auto& [name, level] : c.levels) {
            EXPECT_EQ(connection.level(name), level) << name;
            // Ids outlive the connection.
            EXPECT_EQ(ids.emplace(name, connection.id(name)).first->second, connection.id(name)) << name;
        }
        disconnect();
    }
    EXPECT_THAT(logLines(), IsEmpty()) << "nothing to warn about";
}

TEST_F(Dispatcher, MalformedItemsAreSkippedAndNamedInOneWarning) {
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

TEST_F(Dispatcher, SetLevelsReplacesTheRulesAndReportsOnlyChangedThresholds) {
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

    // A malformed rule text changes nothing.
    for (const char* bad : {"a=1,b=loud", "*=8", "b", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(setLevels(bad), -1) << (bad != nullptr ? bad : "null");
    }
    EXPECT_EQ(LevelCalls(0).size(), 2u);
    EXPECT_EQ(connection.level("b"), 2u);

    // Empty: back to the defaults, not merged with the rules in force.
    ASSERT_EQ(setLevels(""), 0);
    const uint32_t d = connection.id("d");
    EXPECT_THAT(LevelCalls(0),
                UnorderedElementsAre(Pair(b, 2u), Pair(c, 4u), Pair(a, 5u), Pair(b, 5u), Pair(c, 5u), Pair(d, 5u)));
    disconnect();
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("[c] thread-id=1|now passes"));
}

TEST_F(Dispatcher, SetLevelsTellsEveryOpenConnectionThroughItsLatestCallbacks) {
    useLogFile();
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

    // Connecting again with one token replaces its callbacks.
    connect(0, 1);
    ASSERT_EQ(setLevels("a=4"), 0);
    EXPECT_EQ(LevelCalls(0).size(), 2u);
    EXPECT_THAT(LevelCalls(1), ElementsAre(Pair(a, 2u), Pair(a, 4u)));
    // Still one connection: one disconnect ends the output.
    disconnect(0);
    first.write("a", 5, "thread-id=1|after disconnect");
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Dispatcher, CallsAfterDisconnectAreHarmless) {
    useLogFile();
    const Connection connection = connect();
    const uint32_t a = connection.id("a");
    connection.write("a", 5, "thread-id=1|before");
    disconnect();
    disconnect();

    EXPECT_EQ(connection.idAndLevel("a"), std::make_pair(0u, 7u));
    connection.log(a, 5, "thread-id=1|after", 0, 0);
    connection.getLogger(nullptr, nullptr, nullptr);
    EXPECT_EQ(setLevels("a=1"), 0);
    EXPECT_THAT(LevelCalls(0), IsEmpty());
    EXPECT_EQ(DisconnectCalls(0), 0) << "the library asked to go; it is not told again";
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("thread-id=1|before"));
}

TEST_F(Dispatcher, ConnectWithoutPlaceForTheFunctionsFails) {
    LoggingGetLogger getLogger = nullptr;
    LoggingLog log = nullptr;
    EXPECT_EQ(descriptor_->connect(&tokens[0], nullptr, nullptr, nullptr, &log), -1);
    EXPECT_EQ(descriptor_->connect(&tokens[0], nullptr, nullptr, &getLogger, nullptr), -1);
    EXPECT_EQ(getLogger, nullptr);
    EXPECT_EQ(log, nullptr);

    // Null callbacks are allowed; the dispatcher just has no one to tell.
    ASSERT_EQ(descriptor_->connect(&tokens[0], nullptr, nullptr, &getLogger, &log), 0);
    uint32_t id = 0;
    uint32_t level = 0;
    getLogger("a", &id, &level);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(setLevels("a=1"), 0);
}

TEST_F(Dispatcher, UnloadingTellsTheConnectionsStillOpen) {
    connect(0);
    connect(1);
    disconnect(1);
    ASSERT_TRUE(unload()) << "the library stayed loaded";
    EXPECT_EQ(DisconnectCalls(0), 1);
    EXPECT_EQ(DisconnectCalls(1), 0);
}

TEST_F(Dispatcher, LineHoldsTimeLevelNameLoggerNameAndTheTextAsGiven) {
    useLogFile();
    SetEnv("ORVA_LOG", "orva.genicam.*=trace");
    const Connection connection = connect();
    const std::vector<LogLine> written = {
        // Braces and percent signs must not be taken for format fields.
        {"trace", "orva.genicam.lib",
         "source-file=/src/dir name/Port.cpp,source-line=42,thread-id=4711|enter {} %v {0}"},
        {"debug", "orva.genicam.lib", "thread-id=4711|register 0x4000 = 0x0000002a"},
        {"info", "orva.genicam.CxpController", "thread-id=12|board detected"},
        {"warning", "orva.genicam.GbePort", "thread-id=13|retrying [1/3]"},
        {"error", "orva.genicam.lib", "thread-id=14|failed: 100%"},
    };
    for (uint32_t level = 1; level <= written.size(); ++level) {
        connection.write(written[level - 1].logger, level, written[level - 1].text);
    }
    disconnect();
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), written.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        const auto line = ParseLine(lines[i]);
        ASSERT_TRUE(line) << lines[i];
        EXPECT_EQ(line->level, written[i].level);
        EXPECT_EQ(line->logger, written[i].logger);
        EXPECT_EQ(line->text, written[i].text);
    }
}

TEST_F(Dispatcher, LinesBelowThresholdOrOutsideTheLevelsAreDropped) {
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

TEST_F(Dispatcher, FileIsAppendedTo) {
    std::ofstream(logPath_) << "line from an earlier run\n";
    useLogFile();
    const Connection connection = connect();
    connection.write("orva.genicam.lib", 5, "thread-id=1|new line");
    disconnect();
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "line from an earlier run");
    EXPECT_THAT(lines[1], HasSubstr("[orva.genicam.lib] thread-id=1|new line"));
}

TEST_F(Dispatcher, WithoutAUsableLogFileLinesGoToStandardError) {
    testing::internal::CaptureStderr();
    Connection connection = connect();
    connection.write("orva.genicam.lib", 5, "thread-id=9|to stderr");
    disconnect();
    // A directory can't be opened for appending: a warning, then the lines.
    SetEnv("ORVA_LOG_FILE", testing::TempDir());
    connection = connect();
    connection.write("orva.genicam.lib", 5, "thread-id=9|still written");
    disconnect();

    const auto lines = Lines(std::istringstream(testing::internal::GetCapturedStderr()));
    ASSERT_EQ(lines.size(), 3u);
    const auto first = ParseLine(lines[0]);
    ASSERT_TRUE(first) << lines[0];
    EXPECT_EQ(first->logger, "orva.genicam.lib");
    EXPECT_EQ(first->text, "thread-id=9|to stderr");
    const auto warning = ParseLine(lines[1]);
    ASSERT_TRUE(warning) << lines[1];
    EXPECT_EQ(warning->level, "warning");
    EXPECT_EQ(warning->logger, kOwnLogger);
    EXPECT_THAT(warning->text, HasSubstr(testing::TempDir()));
    EXPECT_THAT(lines[2], HasSubstr("[orva.genicam.lib] thread-id=9|still written"));
}

TEST_F(Dispatcher, ConcurrentLinesAreNeitherLostNorTorn) {
    useLogFile();
    SetEnv("ORVA_LOG", "*=1");
    const Connection connection = connect();
    constexpr int kThreads = 8;
    constexpr int kLines = 300;
    // Writers, a thread creating loggers and one changing levels (always
    // letting level 3 through) all start together.
    std::latch start(kThreads + 2);
    std::vector<std::jthread> threads;
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
