#include "support/TestSupport.h"

#include "runtime/templates/InstallationDirectory.h"
#include "runtime/templates/RuntimeLibrary.h"

#include <array>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

using namespace orva::templates::platform;
namespace fs = std::filesystem;

TEST(InstallationDirectory, WalkFindsNearestInstallationSubdirectory) {
    const std::pair<const char*, const char*> cases[] = {
        {"/opt/orva/bin/libtgx.so", "/opt/orva"},
        {"/opt/Orva/LIB/libtgx.so", "/opt/Orva"},
        {"/usr/lib/orva/bin/libtgx.so", "/usr/lib/orva"}, // the nearest match wins, not the first from the root
        // Runs of separators count as one, also in the answer.
        {"/x//bin//libtgx.so", "/x"},
        {"//x///y//lib///libtgx.so", "//x///y"},
        {"/bin/libtgx.so", "/"},
        {"relative/bin/libtgx.so", "relative"},
        // No match.
        {"/opt/orva/libtgx.so", ""},
        {"/opt/binaries/libs/libtgx.so", ""},
        {"/opt/orva/bin", ""}, // the file's own name is not a directory
        {"bin/libtgx.so", ""},
        {"libtgx.so", ""},
        {"", ""},
        {"////", ""},
    };
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(InstallationDirectoryFromModulePath(path), expected) << path;
    }
}

TEST(InstallationDirectory, FoundFromThisProgramInTheBuildTree) {
    // Test programs live in <build>/bin, so the build tree is the installation.
    const char* directory = FindInstallationDirectory();
    ASSERT_NE(directory, nullptr);
    EXPECT_TRUE(fs::equivalent(directory, orva::test::BuildDir())) << directory;
    EXPECT_EQ(FindInstallationDirectory(), directory) << "the answer lives in one process-wide buffer";
}

namespace {

// Runs the probe program, copied outside any installation layout, with only
// the given environment; returns its output.
std::string RunProbe(const std::string& environment, const std::string& argument = "") {
    orva::test::TempDir dir;
    const fs::path probe = fs::path(dir.path()) / "probe";
    fs::copy_file(fs::path(orva::test::BuildDir()) / "bin" / "runtime_installdir_probe", probe);
    const std::string command = "env -i " + environment + " " + probe.string() + " " + argument;
    std::string output;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return "popen failed";
    }
    std::array<char, 512> buffer{};
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe) != nullptr) {
        output += buffer.data();
    }
    if (::pclose(pipe) != 0) {
        output += "(probe failed)";
    }
    return output;
}

} // namespace

TEST(InstallationDirectory, FallsBackToVariablesInOrderAndRetriesWhenNotFound) {
    EXPECT_EQ(RunProbe("ORVADIR5=/opt/five//"), "/opt/five\n");
    EXPECT_EQ(RunProbe("ORVADIR5=/opt/five ORVADIR5_32=/opt/five32/"), "/opt/five32\n");
    EXPECT_EQ(RunProbe("ORVADIR5_32= ORVADIR5=/opt/five"), "/opt/five\n") << "an empty variable counts as unset";
    EXPECT_EQ(RunProbe("", "/opt/later"), "(null)\n/opt/later\n");
}

TEST(RuntimeLibrary, LoadsFromInstallationAndBindsSymbols) {
    const std::string dir = orva::test::BuildDir();
    auto library = LoadRuntimeLibrary("runtime_testlib", dir.c_str());
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(library->path(), dir + "/lib/libruntime_testlib.so");
    auto* answer = reinterpret_cast<int (*)()>(library->symbol("runtime_testlib_answer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(library->symbol("runtime_testlib_missing"), nullptr);

    // Without a directory the installation directory (the build tree) is used.
    auto again = LoadRuntimeLibrary("runtime_testlib");
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->handle(), library->handle());

    EXPECT_EQ(LoadRuntimeLibrary("runtime_no_such_library", dir.c_str()), nullptr);
    EXPECT_EQ(LoadRuntimeLibrary("runtime_testlib", "/nonexistent"), nullptr);
    EXPECT_EQ(LoadRuntimeLibrary(nullptr, dir.c_str()), nullptr);
    EXPECT_EQ(LoadRuntimeLibrary("", dir.c_str()), nullptr);
}

TEST(RuntimeLibrary, RecordLeavesLibraryLoadedUnlessUnloaded) {
    const std::string dir = orva::test::BuildDir();
    std::string kept;
    {
        auto library = LoadRuntimeLibrary("runtime_testlib", dir.c_str());
        ASSERT_NE(library, nullptr);
        kept = library->path();
    }
    void* stillLoaded = ::dlopen(kept.c_str(), RTLD_NOW | RTLD_NOLOAD);
    EXPECT_NE(stillLoaded, nullptr) << "the record's destruction unloaded the library";
    if (stillLoaded != nullptr) {
        ::dlclose(stillLoaded);
    }

    auto unloaded = LoadRuntimeLibrary("runtime_testlib_unload", dir.c_str());
    ASSERT_NE(unloaded, nullptr);
    unloaded->unload();
    EXPECT_EQ(unloaded->handle(), nullptr);
    EXPECT_EQ(unloaded->symbol("runtime_testlib_answer"), nullptr);
    EXPECT_EQ(::dlopen(unloaded->path().c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
}
