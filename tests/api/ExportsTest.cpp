// The shared library exports exactly the functions of the interface, each
// under its plain C name, and each one is declared in the public header.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "support/TestSupport.h"

namespace {

const std::set<std::string> kInterface = {
#define TGX_EXPORT(name) #name,
#include "exported_functions.inc"
#undef TGX_EXPORT
};

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

TEST(SharedLibrary, ExportsExactlyTheDeclaredInterface) {
    ASSERT_EQ(kInterface.size(), 77U);
    const std::string header = orva::test::ReadFile(std::string(TGX_TEST_SOURCE_DIR_PATH) + "/include/tgx_genicam.h");
    ASSERT_FALSE(header.empty());
    const auto names = ExportedNames();
    for (const auto& name : names) {
        EXPECT_EQ(kInterface.count(name), 1U) << name << " is exported but not part of the interface";
    }
    for (const auto& name : kInterface) {
        EXPECT_EQ(names.count(name), 1U) << name << " is not exported under its C name";
        EXPECT_NE(header.find(" " + name + "("), std::string::npos) << name << " is not declared";
    }
}

} // namespace
