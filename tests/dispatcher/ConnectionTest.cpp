// Connecting, ids, disconnecting and unloading.
#include "DispatcherHarness.h"

#include <gmock/gmock.h>

#include <latch>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace orva::logging::dispatcher::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class ConnectionTest : public DispatcherTest {};

TEST_F(ConnectionTest, OneNameOneIdFromAnyThread) {
    const Connection connection = connect();
    constexpr int kThreads = 6;
    constexpr int kNames = 40;

    std::vector<std::map<std::string, uint32_t>> seen(kThreads);
    std::latch start(kThreads);
    {
        std::vector<std::jthread> threads;
        threads.reserve(kThreads);
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                start.arrive_and_wait();
                // Each thread walks all names, from its own start and half of them backwards.
                for (int i = 0; i < kNames; ++i) {
                    const int step = t % 2 == 0 ? i : kNames - 1 - i;
                    const std::string name = "orva.logger." + std::to_string((step + 7 * t) % kNames);
                    seen[t][name] = connection.id(name);
                }
            });
        }
    }

    ASSERT_EQ(seen[0].size(), static_cast<size_t>(kNames));
    std::set<uint32_t> ids;
    for (const auto& [name, id] : seen[0]) {
        EXPECT_NE(id, 0u) << name;
        ids.insert(id);
        for (int t = 1; t < kThreads; ++t) {
            EXPECT_EQ(seen[t].at(name), id) << name;
        }
    }
    EXPECT_EQ(ids.size(), seen[0].size()) << "distinct names share an id";
}

TEST_F(ConnectionTest, IdsOutliveReconnectWhileOrvaLogIsReadAgain) {
    SetEnv("ORVA_LOG", "a=1");
    Connection connection = connect();
    const uint32_t a = connection.id("a");
    ASSERT_EQ(connection.level("a"), 1u);
    disconnect();

    SetEnv("ORVA_LOG", "a=3");
    connection = connect();
    EXPECT_EQ(connection.id("a"), a);
    EXPECT_EQ(connection.level("a"), 3u);
}

TEST_F(ConnectionTest, CallsAfterDisconnectAreHarmless) {
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

TEST_F(ConnectionTest, OutputStopsWithTheLastConnection) {
    useLogFile();
    const Connection first = connect(0);
    const Connection second = connect(1);
    EXPECT_EQ(first.id("a"), second.id("a"));

    disconnect(0);
    second.write("a", 5, "thread-id=1|one connection left");
    disconnect(1);
    second.write("a", 5, "thread-id=1|none left");

    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("one connection left"));
}

TEST_F(ConnectionTest, ConnectingAgainWithOneTokenReplacesItsCallbacks) {
    useLogFile();
    const Connection connection = connect(0);
    const uint32_t a = connection.id("a");
    connectWith(0, 1);

    ASSERT_EQ(setLevels("a=2"), 0);
    EXPECT_THAT(LevelCalls(0), IsEmpty());
    EXPECT_THAT(LevelCalls(1), ElementsAre(Pair(a, 2u)));

    // Still one connection: one disconnect ends the output.
    disconnect(0);
    connection.write("a", 5, "thread-id=1|after disconnect");
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ConnectionTest, ConnectWithoutPlaceForTheFunctionsFails) {
    LoggingGetLogger getLogger = nullptr;
    LoggingLog log = nullptr;
    EXPECT_EQ(descriptor_->connect(TokenOf(0), nullptr, nullptr, nullptr, &log), -1);
    EXPECT_EQ(descriptor_->connect(TokenOf(0), nullptr, nullptr, &getLogger, nullptr), -1);
    EXPECT_EQ(getLogger, nullptr);
    EXPECT_EQ(log, nullptr);

    // Null callbacks are allowed; the dispatcher just has no one to tell.
    ASSERT_EQ(descriptor_->connect(TokenOf(0), nullptr, nullptr, &getLogger, &log), 0);
    uint32_t id = 0;
    uint32_t level = 0;
    getLogger("a", &id, &level);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(setLevels("a=1"), 0);
}

TEST_F(ConnectionTest, UnloadingTellsTheConnectionsStillOpen) {
    connect(0);
    connect(1);
    disconnect(1);

    ASSERT_TRUE(unload()) << "the library stayed loaded";
    EXPECT_EQ(DisconnectCalls(0), 1);
    EXPECT_EQ(DisconnectCalls(1), 0);
}

} // namespace
} // namespace orva::logging::dispatcher::test
