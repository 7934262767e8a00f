// CoaXPress on the simulated board: how long a discovery takes (two 2-link
// cameras on the default 4-port design; one 4-link camera on a design laid
// out for it, with the default waits and with every wait at 0), and how
// much CPU the controller's worker costs while links sit idle or while it
// keeps trying free ports.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <thread>

#include "bench/CxpBenchSupport.h"
#include "impl/cxp/CxpController.h"
#include "runtime/templates/TweakProperties.h"

namespace {

using orva::bench::Board;
using orva::bench::ProcessCpuSeconds;
using orva::bench::ScratchDirectory;

ScratchDirectory* gScratch = nullptr;

constexpr const char* kTwoCameras = R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"coaxpress",
  "ports":4,"portPower":"on","cameras":[
  {"model":"cxp-camera","ports":[0,1],"params":{"modelName":"bench-a","serialNumber":"A"}},
  {"model":"cxp-camera","ports":[2,3],"params":{"modelName":"bench-b","serialNumber":"B"}}]}]})";

// One camera of four links, found at its native 3125, that wants 6250 on all
// four. `camera` adds parameters.
std::string FourLinkScenario(const std::string& camera) {
    return R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"coaxpress-x4","ports":4,"portPower":"on",
      "cameras":[{"model":"cxp-camera","ports":[0,1,2,3],"params":{"modelName":"bench-x4")" +
           camera + "}}]}]}";
}

// A 2-link camera on ports 0 and 1; ports 2 and 3 have no cable.
constexpr const char* kTwoFreePorts = R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"coaxpress",
  "ports":4,"portPower":"on","cameras":[{"model":"cxp-camera","ports":[0,1]}]}]})";

// Every wait of the discovery that rt.conf sets, at 0.
constexpr const char* kNoWaits = "[CXP]\n"
                                 "WaitAfterLinkResetOnEachPort = 0\n"
                                 "WaitAfterLinkResetDone = 0\n"
                                 "WaitAfterLinkLockFound = 0\n"
                                 "WaitAfterCameraConfigDone = 0\n"
                                 "WaitAfterUplinkSpeedReset = 0\n"
                                 "WaitAfterPowerup = 0\n"
                                 "WaitAfterPowerdown = 0\n"
                                 "WaitAfterTripReset = 0\n";

uint32_t Wait(const char* key) {
    return orva::templates::platform::GetTweakValue<uint32_t>(key);
}

// The pauses the pipeline itself takes for the camera of FourLinkScenario
// on a board just opened, from the values the controller reads: the uplink
// class is new at the first link reset; each of the four links is reset and
// locks at 3125; the identity waits its fixed pause; the camera is told 6250
// once, and its four links lock again.
uint32_t RequiredPausesMs() {
    return Wait("CXP::WaitAfterUplinkSpeedReset") + 4 * Wait("CXP::WaitAfterLinkResetOnEachPort") +
           Wait("CXP::WaitAfterLinkResetDone") + 4 * Wait("CXP::WaitAfterLinkLockFound") +
           orva::cxp::CxpTopology::kWaitBeforeCameraInfoMs + Wait("CXP::WaitAfterCameraConfigDone") +
           4 * Wait("CXP::WaitAfterLinkLockFound");
}

uint32_t LinksOfFirstCamera(TgxBoardHandle* board) {
    TgxCameraHandle* camera = nullptr;
    if (Tgx_getCameraByIndex(board, 0, &camera) != TGX_OK) {
        return 0;
    }
    uint32_t links = 0;
    const uint32_t type = TGX_PROPERTY_TYPE_UINT32;
    uint32_t link = 0;
    return Tgx_getCameraPropertyWithType(camera, "NROFLINKS", &links, &type, &link) == TGX_OK ? links : 0;
}

