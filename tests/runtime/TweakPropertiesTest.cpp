#include "support/TestSupport.h"

#include "runtime/templates/ConfigFile.h"
#include "runtime/templates/InstallationDirectory.h"
#include "runtime/templates/TweakProperties.h"
#include "runtime/templates/TweakTable.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/stat.h>

using namespace orva::templates::platform;
using orva::test::ScopedEnv;
using orva::test::TempDir;
using orva::test::WriteFile;
namespace fs = std::filesystem;

namespace {

std::string Lookup(const ConfigFile& file, const std::string& key) {
    std::string value;
    return file.lookup(key, value) ? value : "<absent>";
}

// Two rt.conf files in a temp dir, and the environment variables of the rows
// used here cleared, so only what a test writes counts.
class Tweaks : public ::testing::Test {
protected:
    std::string userFile() const { return dir_.path() + "/user/rt.conf"; }
    std::string installationFile() const { return dir_.path() + "/install/rt.conf"; }

    template <typename T> T get(const std::string& key, int argc = 0, const char* const* argv = nullptr) {
        TweakProperties properties(userFile(), installationFile());
        return properties.get<T>(key, argc, argv);
    }

    TempDir dir_;
    ScopedEnv ackTimeout_{"ORVA_CXP_COMMAND_ACK_TIMEOUT", nullptr};
    ScopedEnv cxp2_{"ORVA_CXP_ENABLE_CXP2_EXTENSIONS", nullptr};
    ScopedEnv pcap_{"ORVA_ENABLE_PCAP", nullptr};
    ScopedEnv pcapLimit_{"ORVA_PCAP_FILESIZELIMIT", nullptr};
    ScopedEnv udpPort_{"ORVA_GIGE_SERVICE_UDP_SOURCE_PORT", nullptr};
    ScopedEnv packetSize_{"ORVA_CXP_MAX_CONTROL_PACKET_SIZE", nullptr};
};

} // namespace

TEST(ConfigFile, ReadsSectionsCommentsAndWhitespace) {
    ConfigFile file;
    file.parse("Orphan=1\n"
               "[ cxp ]   # section comment\r\n"
               "  CommandAckTimeout = 800  # trailing comment\r\n"
               "Hash=#gone\n"
               "NoEquals\n"
               "Expr = a=b=c\n"
               "\n"
               "   \t\n"
               "[]\n"
               "Later = 1\n"
               "later = 2\n"
               "[Open = 5\n"
               "CXP::Nested=7\n"
               "[GIGE]\n"
               "Port=3956");
    EXPECT_EQ(Lookup(file, "ORPHAN"), "<absent>") << "keys before the first section are ignored";
    EXPECT_EQ(Lookup(file, "CXP::CommandAckTimeout"), "800");
    EXPECT_EQ(Lookup(file, "cxp::commandacktimeout"), "800");
    EXPECT_EQ(Lookup(file, "CXP::Hash"), "");
    EXPECT_EQ(Lookup(file, "CXP::NoEquals"), "<absent>");
    EXPECT_EQ(Lookup(file, "CXP::Expr"), "a=b=c");
    EXPECT_EQ(Lookup(file, "CXP::Later"), "2") << "a short bracket line is skipped, not a section";
    EXPECT_EQ(Lookup(file, "CXP::[Open"), "5") << "an unclosed bracket line is an ordinary line";
    EXPECT_EQ(Lookup(file, "CXP::CXP::Nested"), "7");
    EXPECT_EQ(Lookup(file, "GIGE::Port"), "3956") << "last line without line feed";
    EXPECT_EQ(file.size(), 7U);
}

TEST(ConfigFile, UnreadableFilesCountAsEmpty) {
    TempDir dir;
    ConfigFile file;
    file.parse("[A]\nb=1\n");
    EXPECT_FALSE(file.load(dir.path() + "/missing.conf"));
    EXPECT_EQ(file.size(), 0U) << "the old content survived a failed load";

    EXPECT_FALSE(file.load(dir.path())) << "a directory was read as a file";

    const std::string fifo = dir.path() + "/fifo.conf";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(file.load(fifo)) << "a FIFO must be refused, not waited on";

    const std::string big = dir.path() + "/big.conf";
    WriteFile(big, "[A]\nb=1\n" + std::string(ConfigFile::kMaxFileSize, '#'));
    EXPECT_FALSE(file.load(big));

    const std::string good = dir.path() + "/good.conf";
    WriteFile(good, "[A]\nb=1\n");
    EXPECT_TRUE(file.load(good));
    EXPECT_EQ(Lookup(file, "A::B"), "1");
}

