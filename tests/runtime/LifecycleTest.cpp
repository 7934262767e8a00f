#include "support/TestSupport.h"

#include "runtime/templates/GuardedSingleton.h"
#include "runtime/templates/LibraryInitController.h"

#include <atomic>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using orva::templates::patterns::GuardedSingleton;
using orva::templates::platform::LibraryInitController;

namespace {

std::vector<std::string>& Events() {
    static std::vector<std::string> events;
    return events;
}

// Every test must leave the library down, for the tests that follow in the
// same process.
class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(LibraryInitController::UseCount(), 0);
        Events().clear();
    }
    void TearDown() override {
        EXPECT_EQ(LibraryInitController::UseCount(), 0);
        EXPECT_FALSE(LibraryInitController::HasInstance());
    }
};

template <int Tag> class Recorded : public GuardedSingleton<Recorded<Tag>> {
    friend class GuardedSingleton<Recorded<Tag>>;

public:
    static inline int constructed = 0;
    static inline int destroyed = 0;
    ~Recorded() override {
        ++destroyed;
        Events().push_back("S" + std::to_string(Tag) + " destroyed");
    }
    void prepareDestroy() override { Events().push_back("S" + std::to_string(Tag) + " prepared"); }

private:
    Recorded() { ++constructed; }
};

} // namespace

TEST_F(Lifecycle, LastDeinitRunsCleanupsThenDestroysSingletonsInOrder) {
    using S1 = Recorded<1>;
    using S2 = Recorded<2>;
    EXPECT_EQ(LibraryInitController::Init(), 1);
    EXPECT_TRUE(LibraryInitController::HasInstance());
    LibraryInitController::Register(nullptr, [] { Events().emplace_back("deinit A"); });
    S1* first = S1::instance();
    EXPECT_EQ(S1::instance(), first);
    S2::instance();
    LibraryInitController::Register(nullptr, [] { Events().emplace_back("deinit B"); });

    EXPECT_EQ(LibraryInitController::Init(), 2);
    EXPECT_EQ(LibraryInitController::Deinit(), 1);
    EXPECT_TRUE(Events().empty()) << "torn down before the last use";

    EXPECT_EQ(LibraryInitController::Deinit(), 0);
    EXPECT_EQ(Events(), (std::vector<std::string>{"deinit A", "deinit B", "S1 prepared", "S1 destroyed", "S2 prepared",
                                                  "S2 destroyed"}));

    // The instance slot was cleared: the next use builds a new object.
    LibraryInitController::Init();
    S1::instance();
    EXPECT_EQ(S1::constructed, 2);
    LibraryInitController::Deinit();
    EXPECT_EQ(S1::destroyed, 2);
}

TEST_F(Lifecycle, RegisterCallsInitAlwaysButKeepsCleanupOnlyWhileUp) {
    LibraryInitController::Register([] { Events().emplace_back("init C"); }, [] { Events().emplace_back("deinit C"); });
    EXPECT_EQ(Events(), std::vector<std::string>{"init C"});
    LibraryInitController::Init();
    LibraryInitController::Deinit();
    EXPECT_EQ(Events(), std::vector<std::string>{"init C"}) << "a clean-up registered while down was kept";
}

// The shape of an implicit initialisation: the first use registers a clean-up
// that gives a use back itself, and the application later gives back the
// last use.
TEST_F(Lifecycle, CleanupMayCallDeinitAgain) {
    EXPECT_EQ(LibraryInitController::Init(), 1);
    LibraryInitController::Register([] { LibraryInitController::Init(); },
                                    [] {
                                        Events().emplace_back("cleanup");
                                        Events().push_back("count " + std::to_string(LibraryInitController::Deinit()));
                                    });
    EXPECT_EQ(LibraryInitController::UseCount(), 2);
    EXPECT_EQ(LibraryInitController::Deinit(), 1);
    EXPECT_EQ(LibraryInitController::Deinit(), 0);
    EXPECT_EQ(Events(), (std::vector<std::string>{"cleanup", "count 0"}));
    EXPECT_EQ(LibraryInitController::Deinit(), 0) << "the count went below 0";

    // Down means down: the next use starts afresh.
    EXPECT_EQ(LibraryInitController::Init(), 1);
    EXPECT_TRUE(LibraryInitController::HasInstance());
    EXPECT_EQ(LibraryInitController::Deinit(), 0);
}

namespace {
// Asks for another singleton from its destructor, i.e. during the tear-down.
class Summoner : public GuardedSingleton<Summoner> {
    friend class GuardedSingleton<Summoner>;

public:
    ~Summoner() override;
};
Summoner::~Summoner() {
    Recorded<3>::instance();
}

} // namespace

TEST_F(Lifecycle, ObjectsCreatedDuringTearDownAreDestroyedToo) {
    LibraryInitController::Init();
    LibraryInitController::Register(nullptr, [] {
        LibraryInitController::Init();
        Recorded<4>::instance();
        LibraryInitController::Deinit();
    });
    Summoner::instance();
    LibraryInitController::Deinit();
    EXPECT_EQ(Recorded<4>::constructed, 1);
    EXPECT_EQ(Recorded<4>::destroyed, 1) << "nested Init/Deinit in a clean-up";
    EXPECT_EQ(Recorded<3>::constructed, 1);
    EXPECT_EQ(Recorded<3>::destroyed, 1) << "singleton created by a destructor during tear-down";
}

