#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "tools/tgx/BoardSession.h"
#include "tools/tgx/Commands.h"

namespace tgx {

namespace {

struct WatchOptions {
    uint32_t board = 0;
    uint32_t seconds = 0; // 0: until interrupted
    bool json = false;
};

std::atomic<bool> gInterrupted{false};
void OnInterrupt(int) {
    gInterrupted.store(true);
}

// Serialises the output of events, which come on the library's worker thread.
std::mutex gOutputMutex;

std::string Hex(uint32_t value) {
    std::ostringstream out;
    out << "0x" << std::hex << value;
    return out.str();
}

int32_t PrintEvent(TgxBoardHandle*, uint32_t, const TgxEventRecord* record, void* context) {
    const auto* o = static_cast<const WatchOptions*>(context);
    // Copies: the record is packed.
    const uint16_t id = record->id;
    const uint32_t portMask = record->portMask;
    const char* what = id == TGX_EVENT_LINK_UP ? "link-up" : id == TGX_EVENT_LINK_DOWN ? "link-down" : "unknown";
    std::lock_guard<std::mutex> lock(gOutputMutex);
    if (o->json) {
        std::cout << nlohmann::json{{"board", o->board}, {"event", id}, {"kind", what}, {"portMask", portMask}}.dump()
                  << std::endl;
    } else {
        std::cout << "board " << o->board << ": " << what << " (" << id << ") ports " << Hex(portMask) << std::endl;
    }
    return 0;
}

int RunWatch(const WatchOptions& o) {
    BoardSession session(o.board);
    if (!session.ok()) {
        std::cerr << "tgx: " << session.error() << '\n';
        return 2;
    }
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);
    if (const int32_t status = Tgx_RegisterEventCallback(session.board(), &PrintEvent, const_cast<WatchOptions*>(&o));
        status != TGX_OK) {
        std::cerr << "tgx: " << StatusText(status) << '\n';
        return 1;
    }
    if (!o.json) {
        std::cerr << "watching board " << o.board << " (Ctrl-C ends)\n";
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(o.seconds);
    while (!gInterrupted.load() && (o.seconds == 0 || std::chrono::steady_clock::now() < end)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    Tgx_RegisterEventCallback(session.board(), nullptr, nullptr);
    return 0;
}

} // namespace

void AddWatchCommand(CLI::App& app, const GlobalOptions& options, int& exitCode) {
    auto o = std::make_shared<WatchOptions>();
    CLI::App* command = app.add_subcommand("watch", "Print link events as they come");
    command->add_option("-b,--board", o->board, "Board index")->capture_default_str();
    command->add_option("--seconds", o->seconds, "Stop after this many seconds (0: at Ctrl-C)")->capture_default_str();
    command->callback([o, &options, &exitCode] {
        o->json = options.json;
        exitCode = RunWatch(*o);
    });
}

} // namespace tgx
