// Feeds any bytes to the link configuration reader, under each technology
// word. A runtime_error is the reader's answer to a bad document; any other
// exception, a crash, a leak or a hang is a finding.
//
// A document that reads must also survive the writer: what WriteTo gives
// reads back, and a second round gives the same text (the first may still
// add a master id, which the reader derives from the master link).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>

#include "core/plex/CxpLinkConfiguration.h"

namespace {

using orva::core::plex::CxpLinkConfiguration;

void Require(bool holds, const char* what, const std::string& text) {
    if (!holds) {
        std::fprintf(stderr, "link configuration: %s\n--- document written ---\n%s\n", what, text.c_str());
        std::abort();
    }
}

std::string Written(const CxpLinkConfiguration& config) {
    std::ostringstream out;
    config.WriteTo(out);
    return out.str();
}

void CheckRoundTrip(const CxpLinkConfiguration& config) {
    const std::string first = Written(config);
    CxpLinkConfiguration back(config.GetTechnology());
    back.LoadFromString(first); // must not throw: the exception would be the finding
    Require(back.GetLinks() == config.GetLinks(), "links changed in a round trip", first);
    Require(back.GetLinkGroups() == config.GetLinkGroups(), "link groups changed in a round trip", first);
    for (uint32_t g = 0; g < config.GetLinkGroups(); ++g) {
        Require(back.GetSpeed(g) == config.GetSpeed(g), "speed changed in a round trip", first);
        Require(back.GetStreamPacketSize(g) == config.GetStreamPacketSize(g),
                "stream packet size changed in a round trip", first);
    }

    const std::string second = Written(back);
    CxpLinkConfiguration again(config.GetTechnology());
    again.LoadFromString(second);
    Require(Written(again) == second, "second round trip changed the document", second);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const char* technology : {"cxp", "clhs", "cl", "other"}) {
        CxpLinkConfiguration config(technology);
        try {
            config.LoadFromString(text);
        } catch (const std::runtime_error&) {
            continue;
        }
        // Another word writes no root, so its output is no document of its own.
        if (config.GetTechnology() != "other") {
            CheckRoundTrip(config);
        }
    }
    return 0;
}
