// The CoaXPress controller behind a board object, as the API reaches it: the
// factory's choice, the camera list built from the links it found, and link
// events that reach the application's function, which may call back in.
#include <atomic>

#include "impl/core/CDriver.h"
#include "tests/cxpcontroller/CxpControllerTestSupport.h"

namespace orva::cxptest {
namespace {

// What the application's event function saw; it asks for the camera count,
// which waits for a scan that runs at that moment.
struct ApplicationEvents {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<TgxEventRecord> records;
    std::vector<int32_t> cameraCounts;

    static int32_t Callback(TgxBoardHandle* board, uint32_t, const TgxEventRecord* record, void* context) {
        auto* self = static_cast<ApplicationEvents*>(context);
        const int32_t count = static_cast<core::CDriver*>(board)->GetCameraCount();
        {
            std::lock_guard<std::mutex> lock(self->mutex);
            self->records.push_back(*record);
            self->cameraCounts.push_back(count);
        }
        self->changed.notify_all();
        return 0;
    }

    bool WaitForCount(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, kEventBound, [&] { return records.size() >= count; });
    }
};

class CxpBoard : public CxpControllerTest {
protected:
    void TearDown() override {
        driver.reset();
        if (grabber_ != nullptr) {
            board::Gb_FreeGrabber(grabber_);
        }
        CxpControllerTest::TearDown();
    }

    void OpenDriver() {
        Gb_Struct_s* grabber = board::Gb_InitEx(0, nullptr, 0);
        ASSERT_NE(grabber, nullptr) << orva_sim_last_error();
        grabber_ = grabber;
        driver = std::make_unique<core::CDriver>();
        ASSERT_EQ(driver->Init(grabber, false), TGX_OK);
    }

    // Outlives the board: the worker may call the application up to the
    // board's end.
    ApplicationEvents application;
    std::unique_ptr<core::CDriver> driver;

private:
    Gb_Struct_s* grabber_ = nullptr;
};

TEST_F(CxpBoard, CamerasAreListedWithTheirLinksAndEventsReachTheApplication) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("cxp-dual-4")", 4,
                                                R"({"model": "cxp-camera", "ports": [3, 1]},
                                                   {"model": "cxp-camera", "ports": [0]})"))));
    ASSERT_NO_FATAL_FAILURE(OpenDriver());
    ASSERT_NE(dynamic_cast<cxp::CxpController*>(driver->GetController()), nullptr)
        << "a CoaXPress board type gets the CoaXPress controller";
    ASSERT_EQ(driver->GetNrOfPorts(), 4u);
    ASSERT_EQ(driver->RegisterEventCallback(&ApplicationEvents::Callback, &application), TGX_OK);

    ASSERT_EQ(driver->ScanPorts(0xF, 0, kDiscoveryTimeoutMs), TGX_OK);
    ASSERT_EQ(driver->GetCameraCount(), 2);

    // Cameras in the order of their master ports: port 0 first, then 3.
    core::CCameraInterface* single = driver->GetCameraByIndex(0);
    core::CCameraInterface* dual = driver->GetCameraByIndex(1);
    ASSERT_NE(single, nullptr);
    ASSERT_NE(dual, nullptr);
    EXPECT_EQ(single->GetPort()->GetPortNumber(), 0u);
    EXPECT_EQ(single->GetNrOfLinks(), 1u);
    EXPECT_EQ(dual->GetPort()->GetPortNumber(), 3u);
    ASSERT_EQ(dual->GetNrOfLinks(), 2u);
    EXPECT_EQ(dual->GetLink(0).fgPort, 3);
    EXPECT_EQ(dual->GetLink(1).fgPort, 1);
    // The first camera took the design's first place (ports 0 and 1), the
    // second the other (2 and 3): the links are routed there.
    EXPECT_EQ(single->GetLink(0).appletPort, 0);
    EXPECT_EQ(dual->GetLink(0).appletPort, 2);
    EXPECT_EQ(dual->GetLink(1).appletPort, 3);
    EXPECT_EQ(dual->GetLink(1).appletLinkOrderIndex, 1);

    // The event comes on the worker; its function waited for the scan to end.
    ASSERT_TRUE(application.WaitForCount(1));
    std::lock_guard<std::mutex> lock(application.mutex);
    // Copies: the record is packed, its fields can't be bound to references.
    EXPECT_EQ(uint16_t{application.records[0].id}, TGX_EVENT_LINK_UP);
    EXPECT_EQ(uint32_t{application.records[0].portMask}, 0xBu);
    EXPECT_EQ(application.cameraCounts[0], 2);
}

} // namespace
} // namespace orva::cxptest
