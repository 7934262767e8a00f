// The link configuration document: what the reader takes from a document and
// the errors of bad ones, text for text; the writer's lines and the round
// trip; the bounds of the accessors; files.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "core/plex/CxpLinkConfiguration.h"

namespace {

using orva::core::plex::CxpLinkConfiguration;
namespace fs = std::filesystem;

// The writer's output for two links in one group, line for line.
const std::string kExampleDocument = "<cxpconfiguration links=\"2\" linkgroups=\"1\">\n"
                                     "\t<linkgroup masterId=\"1\" speed=\"6250\" streampacketsize=\"4096\">\n"
                                     "\t\t<link phyIndex=\"0\" dlIndex=\"0\" linkIndex=\"0\" isMaster=\"true\"/>\n"
                                     "\t\t<link phyIndex=\"1\" dlIndex=\"1\" linkIndex=\"1\"/>\n"
                                     "\t</linkgroup>\n"
                                     "</cxpconfiguration>\n";
const std::string kLinkGroupIndexError = "link group index out of bounds.";
const std::string kTooManyError = "No more than 4 physical links and linkgroups allowed!";

std::string CxpDocument(const std::string& rootAttributes, const std::string& content = "") {
    return "<cxpconfiguration " + rootAttributes + ">" + content + "</cxpconfiguration>";
}

std::string OneGroup(const std::string& groupAttributes, const std::string& links) {
    return CxpDocument(R"(links="4" linkgroups="1")", "<linkgroup " + groupAttributes + ">" + links + "</linkgroup>");
}

// The text of the runtime_error that `run` throws; "no error" if it throws
// none. Other exceptions pass through and fail the test.
std::string ErrorOf(const std::function<void()>& run) {
    try {
        run();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no error";
}

CxpLinkConfiguration Read(const std::string& document, const std::string& technology = "cxp") {
    CxpLinkConfiguration config(technology);
    config.LoadFromString(document);
    return config;
}

std::string ReadError(const std::string& document, const std::string& technology = "cxp") {
    return ErrorOf([&] { Read(document, technology); });
}

std::string Written(const CxpLinkConfiguration& config) {
    std::ostringstream out;
    config.WriteTo(out);
    return out.str();
}

// A document of `depth` nested elements inside the root.
std::string Nested(std::size_t depth) {
    std::string open;
    std::string close;
    for (std::size_t i = 0; i < depth; ++i) {
        open += "<e>";
        close += "</e>";
    }
    return CxpDocument(R"(links="1" linkgroups="0")", open + close);
}

const std::string kSmallDocument = CxpDocument(R"(links="1" linkgroups="0")");
const std::string kDocumentAtLimit =
    kSmallDocument + std::string(CxpLinkConfiguration::kMaxDocumentSize - kSmallDocument.size(), ' ');

TEST(LinkConfigurationRead, AcceptedDocuments) {
    struct Case {
        std::string technology;
        std::string document;
        uint32_t links;
    };
    const std::vector<Case> cases = {
        {"cxp", R"(<cxpconfiguration links="3" linkgroups="0"/>)", 3},
        {"clhs", R"(<clhsconfiguration links="3" linkgroups="0"/>)", 3},
        {"cl", R"(<clconfiguration links="3" linkgroups="0"/>)", 3},
        // A declaration is no node: the element after it is the root.
        {"cxp", R"(<?xml version="1.0"?><cxpconfiguration links="1" linkgroups="0"/>)", 1},
        {"cxp", CxpDocument(R"(links="004" linkgroups="0")"), 4},
        {"cxp", kDocumentAtLimit, 1},
        {"cxp", Nested(CxpLinkConfiguration::kMaxElements - 1), 1},
        // Another word reads any root without checks.
        {"gev", R"(<anything links="oops" linkgroups="-2"/>)", 0},
        {"gev", R"(<anything links="3" linkgroups="1"><linkgroup masterId="2"/></anything>)", 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.technology + ": " + c.document.substr(0, 100));
        CxpLinkConfiguration config(c.technology);
        ASSERT_EQ(ErrorOf([&] { config.LoadFromString(c.document); }), "no error");
        EXPECT_EQ(config.GetLinks(), c.links);
    }
    std::string groups;
    for (int g = 0; g < 4; ++g) {
        groups += R"(<linkgroup><link phyIndex=")" + std::to_string(g) + R"(" dlIndex="0"/></linkgroup>)";
    }
    const CxpLinkConfiguration four = Read(CxpDocument(R"(links="4" linkgroups="4")", groups));
    ASSERT_EQ(four.GetLinkGroups(), 4U);
    EXPECT_EQ(four.GetPhyIndex(3, 0), 3);
    EXPECT_EQ(Read(cases.back().document, "gev").GetMasterId(0), 2U);
}

TEST(LinkConfigurationRead, RefusedDocumentsGiveTheirMessage) {
    struct Case {
        std::string technology;
        std::string document;
        std::string error;
    };
    std::vector<Case> cases;
    const std::vector<std::string> technologies = {"cxp", "clhs", "cl"};
    for (const std::string& technology : technologies) {
        const std::string root = technology + "configuration";
        const std::string in = " in <" + root + "> of XML file '<buffer>'";
        for (const std::string& other : technologies) {
            if (other != technology) {
                cases.push_back({technology, "<" + other + R"(configuration links="3" linkgroups="0"/>)",
                                 "Illegal root node found in XML file '<buffer>': " + other + "configuration"});
            }
        }
        const auto element = [&](const std::string& attributes) { return "<" + root + " " + attributes + "/>"; };
        cases.push_back({technology, element(R"(linkgroups="1")"), "Attribute 'links' not found" + in});
        cases.push_back({technology, element(R"(links="" linkgroups="1")"), "Attribute 'links' not found" + in});
        cases.push_back({technology, element(R"(links="two" linkgroups="1")"),
                         "Illegal value of attribute 'links'" + in + ": two"});
        cases.push_back({technology, element(R"(links="2")"), "Attribute 'linkgroups' not found" + in});
        cases.push_back({technology, element(R"(links="2" linkgroups="-1")"),
                         "Illegal value of attribute 'linkgroups'" + in + ": -1"});
    }
    // Numbers are unsigned decimals that fit; echoed values are cut.
    for (const std::string& bad : std::vector<std::string>{"-1", "+1", " 1", "1 ", "1x", "0x1", "1.0", "4294967296",
                                                           "99999999999999999999", std::string(5000, 'x')}) {
        cases.push_back({"cxp", CxpDocument("links=\"" + bad + "\" linkgroups=\"0\""),
                         "Illegal value of attribute 'links' in <cxpconfiguration> of XML file '<buffer>': " +
                             (bad.size() > 64 ? bad.substr(0, 64) + "..." : bad)});
    }
    const std::string link = R"(<link phyIndex="0" dlIndex="0"/>)";
    const std::string inLink = " in <link> of XML file '<buffer>'";
    const std::string parse = "Error parsing XML file '<buffer>': ";
    const std::vector<Case> fixed = {
        {"cxp", R"(<configuration links="1" linkgroups="0"/>)",
         "Illegal root node found in XML file '<buffer>': configuration"},
        {"cxp", "  \n\t ", "Illegal root node found in XML file '<buffer>': "},
        {"cxp", CxpDocument(R"(links="5" linkgroups="1")"), kTooManyError},
        {"cxp", CxpDocument(R"(links="1" linkgroups="5")"), kTooManyError},
        {"gev", R"(<anything links="9" linkgroups="0"/>)", kTooManyError},
        {"cxp", OneGroup(R"(masterId="one")", link),
         "Illegal value of attribute 'masterId' in <linkgroup> of XML file '<buffer>': one"},
        {"cxp", OneGroup("", R"(<link dlIndex="0"/>)"), "Attribute 'phyIndex' not found" + inLink},
        {"cxp", OneGroup("", R"(<link phyIndex="a" dlIndex="0"/>)"),
         "Illegal value of attribute 'phyIndex'" + inLink + ": a"},
        {"cxp", OneGroup("", R"(<link phyIndex="2147483648" dlIndex="0"/>)"),
         "Illegal value of attribute 'phyIndex'" + inLink + ": 2147483648"},
        {"cxp", OneGroup("", R"(<link phyIndex="0"/>)"), "Attribute 'dlIndex' not found" + inLink},
        {"cxp", OneGroup("", R"(<link phyIndex="0" dlIndex="-1"/>)"),
         "Illegal value of attribute 'dlIndex'" + inLink + ": -1"},
        {"cxp", OneGroup("", R"(<link phyIndex="0" dlIndex="0" linkIndex="x"/>)"),
         "Illegal value of attribute 'linkIndex'" + inLink + ": x"},
        {"cxp", OneGroup("", R"(<link phyIndex="0" dlIndex="0" linkIndex="4"/>)"), "link index out of bounds."},
        {"cxp", OneGroup("", link + link + link + link + link), "No more than 4 links per linkgroup allowed!"},
        {"cxp", CxpDocument(R"(links="1" linkgroups="1")", "<linkgroup/><linkgroup/>"), kLinkGroupIndexError},
        {"cxp", CxpDocument(R"(links="1" linkgroups="0")", R"(<linkgroup speed="2500"/>)"), kLinkGroupIndexError},
        {"cxp", "", "XML file is empty: '<buffer>"},
        {"cxp", R"(<cxpconfiguration links="1" linkgroups="0"></clconfiguration>)", parse + "invalid closing tag name"},
        {"cxp", kSmallDocument + std::string(1, '\0') + "junk", parse + "zero byte in the text"},
        {"cxp", std::string(1, '\0'), parse + "zero byte in the text"},
        {"cxp", kDocumentAtLimit + " ", "XML file '<buffer>' is too large: more than 1048576 bytes"},
        {"cxp", Nested(CxpLinkConfiguration::kMaxElements), parse + "more than 1024 elements"},
        // Far past the bound: refused before the parser recurses.
        {"cxp", std::string(500000, '<'), parse + "more than 1024 elements"},
    };
    cases.insert(cases.end(), fixed.begin(), fixed.end());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.technology + ": " + c.document.substr(0, 100));
        EXPECT_EQ(ReadError(c.document, c.technology), c.error);
    }
}

