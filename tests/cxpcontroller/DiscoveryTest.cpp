// The discovery pipeline and the topology of the CoaXPress controller, end to
// end against the simulated boards: cameras and their links, master ids,
// routes through the discovery selector, link events, and scans of free
// ports next to cameras in use.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "impl/core/DiscoverySelector.h"
#include "tests/cxpcontroller/CxpControllerTestSupport.h"

namespace orva::cxptest {
namespace {

using core::kLinkIndexExtension;
using core::kLinkIndexMaster;
using core::kLinkIndexNoCamera;

constexpr uint32_t kMagic = 0xC0A79AE5;

// Two-link camera on ports 0 and 1, a one-link camera on port 2 that wants
// 5000, nothing on port 3: the queue path with the camera control's port map.
const std::string kTwoCameras = Scenario(Board(0, "0xA64", R"("coaxpress")", 4,
                                               R"({"model": "cxp-camera", "ports": [0, 1]},
                                                  {"model": "cxp-camera", "ports": [2],
                                                   "params": {"revision": "1.1", "defaultSpeed": 5000}})"));

uint32_t CameraId(cxp::CCxpPort& port) {
    return port.GetMasterId() >> 16;
}

uint32_t LinkNumber(cxp::CCxpPort& port) {
    return port.GetMasterId() & 0xFFFF;
}

class CxpDiscovery : public CxpControllerTest {};

TEST_F(CxpDiscovery, FindsCamerasWithTheirLinksAndSettlesTheirSpeeds) {
    ASSERT_NO_FATAL_FAILURE(Load(kTwoCameras));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->GetNrOfPorts(), 4u);
    EXPECT_EQ(controller->GetGtxIf(), 16u);
    EXPECT_EQ(controller->GetPort(4), nullptr);
    // Before the first discovery no port knows a camera.
    EXPECT_EQ(Port(0).GetLinkIndex(), kLinkIndexNoCamera);
    EXPECT_FALSE(Port(0).IsConnected());

    ASSERT_EQ(controller->DiscoverCameras(0xF, 0, kDiscoveryTimeoutMs), TGX_OK);
    EXPECT_EQ(controller->GetConnectedMask(), 0x7u);

    // The first master link in port order takes the design's first master id.
    EXPECT_EQ(Port(0).GetLinkIndex(), kLinkIndexMaster);
    EXPECT_EQ(Port(1).GetLinkIndex(), kLinkIndexExtension);
    EXPECT_EQ(CameraId(Port(0)), 1u);
    EXPECT_EQ(CameraId(Port(1)), 1u);
    EXPECT_EQ(LinkNumber(Port(0)), 0u);
    EXPECT_EQ(LinkNumber(Port(1)), 1u);
    EXPECT_EQ(Port(2).GetLinkIndex(), kLinkIndexMaster);
    EXPECT_EQ(CameraId(Port(2)), 2u);
    EXPECT_EQ(Port(3).GetLinkIndex(), kLinkIndexNoCamera);
    EXPECT_FALSE(Port(3).IsConnected());

    // Each camera ends at its own default speed: the links locked at 3125.
    EXPECT_EQ(Port(0).GetLinkSpeed(), 6250u);
    EXPECT_EQ(Port(1).GetLinkSpeed(), 6250u);
    EXPECT_EQ(Port(2).GetLinkSpeed(), 5000u);
    uint32_t config = 0;
    ASSERT_EQ(ReadCamera(0, 0x4014, config), TGX_OK);
    EXPECT_EQ(config, 0x00020048u);

    // The design's layout: camera 1 on design ports 0 and 1, camera 2 on 2.
    EXPECT_EQ(Port(0).GetAppletMasterId(), 0x10000u);
    EXPECT_EQ(Port(1).GetAppletMasterId(), 0x10001u);
    EXPECT_EQ(Port(2).GetAppletMasterId(), 0x20000u);
    EXPECT_EQ(controller->GetDiscoverySelector(), core::kIdentitySelector);

    // The identity of each master link was read.
    EXPECT_STREQ(Port(0).GetCameraInfo()->GetModelName(), "cxp-camera");
    EXPECT_EQ(Port(0).GetCameraRevision(), 0x20000u);
    EXPECT_EQ(Port(2).GetCameraRevision(), 0x10001u);
    EXPECT_EQ(Port(0).GetXmlManifestSize(), 1u);

    // One report for all ports that came up.
    ASSERT_TRUE(events.WaitForCount(1));
    EXPECT_EQ(events.Events().front(), (LinkEvent{LinkEventKind::Gained, 0x7}));
}

TEST_F(CxpDiscovery, ReversedCablingIsRoutedThroughTheSelector) {
    // Register path: the selector decides which engine talks to which cable.
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("cxp-dual-4")", 4, R"({"model": "cxp-camera", "ports": [2, 0]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->GetGtxIf(), 10u);
    ASSERT_EQ(controller->DiscoverCameras(0xF, 0, kDiscoveryTimeoutMs), TGX_OK);

    // Both links took their master id from port 2's write.
    EXPECT_EQ(Port(2).GetLinkIndex(), kLinkIndexMaster);
    EXPECT_EQ(Port(0).GetLinkIndex(), kLinkIndexExtension);
    EXPECT_EQ(Port(2).GetMasterId(), 0x10000u);
    EXPECT_EQ(Port(0).GetMasterId(), 0x10001u);

    // Design port 0 sees physical 2 and design port 1 physical 0, in both words.
    const uint64_t selector = controller->GetDiscoverySelector();
    EXPECT_EQ(selector, 0x7654302176543102ULL);
    EXPECT_EQ(Port(2).GetAppletPort(), 0u);
    EXPECT_EQ(Port(0).GetAppletPort(), 1u);

    // The ports talk through the engines of their design ports.
    uint32_t magic = 0;
    ASSERT_EQ(ReadCamera(2, 0, magic), TGX_OK);
    EXPECT_EQ(magic, kMagic);
    ASSERT_EQ(ReadCamera(0, 0x4004, magic), TGX_OK);
    EXPECT_EQ(magic, 1u) << "the extension link answers with its own number";
    EXPECT_EQ(Port(0).GetLinkSpeed(), 6250u);
}

TEST_F(CxpDiscovery, ScanOfFreePortsKeepsTheCameraInUse) {
    // Camera A reversed on ports 2 and 0; camera B's cable on port 3 goes in
    // while A is in use.
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("cxp-dual-4")", 4,
                                                R"({"model": "cxp-camera", "ports": [2, 0]},
                           {"model": "cxp-camera", "ports": [3], "plugged": false})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->DiscoverCameras(0x5, 0, kDiscoveryTimeoutMs), TGX_OK);
    ASSERT_TRUE(events.WaitForCount(1));
    const uint32_t masterIdA = Port(2).GetMasterId();
    const uint32_t extensionIdA = Port(0).GetMasterId();
    uint32_t hostIdA = 0;
    ASSERT_EQ(ReadCamera(2, 0x4008, hostIdA), TGX_OK);
    const uint32_t commandsToA = CameraCounter(0, 2, 0);

