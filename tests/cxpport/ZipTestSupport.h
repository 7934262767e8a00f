// Zip containers built in memory for the tests: stored or deflated entries,
// with the sizes of the records open to tampering.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace orva::ziptest {

inline std::vector<uint8_t> RawDeflate(const std::string& text) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("deflateInit2");
    }
    std::vector<uint8_t> out(deflateBound(&stream, static_cast<uLong>(text.size())));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END) {
        throw std::runtime_error("deflate");
    }
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

struct ZipEntry {
    std::string name;
    std::string text;
    uint16_t method = 8;
    // The uncompressed size the records state; the real one if negative.
    int64_t statedSize = -1;
};

inline void Put16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}
inline void Put32(std::vector<uint8_t>& out, uint32_t v) {
    Put16(out, v & 0xFFFF);
    Put16(out, v >> 16);
}

inline std::vector<uint8_t> MakeZip(const std::vector<ZipEntry>& entries) {
    std::vector<uint8_t> zip;
    std::vector<uint8_t> directory;
    for (const ZipEntry& entry : entries) {
        const std::vector<uint8_t> data =
            entry.method == 8 ? RawDeflate(entry.text) : std::vector<uint8_t>(entry.text.begin(), entry.text.end());
        const auto stated = static_cast<uint32_t>(entry.statedSize < 0 ? entry.text.size() : entry.statedSize);
        const uint32_t crc =
            crc32(0, reinterpret_cast<const Bytef*>(entry.text.data()), static_cast<uInt>(entry.text.size()));
        // From the flags to the extra field's length, both records agree.
        const auto common = [&](std::vector<uint8_t>& out) {
            Put16(out, 0);
            Put16(out, entry.method);
            Put32(out, 0);
            Put32(out, crc);
            Put32(out, static_cast<uint32_t>(data.size()));
            Put32(out, stated);
            Put16(out, static_cast<uint32_t>(entry.name.size()));
            Put16(out, 0);
        };
        const auto offset = static_cast<uint32_t>(zip.size());
        Put32(zip, 0x04034B50);
        Put16(zip, 20);
        common(zip);
        zip.insert(zip.end(), entry.name.begin(), entry.name.end());
        zip.insert(zip.end(), data.begin(), data.end());

        Put32(directory, 0x02014B50);
        Put16(directory, 20);
        Put16(directory, 20);
        common(directory);
        Put16(directory, 0);
        Put16(directory, 0);
        Put16(directory, 0);
        Put32(directory, 0);
        Put32(directory, offset);
        directory.insert(directory.end(), entry.name.begin(), entry.name.end());
    }
    const auto directoryOffset = static_cast<uint32_t>(zip.size());
    zip.insert(zip.end(), directory.begin(), directory.end());
    Put32(zip, 0x06054B50);
    Put16(zip, 0);
    Put16(zip, 0);
    Put16(zip, static_cast<uint32_t>(entries.size()));
    Put16(zip, static_cast<uint32_t>(entries.size()));
    Put32(zip, static_cast<uint32_t>(directory.size()));
    Put32(zip, directoryOffset);
    Put16(zip, 0);
    return zip;
}

} // namespace orva::ziptest
