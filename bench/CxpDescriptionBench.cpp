// CoaXPress on the simulated board: fetching a camera's GenICam description
// of 1 MiB, zipped, over the register path (gtxIf 10) and over the queue path
// (gtxIf 16). MiB_per_s is Tgx_loadCameraXml's whole fetch (the transfer and
// the unpacking, no node map); transfer_MiB_per_s the transfer alone. The zip
// is made here at run time from a description padded with comments of random
// text, so that it doesn't deflate to nothing.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <chrono>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "bench/CxpBenchSupport.h"

namespace {

using orva::bench::Board;
using orva::bench::ScratchDirectory;

ScratchDirectory* gScratch = nullptr;

constexpr size_t kZipBytes = size_t{1} << 20;
// Where the simulated camera keeps its description (sim/README.md).
constexpr uint64_t kSimDescriptionAddress = 0x100000;

// The board's set-up isn't measured: its waits go to 0.
constexpr const char* kNoWaits = "[CXP]\n"
                                 "WaitAfterLinkResetDone = 0\n"
                                 "WaitAfterCameraConfigDone = 0\n"
                                 "WaitAfterUplinkSpeedReset = 0\n";

void Put16(std::vector<uint8_t>& out, uint32_t value) {
    out.push_back(static_cast<uint8_t>(value));
    out.push_back(static_cast<uint8_t>(value >> 8));
}

void Put32(std::vector<uint8_t>& out, uint32_t value) {
    Put16(out, value & 0xFFFF);
    Put16(out, value >> 16);
}

// Raw deflate of `text`, as a zip entry carries it.
std::vector<uint8_t> Deflate(const std::string& text) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        return {};
    }
    std::vector<uint8_t> out(deflateBound(&stream, static_cast<uLong>(text.size())));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return result == Z_STREAM_END ? out : std::vector<uint8_t>{};
}

// A zip container of one deflated entry.
std::vector<uint8_t> ZipOf(const std::string& name, const std::string& text) {
    const std::vector<uint8_t> data = Deflate(text);
    const auto crc =
        static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
    const auto size = static_cast<uint32_t>(text.size());
    const auto packed = static_cast<uint32_t>(data.size());
    const auto nameBytes = static_cast<uint32_t>(name.size());

    std::vector<uint8_t> zip;
    Put32(zip, 0x04034B50);
    Put16(zip, 20); // version needed
    Put16(zip, 0);  // flags
    Put16(zip, 8);  // deflate
    Put32(zip, 0);  // time and date
    Put32(zip, crc);
    Put32(zip, packed);
    Put32(zip, size);
    Put16(zip, nameBytes);
    Put16(zip, 0);
    zip.insert(zip.end(), name.begin(), name.end());
    zip.insert(zip.end(), data.begin(), data.end());

    const auto directory = static_cast<uint32_t>(zip.size());
    Put32(zip, 0x02014B50);
    Put16(zip, 20); // made by
    Put16(zip, 20); // needed
    Put16(zip, 0);
    Put16(zip, 8);
    Put32(zip, 0);
    Put32(zip, crc);
    Put32(zip, packed);
    Put32(zip, size);
    Put16(zip, nameBytes);
    Put16(zip, 0); // extra
    Put16(zip, 0); // comment
    Put16(zip, 0); // disk
    Put16(zip, 0); // internal attributes
    Put32(zip, 0); // external attributes
    Put32(zip, 0); // offset of the local header
    zip.insert(zip.end(), name.begin(), name.end());
    const auto directoryBytes = static_cast<uint32_t>(zip.size()) - directory;

    Put32(zip, 0x06054B50);
    Put16(zip, 0);
    Put16(zip, 0);
    Put16(zip, 1);
    Put16(zip, 1);
    Put32(zip, directoryBytes);
    Put32(zip, directory);
    Put16(zip, 0);
    return zip;
}

std::string DescriptionWith(const std::string& padding) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<RegisterDescription ModelName=\"bench-description\" VendorName=\"orva-sim\" StandardNameSpace=\"None\""
           " SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" MajorVersion=\"1\""
           " MinorVersion=\"0\" SubMinorVersion=\"0\" ToolTip=\"\" ProductGuid=\"\" VersionGuid=\"\""
           " xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n" +
           padding + "</RegisterDescription>\n";
}

