// Transceivers and link state of the port against a scripted board: the five
// ways of programming a rate, core reset and LED, the lock procedure, and
// the NIT poll.

#include <algorithm>
#include <array>

#include "FakeBoardTest.h"
#include "include/tgx_genicam.h"

namespace orva::cxptest {
namespace {

using cxp::CCxpPort;
namespace wire = cxp::wire;

constexpr int32_t kSpeedNotSupported = -2075;
constexpr int32_t kUnknownCoreType = -2031;

class Transceivers : public FakeBoardTest {};

TEST_F(Transceivers, ConstructionHoldsTheCoreAndLeavesTheLedAtNoLink) {
    auto port = MakePort(1, 10);
    EXPECT_EQ(Writes("CxpControlCoreReset_1"), (std::vector<uint64_t>{6}));
    EXPECT_EQ(Writes("CxpLedModeSelectWrite_1"), (std::vector<uint64_t>{1, 2}));
    EXPECT_EQ(port->GetCoreResetValue(), 6u);
    EXPECT_EQ(port->GetLinkSpeed(), CCxpPort::kUnknown);
    EXPECT_FALSE(port->IsConnected());
    EXPECT_EQ(port->GetLinkIndex(), 2u);
    EXPECT_EQ(port->GetAppletPort(), 1u);
    EXPECT_EQ(port->GetStreamPacketSize(), 2048u);
    port.reset();
    EXPECT_EQ(Writes("CxpLedModeSelectWrite_1"), (std::vector<uint64_t>{1, 2, 2}));

    auto queue = MakePort(2, 16);
    EXPECT_EQ(ControlCalls("DataPathState", 2), (std::vector<uint32_t>{3}));
    EXPECT_EQ(ControlCalls("Led", 2), (std::vector<uint32_t>{1, 2}));
}

TEST_F(Transceivers, OlderCoresNameTheirResetDifferently) {
    FakeCxp_RemoveRegister("CxpControlCoreReset_0");
    auto port = MakePort(0, 1);
    EXPECT_EQ(Writes("CxpReset_0"), (std::vector<uint64_t>{6}));
}

TEST_F(Transceivers, DirectConfigurationWordsOfEachSpeed) {
    auto port = MakePort(2, 1);
    ASSERT_EQ(port->SetDownlinkSpeed(3125), 0);
    EXPECT_EQ(Writes("CxpTransceiverGtxDrpAddress_2"), (std::vector<uint64_t>{0x1B, 0x1C, 0x1F, 0x20}));
    EXPECT_EQ(Writes("CxpTransceiverGtxDrpWriteData_2"), (std::vector<uint64_t>{0x78C6, 0x20, 0x78C6, 0x20}));
    EXPECT_EQ(Writes("CxpTransceiverGtxRxReset"), (std::vector<uint64_t>{4, 0})) << "the receiver of port 2 reset";

    auto ready = MakePort(1, 2);
    ASSERT_EQ(ready->SetDownlinkSpeed(1250), 0);
    EXPECT_EQ(Writes("CxpTransceiverGtxDrpAddress_1"), (std::vector<uint64_t>{0xA9, 0x5E, 0x88}));
    EXPECT_EQ(Writes("CxpTransceiverGtxDrpWriteData_1"), (std::vector<uint64_t>{0x1010, 0x1082, 0x22}));
}

TEST_F(Transceivers, RateCodesOfTheBitRateRegisters) {
    auto rate = MakePort(0, 3);
    ASSERT_EQ(rate->SetDownlinkSpeed(6250), 0);
    EXPECT_EQ(Writes("CxpTransceiverGtxSetBitRate_0"), (std::vector<uint64_t>{4}));

    auto rxStatus = MakePort(1, 6);
    ASSERT_EQ(rxStatus->SetDownlinkSpeed(1250), 0);
    EXPECT_EQ(Writes("CxpTransceiverGtxSetBitRate_1"), (std::vector<uint64_t>{0}));
    EXPECT_EQ(Writes("CxpTransceiverGtxRxReset"), (std::vector<uint64_t>{2, 0}));

    auto dual = MakePort(2, 10);
    ASSERT_EQ(dual->SetDownlinkSpeed(12500), 0);
    ASSERT_EQ(dual->SetDownlinkSpeed(2500), 0);
    EXPECT_EQ(Writes("CxpTransceiverDownLinkBitRate_2"), (std::vector<uint64_t>{6, 1}));

    auto queue = MakePort(3, 16);
    ASSERT_EQ(queue->SetDownlinkSpeed(10000), 0);
    EXPECT_EQ(ControlCalls("DataPathSpeed", 3), (std::vector<uint32_t>{10000}));
}

TEST_F(Transceivers, SpeedsACoreLacksAreRefusedWithoutTouchingIt) {
    auto rate = MakePort(0, 3);
    auto direct = MakePort(1, 1);
    auto other = MakePort(2, 7);
    const uint32_t before = FakeCxp_TotalRegisterWrites();
    EXPECT_EQ(rate->SetDownlinkSpeed(12500), kSpeedNotSupported);
    EXPECT_EQ(rate->SetDownlinkSpeed(4000), kSpeedNotSupported);
    EXPECT_EQ(direct->SetDownlinkSpeed(10000), kSpeedNotSupported);
    EXPECT_EQ(other->SetDownlinkSpeed(3125), kUnknownCoreType);
    EXPECT_EQ(FakeCxp_TotalRegisterWrites(), before);
    EXPECT_NE(LogSinceStart().find("Failed to set bitrate of downlink transceivers,port-mask=0"), std::string::npos);
}

TEST_F(Transceivers, FlagThatNeverComesEndsTheWaitWithAStatus) {
    FakeCxp_SetFlagStuck("CxpTransceiverGtxSetBitRateDone");
    auto port = MakePort(0, 3);
    EXPECT_EQ(port->SetDownlinkSpeed(3125), TGX_ERR_LINK_TIMEOUT);
    EXPECT_TRUE(Writes("CxpTransceiverGtxSetBitRate_0").empty());
}

TEST_F(Transceivers, UplinkReportsAChangeOfItsClassOnly) {
    auto port = MakePort(0, 10);
    bool changed = false;
    ASSERT_EQ(port->SetUplinkSpeed(3125, changed), 0);
    EXPECT_TRUE(changed) << "the first call after construction";
    ASSERT_EQ(port->SetUplinkSpeed(5000, changed), 0);
    EXPECT_FALSE(changed);
    ASSERT_EQ(port->SetUplinkSpeed(12500, changed), 0);
    EXPECT_TRUE(changed);
    ASSERT_EQ(port->SetUplinkSpeed(10000, changed), 0);
    EXPECT_FALSE(changed);
    ASSERT_EQ(port->SetUplinkSpeed(3125, changed), 0);
    EXPECT_TRUE(changed);
    EXPECT_EQ(Writes("CxpTransceiverUpLinkBitRate_0"), (std::vector<uint64_t>{0, 0, 1, 1, 0}));
    // Each time the core is held first.
    EXPECT_EQ(Writes("CxpControlCoreReset_0").size(), 1u + 5u);
    EXPECT_EQ(port->GetCoreResetValue(), 6u);

    auto unknown = MakePort(1, 7);
    EXPECT_EQ(unknown->SetUplinkSpeed(3125, changed), TGX_ERR_INTERNAL);
    EXPECT_FALSE(changed);
}

TEST_F(Transceivers, CoreResetOfAPortRoutedElsewhereSparesTheAcknowledgeReceiver) {
    auto port = MakePort(0, 10);
    ASSERT_EQ(port->SetCoreReset(2), 0);
    port->SetAppletPort(1);
    port->BindPortRegisters(1);
    ASSERT_EQ(port->SetCoreReset(6), 0);
    ASSERT_EQ(port->SetCoreReset(7), 0);
    EXPECT_EQ(Writes("CxpControlCoreReset_0"), (std::vector<uint64_t>{6, 2, 4, 5}));
    EXPECT_EQ(port->GetCoreResetValue(), 7u);
}

TEST_F(Transceivers, QueuePathStatesOfCoreResetAndLed) {
    auto port = MakePort(0, 16);
    for (uint32_t value : {0u, 2u, 7u, 6u, 1u}) {
        ASSERT_EQ(port->SetCoreReset(value), 0);
    }
    EXPECT_EQ(ControlCalls("DataPathState", 0), (std::vector<uint32_t>{3, 5, 4, 2, 3, 3}));
    for (uint32_t mode : {1u, 2u, 3u, 5u, 6u, 8u, 4u}) {
        ASSERT_EQ(port->SetLedMode(mode), 0);
    }
    EXPECT_EQ(ControlCalls("Led", 0), (std::vector<uint32_t>{1, 2, 1, 2, 3, 6, 6, 4, 7}));

    FakeCxp_SetControlStatus("DataPathState", -3);
    EXPECT_EQ(port->SetCoreReset(0), -3);
    EXPECT_NE(LogSinceStart().find("CXP Control Core Reset failed"), std::string::npos);
}

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

TEST_F(Transceivers, LockTestOfAPortWithoutSignalSleepsOutItsWindow) {
    // A receiver without a camera counts errors from its release on: the
    // first read that isn't 0 decides the window, which is then slept out
    // instead of read back to back.
    auto port = MakePort(0, 3);
    const uint64_t errors = 7;
    FakeCxp_SetNitScript(0, &errors, 1);
    EXPECT_EQ(port->WaitLinkLock(), TGX_ERR_LINK_LOCK_TIMEOUT);
    EXPECT_EQ(FakeCxp_NitReads(0), 1u);
}

TEST_F(Transceivers, LockChecksTheLinkStatusOfCoresThatHaveOne) {
    struct Case {
        uint32_t gtxIf;
        const char* linkFlag; // nullptr: the NIT counter alone decides
    };
    for (const Case& c : {Case{10, "CxpTransceiverStatus_1"}, Case{16, "CxpTransceiverStatus_1"},
                          Case{6, "CxpTransceiverRxStatus"}, Case{3, nullptr}}) {
        SCOPED_TRACE(c.gtxIf);
        FakeCxp_Reset();
        auto port = MakePort(1, c.gtxIf);
        EXPECT_EQ(port->WaitLinkLock(), 0);
        FakeCxp_SetFlagStuck(c.linkFlag != nullptr ? c.linkFlag : "CxpTransceiverRxStatus");
        EXPECT_EQ(port->WaitLinkLock(), c.linkFlag != nullptr ? TGX_ERR_LINK_LOCK_TIMEOUT : 0)
            << "NIT clean but the link isn't up";
    }
}

TEST_F(Transceivers, LockAtSpeedChecksTheMagicValue) {
    auto port = MakePort(0, 10);
    FakeCxp_SetMemory(0, 0x0000, CCxpPort::kMagicValue);
    ASSERT_EQ(port->LockLinksAtSpeed(5000), 0);
    EXPECT_EQ(port->GetLinkSpeed(), 5000u);
    EXPECT_TRUE(port->IsConnected());
    EXPECT_EQ(port->GetMagicValue(), CCxpPort::kMagicValue);
    EXPECT_EQ(port->GetCoreResetValue(), 0u);
    EXPECT_EQ(Writes("CxpTransceiverDownLinkBitRate_0"), (std::vector<uint64_t>{3}));
    // Held, speed, lock test, running.
    EXPECT_EQ(Writes("CxpControlCoreReset_0"), (std::vector<uint64_t>{6, 6, 2, 0}));
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

TEST_F(Transceivers, LockAtSpeedGivesUpAfterTenTries) {
    auto port = MakePort(0, 3);
    const uint64_t errors = 1;
    FakeCxp_SetNitScript(0, &errors, 1);
    EXPECT_EQ(port->LockLinksAtSpeed(3125), TGX_ERR_LINK_LOCK_TIMEOUT);
    const auto resets = Writes("CxpControlCoreReset_0");
    EXPECT_EQ(std::count(resets.begin(), resets.end(), 2u), 10);
    EXPECT_EQ(resets.back(), 6u) << "held again after the last try";
    EXPECT_EQ(FakeCxp_CommandCount(0), 0u) << "no register check without a lock";
    EXPECT_FALSE(port->IsConnected());
}

TEST_F(Transceivers, SkippedRegisterCheckTrustsTheLock) {
    SetTweak("ORVA_CXP_SKIP_REGISTER_CHECK_AFTER_LINK_LOCK_FOUND", "On");
    auto port = MakePort(0, 10);
    ASSERT_EQ(port->LockLinksAtSpeed(3125), 0);
    EXPECT_EQ(port->GetLinkSpeed(), 3125u);
    EXPECT_EQ(port->GetMagicValue(), CCxpPort::kUnknown);
    EXPECT_EQ(FakeCxp_CommandCount(0), 0u);
}

TEST_F(Transceivers, NitCounterOfEachCoreType) {
    auto rate = MakePort(0, 3);
    auto dual = MakePort(1, 10);
    auto unknown = MakePort(2, 7);
    const uint64_t large = 0x1234ABCDEF;
    FakeCxp_SetNitScript(0, &large, 1);
    FakeCxp_SetNitScript(1, &large, 1);
    EXPECT_EQ(rate->ReadNitCounter(), large);
    EXPECT_EQ(dual->ReadNitCounter(), 0xABCDEFu) << "24 bits of the status register";
    EXPECT_EQ(unknown->ReadNitCounter(), 0xFFFFFFFFu);
}

class NitPoll : public FakeBoardTest {
protected:
    void Poll(std::unique_ptr<CCxpPort>& port, uint64_t count, bool expected) {
        FakeCxp_SetNitScript(0, &count, 1);
        EXPECT_EQ(port->IsTransceiverLocked(), expected) << "count " << std::hex << count;
    }
};

TEST_F(NitPoll, ToleratesSomeErrorsAndAWrappingCounter) {
    auto port = MakePort(0, 10);
    Poll(port, 4, true);
    Poll(port, 0xFFFFFE, true); // far more than 5 new: one critical interval
    Poll(port, 2, true);        // 4 more across the wrap
    Poll(port, 6, true);
    EXPECT_NE(LogSinceStart().find("Reseting Number of critical NIT polling intervals from: 1 to zero, total NIT "
                                   "errors: 2"),
              std::string::npos);
}

TEST_F(NitPoll, LinkIsLostAfterMoreCriticalIntervalsThanTolerated) {
    SetTweak("ORVA_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", "3");
    auto port = MakePort(0, 10);
    uint64_t count = 0;
    for (int i = 0; i < 3; ++i) {
        Poll(port, count += 5, true);
    }
    Poll(port, count += 5, false);
    Poll(port, count += 5, false);
    Poll(port, count += 4, true); // one good poll clears the count
    for (int i = 0; i < 3; ++i) {
        Poll(port, count += 100, true);
    }
    Poll(port, count += 100, false);
    EXPECT_NE(LogSinceStart().find("Number of critical NIT polling intervals: 4, total NIT errors: "),
              std::string::npos);
}

TEST_F(NitPoll, ToleranceOfZeroAcceptsEveryCount) {
    SetTweak("ORVA_CXP_TOLERATED_NIT_ERRS_PER_INTERVAL", "0");
    SetTweak("ORVA_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", "0");
    auto port = MakePort(0, 10);
    for (uint64_t count : {0u, 1000u, 0xFFFFFFu, 3u}) {
        Poll(port, count, true);
    }
}

} // namespace
} // namespace orva::cxptest
