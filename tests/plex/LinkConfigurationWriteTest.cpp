// The writer's lines, the round trip through the reader, and the accessors
// the configuration functions fill a document with.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "LinkConfigurationTestSupport.h"
#include "core/plex/CxpLinkConfiguration.h"

namespace orva::test::plex {
namespace {

using core::plex::CxpLinkConfiguration;

std::string Written(const CxpLinkConfiguration& config) {
    std::ostringstream out;
    config.WriteTo(out);
    return out.str();
}

// One group of `links` links, link i on physical port i and design port i.
CxpLinkConfiguration OneGroup(const std::string& technology, uint32_t links) {
    CxpLinkConfiguration config(technology);
    config.SetLinks(4);
    config.SetLinkGroups(1);
    config.SetLinkCount(0, links);
    config.SetMasterId(0, 1);
    config.SetSpeed(0, 6250);
    for (uint32_t l = 0; l < links; ++l) {
        config.SetPhyIndex(0, l, static_cast<int32_t>(l));
        config.SetDlIndex(0, l, static_cast<int32_t>(l));
    }
    return config;
}

TEST(LinkConfigurationWrite, ExampleLinesExactly) {
    CxpLinkConfiguration config = OneGroup("cxp", 2);
    config.SetLinks(2);
    EXPECT_EQ(Written(config), kExampleDocument);
}

TEST(LinkConfigurationWrite, RootLinesByTechnology) {
    const std::string group = "\t<linkgroup masterId=\"1\" speed=\"6250\" streampacketsize=\"4096\">\n"
                              "\t\t<link phyIndex=\"0\" dlIndex=\"0\" linkIndex=\"0\" isMaster=\"true\"/>\n"
                              "\t</linkgroup>\n";
    EXPECT_EQ(Written(OneGroup("clhs", 1)),
              "<clhsconfiguration links=\"4\" linkgroups=\"1\">\n" + group + "</clhsconfiguration>\n");
    EXPECT_EQ(Written(OneGroup("cl", 1)),
              "<clconfiguration links=\"4\" linkgroups=\"1\">\n" + group + "</clconfiguration>\n");
    EXPECT_EQ(Written(OneGroup("gev", 1)), group) << "another word writes no root lines";
}

TEST(LinkConfigurationWrite, EmptySlotsAreSkippedAndOnlySlotZeroIsMaster) {
    CxpLinkConfiguration config("cxp");
    config.SetLinks(4);
    config.SetLinkGroups(1);
    config.SetLinkCount(0, 2);
    config.SetMasterPhyIndex(0, 3);
    config.SetPhyIndex(0, 2, 3);
    config.SetDlIndex(0, 2, 0);
    config.SetPhyIndex(0, 3, 1);
    config.SetDlIndex(0, 3, 1);
    config.SetPhyIndex(0, 1, 2); // half a link: no dlIndex
    EXPECT_EQ(Written(config), "<cxpconfiguration links=\"4\" linkgroups=\"1\">\n"
                               "\t<linkgroup masterId=\"0\" speed=\"1250\" streampacketsize=\"4096\">\n"
                               "\t\t<link phyIndex=\"3\" dlIndex=\"0\" linkIndex=\"2\"/>\n"
                               "\t\t<link phyIndex=\"1\" dlIndex=\"1\" linkIndex=\"3\"/>\n"
                               "\t</linkgroup>\n"
                               "</cxpconfiguration>\n");
}

TEST(LinkConfigurationWrite, LinkCountBoundsTheLinksWritten) {
    CxpLinkConfiguration config = OneGroup("cxp", 3);
    config.SetLinkCount(0, 1);
    const std::string text = Written(config);
    EXPECT_NE(text.find("linkIndex=\"0\""), std::string::npos);
    EXPECT_EQ(text.find("linkIndex=\"1\""), std::string::npos);
    config.SetLinkCount(0, 0);
    EXPECT_EQ(Written(config).find("<link "), std::string::npos);
}

TEST(LinkConfigurationWrite, NegativeIndicesAreNotWritten) {
    CxpLinkConfiguration config = OneGroup("cxp", 2);
    config.SetPhyIndex(0, 0, -7);
    const std::string text = Written(config);
    EXPECT_EQ(text.find("-7"), std::string::npos);
    CxpLinkConfiguration back("cxp");
    back.LoadFromString(text);
    EXPECT_EQ(back.GetLinkCount(0), 1U);
    EXPECT_EQ(back.GetPhyIndex(0, 1), 1);
}

TEST(LinkConfigurationWrite, UnknownSpeedWritesAnEmptyWordThatReadsAsDefault) {
    CxpLinkConfiguration config = OneGroup("cxp", 1);
    config.SetSpeed(0, 7000);
    const std::string text = Written(config);
    EXPECT_NE(text.find(" speed=\"\" "), std::string::npos) << text;
    CxpLinkConfiguration back("cxp");
    back.LoadFromString(text);
    EXPECT_EQ(back.GetSpeed(0), 1250U);
}

TEST(LinkConfigurationWrite, WrittenDocumentReadsBackIntoTheSameGroups) {
    for (const std::string technology : {"cxp", "clhs", "cl"}) {
        CxpLinkConfiguration config(technology);
        config.SetLinks(4);
        config.SetLinkGroups(4);
        const uint32_t speeds[] = {1250, 3125, 10000, 12500};
        for (uint32_t g = 0; g < 4; ++g) {
            config.SetLinkCount(g, 4 - g);
            config.SetMasterId(g, g == 3 ? 0 : 100 + g);
            config.SetSpeed(g, speeds[g]);
            config.SetStreamPacketSize(g, 1024 * (g + 1));
            for (uint32_t l = 0; l < 4 - g; ++l) {
                config.SetPhyIndex(g, l, static_cast<int32_t>((l + g) % 4));
                config.SetDlIndex(g, l, static_cast<int32_t>(3 - l));
            }
            config.SetMasterPhyIndex(g, config.GetPhyIndex(g, 0));
        }

        CxpLinkConfiguration back(technology);
        back.LoadFromString(Written(config));
        EXPECT_EQ(back.GetLinks(), 4U);
        ASSERT_EQ(back.GetLinkGroups(), 4U);
        for (uint32_t g = 0; g < 4; ++g) {
            SCOPED_TRACE(technology + " group " + std::to_string(g));
            EXPECT_EQ(back.GetLinkCount(g), config.GetLinkCount(g));
            EXPECT_EQ(back.GetSpeed(g), config.GetSpeed(g));
            EXPECT_EQ(back.GetStreamPacketSize(g), config.GetStreamPacketSize(g));
            EXPECT_EQ(back.GetMasterPhyIndex(g), config.GetMasterPhyIndex(g));
            for (uint32_t l = 0; l < 4; ++l) {
                EXPECT_EQ(back.GetPhyIndex(g, l), config.GetPhyIndex(g, l)) << l;
                EXPECT_EQ(back.GetDlIndex(g, l), config.GetDlIndex(g, l)) << l;
            }
        }
        EXPECT_EQ(back.GetMasterId(0), 100U);
        // Without a master id the master link of slot 0 makes one.
        EXPECT_EQ(back.GetMasterId(3), static_cast<uint32_t>(config.GetPhyIndex(3, 0)) + 1);
        // Written again, it is the same document but for that id.
        config.SetMasterId(3, back.GetMasterId(3));
        EXPECT_EQ(Written(back), Written(config));
    }
}

TEST(LinkConfigurationWrite, MasterOutsideSlotZeroBecomesSlotZeroButKeepsItsId) {
    CxpLinkConfiguration config = OneGroup("cxp", 2);
    config.SetMasterId(0, 2);
    config.SetMasterPhyIndex(0, 1);
    CxpLinkConfiguration back("cxp");
    back.LoadFromString(Written(config));
    EXPECT_EQ(back.GetMasterPhyIndex(0), 0);
    EXPECT_EQ(back.GetMasterId(0), 2U);
}

TEST(LinkConfigurationAccessors, NewConfigurationIsEmpty) {
    CxpLinkConfiguration config("cxp");
    EXPECT_EQ(config.GetLinks(), 0U);
    EXPECT_EQ(config.GetLinkGroups(), 0U);
    EXPECT_EQ(config.GetFileName(), "");
    EXPECT_EQ(config.GetTechnology(), "cxp");
    EXPECT_EQ(Written(config), "<cxpconfiguration links=\"0\" linkgroups=\"0\">\n</cxpconfiguration>\n");
    config.SetLinkGroups(4);
    for (uint32_t g = 0; g < 4; ++g) {
        EXPECT_EQ(config.GetLinkCount(g), 0U);
        EXPECT_EQ(config.GetMasterPhyIndex(g), -1);
        EXPECT_EQ(config.GetMasterId(g), 0U);
        EXPECT_EQ(config.GetSpeed(g), 1250U);
        EXPECT_EQ(config.GetStreamPacketSize(g), 4096U);
        for (uint32_t l = 0; l < 4; ++l) {
            EXPECT_EQ(config.GetPhyIndex(g, l), -1);
            EXPECT_EQ(config.GetDlIndex(g, l), -1);
        }
    }
}

TEST(LinkConfigurationAccessors, IndicesAreCheckedAgainstTheGroupCount) {
    CxpLinkConfiguration config("cxp");
    config.SetLinkGroups(2);
    const std::vector<std::function<void(uint32_t)>> byGroup = {
        [&](uint32_t g) { (void)config.GetLinkCount(g); },
        [&](uint32_t g) { config.SetLinkCount(g, 1); },
        [&](uint32_t g) { (void)config.GetMasterPhyIndex(g); },
        [&](uint32_t g) { config.SetMasterPhyIndex(g, 1); },
        [&](uint32_t g) { (void)config.GetMasterId(g); },
        [&](uint32_t g) { config.SetMasterId(g, 1); },
        [&](uint32_t g) { (void)config.GetSpeed(g); },
        [&](uint32_t g) { config.SetSpeed(g, 2500); },
        [&](uint32_t g) { (void)config.GetStreamPacketSize(g); },
        [&](uint32_t g) { config.SetStreamPacketSize(g, 1); },
        [&](uint32_t g) { (void)config.GetPhyIndex(g, 0); },
        [&](uint32_t g) { config.SetPhyIndex(g, 0, 1); },
        [&](uint32_t g) { (void)config.GetDlIndex(g, 0); },
        [&](uint32_t g) { config.SetDlIndex(g, 0, 1); },
    };
    for (std::size_t i = 0; i < byGroup.size(); ++i) {
        EXPECT_EQ(ErrorOf([&] { byGroup[i](1); }), "no error") << i;
        EXPECT_EQ(ErrorOf([&] { byGroup[i](2); }), "link group index out of bounds.") << i;
        EXPECT_EQ(ErrorOf([&] { byGroup[i](UINT32_MAX); }), "link group index out of bounds.") << i;
    }
    EXPECT_EQ(ErrorOf([&] { (void)config.GetPhyIndex(1, 4); }), "link index out of bounds.");
    EXPECT_EQ(ErrorOf([&] { config.SetPhyIndex(1, 4, 0); }), "link index out of bounds.");
    EXPECT_EQ(ErrorOf([&] { (void)config.GetDlIndex(1, 4); }), "link index out of bounds.");
    EXPECT_EQ(ErrorOf([&] { config.SetDlIndex(1, UINT32_MAX, 0); }), "link index out of bounds.");
    EXPECT_EQ(ErrorOf([&] { (void)config.GetPhyIndex(2, 4); }), "link group index out of bounds.")
        << "the group is checked first";
}

TEST(LinkConfigurationAccessors, CountsAboveFourAreIgnored) {
    CxpLinkConfiguration config("cxp");
    config.SetLinkGroups(3);
    config.SetLinkGroups(5);
    EXPECT_EQ(config.GetLinkGroups(), 3U);
    config.SetLinkCount(0, 4);
    config.SetLinkCount(0, 5);
    EXPECT_EQ(config.GetLinkCount(0), 4U);
    config.SetLinks(17);
    EXPECT_EQ(config.GetLinks(), 17U) << "the number of links is taken as it is";
}

TEST(LinkConfigurationAccessors, CopiesShareOneRecord) {
    CxpLinkConfiguration config("cxp");
    CxpLinkConfiguration copy = config;
    copy.SetLinkGroups(1);
    copy.SetSpeed(0, 5000);
    copy.SetFileName("shared.xml");
    EXPECT_EQ(config.GetSpeed(0), 5000U);
    EXPECT_EQ(config.GetFileName(), "shared.xml");

    CxpLinkConfiguration assigned("cl");
    assigned = config;
    EXPECT_EQ(assigned.GetTechnology(), "cxp");
    config.LoadFromString(R"(<cxpconfiguration links="1" linkgroups="0"/>)");
    EXPECT_EQ(assigned.GetLinkGroups(), 0U);
}

} // namespace
} // namespace orva::test::plex
