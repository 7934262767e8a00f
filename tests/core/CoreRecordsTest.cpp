#include <gtest/gtest.h>

#include "impl/core/BoardTypeFacts.h"
#include "impl/core/CCameraInfo.h"
#include "impl/core/CCameraInterface.h"

using namespace orva::core;

namespace {

TEST(CameraInfo, ResetEmptiesEveryField) {
    CCameraInfo info;
    info.SetRevision(0x20000);
    info.SetControlPacketSizeLimit(1024);
    info.SetVersionsSupported(0x7);
    info.SetVersionUsed(4);
    info.SetDeviceName("cam");
    info.SetUserId("line-3");
    info.SetFamilyName("family");
    EXPECT_TRUE(info.IsVersionSupported(0x5));
    EXPECT_FALSE(info.IsVersionSupported(0x9));
    info.Reset();
    EXPECT_EQ(info.GetRevision(), 0U);
    EXPECT_EQ(info.GetControlPacketSizeLimit(), 0U);
    EXPECT_EQ(info.GetVersionsSupported(), 0U);
    EXPECT_EQ(info.GetVersionUsed(), 0U);
    EXPECT_STREQ(info.GetDeviceName(), "");
    EXPECT_STREQ(info.GetUserId(), "");
    EXPECT_STREQ(info.GetFamilyName(), "");
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

TEST(BoardTypeFacts, BoardTypesMapToTheirTechnology) {
    // Neighbours of the rows belong to no technology.
    const std::pair<int32_t, Technology> cases[] = {
        {0xA62, Technology::CameraLinkHS}, {0xA64, Technology::CoaXPress},  {0xB68, Technology::CoaXPress},
        {0xA40, Technology::CameraLink},   {0xA45, Technology::CameraLink}, {0x7591, Technology::CameraLink},
        {0xE44, Technology::GigEVision},   {0xA3F, Technology::None},       {0xA46, Technology::None},
        {0xA63, Technology::None},         {-1, Technology::None},
    };
    for (const auto& [type, technology] : cases) {
        EXPECT_EQ(FactsOfBoardType(type).technology, technology) << std::hex << type;
    }
}

} // namespace
