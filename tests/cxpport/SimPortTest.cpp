// The port end to end against the simulated CoaXPress boards, through the
// board libraries as the library binds them: link lock, identity and
// description, faults of the camera, link loss, and concurrent access.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "impl/cxp/CCxpPort.h"
#include "impl/cxp/CxpPacket.h"
#include "include/tgx_genicam.h"
#include "orva_sim.h"
#include "runtime/board/BoardForwarders.h"

namespace orva::cxptest {
namespace {

using cxp::CCxpPort;
namespace wire = cxp::wire;

// The tests change the environment only from their main thread, while no
// other thread of theirs runs.
void SetEnv(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
}
void UnsetEnv(const char* name) {
    unsetenv(name); // NOLINT(concurrency-mt-unsafe)
}

std::string LogFile() {
    return ::testing::TempDir() + "cxpport-sim-" + std::to_string(getpid()) + ".log";
}

// Set once per process, before the first logger exists.
class SimEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        const std::string config = ::testing::TempDir() + "cxpport-sim-config-" + std::to_string(getpid());
        SetEnv("XDG_CONFIG_HOME", config);
        std::remove(LogFile().c_str());
        SetEnv("ORVA_LOG_FILE", LogFile());
        SetEnv("ORVA_LOG", "orva.genicam.CxpController=2");
        UnsetEnv("ORVA_SIM_SCENARIO");
    }
    void TearDown() override { std::remove(LogFile().c_str()); }
};

const auto* const kSimEnvironment = ::testing::AddGlobalTestEnvironment(new SimEnvironment);

// A register-path board: one camera on ports 0 and 1, a plain-description
// camera of revision 1.1 on port 3.
constexpr const char* kRegisterBoard = R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-4",
  "ports":4,"cameras":[{"model":"cxp-camera","ports":[0,1]},
    {"model":"cxp-camera","ports":[3],"params":{"revision":"1.1","descriptionFormat":"plain"}}]}]})";

// A queue-path board: a 2.0 camera on port 0, a 1.1 camera on port 2.
constexpr const char* kQueueBoard = R"({"boards":[{"index":0,"type":"0xA64","serial":2,"design":"coaxpress",
  "ports":4,"portPower":"on","cameras":[{"model":"cxp-camera","ports":[0]},
    {"model":"cxp-camera","ports":[2],"params":{"revision":"1.1","descriptionFormat":"plain"}}]}]})";

