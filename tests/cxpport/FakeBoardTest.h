// What the tests against the scripted board share: the board libraries of
// the scripted board, tweaks from the environment only, one log file per
// process, and the port under test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fakeboard/FakeCxpBoard.h"
#include "impl/cxp/CCxpPort.h"
#include "impl/cxp/CxpPacket.h"

namespace orva::cxptest {

class FakeBoardTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A port on the scripted board. Tweaks set before this take effect.
    std::unique_ptr<cxp::CCxpPort> MakePort(uint32_t port, uint32_t gtxIf);

    // Scripts one answer of `acks` on `port`.
    static void Answer(uint32_t port, const std::vector<std::vector<uint32_t>>& acks);
    static std::vector<uint32_t> ControlCalls(const char* name, uint32_t port);
    static std::vector<uint32_t> QueueReadTimeouts(uint32_t port);

    // The log lines written since this test began.
    std::string LogSinceStart() const;

    // Sets a tweak's environment variable for this test.
    void SetTweak(const char* variable, const std::string& value);

private:
    size_t logStart_ = 0;
    std::vector<std::string> tweaks_;
};

// Commands sent on `port`: rows (register path) or words (queue path).
std::vector<std::vector<uint64_t>> Commands(uint32_t port);

// What a command asked for, from its register rows or queue words.
struct Access {
    bool write = false;
    uint32_t bytes = 0;
    uint32_t address = 0;
    bool tagged = false;
    uint32_t tagWord = 0;
};
Access AccessOf(const std::vector<uint64_t>& command, bool queuePath);
std::vector<Access> Accesses(uint32_t port, bool queuePath);

// Bytes into the plain camera's memory from `address` on, zero-padded to
// whole words.
void SetCameraBytes(uint32_t port, uint32_t address, const std::vector<uint8_t>& bytes);
void SetCameraText(uint32_t port, uint32_t address, const std::string& text, uint32_t fieldSize);

// An acknowledge with data; with `crc` the register path's CRC word behind.
std::vector<uint32_t> DataAck(const std::vector<uint32_t>& wirePayload, bool crc, int tag = -1);
// A wait acknowledge as the register path delivers it.
std::vector<uint32_t> WaitAck(uint32_t delayMs, bool crc, int tag = -1);

} // namespace orva::cxptest
