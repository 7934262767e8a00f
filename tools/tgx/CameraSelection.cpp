#include "tools/tgx/CameraSelection.h"

#include <chrono>
#include <condition_variable>
#include <iostream>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace tgx {

namespace {

// Prints the time a discovery has taken so far, until stopped.
class Progress {
public:
    explicit Progress(bool enabled) {
        if (enabled) {
            thread_ = std::thread([this] { Run(); });
        }
    }
    ~Progress() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            done_ = true;
        }
        wake_.notify_all();
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void Run() {
        const auto start = std::chrono::steady_clock::now();
        std::unique_lock<std::mutex> lock(mutex_);
        while (!wake_.wait_for(lock, std::chrono::milliseconds(250), [this] { return done_; })) {
            const auto ms =
                std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
            std::cerr << "\rdiscovering... " << ms / 1000 << '.' << (ms % 1000) / 100 << " s" << std::flush;
        }
        std::cerr << "\r\033[K" << std::flush;
    }

    std::mutex mutex_; // guards done_
    std::condition_variable wake_;
    bool done_ = false;
    std::thread thread_;
};

} // namespace

uint32_t CameraProperty(TgxCameraHandle* camera, const char* name, uint32_t link) {
    uint32_t value = 0;
    const uint32_t type = TGX_PROPERTY_TYPE_UINT32;
    Tgx_getCameraPropertyWithType(camera, name, &value, &type, &link);
    return value;
}

ConnectedCamera::~ConnectedCamera() {
    if (camera != nullptr) {
        Tgx_disconnectCamera(camera);
    }
}

bool Connect(const ScanOptions& o, const GlobalOptions& options, ConnectedCamera& out) {
    int32_t status = TGX_OK;
    out.session = Discover(o, options, status);
    TgxCameraHandle* camera = out.session ? SelectCamera(*out.session, o) : nullptr;
    if (camera == nullptr) {
        return false;
    }
    if (status = Tgx_connectCamera(camera); status != TGX_OK) {
        std::cerr << "tgx: connecting camera " << o.camera << ": " << StatusText(status) << '\n';
        return false;
    }
    out.camera = camera;
    return true;
}

// Opens the board and runs a discovery; null session on failure (reported).
std::unique_ptr<BoardSession> Discover(const ScanOptions& o, const GlobalOptions& options, int32_t& status) {
    auto session = std::make_unique<BoardSession>(o.board);
    if (!session->ok()) {
        std::cerr << "tgx: " << session->error() << '\n';
        status = TGX_ERR_BOARD_INIT;
        return nullptr;
    }
    const uint32_t ports = session->ports();
    const uint32_t mask = o.ports != 0 ? o.ports : (ports >= 32 ? 0xFFFFFFFFU : (1U << ports) - 1U);
    {
        // Progress only for a person watching a terminal.
        Progress progress(!options.json && isatty(STDERR_FILENO) != 0);
        status = Tgx_scanPorts(session->board(), mask, o.timeoutMs, o.speed);
    }
    if (status != TGX_OK && status != TGX_ERR_LINK_LAYOUT_MISMATCH) {
        std::cerr << "tgx: discovery on board " << o.board << ": " << StatusText(status) << '\n';
    }
    return session;
}

TgxCameraHandle* SelectCamera(const BoardSession& session, const ScanOptions& o) {
    TgxCameraHandle* camera = nullptr;
    if (Tgx_getCameraByIndex(session.board(), o.camera, &camera) != TGX_OK) {
        std::cerr << "tgx: no camera " << o.camera << " on board " << o.board << '\n';
        return nullptr;
    }
    return camera;
}

void AddScanOptions(CLI::App* command, ScanOptions& o, bool withCamera) {
    command->add_option("-b,--board", o.board, "Board index")->capture_default_str();
    command->add_option("-p,--ports", o.ports, "Port mask (default: every port)");
    command->add_option("-s,--speed", o.speed, "Link speed in Mbit/s, 0 for automatic")->capture_default_str();
    command->add_option("-t,--timeout", o.timeoutMs, "Discovery time-out in ms")->capture_default_str();
    if (withCamera) {
        command->add_option("-c,--camera", o.camera, "Camera index on the board")->capture_default_str();
    }
}

} // namespace tgx
