// The shared library exports GenICamInit, GenICamDeinit and Tgx_ functions
// only, and each one it exports is declared in the public header.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

std::set<std::string> ExportedNames() {
    const std::string command =
        std::string("nm -D --defined-only ") + TGX_TEST_BUILD_DIR_PATH + "/lib/libtgx_genicam.so";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::set<std::string> names;
    if (!pipe) {
        return names;
    }
    char line[512];
    while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
        std::istringstream fields(line);
        std::string address, kind, name;
        fields >> address >> kind >> name;
        if (!name.empty()) {
            names.insert(name);
        }
    }
    return names;
}

TEST(SharedLibrary, ExportsOnlyThePublicFunctions) {
    const auto names = ExportedNames();
    ASSERT_FALSE(names.empty());
    std::ifstream header(std::string(TGX_TEST_SOURCE_DIR_PATH) + "/include/tgx_genicam.h");
    std::stringstream text;
    text << header.rdbuf();
    const std::regex exported("^(GenICamInit|GenICamDeinit|Tgx_[A-Za-z0-9_]+)$");
    for (const auto& name : names) {
        EXPECT_TRUE(std::regex_match(name, exported)) << name;
        EXPECT_NE(text.str().find(" " + name + "("), std::string::npos) << name << " is not declared";
    }
    for (const char* required : {"GenICamInit", "GenICamDeinit", "Tgx_getErrorDescription", "Tgx_initBoard",
                                 "Tgx_initBoardEx", "Tgx_freeBoard", "Tgx_getCameraCount"}) {
        EXPECT_EQ(names.count(required), 1U) << required;
    }
}

} // namespace
