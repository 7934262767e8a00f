// The camera layout that the loaded design expects on its own ports: the
// link key of each design port, the master ids that cameras are given, and
// the selectors of designs that choose theirs from a list.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace orva::cxp {

inline constexpr uint32_t kMasterIdCount = 16;

// One physical port of the board as the design expects it: the link key
// (bits 31..16 master id, 15..0 link in the camera) and the design port.
struct DesignPort {
    uint32_t key = 0;
    uint32_t designPort = 0;
};

struct DesignLayout {
    // The master ids cameras are given, in order of use.
    std::array<uint32_t, kMasterIdCount> masterIds{};
    // One entry per port of the board, in port order.
    std::vector<DesignPort> designPorts;
};

// Layout from "DiscoveryAppletMasterID" and "DiscoveryAppletExtensionID"
// (nibble i for port i). A design without them counts as master value 1 and
// extension value 0. Master ids: the master nibbles of the ports in port
// order, each that differs from the entry before it; behind them each entry
// is the one before plus 1.
DesignLayout BuildDesignLayout(uint64_t masterValue, uint64_t extensionValue, uint32_t nrPorts);

// Selector of a design that offers "CxpDiscoveryConfig": the register's value
// picks an entry of the design's list, for 2 or 4 ports. Anything else gives
// kUnknownSelector.
uint64_t SelectorOfDiscoveryConfig(uint32_t nrPorts, uint64_t configValue);

} // namespace orva::cxp