    ASSERT_EQ(orva_sim_plug(0, 3, 1), ORVA_SIM_OK);
    ASSERT_TRUE(events.WaitForCount(2));
    EXPECT_EQ(events.Events().back(), (LinkEvent{LinkEventKind::Gained, 0x8}));

    // Camera A was left alone: not a single command reached it, its links
    // keep their ids, speeds and routes.
    EXPECT_EQ(CameraCounter(0, 2, 0), commandsToA);
    EXPECT_EQ(Port(2).GetMasterId(), masterIdA);
    EXPECT_EQ(Port(0).GetMasterId(), extensionIdA);
    EXPECT_EQ(Port(2).GetLinkSpeed(), 6250u);
    EXPECT_EQ(Port(2).GetAppletPort(), 0u);
    EXPECT_EQ(Port(0).GetAppletPort(), 1u);
    const uint64_t selector = controller->GetDiscoverySelector();
    EXPECT_EQ(core::PhysicalPortOfDesign(selector, 0), 2u);
    EXPECT_EQ(core::PhysicalPortOfDesign(selector, 1), 0u);
    EXPECT_EQ(core::DesignPortOfPhysical(selector, 2), 0u);
    EXPECT_EQ(core::DesignPortOfPhysical(selector, 0), 1u);

    // Camera B has an id of its own and the design port of that id.
    EXPECT_EQ(Port(3).GetLinkIndex(), kLinkIndexMaster);
    EXPECT_NE(CameraId(Port(3)), CameraId(Port(2)));
    EXPECT_EQ(core::DesignPortOfPhysical(selector, 3), Port(3).GetAppletPort());
    EXPECT_EQ(Port(3).GetAppletMasterId(), Port(3).GetMasterId());
    uint32_t value = 0;
    ASSERT_EQ(ReadCamera(2, 0x4008, value), TGX_OK);
    EXPECT_EQ(value, hostIdA);
    ASSERT_EQ(ReadCamera(3, 0, value), TGX_OK);
    EXPECT_EQ(value, kMagic);
    for (const LinkEvent& e : events.Events()) {
        EXPECT_EQ(e.kind, LinkEventKind::Gained) << e;
    }
}

TEST_F(CxpDiscovery, LostLinkIsReportedOnceAndFoundAgain) {
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4,
                            R"({"model": "cxp-camera", "ports": [0]}, {"model": "cxp-camera", "ports": [3]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->DiscoverCameras(0xF, 0, kDiscoveryTimeoutMs), TGX_OK);
    ASSERT_TRUE(events.WaitForCount(1));
    ASSERT_EQ(events.Events()[0], (LinkEvent{LinkEventKind::Gained, 0x9}));

    ASSERT_EQ(orva_sim_plug(0, 3, 0), ORVA_SIM_OK);
    ASSERT_TRUE(events.WaitForCount(2));
    ASSERT_EQ(orva_sim_plug(0, 3, 1), ORVA_SIM_OK);
    ASSERT_TRUE(events.WaitForCount(3));
    // Between the loss and the new gain nothing else was reported, and port
    // 0 never lost its link.
    const std::vector<LinkEvent> expected{
        {LinkEventKind::Gained, 0x9}, {LinkEventKind::Lost, 0x8}, {LinkEventKind::Gained, 0x8}};
    EXPECT_EQ(events.Events(), expected);
    EXPECT_TRUE(Port(3).IsConnected());
    EXPECT_EQ(Port(3).GetLinkIndex(), kLinkIndexMaster);
}

TEST_F(CxpDiscovery, CameraThatLosesOneLinkIsTakenOutAsAWhole) {
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, R"({"model": "cxp-camera", "ports": [0, 1]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->DiscoverCameras(0x3, 0, kDiscoveryTimeoutMs), TGX_OK);
    ASSERT_TRUE(events.WaitForCount(1));

    // The extension's cable goes: the master link is still up, but the
    // camera can't run without the link it was configured for.
    ASSERT_EQ(orva_sim_plug(0, 1, 0), ORVA_SIM_OK);
    ASSERT_TRUE(events.WaitForCount(2));
    EXPECT_EQ(events.Events()[1], (LinkEvent{LinkEventKind::Lost, 0x3}));
}

TEST_F(CxpDiscovery, CameraPluggedInLaterIsFoundByTheWorker) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(
        Board(0, "0xA64", R"("coaxpress")", 4, R"({"model": "cxp-camera", "ports": [1], "plugged": false})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    // A time-out of 0 returns at once, but the worker runs from here on.
    EXPECT_EQ(controller->DiscoverCameras(0x2, 0, 0), TGX_ERR_NO_CAMERA_FOUND);
    EXPECT_EQ(events.Events().size(), 0u);

    ASSERT_EQ(orva_sim_plug(0, 1, 1), ORVA_SIM_OK);
    ASSERT_TRUE(events.WaitForCount(1));
    EXPECT_EQ(events.Events()[0], (LinkEvent{LinkEventKind::Gained, 0x2}));
    EXPECT_EQ(Port(1).GetLinkIndex(), kLinkIndexMaster);

    // Asking again forgets the port and waits for the next scan of it.
    EXPECT_EQ(controller->DiscoverCameras(0x2, 0, kDiscoveryTimeoutMs), TGX_OK);
    EXPECT_EQ(Port(1).GetLinkIndex(), kLinkIndexMaster);
}

TEST_F(CxpDiscovery, ArgumentsAreCheckedBeforeTheWorkerStarts) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0x757", R"("cxp-rate-4")", 4, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->GetGtxIf(), 3u);
    ASSERT_EQ(controller->GetNrOfPorts(), 4u);
    EXPECT_EQ(controller->DiscoverCameras(0xF, 7000, 0), TGX_ERR_INVALID_LINK_SPEED);
    // The high speeds belong to the newest boards only.
    EXPECT_EQ(controller->DiscoverCameras(0xF, 10000, 0), TGX_ERR_INVALID_LINK_SPEED);
    EXPECT_EQ(controller->DiscoverCameras(0x10, 0, 0), TGX_ERR_INVALID_PORT);
    EXPECT_EQ(controller->DiscoverCameras(0x1, 6250, 0), TGX_ERR_NO_CAMERA_FOUND);
}

TEST_F(CxpDiscovery, BoardWithoutCoaXPressPortsHasNoPortToScan) {
    // A CoaXPress board type with a design that isn't a CoaXPress one.
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64", R"("clhs")", 2, ""))));
    ASSERT_NO_FATAL_FAILURE(Open());
    EXPECT_EQ(controller->GetNrOfPorts(), 0u);
    EXPECT_EQ(controller->GetPort(0), nullptr);
    EXPECT_EQ(controller->DiscoverCameras(0xF, 0, 1000), TGX_ERR_INVALID_PORT);
    EXPECT_EQ(controller->GetDiscoverySelector(), core::kIdentitySelector);
}

// Threads of this process that run a controller's worker.
int32_t WorkerCount() {
    int32_t count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        std::getline(comm, name);
        count += name == cxp::CxpWorkerThread::kName ? 1 : 0;
    }
    return count;
}

