#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "impl/core/CDriver.h"
#include "support/FakeTechnology.h"

using orva::core::CDriver;
using orva::core::kLinkIndexExtension;
using orva::core::kLinkIndexMaster;
using orva::core::LinkEventKind;
using orva::test::FakeController;

namespace {

class Driver : public ::testing::Test {
protected:
    void SetUp() override {
        auto controller = std::make_unique<FakeController>(4);
        fake = controller.get();
        ASSERT_EQ(driver.Init(std::move(controller)), TGX_OK);
    }

    CDriver driver;
    FakeController* fake = nullptr;
};

TEST_F(Driver, InitResetsTheControllerThenWaitsThenConnectsEvents) {
    ASSERT_GE(fake->calls.size(), 3U);
    EXPECT_EQ(std::vector<std::string>(fake->calls.begin(), fake->calls.begin() + 3),
              (std::vector<std::string>{"ResetController", "WaitAfterReset", "SetEventCallback"}));
    EXPECT_EQ(driver.GetCameraCount(), 0);
    EXPECT_EQ(driver.GetCameraAtPort(0), nullptr);
}

TEST_F(Driver, FourLinkCameraIsOneEntryWithFourLinkRecords) {
    // Cabled in reverse: link 0 on port 3 ... link 3 on port 0.
    for (uint32_t port = 0; port < 4; ++port) {
        const uint32_t link = 3 - port;
        fake->port(port).SetCamera(link == 0 ? kLinkIndexMaster : kLinkIndexExtension, 0x42, link);
    }
    ASSERT_EQ(driver.ScanPorts(0xF, 6250, 5000), TGX_OK);
    EXPECT_EQ(fake->calls.back(), "DiscoverCameras 15 6250 5000");
    ASSERT_EQ(driver.GetCameraCount(), 1);
    auto* camera = driver.GetCameraByIndex(0);
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(camera->GetPort(), driver.GetPort(3));
    EXPECT_EQ(camera->GetNrOfLinks(), 4U);
    EXPECT_EQ(camera->GetDiscoverySpeed(), 6250U);
    for (uint32_t link = 0; link < 4; ++link) {
        const auto record = camera->GetLink(link);
        EXPECT_EQ(record.fgPort, static_cast<int32_t>(3 - link));
        EXPECT_EQ(record.appletPort, static_cast<int32_t>(3 - link));
        EXPECT_EQ(record.appletMasterId, 0x52);
        EXPECT_EQ(record.appletLinkOrderIndex, static_cast<int32_t>(link));
    }
    EXPECT_EQ(driver.GetCameraAtPort(3), camera);
    EXPECT_EQ(driver.GetCameraAtPort(0), nullptr) << "only link 0 names the camera's port";
}

TEST_F(Driver, TwoCamerasKeepTheOrderOfThePortsAndARescanFollowsThem) {
    fake->port(0).SetCamera(kLinkIndexMaster, 2, 0);
    fake->port(1).SetCamera(kLinkIndexExtension, 2, 1);
    fake->port(2).SetNoCamera();
    fake->port(3).SetCamera(kLinkIndexMaster, 1, 0);
    ASSERT_EQ(driver.ScanPorts(0xF, 0, 1000), TGX_OK);
    ASSERT_EQ(driver.GetCameraCount(), 2);
    EXPECT_EQ(driver.GetCameraByIndex(0)->GetNrOfLinks(), 2U);
    EXPECT_EQ(driver.GetCameraByIndex(1)->GetNrOfLinks(), 1U);
    EXPECT_EQ(driver.GetCameraByIndex(1)->GetLink(0).fgPort, 3);
    EXPECT_EQ(driver.GetCameraByIndex(2), nullptr);

    // A rescan follows a camera to its new port.
    fake->port(0).SetNoCamera();
    fake->port(1).SetNoCamera();
    fake->port(2).SetCamera(kLinkIndexMaster, 2, 0);
    ASSERT_EQ(driver.ScanPorts(0xF, 0, 1000), TGX_OK);
    EXPECT_EQ(driver.GetCameraCount(), 2);
    EXPECT_EQ(driver.GetCameraAtPort(0), nullptr);
    ASSERT_NE(driver.GetCameraAtPort(2), nullptr);
}

TEST_F(Driver, LayoutMismatchStillRebuildsTheListButOtherFailuresKeepIt) {
    fake->port(1).SetCamera(kLinkIndexMaster, 7, 0);
    fake->SetDiscoveryResult(TGX_ERR_LINK_LAYOUT_MISMATCH);
    EXPECT_EQ(driver.ScanPorts(0x2, 0, 1000), TGX_ERR_LINK_LAYOUT_MISMATCH);
    ASSERT_EQ(driver.GetCameraCount(), 1);

    fake->port(1).SetNoCamera();
    fake->SetDiscoveryResult(TGX_ERR_NO_CAMERA_FOUND);
    EXPECT_EQ(driver.ScanPorts(0x2, 0, 1000), TGX_ERR_NO_CAMERA_FOUND);
    EXPECT_EQ(driver.GetCameraCount(), 1) << "a failed discovery leaves the old list";
}

TEST_F(Driver, PortAccessGoesToTheIndexedPortOrFailsPastTheEnd) {
    uint8_t byte = 0;
    EXPECT_EQ(driver.ReadPort(2, 0x34, &byte, 1, 100), TGX_OK);
    EXPECT_EQ(byte, 0x34);
    EXPECT_EQ(driver.ReadPort(4, 0, &byte, 1, 100), TGX_ERR_INVALID_POINTER);
    EXPECT_EQ(driver.WritePort(4, 0, &byte, 1, 100), TGX_ERR_INVALID_POINTER);
}

struct EventLog {
    std::vector<std::pair<uint16_t, uint32_t>> records;
    TgxBoardHandle* board = nullptr;
    bool throwNext = false;
};

int32_t RecordEvent(TgxBoardHandle* board, uint32_t reserved, const TgxEventRecord* record, void* context) {
    auto* log = static_cast<EventLog*>(context);
    log->board = board;
    if (log->throwNext) {
        log->throwNext = false;
        throw std::runtime_error("application failure");
    }
    // Copies: the record is packed, its fields can't be bound to references.
    log->records.emplace_back(uint16_t{record->id}, uint32_t{record->portMask});
    return static_cast<int32_t>(reserved);
}

TEST_F(Driver, LinkReportsBecomeEventRecords) {
    EventLog log;
    fake->Report(LinkEventKind::Lost, 0x4); // nobody listens: lost
    ASSERT_EQ(driver.RegisterEventCallback(&RecordEvent, &log), TGX_OK);
    fake->Report(LinkEventKind::Lost, 0x5);
    fake->Report(LinkEventKind::Gained, 0x1);
    ASSERT_EQ(log.records.size(), 2U);
    EXPECT_EQ(log.records[0], std::make_pair(uint16_t{200}, 0x5U));
    EXPECT_EQ(log.records[1], std::make_pair(uint16_t{101}, 0x1U));
    EXPECT_EQ(log.board, static_cast<TgxBoardHandle*>(&driver));
}

TEST_F(Driver, AThrowingEventFunctionDoesNotStopLaterEvents) {
    EventLog log;
    driver.RegisterEventCallback(&RecordEvent, &log);
    TgxEventRecord record{101, 0x1};
    log.throwNext = true;
    EXPECT_EQ(driver.DeliverEvent(&record, 0), TGX_ERR_EXCEPTION);
    EXPECT_EQ(driver.DeliverEvent(&record, 0), TGX_OK);
    EXPECT_EQ(log.records.size(), 1U);

    driver.RegisterEventCallback(nullptr, nullptr);
    EXPECT_EQ(driver.DeliverEvent(&record, 0), TGX_ERR_NO_EVENT_HANDLER);
}

// A controller that makes one last report while it stops, as a worker does
// when a link drops during the board's end.
class ReportingOnStopController : public FakeController {
public:
    using FakeController::FakeController;
    ReportingOnStopController(const ReportingOnStopController&) = delete;
    ReportingOnStopController& operator=(const ReportingOnStopController&) = delete;
    ~ReportingOnStopController() override { Report(LinkEventKind::Lost, 0x1); }
};

TEST(DriverEnd, NoEventFunctionRunsOnABoardThatIsBeingFreed) {
    EventLog log;
    {
        CDriver driver;
        ASSERT_EQ(driver.Init(std::make_unique<ReportingOnStopController>(2)), TGX_OK);
        ASSERT_EQ(driver.RegisterEventCallback(&RecordEvent, &log), TGX_OK);
    }
    EXPECT_TRUE(log.records.empty());
}

TEST(DriverWithoutController, ScansFailAndCountsAreZero) {
    CDriver driver;
    EXPECT_EQ(driver.ScanPorts(0xF, 0, 100), TGX_ERR_INVALID_POINTER);
    EXPECT_EQ(driver.GetCameraCount(), 0);
    EXPECT_EQ(driver.GetNrOfPorts(), 0U);
    EXPECT_EQ(driver.Init(nullptr, false), TGX_ERR_INVALID_ARGUMENT);
}

// A board whose Monitor() tells when the thread has run.
class WatchedDriver : public CDriver {
public:
    void Monitor() override {
        std::lock_guard<std::mutex> lock(mutex);
        ++calls;
        ran.notify_all();
    }
    std::mutex mutex;
    std::condition_variable ran;
    int calls = 0;
};

TEST(DriverMonitor, RunsOnceInitIsDoneAndStopsWithTheBoard) {
    auto driver = std::make_unique<WatchedDriver>();
    ASSERT_EQ(driver->Init(std::make_unique<FakeController>(1)), TGX_OK);
    {
        std::unique_lock<std::mutex> lock(driver->mutex);
        ASSERT_TRUE(driver->ran.wait_for(lock, std::chrono::seconds(10), [&] { return driver->calls > 0; }));
    }
    driver.reset(); // joins the thread; a hang here fails the test by its time-out
    SUCCEED();
}

} // namespace
