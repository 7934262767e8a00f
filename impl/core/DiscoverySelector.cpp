#include "impl/core/DiscoverySelector.h"

#include <algorithm>
#include <array>

namespace orva::core {

namespace {

// Top half of each word: positions 4 to 7 map to themselves.
constexpr uint32_t kFixedPositions = 0x76540000;

} // namespace

uint64_t ComputeSelector(std::span<const SelectorPair> pairs) {
    if (pairs.empty()) {
        return kIdentitySelector;
    }
    std::array<SelectorPair, kSelectorPorts> all{};
    std::array<bool, kSelectorPorts> designUsed{};
    std::array<bool, kSelectorPorts> physicalUsed{};
    std::size_t count = 0;
    for (const SelectorPair& pair : pairs) {
        if (pair.designPort >= kSelectorPorts || pair.physicalPort >= kSelectorPorts || designUsed[pair.designPort] ||
            physicalUsed[pair.physicalPort]) {
            continue;
        }
        designUsed[pair.designPort] = true;
        physicalUsed[pair.physicalPort] = true;
        all[count++] = pair;
    }

    // The free ports on both sides, paired off in rising order. Both sides
    // have the same number of free ports, so every position gets a pair.
    uint32_t design = 0;
    uint32_t physical = 0;
    while (count < kSelectorPorts) {
        while (designUsed[design]) {
            ++design;
        }
        while (physicalUsed[physical]) {
            ++physical;
        }
        all[count++] = SelectorPair{design, physical};
        designUsed[design] = true;
        physicalUsed[physical] = true;
    }

    uint32_t low = kFixedPositions;
    uint32_t high = kFixedPositions;
    for (const SelectorPair& pair : all) {
        low |= pair.physicalPort << (4 * pair.designPort);
        high |= pair.designPort << (4 * pair.physicalPort);
    }
    return (static_cast<uint64_t>(high) << 32) | low;
}

} // namespace orva::core