TEST_F(CxpDiscovery, OneWorkerServesEveryDiscovery) {
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, R"({"model": "cxp-camera", "ports": [0]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    EXPECT_EQ(WorkerCount(), 0) << "the worker starts with the first discovery";
    ASSERT_EQ(controller->DiscoverCameras(0x1, 0, kDiscoveryTimeoutMs), TGX_OK);
    EXPECT_EQ(WorkerCount(), 1);
    ASSERT_EQ(controller->DiscoverCameras(0x1, 0, kDiscoveryTimeoutMs), TGX_OK);
    EXPECT_EQ(WorkerCount(), 1);
}

TEST_F(CxpDiscovery, EventFunctionCantWaitForItsOwnWorker) {
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, R"({"model": "cxp-camera", "ports": [0]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    // Shared with the hook, which the worker may call up to the controller's end.
    auto nested = std::make_shared<std::atomic<int32_t>>(1);
    cxp::CxpController* self = controller.get();
    events.SetHook([nested, self](LinkEventKind, uint32_t) { *nested = self->DiscoverCameras(0x1, 0, 60000); });
    ASSERT_EQ(controller->DiscoverCameras(0x1, 0, kDiscoveryTimeoutMs), TGX_OK);
    ASSERT_TRUE(events.WaitForCount(1));
    EXPECT_EQ(nested->load(), TGX_ERR_BLOCKED);
}