TEST_F(Tweaks, UnknownKeysAndDefaultsThatDoNotConvertAreErrors) {
    const auto errorOf = [](const std::function<void()>& get) -> std::string {
        try {
            get();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no error";
    };
    EXPECT_EQ(errorOf([&] { get<uint32_t>("CXP::commandacktimeout"); }),
              "TweakProperties: Unknown property requested: 'CXP::commandacktimeout'")
        << "a key must match in case too";
    EXPECT_NE(errorOf([&] { get<bool>(""); }), "no error");
    EXPECT_EQ(errorOf([&] { get<int32_t>("Global::GuiConsoleFont"); }),
              "TweakProperties: No valid value found for property 'Global::GuiConsoleFont'");
    EXPECT_NE(errorOf([&] { get<uint16_t>("GB::ParamSyncServerAddress"); }), "no error") << "empty default";
    EXPECT_FALSE(get<bool>("GB::ParamSyncServerAddress")) << "a Boolean always converts";
}

TEST_F(Tweaks, SourcesInOrderOfPrecedence) {
    EXPECT_EQ(get<uint32_t>("CXP::CommandAckTimeout"), 500U);

    ScopedEnv env("ORVA_CXP_COMMAND_ACK_TIMEOUT", "600");
    EXPECT_EQ(get<uint32_t>("CXP::CommandAckTimeout"), 600U) << "environment beats the default";

    WriteFile(installationFile(), "[CXP]\nCommandAckTimeout=700\n");
    EXPECT_EQ(get<uint32_t>("CXP::CommandAckTimeout"), 700U) << "a file beats the environment";

    WriteFile(userFile(), "[cxp]\ncommandacktimeout = 800\n");
    EXPECT_EQ(get<uint32_t>("CXP::CommandAckTimeout"), 800U) << "the user's file beats the installation's";

    WriteFile(userFile(), "[CXP]\nCommandAckTimeout=\n");
    EXPECT_EQ(get<uint32_t>("CXP::CommandAckTimeout"), 700U) << "an empty value passes on";
}

TEST_F(Tweaks, ValuesThatDoNotConvertPassOnExceptForBooleans) {
    WriteFile(userFile(), "[CXP]\nCommandAckTimeout=enabled\nEnableCxp2Extensions=enabled\n");
    WriteFile(installationFile(), "[CXP]\nCommandAckTimeout=900\nEnableCxp2Extensions=on\n");
    EXPECT_EQ(get<uint32_t>("CXP::CommandAckTimeout"), 900U);
    EXPECT_FALSE(get<bool>("CXP::EnableCxp2Extensions")) << "a Boolean text stops the search";
}

TEST_F(Tweaks, BooleanTexts) {
    for (const char* yes : {"yes", "TRUE", "On", "1"}) {
        ScopedEnv env("ORVA_ENABLE_PCAP", yes);
        EXPECT_TRUE(get<bool>("Global::EnablePCAP")) << yes;
    }
    for (const char* no : {"no", "off", "0", "2", " on", "enabled"}) {
        ScopedEnv env("ORVA_ENABLE_PCAP", no);
        EXPECT_FALSE(get<bool>("Global::EnablePCAP")) << no;
    }
    EXPECT_TRUE(get<bool>("CXP::EnableCxp2Extensions"));
    ScopedEnv empty("ORVA_CXP_ENABLE_CXP2_EXTENSIONS", "");
    EXPECT_FALSE(get<bool>("CXP::EnableCxp2Extensions")) << "an empty variable is false; the default is not consulted";
}

TEST_F(Tweaks, NumbersConvertByStreamExtractionWithinTheTypesRange) {
    auto asInt32 = [&](const char* text) {
        ScopedEnv env("ORVA_CXP_MAX_CONTROL_PACKET_SIZE", text);
        return get<int32_t>("CXP::MaxControlPacketSize");
    };
    EXPECT_EQ(asInt32("12abc"), 12);
    EXPECT_EQ(asInt32("0x10"), 0);
    EXPECT_EQ(asInt32("  42"), 42);
    EXPECT_EQ(asInt32("-5"), -5);
    EXPECT_EQ(asInt32("abc"), 512) << "falls back to the default";
    EXPECT_EQ(asInt32(""), 512);
    EXPECT_EQ(asInt32("2147483647"), 2147483647);
    EXPECT_EQ(asInt32("2147483648"), 512);
    EXPECT_EQ(asInt32("99999999999999999999999"), 512);

    auto asUint16 = [&](const char* text) {
        ScopedEnv env("ORVA_GIGE_SERVICE_UDP_SOURCE_PORT", text);
        return get<uint16_t>("GIGE::ServiceUdpSourcePort");
    };
    EXPECT_EQ(asUint16("65535"), 65535);
    EXPECT_EQ(asUint16("65536"), 0);
    EXPECT_EQ(asUint16("-1"), 0);

    auto asUint32 = [&](const char* text) {
        ScopedEnv env("ORVA_CXP_COMMAND_ACK_TIMEOUT", text);
        return get<uint32_t>("CXP::CommandAckTimeout");
    };
    EXPECT_EQ(asUint32("4294967295"), 4294967295U);
    EXPECT_EQ(asUint32("4294967296"), 500U);
    EXPECT_EQ(asUint32("-1"), 500U) << "a negative number wrapped around";
}

TEST_F(Tweaks, CommandLineLastValidOccurrenceWins) {
    WriteFile(userFile(), "[Global]\nPCAPFileSizeLimit=5\n");
    const char* argv[] = {"tool", "--pcaplimit=10", "-PcapLimit=20", "---", "pcaplimit", "--pcaplimit=x", nullptr};
    EXPECT_EQ(get<uint32_t>("Global::PCAPFileSizeLimit", 6, argv), 20U);
    EXPECT_EQ(get<uint32_t>("Global::PCAPFileSizeLimit", 2, argv), 10U);
    EXPECT_EQ(get<uint32_t>("Global::PCAPFileSizeLimit", 0, argv), 5U) << "argc 0 means no command line";
    EXPECT_EQ(get<uint32_t>("Global::PCAPFileSizeLimit", 6, nullptr), 5U);

    // Only rows with a legacy name take switches.
    const char* other[] = {"tool", "--CommandAckTimeout=1", "--ORVA_CXP_COMMAND_ACK_TIMEOUT=1"};
    EXPECT_EQ(get<uint32_t>("CXP::CommandAckTimeout", 3, other), 500U);
}

TEST(TweakTable, KeysAreUniqueAndWellFormed) {
    std::set<std::string> keys;
    std::size_t rows = 0;
    for (const TweakRow* row = TweakTable::Rows(); row->key != nullptr; ++row, ++rows) {
        const std::string key = row->key;
        EXPECT_TRUE(keys.insert(key).second) << "duplicate " << key;
        const std::size_t separator = key.find("::");
        EXPECT_TRUE(separator != std::string::npos && separator > 0 && separator + 2 < key.size()) << key;
        EXPECT_NE(row->environmentVariable, nullptr);
        EXPECT_NE(row->legacyName, nullptr);
        EXPECT_NE(row->defaultValue, nullptr);
    }
    EXPECT_EQ(rows, TweakTable::Count());
}

namespace {

// GetTweakValue at the real file places, with the user's configuration in a
// temp dir. The installation's file would be <build>/rt.conf.
class TweakFiles : public ::testing::Test {
protected:
    void SetUp() override {
        const char* installation = FindInstallationDirectory();
        if (installation != nullptr && fs::exists(std::string(installation) + "/rt.conf")) {
            GTEST_SKIP() << "an rt.conf in the installation directory would interfere";
        }
    }
    TempDir dir_;
    ScopedEnv ackTimeout_{"ORVA_CXP_COMMAND_ACK_TIMEOUT", "600"};
};

} // namespace

TEST_F(TweakFiles, UserFileBelowTheConfigHomeOrHomeIsRead) {
    {
        ScopedEnv xdg("XDG_CONFIG_HOME", dir_.path().c_str());
        EXPECT_EQ(GetTweakValue<uint32_t>("CXP::CommandAckTimeout"), 600U);
        EXPECT_TRUE(fs::is_directory(dir_.path() + "/orva")) << "the folder is created on use";
        WriteFile(dir_.path() + "/orva/rt.conf", "[CXP]\nCommandAckTimeout=800\n");
        EXPECT_EQ(GetTweakValue<uint32_t>("CXP::CommandAckTimeout"), 800U) << "each query reads the file again";
    }
    ScopedEnv xdg("XDG_CONFIG_HOME", nullptr);
    ScopedEnv home("HOME", dir_.path().c_str());
    WriteFile(dir_.path() + "/.config/orva/rt.conf", "[CXP]\nCommandAckTimeout=801\n");
    EXPECT_EQ(GetTweakValue<uint32_t>("CXP::CommandAckTimeout"), 801U);
    ScopedEnv relative("XDG_CONFIG_HOME", "relative/dir");
    EXPECT_EQ(GetTweakValue<uint32_t>("CXP::CommandAckTimeout"), 801U) << "a relative XDG_CONFIG_HOME is ignored";
}

TEST_F(TweakFiles, WithoutUserFileEnvironmentAndDefaultStillWork) {
    ScopedEnv xdg("XDG_CONFIG_HOME", nullptr);
    ScopedEnv home("HOME", nullptr);
    EXPECT_EQ(GetTweakValue<uint32_t>("CXP::CommandAckTimeout"), 600U);
    EXPECT_EQ(GetTweakValue<int32_t>("CXP::WaitAfterPowerup"), 100);

    // A config home that can't hold the folder means no user's file.
    const std::string blocker = dir_.path() + "/file";
    WriteFile(blocker, "");
    ScopedEnv blocked("XDG_CONFIG_HOME", blocker.c_str());
    EXPECT_EQ(GetTweakValue<uint32_t>("CXP::CommandAckTimeout"), 600U);
}
