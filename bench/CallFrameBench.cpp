// Cost of the call frame of an exported function with tracing off: one level
// test and no allocation are the target, for a null and for a valid handle.
#include <benchmark/benchmark.h>

#include "impl/core/CDriver.h"
#include "include/tgx_genicam.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/FakeTechnology.h"

using orva::test::gAllocations;

namespace {

void Measure(benchmark::State& state, TgxBoardHandle* board) {
    benchmark::DoNotOptimize(Tgx_getCameraCount(board)); // first call obtains the logger
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        benchmark::DoNotOptimize(Tgx_getCameraCount(board));
    }
    const double allocations = static_cast<double>(gAllocations.load() - before);
    state.counters["allocs_per_call"] = allocations / static_cast<double>(state.iterations());
}

void BM_GetCameraCountNullHandle(benchmark::State& state) {
    Measure(state, nullptr);
}

void BM_GetCameraCountValidHandle(benchmark::State& state) {
    orva::core::CDriver driver;
    if (driver.Init(std::make_unique<orva::test::FakeController>(4)) != TGX_OK) {
        state.SkipWithError("board set-up failed");
        return;
    }
    Measure(state, &driver);
}

} // namespace

BENCHMARK(BM_GetCameraCountNullHandle);
BENCHMARK(BM_GetCameraCountValidHandle);

int main(int argc, char** argv) {
    // The frame alone: no level passes, so a failed check builds no line
    // either. Set ORVA_LOG to measure with error lines written.
    setenv("ORVA_LOG", "*=off", 0);
    GenICamInit();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    GenICamDeinit();
    return 0;
}
