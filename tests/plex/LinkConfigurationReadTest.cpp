// The reader: what a document gives, the defaults and master rules it
// applies, and the errors of bad documents, text for text.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "LinkConfigurationTestSupport.h"
#include "core/plex/CxpLinkConfiguration.h"

namespace orva::test::plex {
namespace {

using core::plex::CxpLinkConfiguration;

// A cxp configuration that has read `document`.
CxpLinkConfiguration Read(const std::string& document) {
    CxpLinkConfiguration config("cxp");
    config.LoadFromString(document);
    return config;
}

std::string ReadError(const std::string& document, const std::string& technology = "cxp") {
    CxpLinkConfiguration config(technology);
    return ErrorOf([&] { config.LoadFromString(document); });
}

std::string OneGroup(const std::string& groupAttributes, const std::string& links) {
    return CxpDocument(R"(links="4" linkgroups="1")", "<linkgroup " + groupAttributes + ">" + links + "</linkgroup>");
}

TEST(LinkConfigurationRead, ExampleDocumentGivesItsGroup) {
    const CxpLinkConfiguration config = Read(kExampleDocument);
    EXPECT_EQ(config.GetLinks(), 2U);
    ASSERT_EQ(config.GetLinkGroups(), 1U);
    EXPECT_EQ(config.GetMasterId(0), 1U);
    EXPECT_EQ(config.GetSpeed(0), 6250U);
    EXPECT_EQ(config.GetStreamPacketSize(0), 4096U);
    EXPECT_EQ(config.GetLinkCount(0), 2U);
    EXPECT_EQ(config.GetMasterPhyIndex(0), 0);
    EXPECT_EQ(config.GetPhyIndex(0, 0), 0);
    EXPECT_EQ(config.GetDlIndex(0, 0), 0);
    EXPECT_EQ(config.GetPhyIndex(0, 1), 1);
    EXPECT_EQ(config.GetDlIndex(0, 1), 1);
    EXPECT_EQ(config.GetPhyIndex(0, 2), -1);
    EXPECT_EQ(config.GetDlIndex(0, 3), -1);
}

TEST(LinkConfigurationRead, EachTechnologyReadsItsOwnRootOnly) {
    const std::vector<std::pair<std::string, std::string>> roots = {
        {"cxp", "cxpconfiguration"}, {"clhs", "clhsconfiguration"}, {"cl", "clconfiguration"}};
    for (const auto& [technology, root] : roots) {
        for (const auto& [otherTechnology, otherRoot] : roots) {
            const std::string document = "<" + otherRoot + R"( links="3" linkgroups="0"/>)";
            CxpLinkConfiguration config(technology);
            if (technology == otherTechnology) {
                config.LoadFromString(document);
                EXPECT_EQ(config.GetLinks(), 3U) << technology;
            } else {
                EXPECT_EQ(ErrorOf([&] { config.LoadFromString(document); }),
                          "Illegal root node found in XML file '<buffer>': " + otherRoot)
                    << technology;
            }
        }
    }
}

TEST(LinkConfigurationRead, RootAttributeMessagesNameTheTechnologysRoot) {
    for (const std::string technology : {"cxp", "clhs", "cl"}) {
        const std::string root = technology + "configuration";
        const auto document = [&](const std::string& attributes) { return "<" + root + (" " + attributes) + "/>"; };
        EXPECT_EQ(ReadError(document(R"(linkgroups="1")"), technology),
                  "Attribute 'links' not found in <" + root + "> of XML file '<buffer>'");
        EXPECT_EQ(ReadError(document(R"(links="" linkgroups="1")"), technology),
                  "Attribute 'links' not found in <" + root + "> of XML file '<buffer>'");
        EXPECT_EQ(ReadError(document(R"(links="two" linkgroups="1")"), technology),
                  "Illegal value of attribute 'links' in <" + root + "> of XML file '<buffer>': two");
        EXPECT_EQ(ReadError(document(R"(links="2")"), technology),
                  "Attribute 'linkgroups' not found in <" + root + "> of XML file '<buffer>'");
        EXPECT_EQ(ReadError(document(R"(links="2" linkgroups="-1")"), technology),
                  "Illegal value of attribute 'linkgroups' in <" + root + "> of XML file '<buffer>': -1");
    }
}

TEST(LinkConfigurationRead, WrongOrMissingRootIsRefused) {
    EXPECT_EQ(ReadError(R"(<configuration links="1" linkgroups="0"/>)"),
              "Illegal root node found in XML file '<buffer>': configuration");
    EXPECT_EQ(ReadError("  \n\t "), "Illegal root node found in XML file '<buffer>': ");
    // A declaration is no node: the element after it is the root.
    EXPECT_EQ(Read(R"(<?xml version="1.0"?><cxpconfiguration links="1" linkgroups="0"/>)").GetLinks(), 1U);
}

TEST(LinkConfigurationRead, NumbersAreUnsignedDecimalThatFit) {
    for (const std::string bad : {"-1", "+1", " 1", "1 ", "1x", "0x1", "1.0", "4294967296", "99999999999999999999"}) {
        EXPECT_EQ(ReadError(CxpDocument("links=\"" + bad + "\" linkgroups=\"0\"", "")),
                  "Illegal value of attribute 'links' in <cxpconfiguration> of XML file '<buffer>': " + bad);
    }
    EXPECT_EQ(Read(CxpDocument(R"(links="004" linkgroups="0")", "")).GetLinks(), 4U);
}

TEST(LinkConfigurationRead, EchoedValuesAreCut) {
    const std::string junk(5000, 'x');
    EXPECT_EQ(ReadError(CxpDocument("links=\"" + junk + "\" linkgroups=\"0\"", "")),
              "Illegal value of attribute 'links' in <cxpconfiguration> of XML file '<buffer>': " +
                  std::string(64, 'x') + "...");
}

TEST(LinkConfigurationRead, FourLinksAndFourGroupsAreTheLimit) {
    std::string groups;
    for (int g = 0; g < 4; ++g) {
        groups += R"(<linkgroup><link phyIndex=")" + std::to_string(g) + R"(" dlIndex="0"/></linkgroup>)";
    }
    const CxpLinkConfiguration config = Read(CxpDocument(R"(links="4" linkgroups="4")", groups));
    ASSERT_EQ(config.GetLinkGroups(), 4U);
    EXPECT_EQ(config.GetPhyIndex(3, 0), 3);

    CxpLinkConfiguration tooManyLinks("cxp");
    EXPECT_EQ(ErrorOf([&] { tooManyLinks.LoadFromString(CxpDocument(R"(links="5" linkgroups="1")", "")); }),
              "No more than 4 physical links and linkgroups allowed!");
    EXPECT_EQ(tooManyLinks.GetLinks(), 5U) << "the count is taken before it is checked";
    EXPECT_EQ(tooManyLinks.GetLinkGroups(), 1U);

    CxpLinkConfiguration tooManyGroups("cxp");
    EXPECT_EQ(ErrorOf([&] { tooManyGroups.LoadFromString(CxpDocument(R"(links="1" linkgroups="5")", "")); }),
              "No more than 4 physical links and linkgroups allowed!");
    EXPECT_EQ(tooManyGroups.GetLinkGroups(), 0U) << "a group count above 4 is never taken";
}

TEST(LinkConfigurationRead, MasterLinkGivesMasterIdUnlessOneIsSet) {
    const CxpLinkConfiguration derived =
        Read(OneGroup("", R"(<link phyIndex="1" dlIndex="0"/><link phyIndex="2" dlIndex="1" isMaster="yes"/>)"));
    EXPECT_EQ(derived.GetMasterId(0), 3U);
    EXPECT_EQ(derived.GetMasterPhyIndex(0), 2);

    const CxpLinkConfiguration given = Read(OneGroup(
        R"(masterId="7")", R"(<link phyIndex="1" dlIndex="0"/><link phyIndex="2" dlIndex="1" isMaster="1"/>)"));
    EXPECT_EQ(given.GetMasterId(0), 7U);
    EXPECT_EQ(given.GetMasterPhyIndex(0), 2);

    const CxpLinkConfiguration none =
        Read(OneGroup("", R"(<link phyIndex="3" dlIndex="0"/><link phyIndex="2" dlIndex="1"/>)"));
    EXPECT_EQ(none.GetMasterId(0), 0U);
    EXPECT_EQ(none.GetMasterPhyIndex(0), 3) << "the first link stands in for a master";

    const CxpLinkConfiguration empty = Read(OneGroup(R"(masterId="5")", ""));
    EXPECT_EQ(empty.GetLinkCount(0), 0U);
    EXPECT_EQ(empty.GetMasterPhyIndex(0), -1);
    EXPECT_EQ(empty.GetMasterId(0), 5U);
}

TEST(LinkConfigurationRead, OnlyOneTrueAndYesMakeAMaster) {
    for (const std::string word : {"1", "true", "yes"}) {
        const CxpLinkConfiguration config = Read(OneGroup(
            "", R"(<link phyIndex="0" dlIndex="0"/><link phyIndex="1" dlIndex="1" isMaster=")" + word + R"("/>)"));
        EXPECT_EQ(config.GetMasterPhyIndex(0), 1) << word;
    }
    for (const std::string word : {"0", "false", "no", "TRUE", "Yes", "2", ""}) {
        const CxpLinkConfiguration config = Read(OneGroup(
            "", R"(<link phyIndex="0" dlIndex="0"/><link phyIndex="1" dlIndex="1" isMaster=")" + word + R"("/>)"));
        EXPECT_EQ(config.GetMasterPhyIndex(0), 0) << word;
        EXPECT_EQ(config.GetMasterId(0), 0U) << word;
    }
}

TEST(LinkConfigurationRead, UnknownSpeedAndBadPacketSizeKeepTheDefaults) {
    const std::vector<std::pair<std::string, uint32_t>> speeds = {
        {"1250", 1250},   {"2500", 2500}, {"3125", 3125},  {"5000", 5000}, {"6250", 6250}, {"10000", 10000},
        {"12500", 12500}, {"7000", 1250}, {"01250", 1250}, {"fast", 1250}, {"", 1250}};
    for (const auto& [word, speed] : speeds) {
        EXPECT_EQ(Read(OneGroup("speed=\"" + word + "\"", "")).GetSpeed(0), speed) << word;
    }
    const std::vector<std::pair<std::string, uint32_t>> sizes = {{"8192", 8192}, {"1", 1},     {"abc", 4096},
                                                                 {"0", 4096},    {"-8", 4096}, {"4294967296", 4096}};
    for (const auto& [word, size] : sizes) {
        EXPECT_EQ(Read(OneGroup("streampacketsize=\"" + word + "\"", "")).GetStreamPacketSize(0), size) << word;
    }
}

TEST(LinkConfigurationRead, LinkIndexChoosesTheSlot) {
    const CxpLinkConfiguration config =
        Read(OneGroup("", R"(<link phyIndex="3" dlIndex="1" linkIndex="2"/><link phyIndex="0" dlIndex="2"/>)"));
    EXPECT_EQ(config.GetLinkCount(0), 2U);
    EXPECT_EQ(config.GetPhyIndex(0, 0), -1);
    EXPECT_EQ(config.GetPhyIndex(0, 1), 0) << "without linkIndex a link takes its position";
    EXPECT_EQ(config.GetDlIndex(0, 1), 2);
    EXPECT_EQ(config.GetPhyIndex(0, 2), 3);
    EXPECT_EQ(config.GetDlIndex(0, 2), 1);
    EXPECT_EQ(config.GetMasterPhyIndex(0), 3);
}

TEST(LinkConfigurationRead, OtherAttributesAndChildrenAreIgnored) {
    const std::string document =
        R"(<cxpconfiguration version="2" links="2" linkgroups="1"><!-- two links -->)"
        R"(<board name="x"/>text<linkgroup colour="red" masterId="4"><note/>)"
        R"(<link phyIndex="1" dlIndex="0" cable="a"/><![CDATA[<link phyIndex="9" dlIndex="9"/>]]></linkgroup>)"
        R"(<extra><linkgroup/></extra></cxpconfiguration>)";
    const CxpLinkConfiguration config = Read(document);
    ASSERT_EQ(config.GetLinkGroups(), 1U);
    EXPECT_EQ(config.GetMasterId(0), 4U);
    EXPECT_EQ(config.GetLinkCount(0), 1U);
    EXPECT_EQ(config.GetPhyIndex(0, 0), 1);
}

TEST(LinkConfigurationRead, BadGroupAndLinkAttributesGiveTheirErrors) {
    const std::string link = R"(<link phyIndex="0" dlIndex="0"/>)";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {OneGroup(R"(masterId="one")", link),
         "Illegal value of attribute 'masterId' in <linkgroup> of XML file '<buffer>': one"},
        {OneGroup("", R"(<link dlIndex="0"/>)"), "Attribute 'phyIndex' not found in <link> of XML file '<buffer>'"},
        {OneGroup("", R"(<link phyIndex="a" dlIndex="0"/>)"),
         "Illegal value of attribute 'phyIndex' in <link> of XML file '<buffer>': a"},
        {OneGroup("", R"(<link phyIndex="2147483648" dlIndex="0"/>)"),
         "Illegal value of attribute 'phyIndex' in <link> of XML file '<buffer>': 2147483648"},
        {OneGroup("", R"(<link phyIndex="0"/>)"), "Attribute 'dlIndex' not found in <link> of XML file '<buffer>'"},
        {OneGroup("", R"(<link phyIndex="0" dlIndex="-1"/>)"),
         "Illegal value of attribute 'dlIndex' in <link> of XML file '<buffer>': -1"},
        {OneGroup("", R"(<link phyIndex="0" dlIndex="0" linkIndex="x"/>)"),
         "Illegal value of attribute 'linkIndex' in <link> of XML file '<buffer>': x"},
        {OneGroup("", R"(<link phyIndex="0" dlIndex="0" linkIndex="4"/>)"), "link index out of bounds."},
        {OneGroup("", link + link + link + link + link), "No more than 4 links per linkgroup allowed!"},
        {CxpDocument(R"(links="1" linkgroups="1")", "<linkgroup/><linkgroup/>"), "link group index out of bounds."},
        {CxpDocument(R"(links="1" linkgroups="0")", R"(<linkgroup speed="2500"/>)"), "link group index out of bounds."},
    };
    for (const auto& [document, error] : cases) {
        EXPECT_EQ(ReadError(document), error) << document;
    }
}

TEST(LinkConfigurationRead, FailureInAGroupKeepsTheGroupsBefore) {
    CxpLinkConfiguration config("cxp");
    const std::string document =
        CxpDocument(R"(links="2" linkgroups="2")",
                    R"(<linkgroup masterId="9" speed="3125"><link phyIndex="1" dlIndex="0"/></linkgroup>)"
                    R"(<linkgroup><link phyIndex="0"/></linkgroup>)");
    EXPECT_EQ(ErrorOf([&] { config.LoadFromString(document); }),
              "Attribute 'dlIndex' not found in <link> of XML file '<buffer>'");
    ASSERT_EQ(config.GetLinkGroups(), 2U);
    EXPECT_EQ(config.GetMasterId(0), 9U);
    EXPECT_EQ(config.GetSpeed(0), 3125U);
    EXPECT_EQ(config.GetPhyIndex(0, 0), 1);
}

TEST(LinkConfigurationRead, ALoadReplacesTheWholeContents) {
    CxpLinkConfiguration config("cxp");
    config.LoadFromString(CxpDocument(
        R"(links="4" linkgroups="2")",
        R"(<linkgroup masterId="2" speed="12500" streampacketsize="512"><link phyIndex="1" dlIndex="1"/><link phyIndex="2" dlIndex="2"/></linkgroup>)"
        R"(<linkgroup><link phyIndex="3" dlIndex="3"/></linkgroup>)"));

    // A document that fails before its groups leaves the old contents.
    EXPECT_NE(ErrorOf([&] { config.LoadFromString(CxpDocument(R"(links="x" linkgroups="1")", "")); }), "no error");
    EXPECT_EQ(config.GetLinkGroups(), 2U);
    EXPECT_EQ(config.GetSpeed(0), 12500U);

    config.LoadFromString(OneGroup("", R"(<link phyIndex="0" dlIndex="3" linkIndex="3"/>)"));
    ASSERT_EQ(config.GetLinkGroups(), 1U);
    EXPECT_EQ(config.GetMasterId(0), 0U);
    EXPECT_EQ(config.GetSpeed(0), 1250U);
    EXPECT_EQ(config.GetStreamPacketSize(0), 4096U);
    EXPECT_EQ(config.GetPhyIndex(0, 0), -1) << "slots of the earlier document are gone";
    EXPECT_EQ(config.GetPhyIndex(0, 1), -1);
    EXPECT_EQ(config.GetPhyIndex(0, 3), 0);
    config.SetLinkGroups(2);
    EXPECT_EQ(config.GetPhyIndex(1, 0), -1);
    EXPECT_EQ(config.GetLinkCount(1), 0U);
}

TEST(LinkConfigurationRead, EmptyTextIsRefused) {
    EXPECT_EQ(ReadError(""), "XML file is empty: '<buffer>");
    CxpLinkConfiguration config("cxp");
    EXPECT_EQ(ErrorOf([&] { config.Parse(nullptr, "a.xml"); }), "XML file is empty: 'a.xml");
    char empty[] = "";
    EXPECT_EQ(ErrorOf([&] { config.Parse(empty, "a.xml"); }), "XML file is empty: 'a.xml");
}

TEST(LinkConfigurationRead, ParseNamesTheDocumentItIsGiven) {
    std::string text = R"(<cxpconfiguration links="1"/>)";
    CxpLinkConfiguration config("cxp");
    EXPECT_EQ(ErrorOf([&] { config.Parse(text.data(), "/etc/board.xml"); }),
              "Attribute 'linkgroups' not found in <cxpconfiguration> of XML file '/etc/board.xml'");
}

TEST(LinkConfigurationRead, EveryCutOffDocumentIsAParseError) {
    const std::size_t complete = kExampleDocument.rfind('>') + 1;
    for (std::size_t length = 1; length < complete; ++length) {
        const std::string error = ReadError(kExampleDocument.substr(0, length));
        EXPECT_EQ(error.rfind("Error parsing XML file '<buffer>': ", 0), 0U) << length << ": " << error;
    }
    EXPECT_EQ(ReadError(kExampleDocument.substr(0, complete)), "no error");
}

TEST(LinkConfigurationRead, MismatchedClosingTagIsAParseError) {
    EXPECT_EQ(ReadError(R"(<cxpconfiguration links="1" linkgroups="0"></clconfiguration>)"),
              "Error parsing XML file '<buffer>': invalid closing tag name");
}

TEST(LinkConfigurationRead, BinaryJunkIsAnError) {
    std::mt19937 random(20240611);
    std::uniform_int_distribution<int> byte(1, 255);
    for (int round = 0; round < 500; ++round) {
        std::string junk(static_cast<std::size_t>(1 + round * 7), '\0');
        for (char& c : junk) {
            c = static_cast<char>(byte(random));
        }
        if (round % 2 == 1) {
            junk.insert(0, "<cxpconfiguration "); // junk inside the root element
        }
        EXPECT_NE(ReadError(junk), "no error") << round;
    }
}

TEST(LinkConfigurationRead, ZeroByteInTheTextIsRefused) {
    const std::string document = CxpDocument(R"(links="1" linkgroups="0")", "") + std::string(1, '\0') + "junk";
    EXPECT_EQ(ReadError(document), "Error parsing XML file '<buffer>': zero byte in the text");
    EXPECT_EQ(ReadError(std::string(1, '\0')), "Error parsing XML file '<buffer>': zero byte in the text");
}

TEST(LinkConfigurationRead, TextLargerThanTheLimitIsRefused) {
    const std::string document = CxpDocument(R"(links="1" linkgroups="0")", "");
    const std::string padded = document + std::string(CxpLinkConfiguration::kMaxDocumentSize - document.size(), ' ');
    EXPECT_EQ(Read(padded).GetLinks(), 1U);
    EXPECT_EQ(ReadError(padded + " "), "XML file '<buffer>' is too large: more than 1048576 bytes");

    std::string raw = padded + " ";
    CxpLinkConfiguration config("cxp");
    EXPECT_EQ(ErrorOf([&] { config.Parse(raw.data(), "raw"); }),
              "XML file 'raw' is too large: more than 1048576 bytes");
}

TEST(LinkConfigurationRead, ElementsAreBoundedAndTheBoundNestsSafely) {
    const auto nested = [](std::size_t depth) {
        std::string open;
        std::string close;
        for (std::size_t i = 0; i < depth; ++i) {
            open += "<e>";
            close += "</e>";
        }
        return CxpDocument(R"(links="1" linkgroups="0")", open + close);
    };
    EXPECT_EQ(Read(nested(CxpLinkConfiguration::kMaxElements - 1)).GetLinks(), 1U);
    EXPECT_EQ(ReadError(nested(CxpLinkConfiguration::kMaxElements)),
              "Error parsing XML file '<buffer>': more than 1024 elements");
    // A deep document far past the bound is refused before the parser recurses.
    EXPECT_EQ(ReadError(std::string(500000, '<')), "Error parsing XML file '<buffer>': more than 1024 elements");
}

TEST(LinkConfigurationRead, OtherWordsReadAnyRootWithoutChecks) {
    CxpLinkConfiguration config("gev");
    config.LoadFromString(R"(<anything links="oops" linkgroups="-2"/>)");
    EXPECT_EQ(config.GetLinks(), 0U);
    EXPECT_EQ(config.GetLinkGroups(), 0U);

    config.LoadFromString(R"(<anything links="3" linkgroups="1"><linkgroup masterId="2"/></anything>)");
    EXPECT_EQ(config.GetLinks(), 3U);
    EXPECT_EQ(config.GetMasterId(0), 2U);
    EXPECT_EQ(ErrorOf([&] { config.LoadFromString(R"(<anything links="9" linkgroups="0"/>)"); }),
              "No more than 4 physical links and linkgroups allowed!");
}

} // namespace
} // namespace orva::test::plex
