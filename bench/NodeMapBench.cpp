// The cost of the node map facade: one integer read through it, against
// Aravis's node map alone over the same in-memory device (the floor), and
// the time to build the map of the largest camera description in the test
// data, against Aravis's loader alone.
#include <benchmark/benchmark.h>

#include <arv.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "core/genapi/GObjectPtr.h"
#include "core/genapi/NodeMap.h"
#include "core/genapi/PortDevice.h"

namespace {

using namespace orva::core::genapi;

// A camera's registers in memory: the port costs a copy and nothing more.
class MemoryPort : public IRegisterPort {
public:
    void Read(uint64_t address, void* buffer, uint64_t length) override {
        Check(address, length);
        std::memcpy(buffer, memory_.data() + address, length);
    }
    void Write(uint64_t address, const void* buffer, uint64_t length) override {
        Check(address, length);
        std::memcpy(memory_.data() + address, buffer, length);
    }

private:
    void Check(uint64_t address, uint64_t length) const {
        if (address + length > memory_.size()) {
            throw PortError(-1, "outside the memory");
        }
    }
    std::vector<uint8_t> memory_ = std::vector<uint8_t>(0x1000, 0);
};

const std::string kDescription = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="BenchCamera" VendorName="Orva" StandardNameSpace="None"
    SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0"
    MajorVersion="1" MinorVersion="0" SubMinorVersion="0" ToolTip="bench camera"
    ProductGuid="6f1d2d7a-0000-4000-8000-000000000011" VersionGuid="6f1d2d7a-0000-4000-8000-000000000012"
    xmlns="http://www.genicam.org/GenApi/Version_1_1">
<Category Name="Root"><pFeature>Width</pFeature></Category>
<Integer Name="Width"><pValue>WidthReg</pValue><Min>16</Min><Max>4096</Max><Inc>16</Inc></Integer>
<IntReg Name="WidthReg"><Address>0x100</Address><Length>4</Length><AccessMode>RW</AccessMode>
  <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
<Port Name="Device"/>
</RegisterDescription>
)";

// One integer read as the API does it, the node already looked up: the
// map's lock, the access mode (fixed for Width: known after the first read),
// the read, the port failure check.
void BM_FacadeIntegerRead(benchmark::State& state) {
    NodeMap map = NodeMap::FromXml(kDescription);
    map.Connect(std::make_shared<MemoryPort>());
    const Integer width = *map.Get<Integer>("Width");
    for (auto _ : state) {
        benchmark::DoNotOptimize(width.GetValue());
    }
}
BENCHMARK(BM_FacadeIntegerRead);

// The same with the lookup by name that every feature call of the API makes.
void BM_FacadeLookupAndIntegerRead(benchmark::State& state) {
    NodeMap map = NodeMap::FromXml(kDescription);
    map.Connect(std::make_shared<MemoryPort>());
    for (auto _ : state) {
        benchmark::DoNotOptimize(map.Get<Integer>("Width")->GetValue());
    }
}
BENCHMARK(BM_FacadeLookupAndIntegerRead);

// The floor: Aravis's node map over the same device and port, with the same
// cache policy, read directly.
void BM_AravisIntegerRead(benchmark::State& state) {
    detail::PortDevice device;
    device.SetPort(std::make_shared<MemoryPort>());
    detail::GObjectPtr<ArvGc> genicam(arv_gc_new(device.Get(), kDescription.data(), kDescription.size()));
    arv_gc_set_register_cache_policy(genicam.get(), ARV_REGISTER_CACHE_POLICY_DISABLE);
    ArvGcInteger* width = ARV_GC_INTEGER(arv_gc_get_node(genicam.get(), "Width"));
    detail::GErrorHolder error;
    for (auto _ : state) {
        benchmark::DoNotOptimize(arv_gc_integer_get_value(width, error.Out()));
    }
    if (error) {
        state.SkipWithError(error.Message());
    }
}
BENCHMARK(BM_AravisIntegerRead);

std::optional<std::string> LargestDescription(std::string& name) {
    const std::filesystem::path folder =
        std::filesystem::path(TGX_BENCH_SOURCE_DIR) / ".." / "shared" / "testdata" / "genicam";
    std::error_code error;
    std::filesystem::path largest;
    std::uintmax_t largestSize = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".xml" && entry.file_size() > largestSize) {
            largest = entry.path();
            largestSize = entry.file_size();
        }
    }
    if (largest.empty()) {
        return std::nullopt;
    }
    std::ifstream in(largest, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    name = largest.filename().string();
    return text.str();
}

// Load with the checks of links and loops.
void BM_BuildLargestDescription(benchmark::State& state) {
    std::string name;
    const std::optional<std::string> xml = LargestDescription(name);
    if (!xml) {
        state.SkipWithError("no camera descriptions in ../shared/testdata/genicam");
        return;
    }
    state.SetLabel(name + ", " + std::to_string(xml->size() / 1024) + " KiB");
    for (auto _ : state) {
        benchmark::DoNotOptimize(NodeMap::FromXml(*xml));
    }
}
BENCHMARK(BM_BuildLargestDescription)->Unit(benchmark::kMillisecond);

// The floor: Aravis's loader alone.
void BM_AravisBuildLargestDescription(benchmark::State& state) {
    std::string name;
    const std::optional<std::string> xml = LargestDescription(name);
    if (!xml) {
        state.SkipWithError("no camera descriptions in ../shared/testdata/genicam");
        return;
    }
    state.SetLabel(name);
    detail::PortDevice device;
    for (auto _ : state) {
        detail::GObjectPtr<ArvGc> genicam(arv_gc_new(device.Get(), xml->data(), xml->size()));
        benchmark::DoNotOptimize(genicam.get());
    }
}
BENCHMARK(BM_AravisBuildLargestDescription)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
