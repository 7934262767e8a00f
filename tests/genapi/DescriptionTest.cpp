// The checks of a description at load: cut-off texts, links to nothing and
// loops of links are refused with a text that says why, without a crash;
// links that only select or invalidate may point back. Aravis's log lines
// reach our logging. Descriptions of real cameras are the camera tests' part.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <glib.h>
#include <string>
#include <vector>

#include "MemoryPort.h"
#include "TestCamera.h"
#include "core/genapi/NodeMap.h"
#include "runtime/templates/LibraryInitController.h"

namespace orva::test {
namespace {

using namespace core::genapi;

// The text of the refusal; empty if the description loaded.
std::string Refusal(const std::string& xml) {
    try {
        (void)NodeMap::FromXml(xml);
    } catch (const DescriptionError& e) {
        return e.what();
    }
    return {};
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(DescriptionCheck, ACutOffDescriptionIsRefusedWherevertheCutFalls) {
    const std::string xml = TestCameraXml();
    const std::vector<std::size_t> cuts = {
        xml.find("<Integer Name=\"Width\">") + 10, // inside a tag
        xml.find("<Integer Name=\"Height\">"),     // between two nodes
        xml.find("<Port Name=\"Device\"/>"),       // every node but the port read
        xml.rfind("</RegisterDescription>"),       // only the closing tag missing
        xml.rfind("</RegisterDescription>") + 5,   // inside the closing tag
    };
    for (std::size_t cut : cuts) {
        const std::string refusal = Refusal(xml.substr(0, cut));
        EXPECT_TRUE(Contains(refusal, "isn't well-formed XML")) << "cut at " << cut << ": '" << refusal << "'";
    }
}

TEST(DescriptionCheck, ZerosAfterTheDescriptionAreNotPartOfIt) {
    // As read from a camera's memory, padded to the size of its area.
    EXPECT_EQ(Refusal(TestCameraXml() + std::string(64, '\0')), "");
    // The text ends at the first zero: what follows isn't read.
    EXPECT_EQ(Refusal(TestCameraXml() + std::string(1, '\0') + "<Integer"), "");
    EXPECT_FALSE(Refusal(TestCameraXml() + "<Integer").empty());
}

TEST(DescriptionCheck, TextsThatAreNoDescriptionAreRefused) {
    EXPECT_FALSE(Refusal("").empty());
    EXPECT_FALSE(Refusal("camera").empty());
    EXPECT_TRUE(Contains(Refusal("<?xml version=\"1.0\"?><Camera/>"), "could not be loaded")) << Refusal("<Camera/>");
    EXPECT_FALSE(Refusal("<?xml version=\"1.0\"?><Category Name=\"Root\"/>").empty());
}

TEST(DescriptionCheck, APValueThatNamesItsOwnNodeIsRefusedWithoutACrash) {
    const std::string refusal = Refusal(Description(R"(<Integer Name="Loop"><pValue>Loop</pValue></Integer>)"));
    EXPECT_TRUE(Contains(refusal, "loop of links: Loop -> Loop (closed by <pValue>)")) << refusal;
}

TEST(DescriptionCheck, LongerLoopsThroughValuesFormulasAndAddressesAreRefused) {
    const std::vector<std::pair<std::string, std::string>> loops = {
        {R"(<Integer Name="A"><pValue>B</pValue></Integer>
            <Integer Name="B"><pValue>C</pValue></Integer>
            <Integer Name="C"><pValue>A</pValue></Integer>)",
         " -> A -> B -> C"},
        {R"(<IntSwissKnife Name="Twice"><pVariable Name="X">Base</pVariable><Formula>2*X</Formula></IntSwissKnife>
            <Integer Name="Base"><pValue>Twice</pValue></Integer>)",
         "closed by <p"},
        {R"(<IntReg Name="Reg"><pAddress>RegAddress</pAddress><Length>4</Length><AccessMode>RW</AccessMode>
              <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
            <IntSwissKnife Name="RegAddress"><pVariable Name="R">Reg</pVariable><Formula>R</Formula></IntSwissKnife>)",
         "Reg"},
        {R"(<Integer Name="Limited"><Value>1</Value><pMax>Limit</pMax></Integer>
            <Integer Name="Limit"><pValue>Limited</pValue><pMin>Limited</pMin></Integer>)",
         "Limit"},
    };
    for (const auto& [body, part] : loops) {
        const std::string refusal = Refusal(Description(body));
        EXPECT_TRUE(Contains(refusal, "loop of links")) << body << "\n" << refusal;
        EXPECT_TRUE(Contains(refusal, part)) << refusal;
    }
}

