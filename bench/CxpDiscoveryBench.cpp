// CoaXPress on the simulated board: how long a discovery of four links
// takes (two 2-link cameras, the layout of the 4-port design), and how much
// CPU the controller's worker costs while the four links sit idle.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "include/tgx_genicam.h"
#include "orva_sim.h"
#include "runtime/board/BoardForwarders.h"

namespace {

constexpr const char* kScenario = R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"coaxpress",
  "ports":4,"portPower":"on","cameras":[
  {"model":"cxp-camera","ports":[0,1],"params":{"modelName":"bench-a","serialNumber":"A"}},
  {"model":"cxp-camera","ports":[2,3],"params":{"modelName":"bench-b","serialNumber":"B"}}]}]})";

struct Board {
    Gb_Struct_s* grabber = nullptr;
    TgxBoardHandle* board = nullptr;
    bool Open() {
        grabber = orva::board::Gb_InitEx(0, nullptr, 0);
        return grabber != nullptr && Tgx_initBoard(grabber, 0, &board) == TGX_OK;
    }
    ~Board() {
        if (board != nullptr) {
            Tgx_freeBoard(board);
        }
        if (grabber != nullptr) {
            orva::board::Gb_FreeGrabber(grabber);
        }
    }
};

double ProcessCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void BM_DiscoverFourLinks(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        orva_sim_load_text(kScenario);
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

void BM_IdleWorkerWithFourLinks(benchmark::State& state) {
    orva_sim_load_text(kScenario);
    Board b;
    if (!b.Open() || Tgx_scanPorts(b.board, 0xF, 20000, 0) != TGX_OK || Tgx_getCameraCount(b.board) != 2) {
        state.SkipWithError("the cameras weren't found");
        return;
    }
    for (auto _ : state) {
        const double cpuBefore = ProcessCpuSeconds();
        const auto wallBefore = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(10)); // the worker alone runs
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallBefore).count();
        state.counters["worker_cpu_percent_of_core"] = 100.0 * (ProcessCpuSeconds() - cpuBefore) / wall;
    }
}

} // namespace

BENCHMARK(BM_DiscoverFourLinks)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_IdleWorkerWithFourLinks)->Unit(benchmark::kSecond)->Iterations(1);

int main(int argc, char** argv) {
    const std::string ns = "bench-" + std::to_string(getpid());
    setenv("ORVA_SIM_NAMESPACE", ns.c_str(), 1);
    setenv("ORVA_LOG", "*=off", 0);
    GenICamInit();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    GenICamDeinit();
    orva_sim_destroy();
    return 0;
}