TEST_F(CxpDiscovery, EventFunctionThatThrowsDoesNotEndTheWorker) {
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, R"({"model": "cxp-camera", "ports": [0]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    // The report of the gain throws before it is recorded; the worker must
    // live on to report the loss.
    auto thrown = std::make_shared<std::atomic<bool>>(false);
    events.SetHook([thrown](LinkEventKind, uint32_t) {
        if (!thrown->exchange(true)) {
            throw std::runtime_error("application failure");
        }
    });
    ASSERT_EQ(controller->DiscoverCameras(0x1, 0, kDiscoveryTimeoutMs), TGX_OK);
    ASSERT_EQ(orva_sim_plug(0, 0, 0), ORVA_SIM_OK);
    ASSERT_TRUE(events.WaitForCount(1));
    EXPECT_EQ(events.Events(), (std::vector<LinkEvent>{{LinkEventKind::Lost, 0x1}}));
}

TEST_F(CxpDiscovery, CameraThatStartsWithItsMasterLinkIsToldToUseAll) {
    // After a reset only the master link runs; the camera is told to bring
    // up the second link of the design's place for it.
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("cxp-dual-4")", 4,
                            R"({"model": "cxp-camera", "ports": [0, 1], "params": {"linksAtReset": "master"}})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->DiscoverCameras(0x1, 0, kDiscoveryTimeoutMs), TGX_OK);
    ASSERT_TRUE(events.WaitForCount(1));
    EXPECT_EQ(events.Events()[0], (LinkEvent{LinkEventKind::Gained, 0x3}));
    EXPECT_EQ(Port(1).GetLinkIndex(), kLinkIndexExtension);
    EXPECT_EQ(Port(1).GetMasterId(), Port(0).GetMasterId() + 1);
    EXPECT_EQ(Port(0).GetLinkSpeed(), 6250u);
    EXPECT_EQ(Port(1).GetLinkSpeed(), 6250u);
    uint32_t config = 0;
    ASSERT_EQ(ReadCamera(0, 0x4014, config), TGX_OK);
    EXPECT_EQ(config, 0x00020048u);
}

