// Files: loading and saving by name, Reload and Save, and the files that
// aren't documents (missing, empty, too large, not regular).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "LinkConfigurationTestSupport.h"
#include "core/plex/CxpLinkConfiguration.h"

namespace orva::test::plex {
namespace {

using core::plex::CxpLinkConfiguration;
namespace fs = std::filesystem;

class LinkConfigurationFile : public ::testing::Test {
protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ = fs::temp_directory_path() /
               ("plex-" + std::to_string(::getpid()) + "-" + info->test_suite_name() + "-" + info->name());
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

TEST_F(LinkConfigurationFile, SavedFileLoadsBack) {
    CxpLinkConfiguration config("clhs");
    config.SetLinks(2);
    config.SetLinkGroups(1);
    config.SetLinkCount(0, 2);
    config.SetMasterId(0, 5);
    config.SetSpeed(0, 10000);
    config.SetStreamPacketSize(0, 8192);
    config.SetPhyIndex(0, 0, 2);
    config.SetDlIndex(0, 0, 0);
    config.SetPhyIndex(0, 1, 3);
    config.SetDlIndex(0, 1, 1);
    const std::string path = PathOf("board.xml");
    config.SaveToFile(path);
    EXPECT_EQ(ReadFile(path).rfind("<clhsconfiguration links=\"2\" linkgroups=\"1\">\n", 0), 0U);

    CxpLinkConfiguration back("clhs");
    back.LoadFromFile(path);
    ASSERT_EQ(back.GetLinkGroups(), 1U);
    EXPECT_EQ(back.GetMasterId(0), 5U);
    EXPECT_EQ(back.GetSpeed(0), 10000U);
    EXPECT_EQ(back.GetStreamPacketSize(0), 8192U);
    EXPECT_EQ(back.GetMasterPhyIndex(0), 2);
    EXPECT_EQ(back.GetPhyIndex(0, 1), 3);
    EXPECT_EQ(back.GetDlIndex(0, 1), 1);
}

TEST_F(LinkConfigurationFile, SaveAndReloadUseTheFileName) {
    const std::string path = PathOf("profile.xml");
    CxpLinkConfiguration config("cxp");
    config.SetFileName(path);
    config.SetLinks(1);
    config.SetLinkGroups(1);
    config.SetSpeed(0, 2500);
    EXPECT_TRUE(config.Save());
    EXPECT_NE(ReadFile(path).find(R"(speed="2500")"), std::string::npos);

    CxpLinkConfiguration reloaded("cxp");
    reloaded.SetFileName(path);
    reloaded.Reload();
    ASSERT_EQ(reloaded.GetLinkGroups(), 1U);
    EXPECT_EQ(reloaded.GetSpeed(0), 2500U);
}

TEST_F(LinkConfigurationFile, WithoutAFileNameReloadDoesNothingAndSaveFails) {
    CxpLinkConfiguration config("cxp");
    config.SetLinks(3);
    config.Reload();
    EXPECT_EQ(config.GetLinks(), 3U);
    EXPECT_FALSE(config.Save());
}

TEST_F(LinkConfigurationFile, ReloadOfABadFileIsSilentAndKeepsWhatWasRead) {
    const std::string path = WriteFile(
        "bad.xml",
        CxpDocument(
            R"(links="2" linkgroups="2")",
            R"(<linkgroup speed="5000"><link phyIndex="1" dlIndex="0"/></linkgroup><linkgroup masterId="x"/>)"));
    CxpLinkConfiguration config("cxp");
    config.SetFileName(path);
    config.Reload();
    ASSERT_EQ(config.GetLinkGroups(), 2U);
    EXPECT_EQ(config.GetSpeed(0), 5000U);
    EXPECT_EQ(config.GetPhyIndex(0, 0), 1);

    config.SetFileName(PathOf("missing.xml"));
    config.Reload();
    EXPECT_EQ(config.GetSpeed(0), 5000U);
}

TEST_F(LinkConfigurationFile, UnwritablePathFailsSaveAndThrowsFromSaveToFile) {
    const std::string path = PathOf("no-such-dir/board.xml");
    CxpLinkConfiguration config("cxp");
    config.SetFileName(path);
    EXPECT_FALSE(config.Save());
    EXPECT_EQ(ErrorOf([&] { config.SaveToFile(path); }), "Error opening file '" + path + "' for writing!");
}

TEST_F(LinkConfigurationFile, WhatIsNoReadableFileIsAnOpenError) {
    CxpLinkConfiguration config("cxp");
    const std::string missing = PathOf("missing.xml");
    EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(missing); }), "Error opening file '" + missing + "' for reading!");
    const std::string directory = dir_.string();
    EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(directory); }), "Error opening file '" + directory + "' for reading!");
    // A FIFO without a writer would block an ordinary open for ever.
    const std::string fifo = PathOf("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(fifo); }), "Error opening file '" + fifo + "' for reading!");
}

TEST_F(LinkConfigurationFile, EmptyFileIsNamed) {
    const std::string path = WriteFile("empty.xml", "");
    CxpLinkConfiguration config("cxp");
    EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(path); }), "XML file is empty: '" + path);
}

TEST_F(LinkConfigurationFile, ParseErrorsNameTheFile) {
    const std::string path = WriteFile("cut.xml", kExampleDocument.substr(0, kExampleDocument.find("\t\t<link")));
    CxpLinkConfiguration config("cxp");
    EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(path); }),
              "Error parsing XML file '" + path + "': unexpected end of data");
    const std::string junk = WriteFile("junk.xml", std::string("<cxp\0\x01\xff", 7));
    EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(junk); }),
              "Error parsing XML file '" + junk + "': zero byte in the text");
}

TEST_F(LinkConfigurationFile, HugeFileIsRefusedBeforeItIsRead) {
    // Sparse: the size is checked before a byte is read or allocated.
    const std::string huge = PathOf("huge.xml");
    std::ofstream(huge).close();
    fs::resize_file(huge, std::uintmax_t{8} << 30);
    CxpLinkConfiguration config("cxp");
    EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(huge); }),
              "XML file '" + huge + "' is too large: more than 1048576 bytes");

    const std::string document = CxpDocument(R"(links="1" linkgroups="0")", "");
    const std::string atLimit =
        WriteFile("limit.xml", document + std::string(CxpLinkConfiguration::kMaxDocumentSize - document.size(), '\n'));
    config.LoadFromFile(atLimit);
    EXPECT_EQ(config.GetLinks(), 1U);
    const std::string pastLimit = WriteFile("past.xml", ReadFile(atLimit) + "\n");
    EXPECT_EQ(ErrorOf([&] { config.LoadFromFile(pastLimit); }),
              "XML file '" + pastLimit + "' is too large: more than 1048576 bytes");
}

} // namespace
} // namespace orva::test::plex
