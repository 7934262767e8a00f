// The pure logic of the CoaXPress controller: the discovery selector, the
// speeds a board takes, link configuration words, the design's layout, and
// the power status of a port.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "impl/core/BoardTypeFacts.h"
#include "impl/core/DiscoverySelector.h"
#include "impl/cxp/CxpDesignLayout.h"
#include "impl/cxp/CxpLinkSpeeds.h"
#include "impl/cxp/CxpPowerStatus.h"
#include "include/tgx_genicam.h"

namespace {

using orva::core::ComputeSelector;
using orva::core::DesignPortOfPhysical;
using orva::core::FactsOfBoardType;
using orva::core::kCxpGroup1;
using orva::core::kCxpGroup2;
using orva::core::kCxpGroup3;
using orva::core::kCxpGroup4;
using orva::core::kIdentitySelector;
using orva::core::kUnknownSelector;
using orva::core::PhysicalPortOfDesign;
using orva::core::SelectorPair;
using namespace orva::cxp;

// Every design port sees exactly one physical port and the two words agree.
void ExpectConsistent(uint64_t selector) {
    for (uint32_t design = 0; design < 4; ++design) {
        const uint32_t physical = PhysicalPortOfDesign(selector, design);
        ASSERT_LT(physical, 4u);
        EXPECT_EQ(DesignPortOfPhysical(selector, physical), design) << std::hex << selector;
    }
    EXPECT_EQ(selector >> 48, 0x7654u);
    EXPECT_EQ((selector >> 16) & 0xFFFF, 0x7654u);
}

TEST(DiscoverySelector, NoPairsGiveTheIdentity) {
    EXPECT_EQ(ComputeSelector({}), kIdentitySelector);
}

TEST(DiscoverySelector, PairsInAnyOrderGiveTheSameSelector) {
    const std::vector<SelectorPair> a{{3, 0}, {0, 3}, {1, 2}};
    const std::vector<SelectorPair> b{{1, 2}, {3, 0}, {0, 3}};
    EXPECT_EQ(ComputeSelector(a), ComputeSelector(b));
    EXPECT_EQ(ComputeSelector(a), 0x7654012376540123ULL);
}

TEST(DiscoverySelector, PairsThatCantBeRoutedArePassedOver) {
    // A port past the fourth and a second claim on physical 2 are ignored;
    // the selector stays a permutation.
    const std::vector<SelectorPair> pairs{{0, 2}, {1, 2}, {5, 1}, {2, 7}};
    const uint64_t selector = ComputeSelector(pairs);
    EXPECT_EQ(selector, 0x7654302176543102ULL);
    ExpectConsistent(selector);
}

TEST(DiscoverySelector, EveryFullMapRoundTrips) {
    // All 24 permutations of four ports come back as given.
    std::vector<uint32_t> physical{0, 1, 2, 3};
    do {
        std::vector<SelectorPair> pairs;
        for (uint32_t d = 0; d < 4; ++d) {
            pairs.push_back({d, physical[d]});
        }
        const uint64_t selector = ComputeSelector(pairs);
        ExpectConsistent(selector);
        for (uint32_t d = 0; d < 4; ++d) {
            EXPECT_EQ(PhysicalPortOfDesign(selector, d), physical[d]);
        }
    } while (std::next_permutation(physical.begin(), physical.end()));
}

TEST(DiscoveryConfigTables, EntriesAreDistinctMapsAndTheListsEndWhereTheyShould) {
    EXPECT_EQ(SelectorOfDiscoveryConfig(2, 2), kUnknownSelector);
    EXPECT_EQ(SelectorOfDiscoveryConfig(4, 24), kUnknownSelector);
    EXPECT_EQ(SelectorOfDiscoveryConfig(1, 0), kUnknownSelector);
    EXPECT_EQ(SelectorOfDiscoveryConfig(4, 0x100000000ULL), kUnknownSelector);
    // Each entry of the list for four ports is a consistent map, and no two
    // are the same.
    std::vector<uint64_t> seen;
    for (uint64_t entry = 0; entry < 24; ++entry) {
        const uint64_t selector = SelectorOfDiscoveryConfig(4, entry);
        ExpectConsistent(selector);
        EXPECT_EQ(std::count(seen.begin(), seen.end(), selector), 0) << entry;
        seen.push_back(selector);
    }
}

TEST(LinkSpeeds, HighSpeedsOnlyOnGroupThree) {
    for (uint32_t speed : {0u, 1250u, 2500u, 3125u, 5000u, 6250u}) {
        EXPECT_EQ(ValidateLinkSpeed(FactsOfBoardType(0xA53), speed), TGX_OK) << speed;
        EXPECT_EQ(ValidateLinkSpeed(FactsOfBoardType(0xA64), speed), TGX_OK) << speed;
    }
    EXPECT_EQ(ValidateLinkSpeed(FactsOfBoardType(0xA53), 10000), TGX_ERR_INVALID_LINK_SPEED);
    EXPECT_EQ(ValidateLinkSpeed(FactsOfBoardType(0x757), 12500), TGX_ERR_INVALID_LINK_SPEED);
    EXPECT_EQ(ValidateLinkSpeed(FactsOfBoardType(0xA64), 10000), TGX_OK);
    EXPECT_EQ(ValidateLinkSpeed(FactsOfBoardType(0xB68), 12500), TGX_OK);
    EXPECT_EQ(ValidateLinkSpeed(FactsOfBoardType(0xA64), 7000), TGX_ERR_INVALID_LINK_SPEED);
}

TEST(ConnectionConfigWords, LinkConfigPropertyParts) {
    const ConnectionConfig both = DecodeLinkConfigProperty((2u << 24) | 6250);
    EXPECT_EQ(both.links, 2u);
    EXPECT_EQ(both.speed, 6250u);
    // Bits above 27 aren't part of the value.
    const ConnectionConfig speedOnly = DecodeLinkConfigProperty(0xF0000000u | 5000);
    EXPECT_EQ(speedOnly.links, 0u);
    EXPECT_EQ(speedOnly.speed, 5000u);
}

TEST(DesignLayouts, TwoCamerasOfTwoLinks) {
    // Ports 0 and 1 serve camera 0 (links 0 and 1), ports 2 and 3 camera 1.
    const DesignLayout layout = BuildDesignLayout(0x1100, 0x1010, 4);
    ASSERT_EQ(layout.designPorts.size(), 4u);
    EXPECT_EQ(layout.designPorts[0].key, 0x00000u);
    EXPECT_EQ(layout.designPorts[1].key, 0x00001u);
    EXPECT_EQ(layout.designPorts[2].key, 0x10000u);
    EXPECT_EQ(layout.designPorts[3].key, 0x10001u);
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(layout.designPorts[i].designPort, i);
    }
    EXPECT_EQ(layout.masterIds[0], 0u);
    EXPECT_EQ(layout.masterIds[1], 1u);
    EXPECT_EQ(layout.masterIds[2], 2u);
    EXPECT_EQ(layout.masterIds[15], 15u);
}