class SimPort : public ::testing::Test {
protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string ns = ("cxpport-" + std::to_string(getpid()) + "-" + info->name()).substr(0, 64);
        std::replace_if(
            ns.begin(), ns.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '-'; },
            '_');
        SetEnv("ORVA_SIM_NAMESPACE", ns);
        std::ifstream log(LogFile());
        std::stringstream text;
        text << log.rdbuf();
        logStart_ = text.str().size();
    }
    void TearDown() override {
        ports_.clear();
        if (grabber_ != nullptr) {
            orva::board::Gb_FreeGrabber(grabber_);
        }
        EXPECT_EQ(orva_sim_destroy(), ORVA_SIM_OK) << orva_sim_last_error();
        for (const auto& name : tweaks_) {
            UnsetEnv(name.c_str());
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

    void SetTweak(const char* variable, const char* value) {
        SetEnv(variable, value);
        tweaks_.emplace_back(variable);
    }

    std::string Log() const {
        std::ifstream log(LogFile());
        std::stringstream text;
        text << log.rdbuf();
        const std::string all = text.str();
        return all.size() > logStart_ ? all.substr(logStart_) : std::string();
    }

    static uint32_t Read32(CCxpPort& port, uint32_t address, int32_t* status = nullptr) {
        std::array<uint8_t, 4> bytes{};
        const int32_t result = port.ReadMem(address, bytes.data(), 4, 200);
        if (status != nullptr) {
            *status = result;
        }
        return wire::LoadBigEndian32(bytes.data());
    }

    static int32_t Write32(CCxpPort& port, uint32_t address, uint32_t value) {
        const auto bytes = wire::StoreBigEndian32(value);
        return port.WriteMem(address, bytes.data(), 4, 200);
    }

    Gb_Struct_s* grabber_ = nullptr;

private:
    std::vector<std::unique_ptr<CCxpPort>> ports_;
    std::vector<std::string> tweaks_;
    size_t logStart_ = 0;
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
    EXPECT_NE(Log().find("Found orva-sim cxp-camera on link 0"), std::string::npos);
}

TEST_F(SimPort, RegisterPathCameraOfRevisionOnePointOneWithAPlainDescription) {
    Load(kRegisterBoard);
    CCxpPort& port = Port(3, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    port.SaveCameraInfo();
    EXPECT_EQ(port.GetCameraInfo()->GetRevision(), 0x10001u);
    EXPECT_STREQ(port.GetCameraInfo()->GetFirmwareVersion(), "1.0.0");
    std::string xml;
    ASSERT_EQ(port.GetXmlInfo(xml, 0), 0);
    EXPECT_EQ(xml.rfind("<?xml", 0), 0u);
    EXPECT_NE(xml.find("</RegisterDescription>"), std::string::npos);
}

TEST_F(SimPort, LinkDoesntLockAtAnotherSpeedThanTheCameras) {
    Load(kRegisterBoard);
    CCxpPort& port = Port(0, 10);
    EXPECT_EQ(port.LockLinksAtSpeed(6250), TGX_ERR_LINK_LOCK_TIMEOUT);
    EXPECT_FALSE(port.IsConnected());
    EXPECT_EQ(port.LockLinksAtSpeed(3125), 0);
    EXPECT_TRUE(port.IsConnected());

    // No camera behind port 2.
    CCxpPort& empty = Port(2, 10);
    EXPECT_EQ(empty.LockLinksAtSpeed(3125), TGX_ERR_LINK_LOCK_TIMEOUT);
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

TEST_F(SimPort, UserIdGoesToTheCameraAndBack) {
    Load(kRegisterBoard);
    CCxpPort& port = Port(0, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    port.SaveCameraInfo();
    EXPECT_STREQ(port.GetCameraInfo()->GetUserId(), "");
    std::array<char, 16> id{};
    std::copy_n("bench-left", 10, id.begin());
    ASSERT_EQ(port.WriteMem(0x20C0, id.data(), 16, 200), 0);
    port.UpdateCameraInfo();
    EXPECT_STREQ(port.GetCameraInfo()->GetUserId(), "bench-left");
}

TEST_F(SimPort, FaultsOfTheCameraOnTheRegisterPath) {
    Load(kRegisterBoard);
    CCxpPort& port = Port(0, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    int32_t status = 0;

    EXPECT_EQ(Write32(port, 0x4008, 0x105), 0);
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "tentative-next-ack", 1), ORVA_SIM_OK);
    EXPECT_EQ(Read32(port, 0x4008, &status), 0x105u);
    EXPECT_EQ(status, 0);

    ASSERT_EQ(orva_sim_inject_fault(0, 0, "corrupt-next-ack", 1), ORVA_SIM_OK);
    Read32(port, 0x0000, &status);
    EXPECT_EQ(status, TGX_ERR_GENCP_CRC) << "corrupted data";
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "corrupt-next-ack", 1), ORVA_SIM_OK);
    EXPECT_EQ(Write32(port, 0x4008, 0x106), 0) << "a corrupted status is sent again";
    EXPECT_EQ(Read32(port, 0x4008), 0x106u);

    ASSERT_EQ(orva_sim_inject_fault(0, 0, "corrupt-next-command", 1), ORVA_SIM_OK);
    Read32(port, 0x0000, &status);
    EXPECT_EQ(status, TGX_ERR_CXP_CRC) << "the camera saw a bad CRC";

    ASSERT_EQ(orva_sim_inject_fault(0, 0, "drop-next-ack", 1), ORVA_SIM_OK);
    Read32(port, 0x0000, &status);
    EXPECT_EQ(status, TGX_ERR_PACKET_TIMEOUT);
    EXPECT_EQ(Read32(port, 0x0000, &status), CCxpPort::kMagicValue) << "the port is usable after a failure";
    EXPECT_EQ(status, 0);

    Read32(port, 0x3000, &status);
    EXPECT_EQ(status, TGX_ERR_CXP_INVALID_ADDRESS);
}

TEST_F(SimPort, SlowCameraAnnouncesItsWaitsAndTheWriteLands) {
    Load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-1","ports":1,
      "cameras":[{"model":"cxp-camera","ports":[0],"params":{"waitAckMs":40,"tentativeAcks":true}}]}]})");
    CCxpPort& port = Port(0, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    // Tentative, then wait acknowledges with their delay, then the final one.
    EXPECT_EQ(Write32(port, 0x10000, 640), 0);
    int32_t status = -1;
    EXPECT_EQ(Read32(port, 0x10000, &status), 640u);
    EXPECT_EQ(status, 0);
}

