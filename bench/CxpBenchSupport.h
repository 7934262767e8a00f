// What the CoaXPress benchmarks share: a simulated board opened through the
// exported functions, the process's CPU time, and a user configuration
// directory of their own, so that an rt.conf written here decides the waits.
#pragma once

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "include/tgx_genicam.h"
#include "orva_sim.h"
#include "runtime/board/BoardForwarders.h"

namespace orva::bench {

struct Board {
    Gb_Struct_s* grabber = nullptr;
    TgxBoardHandle* board = nullptr;
    bool Open() {
        grabber = orva::board::Gb_InitEx(0, nullptr, 0);
        return grabber != nullptr && Tgx_initBoard(grabber, 0, &board) == TGX_OK;
    }
    Board() = default;
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;
    ~Board() {
        if (board != nullptr) {
            Tgx_freeBoard(board);
        }
        if (grabber != nullptr) {
            orva::board::Gb_FreeGrabber(grabber);
        }
    }
};

inline double ProcessCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// A directory of this process under the system's temporary one, removed at
// the end: the benchmarks' namespace, configuration and generated files.
class ScratchDirectory {
public:
    ScratchDirectory() {
        path_ = std::filesystem::temp_directory_path() / ("tgx-bench-" + std::to_string(getpid()));
        std::filesystem::create_directories(path_);
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

// Sets up the process: its own simulator namespace, its own user
// configuration directory (no rt.conf of the user's counts), logging off.
inline void SetUpProcess(const ScratchDirectory& scratch) {
    const std::string ns = "bench-" + std::to_string(getpid());
    setenv("ORVA_SIM_NAMESPACE", ns.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (scratch.Path() / "config").c_str(), 1);
    setenv("ORVA_LOG", "*=off", 0);
}

// The user's rt.conf of this process: `text`, or no file for "".
inline void WriteUserConfig(const ScratchDirectory& scratch, const std::string& text) {
    const std::filesystem::path dir = scratch.Path() / "config" / "orva";
    std::filesystem::create_directories(dir);
    const std::filesystem::path file = dir / "rt.conf";
    if (text.empty()) {
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
        return;
    }
    std::ofstream(file) << text;
}

// The main of a benchmark program on the simulated board: a scratch folder
// (published through `scratch` while the benchmarks run), the library's use,
// and the simulator's state removed at the end.
inline int RunBenchmarks(int argc, char** argv, ScratchDirectory*& scratch) {
    ScratchDirectory folder;
    scratch = &folder;
    SetUpProcess(folder);
    GenICamInit();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    GenICamDeinit();
    orva_sim_destroy();
    scratch = nullptr;
    return 0;
}

} // namespace orva::bench