TEST(LinkConfigurationRead, ParseNamesTheDocumentItIsGiven) {
    CxpLinkConfiguration config("cxp");
    std::string text = R"(<cxpconfiguration links="1"/>)";
    EXPECT_EQ(ErrorOf([&] { config.Parse(text.data(), "/etc/board.xml"); }),
              "Attribute 'linkgroups' not found in <cxpconfiguration> of XML file '/etc/board.xml'");
    EXPECT_EQ(ErrorOf([&] { config.Parse(nullptr, "a.xml"); }), "XML file is empty: 'a.xml");
    char empty[] = "";
    EXPECT_EQ(ErrorOf([&] { config.Parse(empty, "a.xml"); }), "XML file is empty: 'a.xml");
    std::string raw = kDocumentAtLimit + " ";
    EXPECT_EQ(ErrorOf([&] { config.Parse(raw.data(), "raw"); }),
              "XML file 'raw' is too large: more than 1048576 bytes");
}

TEST(LinkConfigurationRead, CutOffTextIsAParseErrorWhereverTheCutFalls) {
    const std::size_t complete = kExampleDocument.rfind('>') + 1;
    for (std::size_t length = 1; length < complete; ++length) {
        const std::string error = ReadError(kExampleDocument.substr(0, length));
        EXPECT_EQ(error.rfind("Error parsing XML file '<buffer>': ", 0), 0U) << length << ": " << error;
    }
    EXPECT_EQ(ReadError(kExampleDocument.substr(0, complete)), "no error");

    // Junk of any other kind is the fuzz target's part.
}

