// The tgx tool run as separate processes on one simulated board: what one
// process saves or sets, the next one finds.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "orva_sim.h"
#include "support/SimNamespace.h"

namespace {

struct Result {
    int exitCode = -1;
    std::string out;
};

class TgxProcess : public ::testing::Test {
protected:
    // The built-in set-up of the simulated boards, in a namespace of the test's own.
    void SetUp() override { orva::test::UnsetEnv("ORVA_LOG"); }

    // Runs `tgx <arguments>`; standard error goes to the test's output.
    static Result Tgx(const std::string& arguments) {
        const std::string command = std::string(TGX_TEST_BUILD_DIR_PATH) + "/bin/tgx " + arguments;
        Result result;
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe == nullptr) {
            return result;
        }
        std::array<char, 4096> buffer{};
        while (const size_t n = fread(buffer.data(), 1, buffer.size(), pipe)) {
            result.out.append(buffer.data(), n);
        }
        const int status = pclose(pipe);
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result;
    }

    orva::test::TestNamespace namespace_{"tools"};
    const std::string dir = namespace_.folder() + "/";
};

TEST_F(TgxProcess, ParametersSavedInOneProcessAreLoadedInAnother) {
    const std::string params = dir + "params.txt";
    const Result before = Tgx("get Width");
    ASSERT_EQ(before.exitCode, 0);
    ASSERT_EQ(Tgx("params save " + params).exitCode, 0);

    ASSERT_EQ(Tgx("set Width 640").exitCode, 0);
    ASSERT_EQ(Tgx("get Width").out, "640\n");

    const Result load = Tgx("params load --stop-on-error " + params);
    EXPECT_EQ(load.exitCode, 0) << load.out;
    EXPECT_EQ(Tgx("get Width").out, before.out);

    const std::string text = orva::test::ReadFile(params);
    EXPECT_EQ(text.rfind("# --- GenICam parameter dump\n\n", 0), 0U);
    EXPECT_NE(text.find("\nWidth=" + before.out), std::string::npos) << text;
}

TEST_F(TgxProcess, ABoardConfigurationOpensAsAProfile) {
    const std::string config = dir + "board.xml";
    ASSERT_EQ(Tgx("config save " + config).exitCode, 0);
    EXPECT_EQ(Tgx("config load " + config).exitCode, 0);

    const Result profile = Tgx("--json profile " + config);
    ASSERT_EQ(profile.exitCode, 0);
    // The default set-up's two cameras, each connected.
    const nlohmann::json cameras = nlohmann::json::parse(profile.out);
    ASSERT_EQ(cameras.size(), 2U) << profile.out;
    for (const auto& camera : cameras) {
        EXPECT_EQ(camera["state"], "connected") << profile.out;
        EXPECT_FALSE(camera["serialNumber"].get<std::string>().empty());
    }
}

// The tree as JSON: each feature with its type, its access and its value.
TEST_F(TgxProcess, FeaturesShowTypeAccessAndValue) {
    const Result result = Tgx("--json features");
    ASSERT_EQ(result.exitCode, 0);
    std::map<std::string, nlohmann::json> byName;
    std::vector<nlohmann::json> pending = {nlohmann::json::parse(result.out)};
    while (!pending.empty()) {
        const nlohmann::json level = pending.back();
        pending.pop_back();
        for (const auto& entry : level) {
            byName[entry["name"].get<std::string>()] = entry;
            if (entry.contains("features")) {
                pending.push_back(entry["features"]);
            }
        }
    }
    ASSERT_EQ(byName.count("Width"), 1U) << result.out;
    EXPECT_EQ(byName["Width"]["type"], "IInteger");
    EXPECT_EQ(byName["Width"]["access"], "RW");
    EXPECT_GT(byName["Width"]["value"].get<int64_t>(), 0);
    EXPECT_EQ(byName["DeviceSerialNumber"]["access"], "RO") << "a read-only register";
    EXPECT_EQ(byName["PayloadSize"]["access"], "RO") << "a formula";
    EXPECT_EQ(byName["PayloadSize"]["value"].get<int64_t>(),
              byName["Width"]["value"].get<int64_t>() * byName["Height"]["value"].get<int64_t>())
        << "Mono8: one byte a pixel";
    EXPECT_EQ(byName["PixelFormat"]["value"], "Mono8");
    EXPECT_FALSE(byName["AcquisitionStart"].contains("value")) << "a command has nothing to read";
}

} // namespace
