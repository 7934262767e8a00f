#include <atomic>
#include <chrono>
#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "tools/tgx/BoardSession.h"
#include "tools/tgx/Commands.h"

namespace tgx {

namespace {

struct ScanOptions {
    uint32_t board = 0;
    uint32_t ports = 0; // 0: every port of the board
    uint32_t speed = 0; // 0: automatic
    uint32_t timeoutMs = 10000;
    uint32_t camera = 0;
};

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

uint32_t CameraProperty(TgxCameraHandle* camera, const char* name) {
    uint32_t value = 0;
    const uint32_t type = TGX_PROPERTY_TYPE_UINT32;
    uint32_t link = 0;
    Tgx_getCameraPropertyWithType(camera, name, &value, &type, &link);
    return value;
}

const char* Text(const char* text) {
    return text != nullptr ? text : "";
}

nlohmann::json Describe(uint32_t boardIndex, TgxCameraHandle* camera) {
    const TgxCameraInfo* info = Tgx_getCameraInfo(camera);
    nlohmann::json out = {{"board", boardIndex},
                          {"masterPort", CameraProperty(camera, "MASTERPORT")},
                          {"links", CameraProperty(camera, "NROFLINKS")},
                          {"linkSpeed", CameraProperty(camera, "LINKSPEED")}};
    if (info != nullptr) {
        out["deviceName"] = Text(info->deviceName);
        out["modelName"] = Text(info->modelName);
        out["familyName"] = Text(info->familyName);
        out["deviceVersion"] = Text(info->deviceVersion);
        out["firmwareVersion"] = Text(info->firmwareVersion);
        out["manufacturerInfo"] = Text(info->manufacturerInfo);
        out["serialNumber"] = Text(info->serialNumber);
        out["userId"] = Text(info->userId);
    }
    return out;
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
        Progress progress(!options.json);
        status = Tgx_scanPorts(session->board(), mask, o.timeoutMs, o.speed);
    }
    if (status != TGX_OK && status != TGX_ERR_LINK_LAYOUT_MISMATCH) {
        std::cerr << "tgx: discovery on board " << o.board << ": " << StatusText(status) << '\n';
    }
    return session;
}

void PrintCamera(const nlohmann::json& c) {
    std::cout << "board " << c["board"] << " port " << c["masterPort"] << ": " << c.value("modelName", "")
              << " (serial " << c.value("serialNumber", "") << "), " << c["links"] << " link(s) at " << c["linkSpeed"]
              << " Mbit/s\n";
}

int RunScan(const ScanOptions& o, const GlobalOptions& options) {
    int32_t status = TGX_OK;
    auto session = Discover(o, options, status);
    if (!session) {
        return 2;
    }
    nlohmann::json cameras = nlohmann::json::array();
    const int32_t count = Tgx_getCameraCount(session->board());
    for (int32_t i = 0; i < count; ++i) {
        TgxCameraHandle* camera = nullptr;
        if (Tgx_getCameraByIndex(session->board(), static_cast<uint32_t>(i), &camera) == TGX_OK) {
            cameras.push_back(Describe(o.board, camera));
        }
    }
    if (options.json) {
        std::cout << cameras.dump(2) << '\n';
    } else if (cameras.empty()) {
        std::cout << "no cameras on board " << o.board << '\n';
    } else {
        for (const auto& c : cameras) {
            PrintCamera(c);
        }
    }
    return status == TGX_OK || status == TGX_ERR_LINK_LAYOUT_MISMATCH || status == TGX_ERR_NO_CAMERA_FOUND ? 0 : 1;
}

int RunInfo(const ScanOptions& o, const GlobalOptions& options) {
    int32_t status = TGX_OK;
    auto session = Discover(o, options, status);
    if (!session) {
        return 2;
    }
    TgxCameraHandle* camera = nullptr;
    if (Tgx_getCameraByIndex(session->board(), o.camera, &camera) != TGX_OK) {
        std::cerr << "tgx: no camera " << o.camera << " on board " << o.board << '\n';
        return 1;
    }
    nlohmann::json c = Describe(o.board, camera);
    for (const char* name :
         {"DISCOVERYSPEED", "CONTROLPACKETSIZE", "STREAMPACKETSIZE", "MASTERID", "CONNECTED", "ISTRANSCEIVERLOCKED"}) {
        c[name] = CameraProperty(camera, name);
    }
    if (options.json) {
        std::cout << c.dump(2) << '\n';
    } else {
        for (const auto& [key, value] : c.items()) {
            std::cout << key << ": " << (value.is_string() ? value.get<std::string>() : value.dump()) << '\n';
        }
    }
    return 0;
}

void AddScanOptions(CLI::App* command, ScanOptions& o) {
    command->add_option("-b,--board", o.board, "Board index")->capture_default_str();
    command->add_option("-p,--ports", o.ports, "Port mask (default: every port)");
    command->add_option("-s,--speed", o.speed, "Link speed in Mbit/s, 0 for automatic")->capture_default_str();
    command->add_option("-t,--timeout", o.timeoutMs, "Discovery time-out in ms")->capture_default_str();
}

} // namespace

void AddCameraCommands(CLI::App& app, const GlobalOptions& options, int& exitCode) {
    auto scan = std::make_shared<ScanOptions>();
    CLI::App* scanCommand = app.add_subcommand("scan", "Discover the cameras of a board");
    AddScanOptions(scanCommand, *scan);
    scanCommand->callback([scan, &options, &exitCode] { exitCode = RunScan(*scan, options); });

    auto info = std::make_shared<ScanOptions>();
    CLI::App* infoCommand = app.add_subcommand("info", "Identity and link of one camera");
    AddScanOptions(infoCommand, *info);
    infoCommand->add_option("-c,--camera", info->camera, "Camera index on the board")->capture_default_str();
    infoCommand->callback([info, &options, &exitCode] { exitCode = RunInfo(*info, options); });
}

} // namespace tgx
