// The exported surface is exactly what the header marks with TGX_API, so the
// header is checked as text: every marked declaration is one of the library's
// functions, each appears once, none is missing, and all have C linkage.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

const std::vector<std::string> kExportedNames = {
#define TGX_EXPORT(name) #name,
#include "exported_functions.inc"
#undef TGX_EXPORT
};

std::string ReadHeader() {
    // The environment names the tree under test; the configured source tree
    // stands in when the test is run by hand.
    const char* sourceDir = std::getenv("TGX_TEST_SOURCE_DIR");
    if (sourceDir == nullptr) {
        sourceDir = TGX_CONFIGURED_SOURCE_DIR;
    }
    const std::string path = std::string(sourceDir) + "/include/tgx_genicam.h";
    std::ifstream in(path);
    if (!in) {
        ADD_FAILURE() << "cannot open " << path;
        return {};
    }
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Comments and preprocessor lines removed, so that only C declarations remain
// (the definition of TGX_API itself is a preprocessor line).
std::string DeclarationsOnly(const std::string& header) {
    std::string code = std::regex_replace(header, std::regex(R"(/\*[\s\S]*?\*/)"), " ");
    code = std::regex_replace(code, std::regex(R"(//[^\n]*)"), " ");
    code = std::regex_replace(code, std::regex(R"((^|\n)[ \t]*#[^\n]*)"), "\n");
    return code;
}

struct Declaration {
    std::string name;
    std::size_t position;
};

std::vector<Declaration> ExportedDeclarations(const std::string& code) {
    // TGX_API <return type> <name>(...);
    static const std::regex declaration(R"(\bTGX_API\s+[A-Za-z_][\w\s\*]*?\b([A-Za-z_]\w*)\s*\([^;{]*\)\s*;)");
    std::vector<Declaration> found;
    for (auto it = std::sregex_iterator(code.begin(), code.end(), declaration); it != std::sregex_iterator(); ++it) {
        found.push_back({(*it)[1].str(), static_cast<std::size_t>(it->position(0))});
    }
    return found;
}

std::size_t CountMarkers(const std::string& code) {
    static const std::regex marker(R"(\bTGX_API\b)");
    return static_cast<std::size_t>(
        std::distance(std::sregex_iterator(code.begin(), code.end(), marker), std::sregex_iterator()));
}

TEST(PublicHeader, DeclaresExactlyTheSeventySevenExportedFunctions) {
    ASSERT_EQ(kExportedNames.size(), 77u);
    const std::string code = DeclarationsOnly(ReadHeader());
    ASSERT_FALSE(code.empty());

    const std::vector<Declaration> declarations = ExportedDeclarations(code);
    // A marker that the pattern doesn't take as a declaration would escape
    // the name check below.
    EXPECT_EQ(CountMarkers(code), declarations.size()) << "TGX_API used outside a plain function declaration";
    EXPECT_EQ(declarations.size(), 77u);

    std::map<std::string, int> timesDeclared;
    for (const Declaration& d : declarations) {
        ++timesDeclared[d.name];
    }
    const std::set<std::string> expected(kExportedNames.begin(), kExportedNames.end());
    for (const auto& [name, times] : timesDeclared) {
        EXPECT_EQ(times, 1) << name << " is declared more than once";
        EXPECT_TRUE(expected.count(name)) << name << " is exported but not part of the interface";
    }
    for (const std::string& name : kExportedNames) {
        EXPECT_TRUE(timesDeclared.count(name)) << name << " is not declared with TGX_API";
    }
}

TEST(PublicHeader, AllExportedDeclarationsLieInsideTheExternCBlock) {
    const std::string header = ReadHeader();
    ASSERT_FALSE(header.empty());
    const std::size_t open = header.find("extern \"C\" {");
    ASSERT_NE(open, std::string::npos);
    // The block closes in the last __cplusplus section of the header.
    const std::size_t close = header.rfind("#ifdef __cplusplus\n}");
    ASSERT_NE(close, std::string::npos);
    ASSERT_LT(open, close);

    // Positions are taken in the header itself; comments may contain the
    // marker's name, so only the declarations found in code are looked up.
    const std::string code = DeclarationsOnly(header);
    const std::vector<Declaration> declarations = ExportedDeclarations(code);
    ASSERT_FALSE(declarations.empty());
    for (const Declaration& d : declarations) {
        const std::regex own(R"(\bTGX_API\s+[^;(]*\b)" + d.name + R"(\s*\()");
        std::smatch match;
        ASSERT_TRUE(std::regex_search(header, match, own)) << d.name;
        const auto position = static_cast<std::size_t>(match.position(0));
        EXPECT_GT(position, open) << d.name << " is declared before extern \"C\" {";
        EXPECT_LT(position, close) << d.name << " is declared after the extern \"C\" block";
    }
}

} // namespace
