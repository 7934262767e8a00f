#include "impl/cxp/CxpDesignLayout.h"

#include "impl/core/DiscoverySelector.h"

namespace orva::cxp {

namespace {

constexpr uint64_t Selector(uint32_t high, uint32_t low) {
    return (static_cast<uint64_t>(high) << 32) | low;
}

constexpr std::array kSelectors2 = {
    Selector(0x76543210, 0x76543210),
    Selector(0x76543201, 0x76543201),
};

constexpr std::array kSelectors4 = {
    Selector(0x76543210, 0x76543210), Selector(0x76542310, 0x76542310), Selector(0x76543120, 0x76543120),
    Selector(0x76542130, 0x76541320), Selector(0x76541320, 0x76542130), Selector(0x76541230, 0x76541230),
    Selector(0x76543201, 0x76543201), Selector(0x76542301, 0x76542301), Selector(0x76543102, 0x76543021),
    Selector(0x76542103, 0x76540321), Selector(0x76541302, 0x76542031), Selector(0x76541203, 0x76540231),
    Selector(0x76543021, 0x76543102), Selector(0x76542031, 0x76541302), Selector(0x76543012, 0x76543012),
    Selector(0x76542013, 0x76540312), Selector(0x76541032, 0x76541032), Selector(0x76541023, 0x76540132),
    Selector(0x76540321, 0x76542103), Selector(0x76540231, 0x76541203), Selector(0x76540312, 0x76542013),
    Selector(0x76540213, 0x76540213), Selector(0x76540132, 0x76541023), Selector(0x76540123, 0x76540123),
};

constexpr uint32_t Nibble(uint64_t value, uint32_t index) {
    return static_cast<uint32_t>((value >> (4 * index)) & 0xF);
}

} // namespace

DesignLayout BuildDesignLayout(uint64_t masterValue, uint64_t extensionValue, uint32_t nrPorts) {
    DesignLayout layout;
    uint32_t made = 0;
    layout.masterIds[made++] = Nibble(masterValue, 0);
    for (uint32_t port = 1; port < nrPorts && made < kMasterIdCount; ++port) {
        const uint32_t nibble = Nibble(masterValue, port);
        if (nibble != layout.masterIds[made - 1]) {
            layout.masterIds[made++] = nibble;
        }
    }
    for (; made < kMasterIdCount; ++made) {
        layout.masterIds[made] = layout.masterIds[made - 1] + 1;
    }

    layout.designPorts.reserve(nrPorts);
    for (uint32_t port = 0; port < nrPorts; ++port) {
        layout.designPorts.push_back(
            DesignPort{(Nibble(masterValue, port) << 16) | Nibble(extensionValue, port), port});
    }
    return layout;
}

uint64_t SelectorOfDiscoveryConfig(uint32_t nrPorts, uint64_t configValue) {
    if (nrPorts == 2 && configValue < kSelectors2.size()) {
        return kSelectors2[configValue];
    }
    if (nrPorts == 4 && configValue < kSelectors4.size()) {
        return kSelectors4[configValue];
    }
    return core::kUnknownSelector;
}

} // namespace orva::cxp
