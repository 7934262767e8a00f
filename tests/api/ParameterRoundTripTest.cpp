// A parameter dump of one simulated camera, loaded into a second camera of
// the same description, gives it the same value for every writable feature.
// The first camera is moved away from its defaults first, feature by
// feature, so that the load has something to carry.
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "include/tgx_genicam.h"
#include "tests/api/ApiTestSupport.h"

using orva::test::ApiTest;

namespace {

using ValueLines = std::map<std::string, std::string>;

using orva::test::ReadFile;

// The "name=value" lines of a dump; comments (read-only values among them)
// left out.
ValueLines Values(const std::string& dump) {
    ValueLines values;
    std::istringstream in(dump);
    for (std::string line; std::getline(in, line);) {
        const std::size_t eq = line.find('=');
        if (!line.empty() && line[0] != '#' && eq != std::string::npos) {
            values[line.substr(0, eq)] = line.substr(eq + 1);
        }
    }
    return values;
}

bool IsNumber(const std::string& text) {
    char* end = nullptr;
    std::strtod(text.c_str(), &end);
    return !text.empty() && end == text.c_str() + text.size();
}

// Moves one feature away from `value`, trying the kinds its text allows;
// true if the camera took a new value.
bool Change(TgxCameraHandle* camera, const std::string& name, const std::string& value) {
    const char* feature = name.c_str();
    if (value.size() >= 2 && value.front() == '"') {
        return Tgx_setStringValue(camera, feature, "moved") == TGX_OK;
    }
    if (!IsNumber(value)) {
        return false; // an enumeration entry: the API lists no entries to choose from
    }
    const double number = std::strtod(value.c_str(), nullptr);
    if (value.find_first_of(".eE") == std::string::npos) {
        const auto v = static_cast<int64_t>(number);
        for (const int64_t candidate : {v + 1, v - 1, v + 2, v + 4, v + 8, v + 16, v + 64, v * 2, v / 2}) {
            if (candidate != v && Tgx_setIntegerValue(camera, feature, candidate) == TGX_OK) {
                return true;
            }
        }
        if ((v == 0 || v == 1) && Tgx_setBooleanValue(camera, feature, v == 0 ? 1 : 0) == TGX_OK) {
            return true;
        }
    }
    for (const double candidate : {number * 0.5, number * 1.5 + 1.0, number + 0.25}) {
        if (candidate != number && Tgx_setFloatValue(camera, feature, candidate) == TGX_OK) {
            return true;
        }
    }
    return false;
}

struct RoundTripCase {
    const char* name;
    const char* descriptionFile; // in ../shared/testdata/genicam; empty: the camera's own
};

void PrintTo(const RoundTripCase& c, std::ostream* out) {
    *out << c.name;
}

class ParameterRoundTrip : public ApiTest, public ::testing::WithParamInterface<RoundTripCase> {
protected:
    void SetUp() override {
        SetUpApi("*=5");
        const std::string tag = std::to_string(getpid());
        firstDump = ::testing::TempDir() + "tgx-roundtrip-a-" + tag + ".txt";
        secondDump = ::testing::TempDir() + "tgx-roundtrip-b-" + tag + ".txt";
    }
    void TearDown() override {
        std::remove(firstDump.c_str());
        std::remove(secondDump.c_str());
        ApiTest::TearDown();
    }

    // Two single-link cameras of one description on ports 0 and 2.
    std::string Scenario(const std::string& descriptionFile) const {
        std::string params = R"("modelName": "twin")";
        if (!descriptionFile.empty()) {
            params += R"(, "descriptionFile": ")" + descriptionFile + R"(", "descriptionFormat": "plain")";
        }
        const std::string camera = R"({"model": "cxp-camera", "ports": [PORT], "params": {)" + params + "}}";
        std::string cameras = camera;
        cameras.replace(cameras.find("PORT"), 4, "0");
        std::string second = camera;
        second.replace(second.find("PORT"), 4, "2");
        return R"({"boards": [{"index": 0, "type": "0xA64", "serial": 1, "design": "coaxpress", "ports": 4,
                   "portPower": "on", "cameras": [)" +
               cameras + "," + second + "]}]}";
    }

    std::string firstDump;
    std::string secondDump;
};

TEST_P(ParameterRoundTrip, ASecondCameraTakesEveryWritableValue) {
    std::string descriptionFile;
    if (*GetParam().descriptionFile != '\0') {
        const auto path = std::filesystem::path(TGX_TEST_SOURCE_DIR_PATH) / ".." / "shared" / "testdata" / "genicam" /
                          GetParam().descriptionFile;
        if (!std::filesystem::exists(path)) {
            GTEST_SKIP() << "no test data at " << path;
        }
        descriptionFile = std::filesystem::canonical(path).string();
    }
    ASSERT_EQ(orva_sim_load_text(Scenario(descriptionFile).c_str()), 0) << orva_sim_last_error();
    ASSERT_EQ(Tgx_initBoard(OpenGrabber(0), 0, &board), TGX_OK);
    ASSERT_EQ(Tgx_scanPorts(board, 0xF, 10000, 0), TGX_OK);
    TgxCameraHandle* first = nullptr;
    TgxCameraHandle* second = nullptr;
    ASSERT_EQ(Tgx_getCamera(board, 0, &first), TGX_OK);
    ASSERT_EQ(Tgx_getCamera(board, 2, &second), TGX_OK);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    ASSERT_EQ(Tgx_connectCamera(first), TGX_OK);
    ASSERT_EQ(Tgx_connectCamera(second), TGX_OK);

    ASSERT_EQ(Tgx_SaveCameraParameters(first, firstDump.c_str()), TGX_OK);
    std::size_t changed = 0;
    for (const auto& [name, value] : Values(ReadFile(firstDump))) {
        changed += Change(first, name, value) ? 1 : 0;
    }
    ASSERT_EQ(Tgx_SaveCameraParameters(first, firstDump.c_str()), TGX_OK);
    ASSERT_EQ(Tgx_SaveCameraParameters(second, secondDump.c_str()), TGX_OK);
    const ValueLines moved = Values(ReadFile(firstDump));
    RecordProperty("features_changed", static_cast<int>(changed));
    ASSERT_FALSE(moved.empty());
    ASSERT_NE(moved, Values(ReadFile(secondDump)))
        << "the first camera kept all its defaults (" << changed << " features changed)";

    ASSERT_EQ(Tgx_LoadCameraParameters(second, firstDump.c_str(), 0), TGX_OK);
    ASSERT_EQ(Tgx_SaveCameraParameters(second, secondDump.c_str()), TGX_OK);
    const ValueLines loaded = Values(ReadFile(secondDump));
    for (const auto& [name, value] : moved) {
        const auto it = loaded.find(name);
        ASSERT_NE(it, loaded.end()) << name;
        EXPECT_EQ(it->second, value) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(SimulatedCameras, ParameterRoundTrip,
                         ::testing::Values(RoundTripCase{"OwnDescription", ""},
                                           RoundTripCase{"Adimec", "Adimec_Q12A180CXP_1_1_5.xml"},
                                           RoundTripCase{"Mikrotron", "Mikrotron_CXP_MC206xS11.xml"},
                                           RoundTripCase{"Tucsen", "Tucsen_CXP_Dhyana6060BSI.xml"}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