TEST(DescriptionCheck, ALinkToANodeThatIsNotThereIsRefusedWithItsNames) {
    const std::string refusal = Refusal(Description(R"(
        <Category Name="Root"><pFeature>Width</pFeature><pFeature>Missing</pFeature></Category>
        <Integer Name="Width"><pValue>WidthRegister</pValue></Integer>)"));
    EXPECT_TRUE(Contains(refusal, "2 node(s) it doesn't define")) << refusal;
    EXPECT_TRUE(Contains(refusal, "Root <pFeature> 'Missing'")) << refusal;
    EXPECT_TRUE(Contains(refusal, "Width <pValue> 'WidthRegister'")) << refusal;
}

TEST(DescriptionCheck, LinksThatOnlySelectOrInvalidateMayPointBack) {
    // The selector selects the register whose address it gives, and the
    // register invalidates the selector: no value needs itself.
    const std::string xml = Description(R"(
        <Integer Name="Selector"><pSelected>Selected</pSelected><pInvalidator>Selected</pInvalidator>
          <Value>0</Value><Min>0</Min><Max>3</Max></Integer>
        <IntReg Name="Selected"><pAddress>SelectedAddress</pAddress><pInvalidator>Selector</pInvalidator>
          <Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign>
          <Endianess>BigEndian</Endianess></IntReg>
        <IntSwissKnife Name="SelectedAddress"><pVariable Name="S">Selector</pVariable><Formula>0x10 + 4*S</Formula>
        </IntSwissKnife>)");
    EXPECT_EQ(Refusal(xml), "");
    NodeMap map = NodeMap::FromXml(xml);
    auto port = std::make_shared<MemoryPort>();
    port->SetU32(0x14, 77);
    map.Connect(port);
    map.Get<Integer>("Selector")->SetValue(1);
    EXPECT_EQ(map.Get<Integer>("Selected")->GetValue(), 77);
}

// -- Aravis's log lines -------------------------------------------------------

// Lines of the logger orva.genicam.Aravis while `work` runs, without their
// prefix.
template <class Work> std::vector<std::string> AravisLogLines(Work work) {
    const std::string logFile = ::testing::TempDir() + "genapi-aravis-" + std::to_string(getpid()) + ".log";
    std::remove(logFile.c_str());
    // The test has a single thread.
    ::setenv("ORVA_LOG_FILE", logFile.c_str(), 1);        // NOLINT(concurrency-mt-unsafe)
    ::setenv("ORVA_LOG", "orva.genicam.Aravis=2,*=5", 1); // NOLINT(concurrency-mt-unsafe)
    templates::platform::LibraryInitController::Init();
    work();
    templates::platform::LibraryInitController::Deinit();

    std::ifstream in(logFile);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (Contains(line, "[orva.genicam.Aravis]")) {
            lines.push_back(line.substr(line.find('|') + 1));
        }
    }
    std::remove(logFile.c_str());
    return lines;
}

bool AnyStartsWith(const std::vector<std::string>& lines, const std::string& head) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(head); });
}

TEST(AravisLog, TheParsersComplaintsReachOurLogging) {
    const std::vector<std::string> lines = AravisLogLines([] {
        const std::string xml = TestCameraXml();
        EXPECT_FALSE(Refusal(xml.substr(0, xml.size() / 2)).empty());
    });
    EXPECT_TRUE(AnyStartsWith(lines, "XML: ")) << ::testing::PrintToString(lines);
}

TEST(AravisLog, AFailedPreconditionInAravisReachesOurLoggingALineFromElsewhereDoesNot) {
    const std::vector<std::string> lines = AravisLogLines([] {
        // Aravis makes no element for a root it doesn't know, and says so.
        EXPECT_FALSE(Refusal("<?xml version=\"1.0\"?><Camera/>").empty());
        // A line of the same (default) domain from outside Aravis is left to
        // GLib's own handler.
        g_warning("a warning of the application");
    });
    EXPECT_TRUE(AnyStartsWith(lines, "Aravis: arv_")) << ::testing::PrintToString(lines);
    EXPECT_FALSE(AnyStartsWith(lines, "Aravis: a warning of the application")) << ::testing::PrintToString(lines);
}

} // namespace
} // namespace orva::test
