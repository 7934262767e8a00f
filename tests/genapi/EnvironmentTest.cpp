// The GenICam environment around a connection: the application's values are
// saved once and put back, ours are set with the ORVA_ overrides, the
// library folder heads PATH exactly once, and each step is logged. Every
// case runs in a process of its own, so the environment starts as the test
// runner left it.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/genapi/GenICamManager.h"
#include "runtime/templates/InstallationDirectory.h"
#include "runtime/templates/LibraryInitController.h"
#include "support/TestSupport.h"

namespace orva::test {
namespace {

using core::genapi::GenICamPlatformFolder;
using core::genapi::SetGenICamEnvironment;

// The tests change the environment on their only thread.
std::string Env(const char* name) {
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? value : "<unset>";
}

class GenICamEnvironmentTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"GENICAM_ROOT", "GENICAM_CACHE_V3_1", "GENICAM_LOG_CONFIG_V3_1", "ORVA_GENICAM_ROOT",
                                 "ORVA_GENICAM_CACHE_V3_1", "ORVA_GENICAM_LOG_CONFIG_V3_1", "XDG_CACHE_HOME"}) {
            UnsetEnv(name);
        }
        SetEnv("HOME", "/home/tester");
        SetEnv("PATH", "/usr/bin:/bin");
        const char* installation = templates::platform::FindInstallationDirectory();
        installation_ = installation != nullptr ? installation : "";
    }

    std::string Root() const { return installation_ + "/genicam"; }
    std::string LibraryFolder(const std::string& root) const { return root + "/bin/" + GenICamPlatformFolder(); }

    std::string installation_;
};

TEST_F(GenICamEnvironmentTest, SetsTheDefaultsBelowTheInstallationAndPrependsTheLibraryFolder) {
    std::vector<std::string> saved;
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("GENICAM_ROOT"), Root());
    EXPECT_EQ(Env("GENICAM_CACHE_V3_1"), "/home/tester/.cache/GenICam/xml/cache");
    EXPECT_EQ(Env("GENICAM_LOG_CONFIG_V3_1"), Root() + "/log/config/OrvaLogging.properties");
    EXPECT_EQ(Env("PATH"), LibraryFolder(Root()) + ":/usr/bin:/bin");
    EXPECT_EQ(saved, (std::vector<std::string>{"", "", ""}));
}

TEST_F(GenICamEnvironmentTest, TheCacheFollowsTheUsersCacheFolderOrFallsBackToTheInstallation) {
    std::vector<std::string> saved;
    SetEnv("XDG_CACHE_HOME", "/var/cache/tester");
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("GENICAM_CACHE_V3_1"), "/var/cache/tester/GenICam/xml/cache");

    SetEnv("XDG_CACHE_HOME", "relative/cache"); // not absolute: ignored
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("GENICAM_CACHE_V3_1"), "/home/tester/.cache/GenICam/xml/cache");

    UnsetEnv("XDG_CACHE_HOME");
    UnsetEnv("HOME");
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("GENICAM_CACHE_V3_1"), Root());
}

TEST_F(GenICamEnvironmentTest, TheApplicationsValuesAreSavedOnceAndComeBackAtTheRestore) {
    SetEnv("GENICAM_ROOT", "/opt/app/genicam");
    SetEnv("GENICAM_LOG_CONFIG_V3_1", "/opt/app/log.properties");
    std::vector<std::string> saved;
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("GENICAM_ROOT"), Root());
    // A second connect doesn't save our own values over the application's.
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(saved, (std::vector<std::string>{"/opt/app/genicam", "", "/opt/app/log.properties"}));

    SetGenICamEnvironment(saved, false);
    EXPECT_EQ(Env("GENICAM_ROOT"), "/opt/app/genicam");
    EXPECT_EQ(Env("GENICAM_LOG_CONFIG_V3_1"), "/opt/app/log.properties");
    // Unset before: an empty entry leaves our value in place, and so does PATH.
    EXPECT_EQ(Env("GENICAM_CACHE_V3_1"), "/home/tester/.cache/GenICam/xml/cache");
    EXPECT_EQ(Env("PATH"), LibraryFolder(Root()) + ":/usr/bin:/bin");
}

