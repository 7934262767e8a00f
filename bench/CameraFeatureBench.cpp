// One Tgx_getIntegerValue on a connected camera of the simulated CoaXPress
// board, split into its two parts: the channel (a raw register read of the
// same address through the C interface: control packet out, acknowledge
// back) and the rest, the node map's part (lookup by name, access check,
// Aravis's evaluation, the API frame). The floor of the node map's part is
// Aravis's node map alone, over the same description in memory.
#include <benchmark/benchmark.h>
#include <time.h>
#include <unistd.h>

#include <arv.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/genapi/GObjectPtr.h"
#include "core/genapi/PortDevice.h"
#include "include/tgx_genicam.h"
#include "orva_sim.h"
#include "runtime/board/BoardForwarders.h"

namespace {

namespace genapi = orva::core::genapi;

// The camera answers as soon as it can: the channel's part is the host's.
constexpr const char* kScenario = R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"coaxpress",
  "ports":4,"portPower":"on","cameras":[{"model":"cxp-camera","ports":[0],"params":{"latencyUs":0}}]}]})";
constexpr uint64_t kWidthAddress = 0x10000;

class Camera {
public:
    bool Open() {
        if (orva_sim_load_text(kScenario) != ORVA_SIM_OK) {
            return false;
        }
        grabber_ = orva::board::Gb_InitEx(0, nullptr, 0);
        return grabber_ != nullptr && Tgx_initBoard(grabber_, 0, &board_) == TGX_OK &&
               Tgx_scanPorts(board_, 0x1, 20000, 0) == TGX_OK && Tgx_getCameraByIndex(board_, 0, &camera) == TGX_OK &&
               Tgx_connectCamera(camera) == TGX_OK;
    }
    ~Camera() {
        if (board_ != nullptr) {
            Tgx_freeBoard(board_);
        }
        if (grabber_ != nullptr) {
            orva::board::Gb_FreeGrabber(grabber_);
        }
    }

    std::string Description() const {
        uint32_t size = 0;
        if (Tgx_getGenICamXML(camera, nullptr, &size) != TGX_OK) {
            return {};
        }
        std::string xml(size, '\0');
        return Tgx_getGenICamXML(camera, xml.data(), &size) == TGX_OK ? xml : std::string();
    }

    TgxCameraHandle* camera = nullptr;

private:
    Gb_Struct_s* grabber_ = nullptr;
    TgxBoardHandle* board_ = nullptr;
};

Camera* gCamera = nullptr;

// The camera's registers in memory, for the floor.
class MemoryPort : public genapi::IRegisterPort {
public:
    void Read(uint64_t address, void* buffer, uint64_t length) override {
        std::memcpy(buffer, memory_.data() + (address - kWidthAddress), length);
    }
    void Write(uint64_t address, const void* buffer, uint64_t length) override {
        std::memcpy(memory_.data() + (address - kWidthAddress), buffer, length);
    }

private:
    std::vector<uint8_t> memory_ = std::vector<uint8_t>(0x100, 0);
};

void BM_GetIntegerValue(benchmark::State& state) {
    int64_t width = 0;
    for (auto _ : state) {
        if (Tgx_getIntegerValue(gCamera->camera, "Width", &width) != TGX_OK) {
            state.SkipWithError("the read failed");
            return;
        }
    }
}
BENCHMARK(BM_GetIntegerValue)->Unit(benchmark::kMicrosecond);

void BM_RawRegisterRead(benchmark::State& state) {
    uint32_t width = 0;
    for (auto _ : state) {
        if (Tgx_registerReadFromCamera(gCamera->camera, &width, kWidthAddress) != TGX_OK) {
            state.SkipWithError("the read failed");
            return;
        }
    }
}
BENCHMARK(BM_RawRegisterRead)->Unit(benchmark::kMicrosecond);

