#include "runtime/templates/ZipDataReader.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace orva::templates::container {

namespace {

constexpr uint32_t kLocalHeaderSignature = 0x04034B50;
constexpr uint32_t kCentralRecordSignature = 0x02014B50;
constexpr uint32_t kEndOfDirectorySignature = 0x06054B50;
constexpr std::size_t kEndOfDirectorySize = 22;
constexpr std::size_t kLocalHeaderSize = 30;
// The end record sits within the last 64 KiB (its comment is at most that).
constexpr std::size_t kEndOfDirectorySearch = 65536;

constexpr uint16_t kMethodStored = 0;
constexpr uint16_t kMethodDeflated = 8;

// Zip fields are little-endian whatever the host.
uint16_t Le16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
uint32_t Le32(const uint8_t* p) {
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

// True if [offset, offset + length) lies within `size` bytes.
bool Within(std::size_t size, std::size_t offset, std::size_t length) {
    return offset <= size && length <= size - offset;
}

} // namespace

ZipDataReader::ZipDataReader(std::shared_ptr<ManagedDataArray> array, std::size_t maxInflatedBytes)
    : array_(std::move(array)), maxInflatedBytes_(maxInflatedBytes) {}

bool ZipDataReader::IsValid() {
    return EntryCount() > 0;
}

std::size_t ZipDataReader::EntryCount() {
    if (directoryPending_) {
        ReadDirectory();
        directoryPending_ = false;
    }
    return entryCount_;
}

void ZipDataReader::ReadDirectory() {
    entries_.clear();
    entryCount_ = 0;
    if (!array_) {
        return;
    }
    const uint8_t* data = array_->data();
    const std::size_t size = array_->size();
    if (size < 4 || Le32(data) != kLocalHeaderSignature || size < kEndOfDirectorySize) {
        return;
    }

    // Backwards from the last place an end record fits.
    std::size_t end = 0;
    bool found = false;
    std::size_t pos = size - kEndOfDirectorySize;
    for (std::size_t tried = 0; tried < kEndOfDirectorySearch; ++tried) {
        if (Le32(data + pos) == kEndOfDirectorySignature) {
            end = pos;
            found = true;
            break;
        }
        if (pos == 0) {
            break;
        }
        --pos;
    }
    if (!found) {
        return;
    }
    const uint16_t total = Le16(data + end + 10);
    std::size_t at = Le32(data + end + 16);

    uint32_t number = 0;
    while (number < total && Within(size, at, kCentralRecordSize) && Le32(data + at) == kCentralRecordSignature) {
        std::array<uint8_t, kCentralRecordSize> record{};
        std::memcpy(record.data(), data + at, kCentralRecordSize);
        entries_[number++] = record;
        at += kCentralRecordSize + std::size_t{Le16(record.data() + 28)} + Le16(record.data() + 30) +
              Le16(record.data() + 32);
    }
    entryCount_ = entries_.size();
}

std::shared_ptr<ManagedDataArray> ZipDataReader::GetEntryData(uint32_t index) {
    ZipStatus status = ZipStatus::Ok;
    return GetEntryData(index, status);
}

std::shared_ptr<ManagedDataArray> ZipDataReader::GetEntryData(uint32_t index, ZipStatus& status) {
    if (index >= EntryCount()) {
        status = ZipStatus::NoSuchEntry;
        return {};
    }
    const auto& record = entries_.at(index);
    const uint32_t compressed = Le32(record.data() + 20);
    const uint32_t uncompressed = Le32(record.data() + 24);
    const std::size_t local = Le32(record.data() + 42);

    const uint8_t* data = array_->data();
    const std::size_t size = array_->size();
    if (!Within(size, local, kLocalHeaderSize) || Le32(data + local) != kLocalHeaderSignature) {
        status = ZipStatus::Truncated;
        return {};
    }
    const uint16_t method = Le16(data + local + 8);
    const std::size_t start = local + kLocalHeaderSize + Le16(data + local + 26) + Le16(data + local + 28);
    if (!Within(size, start, compressed)) {
        status = ZipStatus::Truncated;
        return {};
    }

    if (method == kMethodStored) {
        if (uncompressed > compressed) {
            status = ZipStatus::Truncated;
            return {};
        }
        status = ZipStatus::Ok;
        return std::make_shared<ManagedDataArray>(data + start, uncompressed);
    }
    if (method == kMethodDeflated) {
        return Inflate(data + start, compressed, uncompressed, status);
    }
    status = ZipStatus::UnsupportedMethod;
    return {};
}

std::shared_ptr<ManagedDataArray> ZipDataReader::Inflate(const uint8_t* input, uint32_t inputBytes,
                                                         uint32_t expectedBytes, ZipStatus& status) const {
    // The directory's size is a hint only: a short guess grows by doubling,
    // up to the bound.
    std::size_t capacity = std::max<std::size_t>(expectedBytes, 1);
    if (capacity > maxInflatedBytes_) {
        status = ZipStatus::TooLarge;
        return {};
    }
    for (;;) {
        auto output = std::make_shared<ManagedDataArray>(capacity);
        z_stream stream{};
        if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) {
            status = ZipStatus::DataError;
            return output;
        }
        // zlib takes no const input; it doesn't write to it.
        stream.next_in = const_cast<Bytef*>(input); // NOLINT(cppcoreguidelines-pro-type-const-cast)
        stream.avail_in = inputBytes;
        stream.next_out = output->data();
        stream.avail_out = static_cast<uInt>(capacity);
        const int rc = inflate(&stream, Z_FINISH);
        const std::size_t produced = stream.total_out;
        const bool outputFull = stream.avail_out == 0;
        inflateEnd(&stream);

        if (rc == Z_STREAM_END) {
            output->Truncate(produced);
            status = ZipStatus::Ok;
            return output;
        }
        if (rc == Z_BUF_ERROR && outputFull && inputBytes != 0) {
            if (capacity > maxInflatedBytes_ / 2) {
                status = ZipStatus::TooLarge;
                return {};
            }
            capacity *= 2;
            continue;
        }
        // Damaged data, a dictionary we don't have, or input that ends early.
        status = ZipStatus::DataError;
        return output;
    }
}

} // namespace orva::templates::container