TEST(LinkConfigurationRead, MasterLinkGivesMasterIdUnlessOneIsSet) {
    struct Case {
        std::string groupAttributes;
        std::string links;
        uint32_t masterId;
        int32_t masterPhyIndex;
    };
    const auto twoLinks = [](const std::string& first, const std::string& isMaster) {
        return R"(<link phyIndex=")" + first + R"(" dlIndex="0"/><link phyIndex="2" dlIndex="1" isMaster=")" +
               isMaster + R"("/>)";
    };
    std::vector<Case> cases = {
        {"", twoLinks("1", "yes"), 3, 2},
        {R"(masterId="7")", twoLinks("1", "1"), 7, 2},
        {"", R"(<link phyIndex="3" dlIndex="0"/><link phyIndex="2" dlIndex="1"/>)", 0, 3}, // the first stands in
        {R"(masterId="5")", "", 5, -1},
    };
    // Only "1", "true" and "yes" make a master.
    for (const std::string word : {"true", "yes"}) {
        cases.push_back({"", twoLinks("0", word), 3, 2});
    }
    for (const std::string word : {"0", "false", "no", "TRUE", "Yes", "2", ""}) {
        cases.push_back({"", twoLinks("0", word), 0, 0});
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(c.groupAttributes + c.links);
        const CxpLinkConfiguration config = Read(OneGroup(c.groupAttributes, c.links));
        EXPECT_EQ(config.GetMasterId(0), c.masterId);
        EXPECT_EQ(config.GetMasterPhyIndex(0), c.masterPhyIndex);
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

TEST(LinkConfigurationRead, LinkIndexChoosesTheSlotAndOtherContentIsIgnored) {
    const CxpLinkConfiguration config =
        Read(OneGroup("", R"(<link phyIndex="3" dlIndex="1" linkIndex="2"/><link phyIndex="0" dlIndex="2"/>)"));
    EXPECT_EQ(config.GetLinkCount(0), 2U);
    EXPECT_EQ(config.GetPhyIndex(0, 0), -1);
    EXPECT_EQ(config.GetPhyIndex(0, 1), 0) << "without linkIndex a link takes its position";
    EXPECT_EQ(config.GetDlIndex(0, 1), 2);
    EXPECT_EQ(config.GetPhyIndex(0, 2), 3);
    EXPECT_EQ(config.GetDlIndex(0, 2), 1);
    EXPECT_EQ(config.GetMasterPhyIndex(0), 3);

    const CxpLinkConfiguration other =
        Read(R"(<cxpconfiguration version="2" links="2" linkgroups="1"><!-- two links -->)"
             R"(<board name="x"/>text<linkgroup colour="red" masterId="4"><note/>)"
             R"(<link phyIndex="1" dlIndex="0" cable="a"/><![CDATA[<link phyIndex="9" dlIndex="9"/>]]></linkgroup>)"
             R"(<extra><linkgroup/></extra></cxpconfiguration>)");
    ASSERT_EQ(other.GetLinkGroups(), 1U);
    EXPECT_EQ(other.GetMasterId(0), 4U);
    EXPECT_EQ(other.GetLinkCount(0), 1U);
    EXPECT_EQ(other.GetPhyIndex(0, 0), 1);
}

TEST(LinkConfigurationRead, FailedLoadKeepsWhatWasReadBeforeTheFault) {
    CxpLinkConfiguration tooManyLinks("cxp");
    EXPECT_NE(ErrorOf([&] { tooManyLinks.LoadFromString(CxpDocument(R"(links="5" linkgroups="1")")); }), "no error");
    EXPECT_EQ(tooManyLinks.GetLinks(), 5U) << "the count is taken before it is checked";
    EXPECT_EQ(tooManyLinks.GetLinkGroups(), 1U);
    CxpLinkConfiguration tooManyGroups("cxp");
    EXPECT_NE(ErrorOf([&] { tooManyGroups.LoadFromString(CxpDocument(R"(links="1" linkgroups="5")")); }), "no error");
    EXPECT_EQ(tooManyGroups.GetLinkGroups(), 0U) << "a group count above 4 is never taken";

    CxpLinkConfiguration config("cxp");
    EXPECT_NE(ErrorOf([&] {
                  config.LoadFromString(
                      CxpDocument(R"(links="2" linkgroups="2")",
                                  R"(<linkgroup masterId="9" speed="3125"><link phyIndex="1" dlIndex="0"/></linkgroup>)"
                                  R"(<linkgroup><link phyIndex="0"/></linkgroup>)"));
              }),
              "no error");
    ASSERT_EQ(config.GetLinkGroups(), 2U);
    EXPECT_EQ(config.GetMasterId(0), 9U);
    EXPECT_EQ(config.GetSpeed(0), 3125U);
    EXPECT_EQ(config.GetPhyIndex(0, 0), 1);

    // A document that fails before its groups leaves the old contents.
    EXPECT_NE(ErrorOf([&] { config.LoadFromString(CxpDocument(R"(links="x" linkgroups="1")")); }), "no error");
    EXPECT_EQ(config.GetLinkGroups(), 2U);
    EXPECT_EQ(config.GetSpeed(0), 3125U);
}

TEST(LinkConfigurationRead, ALoadReplacesTheWholeContents) {
    CxpLinkConfiguration config("cxp");
    config.LoadFromString(CxpDocument(
        R"(links="4" linkgroups="2")",
        R"(<linkgroup masterId="2" speed="12500" streampacketsize="512"><link phyIndex="1" dlIndex="1"/><link phyIndex="2" dlIndex="2"/></linkgroup>)"
        R"(<linkgroup><link phyIndex="3" dlIndex="3"/></linkgroup>)"));
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

// One group of `links` links, link i on physical port i and design port i.
CxpLinkConfiguration OneGroupConfig(const std::string& technology, uint32_t links) {
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

TEST(LinkConfigurationWrite, LinesExactlyByTechnology) {
    CxpLinkConfiguration example = OneGroupConfig("cxp", 2);
    example.SetLinks(2);
    EXPECT_EQ(Written(example), kExampleDocument);

    const std::string group = "\t<linkgroup masterId=\"1\" speed=\"6250\" streampacketsize=\"4096\">\n"
                              "\t\t<link phyIndex=\"0\" dlIndex=\"0\" linkIndex=\"0\" isMaster=\"true\"/>\n"
                              "\t</linkgroup>\n";
    EXPECT_EQ(Written(OneGroupConfig("clhs", 1)),
              "<clhsconfiguration links=\"4\" linkgroups=\"1\">\n" + group + "</clhsconfiguration>\n");
    EXPECT_EQ(Written(OneGroupConfig("cl", 1)),
              "<clconfiguration links=\"4\" linkgroups=\"1\">\n" + group + "</clconfiguration>\n");
    EXPECT_EQ(Written(OneGroupConfig("gev", 1)), group) << "another word writes no root lines";
}

TEST(LinkConfigurationWrite, EmptySlotsAreSkippedAndOnlySlotZeroIsMaster) {
    CxpLinkConfiguration config("cxp");
    config.SetLinks(4);
    config.SetLinkGroups(1);
    config.SetLinkCount(0, 4);
    config.SetMasterPhyIndex(0, 3);
    config.SetPhyIndex(0, 0, -7); // negative, but not the empty mark
    config.SetDlIndex(0, 0, 2);
    config.SetPhyIndex(0, 1, 2); // half a link: no dlIndex
    config.SetPhyIndex(0, 2, 3);
    config.SetDlIndex(0, 2, 0);
    config.SetPhyIndex(0, 3, 1);
    config.SetDlIndex(0, 3, 1);
    EXPECT_EQ(Written(config), "<cxpconfiguration links=\"4\" linkgroups=\"1\">\n"
                               "\t<linkgroup masterId=\"0\" speed=\"1250\" streampacketsize=\"4096\">\n"
                               "\t\t<link phyIndex=\"3\" dlIndex=\"0\" linkIndex=\"2\"/>\n"
                               "\t\t<link phyIndex=\"1\" dlIndex=\"1\" linkIndex=\"3\"/>\n"
                               "\t</linkgroup>\n"
                               "</cxpconfiguration>\n");
    // The link count bounds the links written.
    config.SetLinkCount(0, 1);
    EXPECT_NE(Written(config).find("linkIndex=\"2\""), std::string::npos);
    EXPECT_EQ(Written(config).find("linkIndex=\"3\""), std::string::npos);
    config.SetLinkCount(0, 0);
    EXPECT_EQ(Written(config).find("<link "), std::string::npos);
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

        const CxpLinkConfiguration back = Read(Written(config), technology);
        EXPECT_EQ(back.GetLinks(), 4U);
        ASSERT_EQ(back.GetLinkGroups(), 4U);
        for (uint32_t g = 0; g < 4; ++g) {
            EXPECT_EQ(back.GetMasterPhyIndex(g), config.GetMasterPhyIndex(g)) << technology << " group " << g;
        }
        EXPECT_EQ(back.GetMasterId(0), 100U);
        // Without a master id the master link of slot 0 makes one.
        EXPECT_EQ(back.GetMasterId(3), static_cast<uint32_t>(config.GetPhyIndex(3, 0)) + 1);
        // Written again, it is the same document but for that id: every
        // group, link, speed and size was read back as it was written.
        config.SetMasterId(3, back.GetMasterId(3));
        EXPECT_EQ(Written(back), Written(config));
    }
}

TEST(LinkConfigurationWrite, OddValuesReadBackAsTheReaderTakesThem) {
    // An unknown speed is written as an empty word, which reads as the default.
    CxpLinkConfiguration config = OneGroupConfig("cxp", 2);
    config.SetSpeed(0, 7000);
    EXPECT_NE(Written(config).find(" speed=\"\" "), std::string::npos) << Written(config);
    EXPECT_EQ(Read(Written(config)).GetSpeed(0), 1250U);

    // A master outside slot 0 becomes slot 0 but keeps its id.
    config.SetMasterId(0, 2);
    config.SetMasterPhyIndex(0, 1);
    const CxpLinkConfiguration back = Read(Written(config));
    EXPECT_EQ(back.GetMasterPhyIndex(0), 0);
    EXPECT_EQ(back.GetMasterId(0), 2U);
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
        EXPECT_EQ(ErrorOf([&] { byGroup[i](2); }), kLinkGroupIndexError) << i;
        EXPECT_EQ(ErrorOf([&] { byGroup[i](UINT32_MAX); }), kLinkGroupIndexError) << i;
    }
    EXPECT_EQ(ErrorOf([&] { (void)config.GetPhyIndex(1, 4); }), "link index out of bounds.");
    EXPECT_EQ(ErrorOf([&] { config.SetPhyIndex(1, 4, 0); }), "link index out of bounds.");
    EXPECT_EQ(ErrorOf([&] { (void)config.GetDlIndex(1, 4); }), "link index out of bounds.");
    EXPECT_EQ(ErrorOf([&] { config.SetDlIndex(1, UINT32_MAX, 0); }), "link index out of bounds.");
    EXPECT_EQ(ErrorOf([&] { (void)config.GetPhyIndex(2, 4); }), kLinkGroupIndexError) << "the group is checked first";
}

class LinkConfigurationFile : public ::testing::Test {
protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ = fs::temp_directory_path() / ("plex-" + std::to_string(::getpid()) + "-" + info->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }

    std::string PathOf(const std::string& name) const { return (dir_ / name).string(); }
    std::string WriteFile(const std::string& name, const std::string& content) const {
        std::string path = PathOf(name);
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    static std::string ReadFile(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    fs::path dir_;
};

TEST_F(LinkConfigurationFile, SavedFileLoadsBackByPathAndByName) {
    CxpLinkConfiguration config = OneGroupConfig("clhs", 2);
    config.SetMasterId(0, 5);
    config.SetSpeed(0, 10000);
    config.SetStreamPacketSize(0, 8192);
    config.SetPhyIndex(0, 0, 2);
    const std::string path = PathOf("board.xml");
    config.SaveToFile(path);
    EXPECT_EQ(ReadFile(path), Written(config));

    CxpLinkConfiguration back("clhs");
    back.LoadFromFile(path);
    EXPECT_EQ(Written(back), Written(config));

    const std::string profile = PathOf("profile.xml");
    config.SetFileName(profile);
    config.SetSpeed(0, 2500);
    EXPECT_TRUE(config.Save());
    CxpLinkConfiguration reloaded("clhs");
    reloaded.SetFileName(profile);
    reloaded.Reload();
    ASSERT_EQ(reloaded.GetLinkGroups(), 1U);
    EXPECT_EQ(reloaded.GetSpeed(0), 2500U);
}

TEST_F(LinkConfigurationFile, SaveFailsAndReloadIsSilentWithoutAUsableFile) {
    CxpLinkConfiguration config("cxp");
    config.SetLinks(3);
    config.Reload();
    EXPECT_EQ(config.GetLinks(), 3U) << "without a file name Reload does nothing";
    EXPECT_FALSE(config.Save());

    const std::string unwritable = PathOf("no-such-dir/board.xml");
    config.SetFileName(unwritable);
    EXPECT_FALSE(config.Save());
    EXPECT_EQ(ErrorOf([&] { config.SaveToFile(unwritable); }), "Error opening file '" + unwritable + "' for writing!");

    // A bad file keeps what was read before the fault; a missing one changes nothing.
    config.SetFileName(WriteFile(
        "bad.xml",
        CxpDocument(
            R"(links="2" linkgroups="2")",
            R"(<linkgroup speed="5000"><link phyIndex="1" dlIndex="0"/></linkgroup><linkgroup masterId="x"/>)")));
    config.Reload();
    ASSERT_EQ(config.GetLinkGroups(), 2U);
    EXPECT_EQ(config.GetSpeed(0), 5000U);
    EXPECT_EQ(config.GetPhyIndex(0, 0), 1);
    config.SetFileName(PathOf("missing.xml"));
    config.Reload();
    EXPECT_EQ(config.GetSpeed(0), 5000U);
}

TEST_F(LinkConfigurationFile, FilesThatAreNoDocumentsAreNamedInTheError) {
    // Sparse: the size is checked before a byte is read or allocated.
    const std::string huge = PathOf("huge.xml");
    std::ofstream(huge).close();
    fs::resize_file(huge, std::uintmax_t{8} << 30);
    // A FIFO without a writer would block an ordinary open for ever.
    const std::string fifo = PathOf("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::string atLimit = WriteFile("limit.xml", kDocumentAtLimit);
    const std::string missing = PathOf("missing.xml");
    const std::string empty = WriteFile("empty.xml", "");
    const std::string cut = WriteFile("cut.xml", kExampleDocument.substr(0, kExampleDocument.find("\t\t<link")));
    const std::string junk = WriteFile("junk.xml", std::string("<cxp\0\x01\xff", 7));
    const std::string past = WriteFile("past.xml", kDocumentAtLimit + "\n");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {missing, "Error opening file '" + missing + "' for reading!"},
        {dir_.string(), "Error opening file '" + dir_.string() + "' for reading!"},
        {fifo, "Error opening file '" + fifo + "' for reading!"},
        {empty, "XML file is empty: '" + empty},
        {cut, "Error parsing XML file '" + cut + "': unexpected end of data"},
        {junk, "Error parsing XML file '" + junk + "': zero byte in the text"},
        {huge, "XML file '" + huge + "' is too large: more than 1048576 bytes"},
        {past, "XML file '" + past + "' is too large: more than 1048576 bytes"},
        {atLimit, "no error"},
    };
    for (const auto& [path, error] : cases) {
        CxpLinkConfiguration config("cxp");
        EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(path); }), error);
    }
}

} // namespace