TEST_F(SimPort, ConnectionResetIsNotAcknowledgedAndTheLinkComesBack) {
    Load(kRegisterBoard);
    CCxpPort& port = Port(0, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    ASSERT_EQ(Write32(port, 0x4008, 0x203), 0);
    ASSERT_EQ(Write32(port, 0x4000, 1), 0);
    // The camera is silent while it resets; the answer comes once it is back.
    int32_t status = -1;
    uint32_t hostId = 0xFFFFFFFF;
    for (int attempt = 0; attempt < 50 && status != 0; ++attempt) {
        hostId = Read32(port, 0x4008, &status);
    }
    ASSERT_EQ(status, 0);
    EXPECT_EQ(hostId, 0u) << "the reset cleared the master host connection id";
}

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

TEST_F(SimPort, QueuePathCameraOfRevisionOnePointOne) {
    Load(kQueueBoard);
    CCxpPort& port = Port(2, 16);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    port.SaveCameraInfo();
    EXPECT_EQ(port.GetCameraInfo()->GetRevision(), 0x10001u);
    EXPECT_FALSE(port.GetTagMode());
    std::string xml;
    ASSERT_EQ(port.GetXmlInfo(xml, 0), 0);
    EXPECT_EQ(xml.rfind("<?xml", 0), 0u);
}

TEST_F(SimPort, BurstOfNitErrorsCountsAsOneCriticalInterval) {
    SetTweak("ORVA_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", "1");
    Load(kRegisterBoard);
    CCxpPort& port = Port(0, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    EXPECT_TRUE(port.IsTransceiverLocked());
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "nit-burst", 1), ORVA_SIM_OK);
    EXPECT_TRUE(port.IsTransceiverLocked()) << "one critical interval is tolerated";
    EXPECT_TRUE(port.IsTransceiverLocked());
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "nit-burst", 2), ORVA_SIM_OK);
    EXPECT_TRUE(port.IsTransceiverLocked());
    EXPECT_FALSE(port.IsTransceiverLocked()) << "the second in a row isn't";
}

TEST_F(SimPort, PulledCableIsNoticedByTheNitPoll) {
    SetTweak("ORVA_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", "2");
    Load(kRegisterBoard);
    CCxpPort& port = Port(0, 10);
    ASSERT_EQ(port.LockLinksAtSpeed(3125), 0);
    ASSERT_EQ(orva_sim_plug(0, 0, 0), ORVA_SIM_OK);
    // An interval is the time between two polls: let each one see more new
    // errors than tolerated before polling.
    auto nextInterval = [&port] {
        const uint64_t from = port.ReadNitCounter();
        for (int reads = 0; reads < 1000000; ++reads) {
            if (((port.ReadNitCounter() - from) & 0xFFFFFF) > 10) {
                return true;
            }
        }
        return false;
    };
    ASSERT_TRUE(nextInterval());
    EXPECT_TRUE(port.IsTransceiverLocked());
    ASSERT_TRUE(nextInterval());
    EXPECT_TRUE(port.IsTransceiverLocked());
    ASSERT_TRUE(nextInterval());
    EXPECT_FALSE(port.IsTransceiverLocked()) << "the third critical interval in a row";
    EXPECT_NE(Log().find("Number of critical NIT polling intervals: 3"), std::string::npos);
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
