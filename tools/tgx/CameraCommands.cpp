#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/tgx/CameraSelection.h"
#include "tools/tgx/Commands.h"

namespace tgx {

namespace {

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
    TgxCameraHandle* camera = SelectCamera(*session, o);
    if (camera == nullptr) {
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

} // namespace

void AddCameraCommands(CLI::App& app, const GlobalOptions& options, int& exitCode) {
    auto scan = std::make_shared<ScanOptions>();
    CLI::App* scanCommand = app.add_subcommand("scan", "Discover the cameras of a board");
    AddScanOptions(scanCommand, *scan, false);
    scanCommand->callback([scan, &options, &exitCode] { exitCode = RunScan(*scan, options); });

    auto info = std::make_shared<ScanOptions>();
    CLI::App* infoCommand = app.add_subcommand("info", "Identity and link of one camera");
    AddScanOptions(infoCommand, *info, true);
    infoCommand->callback([info, &options, &exitCode] { exitCode = RunInfo(*info, options); });
}

} // namespace tgx