TEST(DesignLayouts, DesignWithoutDiscoveryRegisters) {
    // Master value 1 and extension 0: one camera of one link, on port 0.
    const DesignLayout layout = BuildDesignLayout(1, 0, 4);
    EXPECT_EQ(layout.designPorts[0].key, 0x10000u);
    EXPECT_EQ(layout.designPorts[1].key, 0u);
    EXPECT_EQ(layout.designPorts[3].key, 0u);
    EXPECT_EQ(layout.masterIds[0], 1u);
}

TEST(DesignLayouts, MasterIdsFollowChangesOfTheNibble) {
    // Nibbles 3, 3, 5, 2: entries 3, 5, 2, then counting up from 2.
    const DesignLayout layout = BuildDesignLayout(0x2533, 0, 4);
    EXPECT_EQ(layout.masterIds[0], 3u);
    EXPECT_EQ(layout.masterIds[1], 5u);
    EXPECT_EQ(layout.masterIds[2], 2u);
    EXPECT_EQ(layout.masterIds[3], 3u);
    EXPECT_EQ(layout.masterIds[15], 15u);
    // Only the board's ports are walked.
    const DesignLayout twoPorts = BuildDesignLayout(0x2533, 0, 2);
    EXPECT_EQ(twoPorts.designPorts.size(), 2u);
    EXPECT_EQ(twoPorts.masterIds[1], 4u);
}

TEST(DesignLayouts, NoPortsStillGiveMasterIds) {
    const DesignLayout layout = BuildDesignLayout(1, 0, 0);
    EXPECT_TRUE(layout.designPorts.empty());
    EXPECT_EQ(layout.masterIds[0], 1u);
    EXPECT_EQ(layout.masterIds[1], 2u);
}

struct PowerCase {
    uint32_t boardType;
    uint64_t raw;
    PowerStatusDecode result;
    uint32_t status;
};

TEST(PowerStatus, DecodedByBoardGroup) {
    const PowerCase cases[] = {
        // Group 1: bit 7 first, then one bit of the low seven.
        {0xA53, 0x01, PowerStatusDecode::Ok, 1},
        {0xA53, 0x10, PowerStatusDecode::Ok, 5},
        {0xA53, 0x40, PowerStatusDecode::Ok, 7},
        {0xA53, 0x83, PowerStatusDecode::Ok, 9},
        {0xA53, 0x03, PowerStatusDecode::InvalidValue, 10},
        {0xA53, 0x00, PowerStatusDecode::InvalidValue, 10},
        // Group 2: bit 8 first, eight states.
        {0x757, 0x80, PowerStatusDecode::Ok, 8},
        {0x757, 0x100, PowerStatusDecode::Ok, 9},
        {0x757, 0x200, PowerStatusDecode::InvalidValue, 10},
        // Group 3: bits 35..30.
        {0xA64, uint64_t{0x01} << 30, PowerStatusDecode::Ok, 1},
        {0xA64, (uint64_t{0x02} << 30) | 0x1234, PowerStatusDecode::Ok, 4},
        {0xA64, uint64_t{0x04} << 30, PowerStatusDecode::Ok, 6},
        {0xB61, uint64_t{0x08} << 30, PowerStatusDecode::Ok, 7},
        {0xA64, uint64_t{0x30} << 30, PowerStatusDecode::Ok, 9},
        {0xA64, uint64_t{0x10} << 30, PowerStatusDecode::InvalidValue, 10},
        // Outside the groups.
        {0xB51, 0x01, PowerStatusDecode::BoardNotSupported, 10},
    };
    for (const PowerCase& c : cases) {
        uint32_t status = 0;
        EXPECT_EQ(DecodePowerStatus(FactsOfBoardType(c.boardType), c.raw, status), c.result)
            << std::hex << c.boardType << " " << c.raw;
        EXPECT_EQ(status, c.status) << std::hex << c.boardType << " " << c.raw;
    }
}

} // namespace
