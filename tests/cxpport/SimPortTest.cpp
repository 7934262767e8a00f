// The port end to end against the simulated CoaXPress boards, through the
// board libraries as the library binds them: link lock on each core type,
// identity, description and tags, the camera's answers that the simulated
// camera can give, and concurrent access. The answers only a scripted board
// can give are the scripted board's part.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "impl/cxp/CCxpPort.h"
#include "impl/cxp/CxpPacket.h"
#include "include/tgx_genicam.h"
#include "orva_sim.h"
#include "runtime/board/BoardForwarders.h"
#include "support/SimNamespace.h"

namespace orva::cxptest {
namespace {

using cxp::CCxpPort;
namespace wire = cxp::wire;

using orva::test::SetEnv;

// Set once per process, before the first logger exists.
class SimEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        const std::string config = ::testing::TempDir() + "cxpport-sim-config-" + std::to_string(getpid());
        SetEnv("XDG_CONFIG_HOME", config);
        SetEnv("ORVA_LOG", "orva.genicam.CxpController=2");
    }
};

const auto* const kSimEnvironment = ::testing::AddGlobalTestEnvironment(new SimEnvironment);

// A register-path board with one camera on ports 0 and 1.
constexpr const char* kRegisterBoard = R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-4",
  "ports":4,"cameras":[{"model":"cxp-camera","ports":[0,1]}]}]})";

// A queue-path board with a camera of revision 2.0 on port 0.
constexpr const char* kQueueBoard = R"({"boards":[{"index":0,"type":"0xA64","serial":2,"design":"coaxpress",
  "ports":4,"portPower":"on","cameras":[{"model":"cxp-camera","ports":[0]}]}]})";

class SimPort : public ::testing::Test {
protected:
    void TearDown() override {
        ports_.clear();
        if (grabber_ != nullptr) {
            orva::board::Gb_FreeGrabber(grabber_);
        }
    }

    void Load(const char* json) {
        ASSERT_EQ(orva_sim_load_text(json), ORVA_SIM_OK) << orva_sim_last_error();
        grabber_ = orva::board::Gb_InitEx(0, nullptr, 0);
        ASSERT_NE(grabber_, nullptr);
    }

    CCxpPort& Port(uint32_t number, uint32_t gtxIf) {
        ports_.push_back(std::make_unique<CCxpPort>(number, gtxIf, grabber_->device, grabber_->design));
        return *ports_.back();
    }

    static uint32_t Read32(CCxpPort& port, uint32_t address, int32_t* status = nullptr) {
        std::array<uint8_t, 4> bytes{};
        const int32_t result = port.ReadMem(address, bytes.data(), 4, 200);
        if (status != nullptr) {
            *status = result;
        }
        return wire::LoadBigEndian32(bytes.data());
    }

    Gb_Struct_s* grabber_ = nullptr;

private:
    test::TestNamespace namespace_{"cxpport"};
    std::vector<std::unique_ptr<CCxpPort>> ports_;
};

TEST_F(SimPort, RegisterPathLocksAndReadsTheCamera) {
    Load(kRegisterBoard);
    CCxpPort& port = Port(0, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    EXPECT_EQ(port.GetLinkSpeed(), 3125u);
    EXPECT_EQ(port.GetMagicValue(), CCxpPort::kMagicValue);

    port.SaveCameraInfo();
    const auto* info = port.GetCameraInfo();
    EXPECT_EQ(info->GetRevision(), 0x20000u);
    EXPECT_STREQ(info->GetDeviceName(), "orva-sim");
    EXPECT_STREQ(info->GetModelName(), "cxp-camera");
    EXPECT_STREQ(info->GetSerialNumber(), "CXP-SIM-0001");
    EXPECT_STREQ(info->GetFirmwareVersion(), "") << "not read at 2.0";
    EXPECT_EQ(info->GetControlPacketSizeLimit(), 1024u);
    EXPECT_FALSE(port.GetTagMode()) << "no tags on the register path";
    EXPECT_EQ(Read32(port, 0x4010), 0x800u) << "the design's stream packet size went to the camera";

    std::string xml;
    ASSERT_EQ(port.GetXmlInfo(xml, 0), 0);
    EXPECT_NE(xml.find("<RegisterDescription"), std::string::npos);
    EXPECT_NE(xml.find("</RegisterDescription>"), std::string::npos) << "the whole description";
    ASSERT_EQ(port.ReadManifestInfo(), 0);
    EXPECT_EQ(port.GetXmlManifestSize(), 1u);
    EXPECT_EQ(port.GetXmlManifestInfo().rfind("10000;10100;Local:", 0), 0u) << port.GetXmlManifestInfo();
}

struct CoreType {
    const char* design;
    const char* boardType;
    uint32_t ports;
    uint32_t gtxIf;
};

class SimCoreType : public SimPort, public ::testing::WithParamInterface<CoreType> {};

TEST_P(SimCoreType, LocksOnlyAtTheCamerasSpeed) {
    const CoreType& core = GetParam();
    const std::string scenario =
        std::string(R"({"boards":[{"index":0,"type":")") + core.boardType + R"(","serial":3,"design":")" + core.design +
        R"(","ports":)" + std::to_string(core.ports) +
        R"(,"portPower":"on","cameras":[{"model":"cxp-camera","ports":[0],"params":{"nativeSpeed":5000}}]}]})";
    Load(scenario.c_str());
    CCxpPort& port = Port(0, core.gtxIf);
    EXPECT_EQ(port.LockLinksAtSpeed(3125), TGX_ERR_LINK_LOCK_TIMEOUT);
    ASSERT_EQ(port.LockLinksAtSpeed(5000), 0);
    EXPECT_EQ(port.GetLinkSpeed(), 5000u);
    EXPECT_EQ(port.GetMagicValue(), CCxpPort::kMagicValue);
    EXPECT_EQ(Read32(port, 0x4004), 0u);
}

