// Register access through the port: a failure of the port surfaces from
// every kind of feature as an exception with the port's status and text,
// never as a value; and the adapter of a board port passes the time-outs and
// keeps the status of ReadMem and WriteMem.
#include <gtest/gtest.h>

#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "MemoryPort.h"
#include "TestCamera.h"
#include "core/genapi/NodeMap.h"
#include "core/genapi/PortDevice.h"
#include "support/FakeTechnology.h"

namespace orva::test {
namespace {

using namespace core::genapi;

constexpr int32_t kTimeoutStatus = -2010;
constexpr int32_t kInvalidAddress = -2011;

struct Access {
    const char* what;
    std::function<void(const NodeMap&)> run;
};

// One access of each kind that reaches a register.
std::vector<Access> Accesses() {
    return {
        {"integer read", [](const NodeMap& map) { (void)map.Get<Integer>("Width")->GetValue(); }},
        {"integer write", [](const NodeMap& map) { map.Get<Integer>("Width")->SetValue(64); }},
        {"float read", [](const NodeMap& map) { (void)map.Get<Float>("Gain")->GetValue(); }},
        {"float write", [](const NodeMap& map) { map.Get<Float>("Gain")->SetValue(1.0); }},
        {"Boolean read", [](const NodeMap& map) { (void)map.Get<Boolean>("ReverseX")->GetValue(); }},
        {"Boolean write", [](const NodeMap& map) { map.Get<Boolean>("ReverseX")->SetValue(true); }},
        {"string read", [](const NodeMap& map) { (void)map.Get<String>("DeviceUserID")->GetValue(); }},
        {"string write", [](const NodeMap& map) { map.Get<String>("DeviceUserID")->SetValue("x"); }},
        {"enumeration read", [](const NodeMap& map) { (void)map.Get<Enumeration>("PixelFormat")->GetIntValue(); }},
        {"enumeration entry", [](const NodeMap& map) { (void)map.Get<Enumeration>("PixelFormat")->GetCurrentEntry(); }},
        {"enumeration write", [](const NodeMap& map) { map.Get<Enumeration>("PixelFormat")->SetSymbolic("Mono8"); }},
        {"command", [](const NodeMap& map) { map.Get<Command>("AcquisitionStart")->Execute(); }},
        {"command state", [](const NodeMap& map) { (void)map.Get<Command>("AcquisitionStart")->IsDone(); }},
        {"formula", [](const NodeMap& map) { (void)map.Get<Integer>("SensorArea")->GetValue(); }},
        {"selected register", [](const NodeMap& map) { (void)map.Get<Integer>("GainRaw")->GetValue(); }},
        {"availability", [](const NodeMap& map) { (void)map.GetNode("BinningHorizontal")->GetAccessMode(); }},
    };
}

class PortFailureTest : public ::testing::Test {
protected:
    void SetUp() override {
        map_.Connect(port_);
        port_->SetU32(reg::kWidth, 640);
        port_->SetU32(reg::kBinningAvailable, 1);
    }

    std::shared_ptr<MemoryPort> port_ = std::make_shared<MemoryPort>();
    NodeMap map_ = NodeMap::FromXml(TestCameraXml());
};

TEST_F(PortFailureTest, EveryKindOfAccessThrowsThePortsStatusAndText) {
    port_->FailWith(kTimeoutStatus);
    for (const Access& access : Accesses()) {
        try {
            access.run(map_);
            ADD_FAILURE() << access.what << ": no exception";
        } catch (const PortError& e) {
            EXPECT_EQ(e.GetStatus(), kTimeoutStatus) << access.what;
            EXPECT_NE(std::string(e.what()).find("test port:"), std::string::npos) << access.what << ": " << e.what();
        } catch (const std::exception& e) {
            ADD_FAILURE() << access.what << ": not a PortError: " << e.what();
        }
    }
}

TEST_F(PortFailureTest, TheTextNamesTheFeatureAndTheRegisterNodeOnTheWay) {
    port_->FailWith(kTimeoutStatus);
    const std::string text = ThrownText<PortError>([&] { (void)map_.Get<Integer>("Width")->GetValue(); });
    EXPECT_NE(text.find("reading Width"), std::string::npos) << text;
    EXPECT_NE(text.find("WidthReg"), std::string::npos) << text;
    EXPECT_NE(text.find("read of 4 bytes at 256 refused"), std::string::npos) << text;
}

TEST_F(PortFailureTest, AFailureIsNeverKeptBeyondItsCall) {
    Integer width = *map_.Get<Integer>("Width");
    port_->FailWith(kTimeoutStatus);
    EXPECT_THROW((void)width.GetValue(), PortError);
    port_->Heal();
    EXPECT_EQ(width.GetValue(), 640);
    width.SetValue(320);
    EXPECT_EQ(port_->U32(reg::kWidth), 320u);
}

TEST_F(PortFailureTest, APortFailureWithoutAStatusIsAGenApiErrorWithItsText) {
    port_->FailPlain();
    try {
        (void)map_.Get<Integer>("Width")->GetValue();
        FAIL() << "no exception";
    } catch (const PortError& e) {
        FAIL() << "a PortError without a status: " << e.what();
    } catch (const GenApiError& e) {
        EXPECT_NE(std::string(e.what()).find("without a status"), std::string::npos) << e.what();
    }
}

// -- the device under the map ------------------------------------------------

// -- the adapter of a board port ----------------------------------------------

// The core's fake board port with a memory and a status of the test's
// choosing; it records every call with its time-out.
class BoardPort : public FakePort {
public:
    BoardPort() : FakePort(0) {}

