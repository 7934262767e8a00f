#pragma once

#include <cstddef>

namespace orva::templates::platform {

// One tunable of the runtime. All columns are texts; a missing one is "".
struct TweakRow {
    // "Section::Name", matched exactly by the getters.
    const char* key;
    // Variable read by the getter; "" for none.
    const char* environmentVariable;
    // Name of the switch on a tool's command line ("name=value"); "" for none.
    const char* legacyName;
    // Converted like any other source when nothing else gave a value.
    const char* defaultValue;
};

// The one table of tunables, shared by all programs of the runtime, so it
// holds more keys than this library reads. The type of a value is decided by
// the getter that reads it.
class TweakTable {
public:
    // The rows in order, ended by a row whose key is null.
    static const TweakRow* Rows();
    // Number of rows without the end marker.
    static std::size_t Count();
};

} // namespace orva::templates::platform