// Both, interleaved in rounds so that drift of the machine hits them alike;
// the node map's part is the difference, set against the floor. In wall time
// and in the thread's CPU time: on a shared machine the latter is the steadier
// measure of the node map's part, which never waits.
void BM_NodeMapPartOfGetIntegerValue(benchmark::State& state) {
    constexpr int kRound = 200;
    using Clock = std::chrono::steady_clock;
    const auto cpuNow = [] {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    };
    std::chrono::nanoseconds fullCpu{};
    std::chrono::nanoseconds channelCpu{};
    std::chrono::nanoseconds floorCpu{};
    genapi::detail::PortDevice device;
    device.SetPort(std::make_shared<MemoryPort>());
    const std::string xml = gCamera->Description();
    genapi::detail::GObjectPtr<ArvGc> genicam(arv_gc_new(device.Get(), xml.data(), xml.size()));
    arv_gc_set_register_cache_policy(genicam.get(), ARV_REGISTER_CACHE_POLICY_DISABLE);
    ArvGcNode* node = arv_gc_get_node(genicam.get(), "Width");
    if (node == nullptr) {
        state.SkipWithError("no Width in the camera's description");
        return;
    }
    ArvGcInteger* floorWidth = ARV_GC_INTEGER(node);
    Clock::duration full{};
    Clock::duration channel{};
    Clock::duration floor{};
    int64_t rounds = 0;
    int64_t value = 0;
    uint32_t raw = 0;
    genapi::detail::GErrorHolder error;
    for (auto _ : state) {
        auto start = Clock::now();
        auto cpuStart = cpuNow();
        for (int i = 0; i < kRound; ++i) {
            Tgx_getIntegerValue(gCamera->camera, "Width", &value);
        }
        full += Clock::now() - start;
        fullCpu += cpuNow() - cpuStart;
        start = Clock::now();
        cpuStart = cpuNow();
        for (int i = 0; i < kRound; ++i) {
            Tgx_registerReadFromCamera(gCamera->camera, &raw, kWidthAddress);
        }
        channel += Clock::now() - start;
        channelCpu += cpuNow() - cpuStart;
        start = Clock::now();
        cpuStart = cpuNow();
        for (int i = 0; i < kRound; ++i) {
            benchmark::DoNotOptimize(arv_gc_integer_get_value(floorWidth, error.Out()));
        }
        floor += Clock::now() - start;
        floorCpu += cpuNow() - cpuStart;
        ++rounds;
    }
    const auto perCall = [&](std::chrono::nanoseconds total) {
        return std::chrono::duration<double, std::nano>(total).count() / static_cast<double>(rounds * kRound);
    };
    const double nodeMap = perCall(full) - perCall(channel);
    state.counters["full_ns"] = perCall(full);
    state.counters["channel_ns"] = perCall(channel);
    state.counters["nodemap_ns"] = nodeMap;
    state.counters["floor_ns"] = perCall(floor);
    state.counters["nodemap_over_floor"] = nodeMap / perCall(floor);
    const double nodeMapCpu = perCall(fullCpu) - perCall(channelCpu);
    state.counters["nodemap_cpu_ns"] = nodeMapCpu;
    state.counters["floor_cpu_ns"] = perCall(floorCpu);
    state.counters["nodemap_over_floor_cpu"] = nodeMapCpu / perCall(floorCpu);
}
BENCHMARK(BM_NodeMapPartOfGetIntegerValue)->Unit(benchmark::kMillisecond)->MinTime(5.0);

} // namespace

int main(int argc, char** argv) {
    const std::string ns = "bench-feature-" + std::to_string(getpid());
    setenv("ORVA_SIM_NAMESPACE", ns.c_str(), 1);
    setenv("ORVA_LOG", "*=off", 0);
    GenICamInit();
    int status = 0;
    {
        Camera camera;
        if (camera.Open()) {
            gCamera = &camera;
            benchmark::Initialize(&argc, argv);
            benchmark::RunSpecifiedBenchmarks();
            benchmark::Shutdown();
        } else {
            std::fprintf(stderr, "the simulated camera couldn't be connected: %s\n", orva_sim_last_error());
            status = 1;
        }
    }
    GenICamDeinit();
    orva_sim_destroy();
    return status;
}