INSTANTIATE_TEST_SUITE_P(Designs, SimCoreType,
                         ::testing::Values(CoreType{"cxp-drp", "0xA51", 4, 1}, CoreType{"cxp-drp-ready", "0x750", 4, 2},
                                           CoreType{"cxp-rate-1", "0x750", 1, 3},
                                           CoreType{"cxp-rxstatus-1", "0x750", 1, 6},
                                           CoreType{"cxp-dual-1", "0xA64", 1, 10},
                                           CoreType{"cxp-queue-1", "0xA64", 1, 16}),
                         [](const ::testing::TestParamInfo<CoreType>& info) {
                             std::string name = info.param.design;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST_F(SimPort, QueuePathNegotiatesTagsWithATwoPointZeroCamera) {
    Load(kQueueBoard);
    CCxpPort& port = Port(0, 16);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    port.SaveCameraInfo();
    const auto* info = static_cast<const orva::core::CCameraInfo*>(port.GetCameraInfo());
    EXPECT_EQ(info->GetVersionUsed(), 0x20000u);
    EXPECT_TRUE(port.GetTagMode());
    EXPECT_STREQ(info->GetDeviceName(), "orva-sim");
    // Tagged packets from here on.
    for (int i = 0; i < 300; ++i) {
        int32_t status = 0;
        ASSERT_EQ(Read32(port, 0x4004, &status), 0u);
        ASSERT_EQ(status, 0) << "packet " << i;
    }
    std::string xml;
    ASSERT_EQ(port.GetXmlInfo(xml, 0), 0);
    EXPECT_NE(xml.find("</RegisterDescription>"), std::string::npos);
}

// What one access gives when the camera answers in one of its ways; the
// channel is usable again right after.
struct Answer {
    const char* what;
    const char* fault; // armed once on port 0; empty: none
    bool write;
    uint32_t address;
    int32_t status;
};

TEST_F(SimPort, EachAnswerOfTheCameraEndsTheAccessWithItsStatus) {
    const Answer answers[] = {
        {"wait, then the final acknowledge", "wait-next-ack", false, 0x4004, 0},
        {"tentative, then the final acknowledge", "tentative-next-ack", false, 0x4004, 0},
        {"data whose CRC fails", "corrupt-next-ack", false, 0x0000, TGX_ERR_GENCP_CRC},
        {"command corrupted on the cable", "corrupt-next-command", false, 0x0000, TGX_ERR_CXP_CRC},
        {"no acknowledge", "drop-next-ack", false, 0x0000, TGX_ERR_PACKET_TIMEOUT},
        {"status that is no status, sent again", "corrupt-next-ack", true, 0x4008, 0},
        {"unknown address", "", false, 0x3000, TGX_ERR_CXP_INVALID_ADDRESS},
        {"read-only register", "", true, 0x0000, TGX_ERR_CXP_WRITE_READ_ONLY},
    };
    Load(kRegisterBoard);
    CCxpPort& port = Port(0, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    for (const Answer& answer : answers) {
        SCOPED_TRACE(answer.what);
        if (*answer.fault != '\0') {
            ASSERT_EQ(orva_sim_inject_fault(0, 0, answer.fault, 1), ORVA_SIM_OK) << orva_sim_last_error();
        }
        std::array<uint8_t, 4> bytes{0xEE, 0xEE, 0xEE, 0xEE};
        const int32_t status = answer.write ? port.WriteMem(answer.address, bytes.data(), 4, 200)
                                            : port.ReadMem(answer.address, bytes.data(), 4, 200);
        EXPECT_EQ(status, answer.status);
        if (status != 0 && !answer.write) {
            EXPECT_EQ(bytes, (std::array<uint8_t, 4>{0xEE, 0xEE, 0xEE, 0xEE})) << "a failed read leaves the buffer";
        }
        int32_t next = -1;
        EXPECT_EQ(Read32(port, 0x0000, &next), CCxpPort::kMagicValue);
        EXPECT_EQ(next, 0);
    }
}

TEST_F(SimPort, ThreadsShareAPortAndTheBoard) {
    Load(kRegisterBoard);
    CCxpPort& master = Port(0, 10);
    CCxpPort& extension = Port(1, 10);
    ASSERT_EQ(master.LockLinksAtSpeed(3125), 0);
    ASSERT_EQ(extension.LockLinksAtSpeed(3125), 0);
    std::atomic<int> failures{0};
    auto reader = [&failures](CCxpPort* port, uint32_t expected) {
        for (int i = 0; i < 150; ++i) {
            int32_t status = 0;
            if (Read32(*port, 0x4004, &status) != expected || status != 0) {
                ++failures;
            }
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back(reader, &master, 0u);
    threads.emplace_back(reader, &master, 0u);
    threads.emplace_back(reader, &extension, 1u);
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures.load(), 0);
}

} // namespace
} // namespace orva::cxptest