TEST_F(GenICamEnvironmentTest, OverridesReplaceTheDefaultsAndTheRootOverrideMovesThePathEntry) {
    SetEnv("ORVA_GENICAM_ROOT", "/srv/genicam");
    SetEnv("ORVA_GENICAM_CACHE_V3_1", "/srv/cache");
    SetEnv("ORVA_GENICAM_LOG_CONFIG_V3_1", "/srv/log.properties");
    std::vector<std::string> saved;
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("GENICAM_ROOT"), "/srv/genicam");
    EXPECT_EQ(Env("GENICAM_CACHE_V3_1"), "/srv/cache");
    EXPECT_EQ(Env("GENICAM_LOG_CONFIG_V3_1"), "/srv/log.properties");
    EXPECT_EQ(Env("PATH"), LibraryFolder("/srv/genicam") + ":/usr/bin:/bin");
}

TEST_F(GenICamEnvironmentTest, PathGetsTheFolderOnlyWhereItDoesNotAlreadyHeadIt) {
    std::vector<std::string> saved;
    SetGenICamEnvironment(saved, true);
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("PATH"), LibraryFolder(Root()) + ":/usr/bin:/bin");

    // Further back in PATH it is put in front once more.
    SetEnv("PATH", ("/usr/bin:" + LibraryFolder(Root())));
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("PATH"), LibraryFolder(Root()) + ":/usr/bin:" + LibraryFolder(Root()));

    // A longer folder that merely begins like ours doesn't count as ours.
    SetEnv("PATH", (LibraryFolder(Root()) + "_old:/bin"));
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("PATH"), LibraryFolder(Root()) + ":" + LibraryFolder(Root()) + "_old:/bin");

    // No empty entry, which would search the working directory.
    UnsetEnv("PATH");
    SetGenICamEnvironment(saved, true);
    EXPECT_EQ(Env("PATH"), LibraryFolder(Root()));
}

TEST_F(GenICamEnvironmentTest, ARestoreWithoutASaveChangesNothing) {
    SetEnv("GENICAM_ROOT", "/opt/app/genicam");
    std::vector<std::string> saved;
    SetGenICamEnvironment(saved, false);
    EXPECT_TRUE(saved.empty());
    EXPECT_EQ(Env("GENICAM_ROOT"), "/opt/app/genicam");
    EXPECT_EQ(Env("PATH"), "/usr/bin:/bin");
}

TEST_F(GenICamEnvironmentTest, EachStepIsLoggedAtLevelThree) {
    const std::string logFile = ::testing::TempDir() + "genapi-environment-" + std::to_string(getpid()) + ".log";
    std::remove(logFile.c_str());
    SetEnv("ORVA_LOG_FILE", logFile);
    SetEnv("ORVA_LOG", "orva.core.GenICamManager=3,*=5");
    templates::platform::LibraryInitController::Init();
    std::vector<std::string> saved;
    SetGenICamEnvironment(saved, true);
    SetGenICamEnvironment(saved, true); // PATH is headed already: no second prepend line
    templates::platform::LibraryInitController::Deinit();

    std::ifstream in(logFile);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (line.find("[orva.core.GenICamManager]") != std::string::npos) {
            lines.push_back(line.substr(line.find('|') + 1));
        }
    }
    std::remove(logFile.c_str());
    const std::vector<std::string> once = {
        "setting environment variable GENICAM_ROOT=" + Root(),
        "setting environment variable GENICAM_CACHE_V3_1=/home/tester/.cache/GenICam/xml/cache",
        "setting environment variable GENICAM_LOG_CONFIG_V3_1=" + Root() + "/log/config/OrvaLogging.properties",
    };
    std::vector<std::string> expected = once;
    expected.push_back("prepending '" + LibraryFolder(Root()) + "' to PATH");
    expected.insert(expected.end(), once.begin(), once.end());
    EXPECT_EQ(lines, expected);
}

} // namespace
} // namespace orva::test