    int32_t ReadMem(uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs) override {
        calls.push_back({'R', address, length, timeoutMs});
        if (status != 0) {
            return status;
        }
        if (uint64_t{address} + length > memory.size()) {
            return kInvalidAddress;
        }
        std::memcpy(buffer, memory.data() + address, length);
        return 0;
    }
    int32_t WriteMem(uint32_t address, const void* buffer, uint32_t length, uint32_t timeoutMs) override {
        calls.push_back({'W', address, length, timeoutMs});
        if (status != 0) {
            return status;
        }
        if (uint64_t{address} + length > memory.size()) {
            return kInvalidAddress;
        }
        std::memcpy(memory.data() + address, buffer, length);
        return 0;
    }

    struct Call {
        char kind;
        uint32_t address;
        uint32_t length;
        uint32_t timeoutMs;
        bool operator==(const Call&) const = default;
    };
    std::vector<Call> calls;
    std::vector<uint8_t> memory = std::vector<uint8_t>(0x2000, 0);
    int32_t status = 0;
};

TEST(CorePortAdapter, PassesAddressLengthAndTheTimeOutsOfItsTechnology) {
    BoardPort port;
    port.memory[0x100] = 0xAB;
    CorePortAdapter adapter(port); // CoaXPress by default
    uint8_t byte = 0;
    adapter.Read(0x100, &byte, 1);
    EXPECT_EQ(byte, 0xAB);
    const uint32_t value = 0x01020304;
    adapter.Write(0x200, &value, 4);
    CorePortAdapter(port, kCameraLinkTimeouts).Write(0, &value, 4);
    CorePortAdapter(port, kCameraLinkTimeouts).Read(0, &byte, 1);
    EXPECT_EQ(port.calls, (std::vector<BoardPort::Call>{
                              {'R', 0x100, 1, 200}, {'W', 0x200, 4, 200}, {'W', 0, 4, 2000}, {'R', 0, 1, 0}}));
}

TEST(CorePortAdapter, AFailedAccessThrowsTheStatusWithItsDescription) {
    BoardPort port;
    port.status = kTimeoutStatus;
    CorePortAdapter adapter(port, kCoaXPressTimeouts,
                            [](int32_t status) { return "description of " + std::to_string(status); });
    uint32_t value = 0;
    try {
        adapter.Read(0x40, &value, 4);
        FAIL() << "no exception";
    } catch (const PortError& e) {
        EXPECT_EQ(e.GetStatus(), kTimeoutStatus);
        EXPECT_STREQ(e.what(), "ReadMem of 4 bytes at 0x40 failed with status -2010 (description of -2010)");
    }
    try {
        adapter.Write(0x40, &value, 4);
        FAIL() << "no exception";
    } catch (const PortError& e) {
        EXPECT_EQ(e.GetStatus(), kTimeoutStatus);
        EXPECT_NE(std::string(e.what()).find("WriteMem"), std::string::npos) << e.what();
    }
}

TEST(CorePortAdapter, RefusesWhatDoesNotFitThe32BitsOfThePortWithoutCallingIt) {
    BoardPort port;
    CorePortAdapter adapter(port);
    uint32_t value = 0;
    EXPECT_THROW(adapter.Read(0x100000000ULL, &value, 4), GenApiError);
    EXPECT_THROW(adapter.Write(0xFFFFFFFEULL, &value, 4), GenApiError);
    EXPECT_TRUE(port.calls.empty());
    // The last word of the 32-bit space goes to the port (which has no
    // memory there).
    EXPECT_THROW(adapter.Read(0xFFFFFFFCULL, &value, 4), PortError);
    EXPECT_EQ(port.calls, (std::vector<BoardPort::Call>{{'R', 0xFFFFFFFC, 4, 200}}));
}

} // namespace
} // namespace orva::test