namespace {
class SelfUsing : public GuardedSingleton<SelfUsing> {
    friend class GuardedSingleton<SelfUsing>;

public:
    void initialize() override {
        seenInInitialize = instance();
        initialized = true;
    }
    SelfUsing* seenInConstructor = nullptr;
    SelfUsing* seenInInitialize = nullptr;
    std::atomic<bool> initialized{false};

private:
    SelfUsing() : seenInConstructor(instance()) {}
};
} // namespace

TEST_F(Lifecycle, CreatingThreadSeesObjectUnderConstruction) {
    LibraryInitController::Init();
    SelfUsing* object = SelfUsing::instance();
    EXPECT_EQ(object->seenInInitialize, object);
    EXPECT_EQ(object->seenInConstructor, nullptr);
    LibraryInitController::Deinit();
}

namespace {
// initialize() waits until the test lets it go.
class SlowStart : public GuardedSingleton<SlowStart> {
    friend class GuardedSingleton<SlowStart>;

public:
    void initialize() override {
        std::unique_lock<std::mutex> lock(gateMutex);
        entered = true;
        gate.notify_all();
        gate.wait_for(lock, orva::test::kBound, [] { return released; });
        initialized = true;
    }
    std::atomic<bool> initialized{false};

    static inline std::mutex gateMutex;
    static inline std::condition_variable gate;
    static inline bool entered = false;
    static inline bool released = false;
};
} // namespace

TEST_F(Lifecycle, OtherThreadWaitsUntilInitializeHasFinished) {
    LibraryInitController::Init();
    SlowStart* byCreator = nullptr;
    std::thread creator([&] { byCreator = SlowStart::instance(); });
    {
        std::unique_lock<std::mutex> lock(SlowStart::gateMutex);
        ASSERT_TRUE(SlowStart::gate.wait_for(lock, orva::test::kBound, [] { return SlowStart::entered; }));
    }
    std::atomic<bool> asking{false};
    SlowStart* byOther = nullptr;
    bool initializedWhenSeen = false;
    std::thread other([&] {
        asking = true;
        byOther = SlowStart::instance();
        initializedWhenSeen = byOther->initialized.load();
    });
    ASSERT_TRUE(orva::test::WaitUntil([&] { return asking.load(); }));
    {
        std::lock_guard<std::mutex> lock(SlowStart::gateMutex);
        SlowStart::released = true;
    }
    SlowStart::gate.notify_all();
    creator.join();
    other.join();
    EXPECT_EQ(byOther, byCreator);
    EXPECT_TRUE(initializedWhenSeen) << "another thread got the object before initialize() ended";
    LibraryInitController::Deinit();
}

namespace {
class FailsOnce : public GuardedSingleton<FailsOnce> {
    friend class GuardedSingleton<FailsOnce>;

public:
    static inline int constructed = 0;
    static inline int destroyed = 0;
    static inline bool fail = true;
    ~FailsOnce() override { ++destroyed; }
    void initialize() override {
        if (fail) {
            fail = false;
            throw std::runtime_error("initialize failed");
        }
    }

private:
    FailsOnce() { ++constructed; }
};
} // namespace

TEST_F(Lifecycle, FailedInitializeLeavesNothingBehind) {
    LibraryInitController::Init();
    EXPECT_THROW(FailsOnce::instance(), std::runtime_error);
    EXPECT_EQ(FailsOnce::destroyed, 1);
    ASSERT_NE(FailsOnce::instance(), nullptr);
    EXPECT_EQ(FailsOnce::constructed, 2);
    LibraryInitController::Deinit();
    EXPECT_EQ(FailsOnce::destroyed, 2) << "the failed object was deleted twice or the second one never";
}

TEST_F(Lifecycle, ConcurrentUsesKeepTheCountConsistent) {
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 500; ++i) {
                LibraryInitController::Init();
                Recorded<5>::instance();
                LibraryInitController::Deinit();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    // Each thread held a use while it asked, so every object was registered
    // and died with a tear-down.
    EXPECT_GE(Recorded<5>::constructed, 1);
    EXPECT_EQ(Recorded<5>::constructed, Recorded<5>::destroyed);
}

TEST_F(Lifecycle, VerboseLinesOnStandardOutput) {
    LibraryInitController::SetVerbose(true);
    ::testing::internal::CaptureStdout();
    LibraryInitController::Init();
    LibraryInitController::Deinit();
    const std::string output = ::testing::internal::GetCapturedStdout();
    LibraryInitController::SetVerbose(false);

    // One line per step, all naming the same record, and nothing else.
    const std::regex expected("LibraryInitController \\[Create \\] - Instance: (0x[0-9a-f]+)\n"
                              "LibraryInitController \\[Init   \\] - Instance: \\1 - Use Count: 1\n"
                              "LibraryInitController \\[Deinit \\] - Instance: \\1 - Use Count: 0\n"
                              "LibraryInitController \\[Destroy\\] - Instance: \\1\n");
    EXPECT_TRUE(std::regex_match(output, expected)) << output;
}