void BM_DiscoverFourLinks(benchmark::State& state) {
    orva::bench::WriteUserConfig(*gScratch, "");
    for (auto _ : state) {
        state.PauseTiming();
        orva_sim_load_text(kTwoCameras);
        Board b;
        if (!b.Open()) {
            state.SkipWithError(orva_sim_last_error());
            return;
        }
        state.ResumeTiming();
        const int32_t status = Tgx_scanPorts(b.board, 0xF, 20000, 0);
        state.PauseTiming();
        if (status != TGX_OK || Tgx_getCameraCount(b.board) != 2) {
            state.SkipWithError("the cameras weren't found");
        }
        state.ResumeTiming();
    }
}

// Arg 0: the default waits, and a camera that takes its time as a real one
// does. Arg 1: every wait at 0 through rt.conf and a camera that answers at
// once, so that what is left is the driver's own time and its fixed pauses.
void BM_DiscoverFourLinkCamera(benchmark::State& state) {
    const bool noWaits = state.range(0) != 0;
    orva::bench::WriteUserConfig(*gScratch, noWaits ? kNoWaits : "");
    const std::string scenario =
        FourLinkScenario(noWaits ? R"(,"latencyUs":0,"resetUs":0,"bootMs":0,"configSwitchUs":0)" : "");
    const uint32_t pausesMs = RequiredPausesMs();
    double measuredMs = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (orva_sim_load_text(scenario.c_str()) != ORVA_SIM_OK) {
            state.SkipWithError(orva_sim_last_error());
            return;
        }
        Board b;
        if (!b.Open()) {
            state.SkipWithError(orva_sim_last_error());
            return;
        }
        state.ResumeTiming();
        const auto start = std::chrono::steady_clock::now();
        const int32_t status = Tgx_scanPorts(b.board, 0xF, 20000, 0);
        measuredMs += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        state.PauseTiming();
        if (status != TGX_OK || Tgx_getCameraCount(b.board) != 1 || LinksOfFirstCamera(b.board) != 4) {
            state.SkipWithError("the camera didn't come up with four links");
        }
        state.ResumeTiming();
    }
    orva::bench::WriteUserConfig(*gScratch, "");
    const double perScanMs = measuredMs / static_cast<double>(state.iterations());
    state.counters["scan_ms"] = perScanMs;
    state.counters["required_pauses_ms"] = pausesMs;
    state.counters["beyond_pauses_ms"] = perScanMs - pausesMs;
    state.counters["ratio_to_pauses"] = perScanMs / pausesMs;
}

// CPU of the process over 10 s in which only the controller's worker runs.
double IdleCpuPercent() {
    const double cpuBefore = ProcessCpuSeconds();
    const auto wallBefore = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(10));
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallBefore).count();
    return 100.0 * (ProcessCpuSeconds() - cpuBefore) / wall;
}

void BM_IdleWorkerWithFourLinks(benchmark::State& state) {
    orva_sim_load_text(kTwoCameras);
    Board b;
    if (!b.Open() || Tgx_scanPorts(b.board, 0xF, 20000, 0) != TGX_OK || Tgx_getCameraCount(b.board) != 2) {
        state.SkipWithError("the cameras weren't found");
        return;
    }
    for (auto _ : state) {
        state.counters["worker_cpu_percent_of_core"] = IdleCpuPercent();
    }
}

// The worker tries the two free ports once a second for as long as the
// board is open.
void BM_IdleWorkerWithTwoFreePorts(benchmark::State& state) {
    orva_sim_load_text(kTwoFreePorts);
    Board b;
    if (!b.Open() || Tgx_scanPorts(b.board, 0x3, 20000, 0) != TGX_OK || Tgx_getCameraCount(b.board) != 1) {
        state.SkipWithError("the camera wasn't found");
        return;
    }
    for (auto _ : state) {
        state.counters["worker_cpu_percent_of_core"] = IdleCpuPercent();
    }
}

} // namespace

BENCHMARK(BM_DiscoverFourLinks)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_DiscoverFourLinkCamera)->ArgName("no_waits")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_IdleWorkerWithFourLinks)->Unit(benchmark::kSecond)->Iterations(1);
BENCHMARK(BM_IdleWorkerWithTwoFreePorts)->Unit(benchmark::kSecond)->Iterations(1);

int main(int argc, char** argv) {
    return orva::bench::RunBenchmarks(argc, argv, gScratch);
}