TEST_F(CxpDiscovery, DesignWithoutLayoutExpectsOneCameraOnPortZero) {
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0xA64",
                                                R"({"base": "cxp-dual-4", "name": "no-layout",
                            "without": ["DiscoveryAppletMasterID", "DiscoveryAppletExtensionID"]})",
                                                4, R"({"model": "cxp-camera", "ports": [0]})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_EQ(controller->DiscoverCameras(0x1, 0, kDiscoveryTimeoutMs), TGX_OK);
    EXPECT_EQ(Port(0).GetMasterId(), 0x10000u);
    EXPECT_EQ(Port(0).GetAppletMasterId(), 0x10000u);
    EXPECT_EQ(Port(0).GetAppletPort(), 0u);
}

TEST_F(CxpDiscovery, SecondBoardPutsItsIndexIntoTheHostId) {
    ASSERT_NO_FATAL_FAILURE(
        Load(Scenario(Board(0, "0xA64", R"("coaxpress")", 4, "") + "," +
                      Board(1, "0xA64", R"("coaxpress")", 4, R"({"model": "cxp-camera", "ports": [0]})"))));
    ASSERT_NO_FATAL_FAILURE(Open(1));
    ASSERT_EQ(controller->DiscoverCameras(0x1, 0, kDiscoveryTimeoutMs), TGX_OK);
    uint32_t hostId = 0;
    ASSERT_EQ(ReadCamera(0, 0x4008, hostId), TGX_OK);
    EXPECT_EQ(hostId, 0x101u);
    // The link key holds the master id alone.
    EXPECT_EQ(Port(0).GetMasterId(), 0x10000u);
}

TEST_F(CxpDiscovery, LinkThatLocksNeitherAtTheDefaultNorBackIsNotReported) {
    // The camera's default is 10000, which this board's transceivers can't
    // run. It is told so all the same and stays there, so its link locks
    // neither at 10000 nor back at 3125: no camera is reported.
    ASSERT_NO_FATAL_FAILURE(Load(Scenario(Board(0, "0x757", R"("cxp-rate-4")", 4,
                                                R"({"model": "cxp-camera", "ports": [0],
                                                    "params": {"defaultSpeed": 10000}})"))));
    ASSERT_NO_FATAL_FAILURE(Open());
    EXPECT_EQ(controller->DiscoverCameras(0x1, 0, 3000), TGX_ERR_NO_CAMERA_FOUND);
    EXPECT_EQ(controller->GetConnectedMask(), 0u);
    EXPECT_FALSE(Port(0).IsConnected());
    EXPECT_TRUE(events.Events().empty());
}

} // namespace
} // namespace orva::cxptest
