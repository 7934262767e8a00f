#include "CxpSelector.h"

#include "CxpLinkSlot.h"

#include <array>

namespace orva::sim::cxp {

namespace {

// Selectors of the CxpDiscoveryConfig designs, high word << 32 | low word.
constexpr std::array<uint64_t, 2> kSelectors2{0x7654321076543210ull, 0x7654320176543201ull};
constexpr std::array<uint64_t, 24> kSelectors4{
    0x7654321076543210ull, 0x7654231076542310ull, 0x7654312076543120ull, 0x7654213076541320ull, 0x7654132076542130ull,
    0x7654123076541230ull, 0x7654320176543201ull, 0x7654230176542301ull, 0x7654310276543021ull, 0x7654210376540321ull,
    0x7654130276542031ull, 0x7654120376540231ull, 0x7654302176543102ull, 0x7654203176541302ull, 0x7654301276543012ull,
    0x7654201376540312ull, 0x7654103276541032ull, 0x7654102376540132ull, 0x7654032176542103ull, 0x7654023176541203ull,
    0x7654031276542013ull, 0x7654021376540213ull, 0x7654013276541023ull, 0x7654012376540123ull,
};
constexpr uint64_t kIdentitySelector = 0x7654321076543210ull;
constexpr uint64_t kNoSelector = ~uint64_t{0};

std::optional<uint32_t> nibble(BoardAccess& board, uint64_t selector, uint32_t at) {
    const auto value = static_cast<uint32_t>((selector >> (4 * at)) & 0xF);
    if (!isBoardPort(board, value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::optional<uint32_t> physicalOf(BoardAccess& board, uint32_t designPort) {
    if (!registerPath(board)) {
        return designPort;
    }
    return designPort < 8 ? nibble(board, board.block().portMap, designPort) : std::nullopt;
}

std::optional<uint32_t> designOf(BoardAccess& board, uint32_t physicalPort) {
    if (!registerPath(board)) {
        return physicalPort;
    }
    return physicalPort < 8 ? nibble(board, board.block().portMap, 8 + physicalPort) : std::nullopt;
}

void selectFromList(BoardAccess& board, uint32_t ports, uint64_t index) {
    uint64_t& selector = board.block().portMap;
    if (ports == 2) {
        selector = index < kSelectors2.size() ? kSelectors2[index] : kNoSelector;
    } else if (ports == 4) {
        selector = index < kSelectors4.size() ? kSelectors4[index] : kNoSelector;
    } else {
        selector = index == 0 ? kIdentitySelector : kNoSelector;
    }
}

} // namespace orva::sim::cxp
