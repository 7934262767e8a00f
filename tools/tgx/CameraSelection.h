// Choosing a camera: open a board, run a discovery (with progress on the
// terminal), and pick a camera by index. Shared by the commands that work on
// one camera.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>

#include "tools/tgx/BoardSession.h"
#include "tools/tgx/Commands.h"

namespace tgx {

struct ScanOptions {
    uint32_t board = 0;
    uint32_t ports = 0; // 0: every port of the board
    uint32_t speed = 0; // 0: automatic
    uint32_t timeoutMs = 10000;
    uint32_t camera = 0;
};

// --board, --ports, --speed, --timeout; with `withCamera` also --camera.
void AddScanOptions(CLI::App* command, ScanOptions& o, bool withCamera);

// Opens the board and runs a discovery; null on failure (reported on stderr).
std::unique_ptr<BoardSession> Discover(const ScanOptions& o, const GlobalOptions& options, int32_t& status);

// The camera of o.camera after a discovery; null (reported) if there is none.
TgxCameraHandle* SelectCamera(const BoardSession& session, const ScanOptions& o);

// A connected camera for one command; disconnected on the way out.
struct ConnectedCamera {
    std::unique_ptr<BoardSession> session;
    TgxCameraHandle* camera = nullptr;
    ConnectedCamera() = default;
    ConnectedCamera(const ConnectedCamera&) = delete;
    ConnectedCamera& operator=(const ConnectedCamera&) = delete;
    ~ConnectedCamera();
};

// Discovery, the camera of o.camera and its GenICam connection; false
// (reported on stderr) if any step fails.
bool Connect(const ScanOptions& o, const GlobalOptions& options, ConnectedCamera& out);

// A camera property of type 1; 0 if it can't be read.
uint32_t CameraProperty(TgxCameraHandle* camera, const char* name, uint32_t link = 0);

} // namespace tgx
