// Cameras of real makers' descriptions, served by the simulated CoaXPress
// camera: the library connects them, reads every feature under Root and sets
// a few, all through the C interface.
#include <gmock/gmock.h>

#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/genapi/NodeMap.h"
#include "tests/camera/CameraTestSupport.h"

namespace {

using orva::cameratest::CameraTest;
using orva::cameratest::TestDataFolder;
namespace genapi = orva::core::genapi;

constexpr int32_t kAckInvalidAddress = -0x40;

struct Served {
    const char* file;
    const char* format; // "plain" or "zip"
    const char* integer;
    int64_t integerValue;
    const char* enumeration;
    const char* entry;
};

std::ostream& operator<<(std::ostream& out, const Served& s) {
    return out << s.file << " (" << s.format << ")";
}

// The structure of the features comes from the description the camera
// gave; their values only from the C functions.
class Walk {
public:
    Walk(TgxCameraHandle* camera, const genapi::NodeMap& map) : camera_(camera), map_(map) {}

    void Visit(const std::string& name) {
        if (!seen_.insert(name).second) {
            return;
        }
        const std::optional<genapi::Node> node = map_.GetNode(name);
        if (!node) {
            return;
        }
        if (const auto category = node->As<genapi::Category>()) {
            for (const genapi::Node& feature : category->GetFeatures()) {
                Visit(feature.GetName());
            }
            return;
        }
        const int32_t status = Read(name, node->GetPrincipalInterfaceType());
        if (status == TGX_OK) {
            ++read;
        } else if (status != TGX_ERR_FEATURE_WRITE_ONLY) {
            failed.push_back(name + ": " + std::to_string(status));
        }
    }

    int read = 0;
    std::vector<std::string> failed;

private:
    int32_t Read(const std::string& name, genapi::InterfaceType type) {
        const char* feature = name.c_str();
        int64_t integer = 0;
        double number = 0;
        uint32_t flag = 0;
        const char* text = nullptr;
        switch (type) {
        case genapi::InterfaceType::Integer:
            return Tgx_getIntegerValue(camera_, feature, &integer);
        case genapi::InterfaceType::Float:
            return Tgx_getFloatValue(camera_, feature, &number);
        case genapi::InterfaceType::Boolean:
            return Tgx_getBooleanValue(camera_, feature, &flag);
        case genapi::InterfaceType::String:
            return Tgx_getStringValue(camera_, feature, &text);
        case genapi::InterfaceType::Enumeration:
            return Tgx_getEnumerationValue(camera_, feature, &integer);
        case genapi::InterfaceType::Command:
            return Tgx_isCommandDone(camera_, feature, &flag);
        default:
            return TGX_OK;
        }
    }

    TgxCameraHandle* camera_;
    const genapi::NodeMap& map_;
    std::set<std::string> seen_;
};

class Descriptions : public CameraTest, public ::testing::WithParamInterface<Served> {};

TEST_P(Descriptions, ConnectReadEveryFeatureAndSetSome) {
    const Served& served = GetParam();
    const std::filesystem::path file = TestDataFolder() / served.file;
    if (!std::filesystem::exists(file)) {
        GTEST_SKIP() << file << " is absent: the test data folder isn't there";
    }
    ASSERT_NO_FATAL_FAILURE(Connect(std::string(R"({"descriptionFile":")") + file.string() +
                                    R"(","descriptionFormat":")" + served.format + R"("})"));

    uint32_t size = 0;
    ASSERT_EQ(Tgx_getGenICamXML(camera, nullptr, &size), TGX_OK);
    std::string xml(size, '\0');
    ASSERT_EQ(Tgx_getGenICamXML(camera, xml.data(), &size), TGX_OK);
    const genapi::NodeMap structure = genapi::NodeMap::FromXml(xml);
    Walk walk(camera, structure);
    walk.Visit("Root");
    EXPECT_GT(walk.read, 50);
    // A feature may be unavailable on a camera whose registers start at 0,
    // or be one of the standard's registers that the camera serves its own
    // way; but none fails because the camera doesn't back a register its
    // description names: that is refused as an unknown address.
    EXPECT_THAT(Log(), ::testing::Not(::testing::HasSubstr("status " + std::to_string(kAckInvalidAddress))))
        << ::testing::PrintToString(walk.failed);

    int64_t value = -1;
    ASSERT_EQ(Tgx_setIntegerValue(camera, served.integer, served.integerValue), TGX_OK) << Log();
    ASSERT_EQ(Tgx_getIntegerValue(camera, served.integer, &value), TGX_OK);
    EXPECT_EQ(value, served.integerValue);
    const char* entry = nullptr;
    ASSERT_EQ(Tgx_setEnumerationValue(camera, served.enumeration, served.entry), TGX_OK) << Log();
    ASSERT_EQ(Tgx_getEnumerationValueAsString(camera, served.enumeration, &entry), TGX_OK);
    EXPECT_STREQ(entry, served.entry);
}

INSTANTIATE_TEST_SUITE_P(
    CoaXPress, Descriptions,
    ::testing::Values(
        Served{"Adimec_Q12A180CXP_1_1_5.xml", "plain", "BlackLevelRaw", 300, "HDR_Mode", "MultiSlope3Slopes"},
        Served{"Mikrotron_CXP_MC206xS11.xml", "plain", "BlackLevel", 100, "AnalogGain", "x4"},
        Served{"Tucsen_CXP_Dhyana6060BSI.xml", "plain", "BlackLevel", 500, "GainMode", "HG_14bit"},
        Served{"Tucsen_CXP_Dhyana6060BSI.xml", "zip", "BlackLevel", 700, "TestPattern", "GreyVerticalRamp"}),
    [](const ::testing::TestParamInfo<Served>& info) {
        std::string name =
            std::string(info.param.file).substr(0, std::strcspn(info.param.file, "_")) + "_" + info.param.format;
        return name;
    });

} // namespace
