// Reads the entries of a zip container held in memory (a camera's packed
// description). Stored and deflated entries are supported. Every offset and
// length of the container is checked against the block, and inflating stops
// at a bound, so a damaged or hostile container is refused, never followed
// past its end.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include "runtime/templates/ManagedDataArray.h"

namespace orva::templates::container {

enum class ZipStatus : uint8_t {
    Ok,
    NoSuchEntry,       // index not below the entry count, or no directory
    UnsupportedMethod, // neither stored nor deflated
    Truncated,         // the entry's records or data run past the block
    DataError,         // the deflate stream is damaged or incomplete
    TooLarge,          // the entry would inflate beyond the bound
};

class ZipDataReader {
public:
    // Largest entry this reader inflates unless told otherwise.
    static constexpr std::size_t kDefaultMaxInflatedBytes = std::size_t{64} << 20;
    // Size of a central directory record without its variable parts.
    static constexpr std::size_t kCentralRecordSize = 46;

    explicit ZipDataReader(std::shared_ptr<ManagedDataArray> array,
                           std::size_t maxInflatedBytes = kDefaultMaxInflatedBytes);

    // Reads the directory if still pending; true with at least one entry.
    bool IsValid();
    // Number of entries of the directory (read if still pending).
    std::size_t EntryCount();

    // Contents of entry `index`, or an empty pointer. On a damaged deflate
    // stream the array is handed back as far as it got, with DataError.
    std::shared_ptr<ManagedDataArray> GetEntryData(uint32_t index);
    std::shared_ptr<ManagedDataArray> GetEntryData(uint32_t index, ZipStatus& status);

private:
    void ReadDirectory();
    std::shared_ptr<ManagedDataArray> Inflate(const uint8_t* input, uint32_t inputBytes, uint32_t expectedBytes,
                                              ZipStatus& status) const;

    std::shared_ptr<ManagedDataArray> array_;
    std::size_t maxInflatedBytes_;
    bool directoryPending_ = true;
    std::map<uint32_t, std::array<uint8_t, kCentralRecordSize>> entries_;
    std::size_t entryCount_ = 0;
};

} // namespace orva::templates::container
