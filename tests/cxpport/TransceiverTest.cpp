// Link state of the port against a scripted board, where the simulated board
// can't stand in: the count of clean NIT reads that makes a lock, a camera
// that answers with the wrong magic value, and the tolerance of the NIT poll.
// How each core type takes its rate is the end-to-end lock test's part.

#include "FakeBoardTest.h"
#include "include/tgx_genicam.h"

namespace orva::cxptest {
namespace {

using cxp::CCxpPort;
namespace wire = cxp::wire;

class Transceivers : public FakeBoardTest {};

TEST_F(Transceivers, LockNeedsMoreThanAHundredCleanReadsInARow) {
    auto port = MakePort(0, 3);
    std::vector<uint64_t> nit(100, 0);
    nit.push_back(1);
    FakeCxp_SetNitScript(0, nit.data(), static_cast<uint32_t>(nit.size()));
    EXPECT_EQ(port->WaitLinkLock(), TGX_ERR_LINK_LOCK_TIMEOUT);

    nit.assign(101, 0);
    nit.push_back(1);
    FakeCxp_SetNitScript(0, nit.data(), static_cast<uint32_t>(nit.size()));
    EXPECT_EQ(port->WaitLinkLock(), 0);
    EXPECT_EQ(FakeCxp_NitReads(0), 101u);

    // An error in between starts the count again.
    nit.assign(60, 0);
    nit.push_back(3);
    nit.insert(nit.end(), 60, 0);
    nit.push_back(1);
    FakeCxp_SetNitScript(0, nit.data(), static_cast<uint32_t>(nit.size()));
    EXPECT_EQ(port->WaitLinkLock(), TGX_ERR_LINK_LOCK_TIMEOUT);
}

TEST_F(Transceivers, LockAtSpeedChecksTheMagicValue) {
    auto port = MakePort(0, 10);
    FakeCxp_SetMemory(0, 0x0000, CCxpPort::kMagicValue);
    ASSERT_EQ(port->LockLinksAtSpeed(5000), 0);
    EXPECT_EQ(port->GetLinkSpeed(), 5000u);
    EXPECT_TRUE(port->IsConnected());
    EXPECT_EQ(port->GetMagicValue(), CCxpPort::kMagicValue);
    EXPECT_EQ(port->GetCoreResetValue(), 0u);
    EXPECT_NE(LogSinceStart().find("Port 0: link locked at 5 Gbit/s"), std::string::npos);

    FakeCxp_SetMemory(0, 0x0000, 0x12345678);
    EXPECT_EQ(port->LockLinksAtSpeed(3125), TGX_ERR_INVALID_LINK_SPEED);
    EXPECT_EQ(port->GetLinkSpeed(), 5000u) << "a failed lock leaves the speed";
    EXPECT_EQ(port->GetMagicValue(), 0x12345678u);
    EXPECT_NE(LogSinceStart().find("Link 0 up but received wrong magic value 0x12345678"), std::string::npos);

    Answer(0, {});
    EXPECT_EQ(port->LockLinksAtSpeed(3125), TGX_ERR_INVALID_LINK_SPEED);
    EXPECT_NE(LogSinceStart().find("Link 0 up but register communication failed"), std::string::npos);
}

// Successive readings of the 24-bit NIT counter and, one sign for each,
// whether the poll still calls the link locked ('+') or lost ('-'); the
// default tolerance is 5 errors per interval.
struct NitRun {
    const char* what;
    const char* errorsPerInterval;
    const char* intervals;
    std::vector<uint64_t> counts;
    std::string locked;
};

TEST_F(Transceivers, NitPollToleratesSomeErrorsAndAWrappingCounter) {
    const NitRun runs[] = {
        {"a wrap counts what is new", "5", "3", {4, 0xFFFFFE, 2, 6}, "++++"},
        {"lost after more critical intervals than tolerated; one good poll clears",
         "5",
         "3",
         {5, 10, 15, 20, 25, 29, 129, 229, 329, 429},
         "+++--++++-"},
        {"a tolerance of zero accepts every count", "0", "0", {0, 1000, 0xFFFFFF, 3}, "++++"},
    };
    for (const NitRun& run : runs) {
        SCOPED_TRACE(run.what);
        SetTweak("ORVA_CXP_TOLERATED_NIT_ERRS_PER_INTERVAL", run.errorsPerInterval);
        SetTweak("ORVA_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", run.intervals);
        auto port = MakePort(0, 10);
        ASSERT_EQ(run.counts.size(), run.locked.size());
        for (size_t i = 0; i < run.counts.size(); ++i) {
            FakeCxp_SetNitScript(0, &run.counts[i], 1);
            EXPECT_EQ(port->IsTransceiverLocked(), run.locked[i] == '+') << "count " << std::hex << run.counts[i];
        }
    }
}

} // namespace
} // namespace orva::cxptest
