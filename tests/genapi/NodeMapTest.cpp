// The node map over the test camera: lookup and interface types, each kind
// of feature, access modes and the checks of `verify`, selectors, formulas,
// categories, and values that the camera changes on its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "MemoryPort.h"
#include "TestCamera.h"
#include "core/genapi/NodeMap.h"

namespace orva::test {
namespace {

using namespace core::genapi;

class NodeMapTest : public ::testing::Test {
protected:
    void SetUp() override { map_.Connect(port_); }

    template <class T> T Get(const std::string& name) {
        std::optional<T> node = map_.Get<T>(name);
        if (!node) {
            throw std::runtime_error("the test camera has no " + std::string(ToString(T::kInterfaceType)) + " " + name);
        }
        return *node;
    }

    std::shared_ptr<MemoryPort> port_ = std::make_shared<MemoryPort>();
    NodeMap map_ = NodeMap::FromXml(TestCameraXml());
};

// -- lookup -------------------------------------------------------------------

TEST_F(NodeMapTest, EveryNodeHasOnePrincipalInterfaceDecidedInAFixedOrder) {
    const std::vector<std::pair<const char*, InterfaceType>> expected = {
        {"Root", InterfaceType::Category},
        {"AcquisitionStart", InterfaceType::Command},
        // To GObject an enumeration is also an integer and a string.
        {"PixelFormat", InterfaceType::Enumeration},
        {"GainSelector", InterfaceType::Enumeration},
        {"ReverseX", InterfaceType::Boolean},
        {"Device", InterfaceType::Port},
        {"Width", InterfaceType::Integer},
        {"WidthReg", InterfaceType::Integer},    // an integer register is an integer first
        {"ReverseXReg", InterfaceType::Integer}, // so is a masked one
        {"SensorArea", InterfaceType::Integer},
        {"Gain", InterfaceType::Float},
        {"GainReg", InterfaceType::Float},
        {"ExposureTimeMs", InterfaceType::Float},
        {"DeviceUserID", InterfaceType::String}, // a string register is a string first
        {"LUTData", InterfaceType::Register},
    };
    for (const auto& [name, type] : expected) {
        std::optional<Node> node = map_.GetNode(name);
        ASSERT_TRUE(node) << name;
        EXPECT_EQ(ToString(node->GetPrincipalInterfaceType()), std::string(ToString(type))) << name;
    }
}

TEST_F(NodeMapTest, LookupGivesNothingForAnUnknownNameOrAnotherInterface) {
    EXPECT_FALSE(map_.GetNode("NoSuchFeature"));
    EXPECT_FALSE(map_.GetNode(""));
    EXPECT_FALSE(map_.Get<Integer>("Gain"));
    EXPECT_FALSE(map_.Get<Integer>("PixelFormat"));
    EXPECT_FALSE(map_.Get<String>("PixelFormat"));
    EXPECT_FALSE(map_.Get<Float>("Width"));
    EXPECT_FALSE(map_.Get<Command>("ReverseX"));
    EXPECT_TRUE(map_.Get<Float>("Gain"));
    EXPECT_TRUE(map_.Get<Enumeration>("PixelFormat"));
    EXPECT_FALSE(map_.GetNode("Width")->As<Float>());
    EXPECT_TRUE(map_.GetNode("Width")->As<Integer>());
}

// -- integers -----------------------------------------------------------------

TEST_F(NodeMapTest, VerifyRefusesAnIntegerBelowAboveOrOffTheIncrementAndWritesNothing) {
    Integer width = Get<Integer>("Width");
    port_->SetU32(reg::kWidth, 64);
    const uint64_t writes = port_->Writes();
    EXPECT_THROW(width.SetValue(0), OutOfRangeError);
    EXPECT_THROW(width.SetValue(4112), OutOfRangeError);
    EXPECT_THROW(width.SetValue(100), OutOfRangeError);
    EXPECT_THROW(width.SetValue(-16), OutOfRangeError);
    EXPECT_EQ(port_->Writes(), writes);
    EXPECT_EQ(port_->U32(reg::kWidth), 64u);
    // The limits themselves and every step between are taken.
    width.SetValue(16);
    width.SetValue(4096);
    width.SetValue(32);
    EXPECT_EQ(port_->U32(reg::kWidth), 32u);
}

TEST_F(NodeMapTest, WithoutVerifyTheValueGoesToTheCameraUnchecked) {
    Integer width = Get<Integer>("Width");
    width.SetValue(100, false);
    EXPECT_EQ(port_->U32(reg::kWidth), 100u);
    // A read with verify sees that the camera holds a value out of range.
    port_->SetU32(reg::kWidth, 8);
    EXPECT_EQ(width.GetValue(), 8);
    EXPECT_THROW(width.GetValue(true), OutOfRangeError);
}

TEST_F(NodeMapTest, TheTextOfARefusalNamesTheNodeAndTheLimit) {
    const std::string text = ThrownText<OutOfRangeError>([&] { Get<Integer>("Width").SetValue(8); });
    EXPECT_NE(text.find("Width"), std::string::npos) << text;
    EXPECT_NE(text.find("minimum 16"), std::string::npos) << text;
}

// -- floats -------------------------------------------------------------------

TEST_F(NodeMapTest, AFloatReadsAndWritesItsRegisterAndVerifiesItsRange) {
    Float gain = Get<Float>("Gain");
    port_->SetFloat32(reg::kGain, 6.5F);
    EXPECT_DOUBLE_EQ(gain.GetValue(), 6.5);
    gain.SetValue(12.25);
    EXPECT_FLOAT_EQ(port_->Float32(reg::kGain), 12.25F);
    EXPECT_DOUBLE_EQ(gain.GetMin(), 0.0);
    EXPECT_DOUBLE_EQ(gain.GetMax(), 24.0);
    EXPECT_FALSE(gain.GetInc());
    EXPECT_THROW(gain.SetValue(-0.5), OutOfRangeError);
    EXPECT_THROW(gain.SetValue(24.5), OutOfRangeError);
    EXPECT_THROW(gain.SetValue(std::nan("")), OutOfRangeError);
    EXPECT_FLOAT_EQ(port_->Float32(reg::kGain), 12.25F);
}

TEST_F(NodeMapTest, AFloatWithAnIncrementTakesOnlyItsSteps) {
    Float exposure = Get<Float>("ExposureTime");
    ASSERT_TRUE(exposure.GetInc());
    EXPECT_DOUBLE_EQ(*exposure.GetInc(), 0.5);
    exposure.SetValue(10.5);
    EXPECT_FLOAT_EQ(port_->Float32(reg::kExposureTime), 10.5F);
    EXPECT_THROW(exposure.SetValue(10.25), OutOfRangeError);
    EXPECT_FLOAT_EQ(port_->Float32(reg::kExposureTime), 10.5F);
}

// -- Booleans and strings -----------------------------------------------------

TEST_F(NodeMapTest, AStringReadsUpToItsTerminatorAndRefusesTooLongATextUnderVerify) {
    String userId = Get<String>("DeviceUserID");
    port_->SetBytes(reg::kDeviceUserId, std::string("left camera\0junk", 16));
    EXPECT_EQ(userId.GetValue(), "left camera");
    EXPECT_EQ(userId.GetMaxLength(), 16);
    userId.SetValue("right");
    EXPECT_EQ(userId.GetValue(), "right");
    EXPECT_EQ(port_->Bytes(reg::kDeviceUserId, 6), std::string("right\0", 6));
    EXPECT_THROW(userId.SetValue(std::string(17, 'x')), OutOfRangeError);
    EXPECT_EQ(userId.GetValue(), "right");
}

// -- enumerations -------------------------------------------------------------

TEST_F(NodeMapTest, AnEnumerationRefusesUnknownAndUnavailableEntries) {
    Enumeration pixelFormat = Get<Enumeration>("PixelFormat");
    pixelFormat.SetSymbolic("Mono8");
    EXPECT_THROW(pixelFormat.SetSymbolic("RGB8"), OutOfRangeError);
    EXPECT_THROW(pixelFormat.SetIntValue(42), OutOfRangeError);
    EXPECT_THROW(pixelFormat.SetSymbolic("Mono12"), OutOfRangeError);
    // Aravis itself refuses an unavailable entry, verify or not.
    EXPECT_THROW(pixelFormat.SetSymbolic("Mono12", false), OutOfRangeError);
    EXPECT_THROW(pixelFormat.SetIntValue(42, false), OutOfRangeError);
    EXPECT_EQ(port_->U32(reg::kPixelFormat), static_cast<uint32_t>(kMono8));
}

TEST_F(NodeMapTest, ACameraValueThatNoEntryHasGivesNoCurrentEntry) {
    Enumeration pixelFormat = Get<Enumeration>("PixelFormat");
    port_->SetU32(reg::kPixelFormat, 7);
    EXPECT_FALSE(pixelFormat.GetCurrentEntry());
    EXPECT_EQ(pixelFormat.GetIntValue(), 7);
    EXPECT_THROW(pixelFormat.GetIntValue(true), OutOfRangeError);
}

// -- commands -----------------------------------------------------------------

TEST_F(NodeMapTest, ACommandWhoseRegisterIsWriteOnlyIsDoneAtOnce) {
    Command stop = Get<Command>("AcquisitionStop");
    EXPECT_EQ(stop.GetAccessMode(), AccessMode::WO);
    stop.Execute();
    EXPECT_EQ(port_->U32(reg::kAcquisitionStop), 1u);
    EXPECT_TRUE(stop.IsDone());
}

// -- selectors, formulas, categories ------------------------------------------

// -- access modes -------------------------------------------------------------

TEST_F(NodeMapTest, AccessModesComeFromImplementationAvailabilityLockAndRegister) {
    port_->SetU32(reg::kBinningAvailable, 1);
    const std::vector<std::pair<const char*, AccessMode>> expected = {
        {"Width", AccessMode::RW},
        {"NotImplementedFeature", AccessMode::NI},
        {"BinningHorizontal", AccessMode::RW},
        {"OffsetX", AccessMode::RW},
        {"PayloadSize", AccessMode::RO}, // imposed on a writable register
        {"SensorWidth", AccessMode::RO},
        {"DeviceTemperature", AccessMode::RO},
        {"TriggerSoftwareValue", AccessMode::WO},
        {"AcquisitionStart", AccessMode::RW},
    };
    for (const auto& [name, mode] : expected) {
        EXPECT_EQ(ToString(map_.GetNode(name)->GetAccessMode()), std::string(ToString(mode))) << name;
    }
}

TEST_F(NodeMapTest, AvailabilityAndLockFollowTheCameraAtEachCall) {
    Integer binning = Get<Integer>("BinningHorizontal");
    Integer offsetX = Get<Integer>("OffsetX");
    port_->SetU32(reg::kBinningAvailable, 0);
    EXPECT_EQ(binning.GetAccessMode(), AccessMode::NA);
    EXPECT_THROW(binning.GetValue(), AccessError);
    EXPECT_THROW(binning.SetValue(2), AccessError);
    port_->SetU32(reg::kBinningAvailable, 1);
    binning.SetValue(2);
    EXPECT_EQ(binning.GetValue(), 2);

    offsetX.SetValue(8);
    port_->SetU32(reg::kParamsLocked, 1);
    EXPECT_EQ(offsetX.GetAccessMode(), AccessMode::RO);
    EXPECT_THROW(offsetX.SetValue(16), AccessError);
    EXPECT_EQ(offsetX.GetValue(), 8);
}

TEST_F(NodeMapTest, AccessIsCheckedOnEveryReadAndWriteEvenWithoutVerify) {
    // The second time round the map knows the modes that can't change.
    for (int pass = 0; pass < 2; ++pass) {
        SCOPED_TRACE(pass);
        EXPECT_THROW(Get<Integer>("TriggerSoftwareValue").GetValue(), AccessError);
        EXPECT_THROW(Get<Integer>("SensorWidth").SetValue(1, false), AccessError);
        EXPECT_THROW(Get<Integer>("PayloadSize").SetValue(1, false), AccessError);
        EXPECT_THROW(Get<Integer>("NotImplementedFeature").GetValue(), AccessError);
        EXPECT_THROW(Get<Float>("DeviceTemperature").SetValue(1.0, false), AccessError);
    }
    EXPECT_EQ(port_->U32(reg::kSensorWidth), 0u);
    EXPECT_EQ(port_->U32(reg::kPayloadSize), 0u);
    Get<Integer>("TriggerSoftwareValue").SetValue(5);
    EXPECT_EQ(port_->U32(reg::kTriggerSoftwareValue), 5u);
    const std::string text = ThrownText<AccessError>([&] { Get<Integer>("SensorWidth").SetValue(1); });
    EXPECT_NE(text.find("SensorWidth"), std::string::npos) << text;
    EXPECT_NE(text.find("RO"), std::string::npos) << text;
}

// -- the camera's own changes and the port ------------------------------------

TEST_F(NodeMapTest, AValueTheCameraChangesOnItsOwnIsReadFresh) {
    Float temperature = Get<Float>("DeviceTemperature");
    port_->SetFloat32(reg::kDeviceTemperature, 41.5F);
    EXPECT_DOUBLE_EQ(temperature.GetValue(), 41.5);
    port_->SetFloat32(reg::kDeviceTemperature, 43.0F);
    EXPECT_DOUBLE_EQ(temperature.GetValue(), 43.0);

    Integer width = Get<Integer>("Width");
    width.SetValue(640);
    port_->SetU32(reg::kWidth, 320); // the camera adjusted it
    EXPECT_EQ(width.GetValue(), 320);
}

TEST(NodeMapConnection, WithoutAPortEveryAccessFailsAndAPortCanBeChanged) {
    NodeMap map = NodeMap::FromXml(TestCameraXml());
    EXPECT_FALSE(map.IsConnected());
    std::optional<Integer> width = map.Get<Integer>("Width");
    ASSERT_TRUE(width);
    const std::string text = ThrownText<GenApiError>([&] { (void)width->GetValue(); });
    EXPECT_NE(text.find("isn't connected"), std::string::npos) << text;
    // Values that need no register work all the same.
    EXPECT_EQ(width->GetMax(), 4096);

    auto first = std::make_shared<MemoryPort>();
    auto second = std::make_shared<MemoryPort>();
    first->SetU32(reg::kWidth, 111);
    second->SetU32(reg::kWidth, 222);
    map.Connect(first);
    EXPECT_TRUE(map.IsConnected());
    EXPECT_EQ(width->GetValue(), 111);
    map.Connect(second);
    EXPECT_EQ(width->GetValue(), 222);
    map.Connect(nullptr);
    EXPECT_FALSE(map.IsConnected());
    EXPECT_THROW((void)width->GetValue(), GenApiError);
}

TEST(NodeMapLifetime, AHandleKeepsItsMapAlive) {
    auto port = std::make_shared<MemoryPort>();
    port->SetU32(reg::kWidth, 48);
    std::optional<Integer> width;
    {
        NodeMap map = NodeMap::FromXml(TestCameraXml());
        map.Connect(port);
        width = map.Get<Integer>("Width");
    }
    ASSERT_TRUE(width);
    EXPECT_EQ(width->GetValue(), 48);
}

// Handles of one map used from several threads: the map's mutex orders them
// (the sanitizer runs of the suite check that nothing races).
TEST_F(NodeMapTest, ThreadsShareOneMap) {
    constexpr int kRounds = 200;
    std::vector<std::thread> threads;
    std::vector<int> mismatches(3, 0);
    threads.emplace_back([&] {
        Integer width = Get<Integer>("Width");
        for (int i = 0; i < kRounds; ++i) {
            const int64_t value = int64_t{16} * (1 + i % 100);
            width.SetValue(value);
            mismatches[0] += width.GetValue() != value ? 1 : 0;
        }
    });
    threads.emplace_back([&] {
        String userId = Get<String>("DeviceUserID");
        for (int i = 0; i < kRounds; ++i) {
            const std::string text = "camera " + std::to_string(i);
            userId.SetValue(text);
            mismatches[1] += userId.GetValue() != text ? 1 : 0;
        }
    });
    threads.emplace_back([&] {
        Enumeration selector = Get<Enumeration>("GainSelector");
        for (int i = 0; i < kRounds; ++i) {
            selector.SetIntValue(i % 3);
            mismatches[2] += selector.GetIntValue() != i % 3 ? 1 : 0;
            (void)map_.GetNode("GainRaw")->GetAccessMode();
        }
    });
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mismatches, (std::vector<int>{0, 0, 0}));
}

} // namespace
} // namespace orva::test
