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
    // Commands sent on `port`: rows (register path) or words (queue path).
    static std::vector<std::vector<uint64_t>> Commands(uint32_t port);
    static std::vector<uint64_t> Writes(const char* name);
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

// An acknowledge with data; with `crc` the register path's CRC word behind.
std::vector<uint32_t> DataAck(const std::vector<uint32_t>& wirePayload, bool crc, int tag = -1);
// A wait acknowledge as the register path delivers it.
std::vector<uint32_t> WaitAck(uint32_t delayMs, bool crc, bool sizeWord, int tag = -1);

} // namespace orva::cxptest
