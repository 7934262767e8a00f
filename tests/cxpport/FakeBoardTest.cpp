#include "FakeBoardTest.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "runtime/templates/RuntimeLibrary.h"
#include "support/TestSupport.h"

namespace orva::cxptest {

namespace {

using orva::test::SetEnv;
using orva::test::UnsetEnv;

// The board device and design handles are opaque to the port; the scripted
// board doesn't look at them.
OHalDevice* const kDevice = reinterpret_cast<OHalDevice*>(uintptr_t{0x1000});
DsgDesign* const kDesign = reinterpret_cast<DsgDesign*>(uintptr_t{0x2000});

std::string LogFile() {
    return ::testing::TempDir() + "cxpport-" + std::to_string(getpid()) + ".log";
}

// Set once per process, before the first logger exists.
class LogEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        // Tweaks from the environment only: no user or installation file.
        const std::string config = ::testing::TempDir() + "cxpport-config-" + std::to_string(getpid());
        SetEnv("XDG_CONFIG_HOME", config);
        std::remove(LogFile().c_str());
        SetEnv("ORVA_LOG_FILE", LogFile());
        SetEnv("ORVA_LOG", "orva.genicam.CxpController=1");
        orva::templates::platform::SetRuntimeLibraryDirectory(CXPPORT_FAKE_BOARD_DIR);
    }
    void TearDown() override { std::remove(LogFile().c_str()); }
};

const auto* const kLogEnvironment = ::testing::AddGlobalTestEnvironment(new LogEnvironment);

std::string ReadLog() {
    return orva::test::ReadFile(LogFile());
}

} // namespace

void FakeBoardTest::SetUp() {
    FakeCxp_Reset();
    logStart_ = ReadLog().size();
    // Silence is told quickly; tests that need longer set it themselves.
    SetTweak("ORVA_CXP_COMMAND_ACK_TIMEOUT", "20");
}

void FakeBoardTest::TearDown() {
    for (const auto& name : tweaks_) {
        UnsetEnv(name.c_str());
    }
}

void FakeBoardTest::SetTweak(const char* variable, const std::string& value) {
    SetEnv(variable, value);
    tweaks_.emplace_back(variable);
}

std::unique_ptr<cxp::CCxpPort> FakeBoardTest::MakePort(uint32_t port, uint32_t gtxIf) {
    return std::make_unique<cxp::CCxpPort>(port, gtxIf, kDevice, kDesign);
}

void FakeBoardTest::Answer(uint32_t port, const std::vector<std::vector<uint32_t>>& acks) {
    for (const auto& ack : acks) {
        FakeCxp_AddAck(port, ack.data(), static_cast<uint32_t>(ack.size()));
    }
    FakeCxp_EndAnswer(port);
}

std::vector<std::vector<uint64_t>> Commands(uint32_t port) {
    std::vector<std::vector<uint64_t>> commands;
    for (uint32_t i = 0; i < FakeCxp_CommandCount(port); ++i) {
        std::vector<uint64_t> rows(FakeCxp_Command(port, i, nullptr, 0));
        FakeCxp_Command(port, i, rows.data(), static_cast<uint32_t>(rows.size()));
        commands.push_back(rows);
    }
    return commands;
}

std::vector<uint32_t> FakeBoardTest::ControlCalls(const char* name, uint32_t port) {
    std::vector<uint32_t> calls(FakeCxp_ControlCalls(name, port, nullptr, 0));
    FakeCxp_ControlCalls(name, port, calls.data(), static_cast<uint32_t>(calls.size()));
    return calls;
}

std::vector<uint32_t> FakeBoardTest::QueueReadTimeouts(uint32_t port) {
    std::vector<uint32_t> timeouts(FakeCxp_QueueReadTimeouts(port, nullptr, 0));
    FakeCxp_QueueReadTimeouts(port, timeouts.data(), static_cast<uint32_t>(timeouts.size()));
    return timeouts;
}

std::string FakeBoardTest::LogSinceStart() const {
    const std::string log = ReadLog();
    return log.size() > logStart_ ? log.substr(logStart_) : std::string();
}

Access AccessOf(const std::vector<uint64_t>& command, bool queuePath) {
    // Register path rows: start, type, [tag], size, address...; queue path
    // words: header, [tag], size, address...
    const auto word = [&](size_t i) { return static_cast<uint32_t>(command.at(i)); };
    const bool tagged =
        queuePath ? (word(0) & cxp::wire::kQueueTagFlag) != 0 : word(1) == cxp::wire::kTaggedCommandType;
    const size_t size = (queuePath ? 1 : 2) + (tagged ? 1 : 0);
    const uint32_t sizeWord = word(size);
    return {(sizeWord & 1) != 0, cxp::wire::FromWire(sizeWord & ~1u), cxp::wire::FromWire(word(size + 1)), tagged,
            tagged ? word(size - 1) : 0};
}

std::vector<Access> Accesses(uint32_t port, bool queuePath) {
    std::vector<Access> accesses;
    for (const auto& command : Commands(port)) {
        accesses.push_back(AccessOf(command, queuePath));
    }
    return accesses;
}

void SetCameraBytes(uint32_t port, uint32_t address, const std::vector<uint8_t>& bytes) {
    for (size_t at = 0; at < bytes.size(); at += 4) {
        std::array<uint8_t, 4> word{};
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), std::min<size_t>(4, bytes.size() - at),
                    word.begin());
        FakeCxp_SetMemory(port, address + static_cast<uint32_t>(at), cxp::wire::LoadBigEndian32(word.data()));
    }
}

void SetCameraText(uint32_t port, uint32_t address, const std::string& text, uint32_t fieldSize) {
    std::vector<uint8_t> bytes(fieldSize, 0);
    std::copy_n(text.begin(), std::min<size_t>(text.size(), fieldSize), bytes.begin());
    SetCameraBytes(port, address, bytes);
}

std::vector<uint32_t> DataAck(const std::vector<uint32_t>& wirePayload, bool crc, int tag) {
    std::vector<uint32_t> ack;
    if (tag >= 0) {
        ack.push_back(cxp::wire::TagWord(static_cast<uint8_t>(tag)));
    }
    ack.push_back(cxp::wire::kAckFinalWithData);
    ack.push_back(cxp::wire::ToWire(static_cast<uint32_t>(wirePayload.size() * 4)));
    ack.insert(ack.end(), wirePayload.begin(), wirePayload.end());
    if (crc) {
        ack.push_back(cxp::wire::PacketCrc(ack));
    }
    return ack;
}

std::vector<uint32_t> WaitAck(uint32_t delayMs, bool crc, int tag) {
    std::vector<uint32_t> ack;
    if (tag >= 0) {
        ack.push_back(cxp::wire::TagWord(static_cast<uint8_t>(tag)));
    }
    ack.push_back(cxp::wire::kAckWait);
    ack.push_back(cxp::wire::ToWire(4));
    ack.push_back(cxp::wire::ToWire(delayMs));
    if (crc) {
        ack.push_back(cxp::wire::PacketCrc(ack));
    }
    return ack;
}

} // namespace orva::cxptest