// A description padded with comments of random letters, grown until its zip
// holds at least `zipBytes`.
std::string DescriptionOfZipSize(size_t zipBytes, std::vector<uint8_t>& zip) {
    static constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::mt19937 random(4711);
    std::string padding;
    // Letters of an alphabet of 64 deflate to a little over 6 bits each:
    // start below the size, and add what is missing until it is reached.
    size_t letters = zipBytes * 5 / 4;
    std::string xml;
    for (int round = 0; round < 16; ++round) {
        for (size_t i = 0; i < letters; ++i) {
            if (i % 96 == 0) {
                padding += "  <!-- ";
            }
            padding += kAlphabet[random() % kAlphabet.size()];
            if (i % 96 == 95 || i + 1 == letters) {
                padding += " -->\n";
            }
        }
        xml = DescriptionWith(padding);
        zip = ZipOf("bench-description.xml", xml);
        if (zip.empty() || zip.size() >= zipBytes) {
            break;
        }
        letters = (zipBytes - zip.size()) * 4 / 3 + 1024;
    }
    return xml;
}

// Args: gtxIf of the design, 10 (register path) or 16 (queue path); the
// largest control packet the port may use (CXP::MaxControlPacketSize), 0 for
// its default; the camera's answer time per packet in µs (its default is
// 20). The camera takes packets of up to 1024 bytes. Each packet is a round
// trip, so the camera's answer time bounds the rate whatever the driver does.
void BM_FetchZippedDescription(benchmark::State& state) {
    const bool queuePath = state.range(0) == 16;
    const int64_t packetSize = state.range(1);
    const int64_t latencyUs = state.range(2);
    std::vector<uint8_t> zip;
    const std::string xml = DescriptionOfZipSize(kZipBytes, zip);
    if (zip.empty()) {
        state.SkipWithError("the zip couldn't be made");
        return;
    }
    const std::string zipFile = (gScratch->Path() / "description.zip").string();
    std::ofstream(zipFile, std::ios::binary)
        .write(reinterpret_cast<const char*>(zip.data()), static_cast<std::streamsize>(zip.size()));
    std::string config = kNoWaits;
    if (packetSize != 0) {
        config += "MaxControlPacketSize = " + std::to_string(packetSize) + "\n";
    }
    orva::bench::WriteUserConfig(*gScratch, config);
    const std::string scenario = std::string(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":")") +
                                 (queuePath ? "cxp-queue-1" : "cxp-dual-1") +
                                 R"(","ports":1,"portPower":"on","cameras":[{"model":"cxp-camera","ports":[0],
      "params":{"latencyUs":)" + std::to_string(latencyUs) +
                                 R"(,"descriptionFile":")" + zipFile + R"(","descriptionFormat":"zip"}}]}]})";
    if (orva_sim_load_text(scenario.c_str()) != ORVA_SIM_OK) {
        state.SkipWithError(orva_sim_last_error());
        return;
    }
    Board b;
    TgxCameraHandle* camera = nullptr;
    if (!b.Open() || Tgx_scanPorts(b.board, 0x1, 20000, 0) != TGX_OK ||
        Tgx_getCameraByIndex(b.board, 0, &camera) != TGX_OK) {
        state.SkipWithError("the camera wasn't found");
        return;
    }

    double seconds = 0;
    double transferSeconds = 0;
    std::vector<uint8_t> raw(zip.size());
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const int32_t status = Tgx_loadCameraXml(camera);
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.PauseTiming();
        uint32_t size = 0;
        if (status != TGX_OK || Tgx_getGenICamXML(camera, nullptr, &size) != TGX_OK || size < xml.size()) {
            state.SkipWithError("the description didn't arrive whole");
        }
        // The transfer alone: the zip's bytes read where the camera keeps
        // them, through the same chunked reads, without the unpacking.
        const auto transferStart = std::chrono::steady_clock::now();
        const int32_t read =
            Tgx_memoryReadFromCamera(camera, raw.data(), kSimDescriptionAddress, static_cast<uint32_t>(raw.size()));
        transferSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - transferStart).count();
        if (read != TGX_OK || raw != zip) {
            state.SkipWithError("the zip didn't read back as the camera holds it");
        }
        state.ResumeTiming();
    }
    orva::bench::WriteUserConfig(*gScratch, "");
    const double mib = static_cast<double>(zip.size()) / static_cast<double>(kZipBytes);
    state.counters["zip_bytes"] = static_cast<double>(zip.size());
    state.counters["xml_bytes"] = static_cast<double>(xml.size());
    state.counters["MiB_per_s"] = mib * static_cast<double>(state.iterations()) / seconds;
    state.counters["transfer_MiB_per_s"] = mib * static_cast<double>(state.iterations()) / transferSeconds;
}

} // namespace

BENCHMARK(BM_FetchZippedDescription)
    ->ArgNames({"gtxIf", "maxControlPacket", "cameraUs"})
    ->Args({10, 0, 20})
    ->Args({16, 0, 20})
    ->Args({16, 1024, 20})
    ->Args({16, 0, 5})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

int main(int argc, char** argv) {
    return orva::bench::RunBenchmarks(argc, argv, gScratch);
}
