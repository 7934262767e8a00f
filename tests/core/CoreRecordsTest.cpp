#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "impl/core/CCameraInfo.h"
#include "impl/core/CCameraInterface.h"
#include "impl/core/ControllerFactory.h"
#include "support/FakeTechnology.h"

using namespace orva::core;
using orva::test::FakePort;

namespace {

TEST(CameraInfo, ReadersSeeWholeTextsWhileTheIdentityIsReadAgain) {
    FakePort port(0);
    CCameraInterface camera(&port, nullptr);
    // Long enough to live on the heap, where a freed or half-written text shows.
    const std::array<std::string, 2> names{std::string(40, 'a'), std::string(48, 'b')};
    port.SetIdentityOnCamera(names[0], "serial-of-the-first-identity-0001");
    port.SaveCameraInfo();
    const char* earlier = camera.RefreshInfo()->deviceName;

    std::atomic<bool> done{false};
    std::thread discovery([&] {
        for (int i = 1; i <= 2000; ++i) {
            port.SetIdentityOnCamera(names[i % 2], "serial-" + std::to_string(i % 2) + std::string(30, 's'));
            port.SaveCameraInfo();
        }
        done.store(true);
    });
    int torn = 0;
    while (!done.load()) {
        const TgxCameraInfo* info = camera.RefreshInfo();
        const std::string name = info->deviceName;
        torn += name != names[0] && name != names[1] ? 1 : 0;
        torn += std::strncmp(info->serialNumber, "serial-", 7) != 0 ? 1 : 0;
    }
    discovery.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(std::string(earlier), names[0]) << "a text handed out before outlives the refills";
    EXPECT_EQ(std::string(camera.RefreshInfo()->deviceName), names[0]);
}

TEST(CameraLinks, TableLimitsAreEnforced) {
    CCameraInterface camera(nullptr, nullptr);
    EXPECT_EQ(camera.SetNrOfLinks(4), TGX_OK);
    EXPECT_EQ(camera.SetNrOfLinks(5), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(camera.GetNrOfLinks(), 4U);

    EXPECT_EQ(camera.SetLinkFgPort(4, 1), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(camera.SetLinkFgPort(1, 4), TGX_OK);
    EXPECT_EQ(camera.GetLink(1).fgPort, -1) << "a port past the table leaves the field unknown";
    EXPECT_EQ(camera.SetLinkFgPort(1, 3), TGX_OK);
    EXPECT_EQ(camera.GetLink(1).fgPort, 3);
    EXPECT_EQ(camera.SetLinkAppletLinkOrderIndex(2, 9), TGX_OK);
    EXPECT_EQ(camera.GetLink(2).appletLinkOrderIndex, -1);
    EXPECT_EQ(camera.SetLinkAppletMasterId(2, 0x1234), TGX_OK);
    EXPECT_EQ(camera.GetLink(2).appletMasterId, 0x1234);
    EXPECT_EQ(camera.GetLink(7).fgPort, -1);
}

} // namespace
