#include <gtest/gtest.h>

#include "impl/core/CCameraInterface.h"

using namespace orva::core;

namespace {

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
