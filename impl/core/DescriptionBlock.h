// A camera's GenICam description as a port fetches it from the camera's
// memory: the text of a plain block, and the unpacking of a zip container.
// The ports decide themselves whether a block is zipped and what status a
// container that can't be unpacked gives; this is the part they share.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace orva::tools::logging {
class Logger;
}

namespace orva::core {

// Text of a block up to its first zero byte; the block's end ends it too, so
// a text that fills its block is never read past.
std::string TextOfBlock(std::span<const uint8_t> block);

enum class UnzipOutcome : uint8_t {
    Unpacked,     // `xml` holds entry 0
    NoEntries,    // no directory or an empty one
    EntryRefused, // entry 0 is damaged, of an unknown method or too large
};

// Unpacks entry 0 of the zip container `block` into `xml`, which stays as it
// was unless the result is Unpacked. Logs through `logger` (may be null):
// "XML type: Zip - Index 0 - Size: " with the block's size at level 2 once
// the container has entries, and a level 4 line for each refusal.
// Thread-safe; allocates a copy of the block and the unpacked entry.
UnzipOutcome UnzipDescription(std::span<const uint8_t> block, tools::logging::Logger* logger, std::string& xml);

} // namespace orva::core
