// The files that keep a set-up: a camera's parameter dump, a board's link
// configuration and the connection profile opened from it.
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/tgx/CameraSelection.h"
#include "tools/tgx/Commands.h"

namespace tgx {

namespace {

struct FileOptions {
    ScanOptions scan;
    std::string file;
    bool stopOnError = false;
};

// What became of the file: a line on stdout (or a JSON object), or the
// failure on stderr and exit code 1.
struct Action {
    const char* verb; // as in "tgx: load FILE: <status>"
    const char* done; // as in "loaded FILE"
};
constexpr Action kSave{"save", "saved"};
constexpr Action kLoad{"load", "loaded"};
constexpr Action kCompare{"compare", "matches"};

int Report(const GlobalOptions& options, const Action& action, const std::string& file, int32_t status) {
    if (options.json) {
        std::cout << nlohmann::json{{"action", action.verb}, {"file", file}, {"status", status}}.dump(2) << '\n';
    } else if (status == TGX_OK) {
        std::cout << action.done << ' ' << file << '\n';
    }
    if (status != TGX_OK) {
        std::cerr << "tgx: " << action.verb << ' ' << file << ": " << StatusText(status) << '\n';
        return 1;
    }
    return 0;
}

int RunParams(const FileOptions& o, const GlobalOptions& options, bool save) {
    ConnectedCamera c;
    if (!Connect(o.scan, options, c)) {
        return 2;
    }
    if (save) {
        return Report(options, kSave, o.file, Tgx_SaveCameraParameters(c.camera, o.file.c_str()));
    }
    const uint32_t flags = o.stopOnError ? TGX_LOAD_PARAMETERS_STOP_ON_ERROR : 0U;
    return Report(options, kLoad, o.file, Tgx_LoadCameraParameters(c.camera, o.file.c_str(), flags));
}

int RunConfig(const FileOptions& o, const GlobalOptions& options, bool save) {
    int32_t status = TGX_OK;
    auto session = Discover(o.scan, options, status);
    if (!session) {
        return 2;
    }
    if (save) {
        return Report(options, kSave, o.file, Tgx_SaveBoardConfiguration(session->board(), o.file.c_str()));
    }
    // A load compares the document with the discovery; a difference is
    // logged by the library with the property that differs.
    return Report(options, kCompare, o.file, Tgx_LoadBoardConfiguration(session->board(), o.file.c_str()));
}

const char* StateName(int32_t state) {
    switch (state) {
    case TGX_PROFILE_CAMERA_MISSING:
        return "missing";
    case TGX_PROFILE_LINK_FAILED:
        return "link failed";
    case TGX_PROFILE_CONNECT_FAILED:
        return "connect failed";
    case TGX_PROFILE_CONNECTED:
        return "connected";
    default:
        return "unknown";
    }
}

int RunProfile(const FileOptions& o, const GlobalOptions& options) {
    BoardSession grabber(o.scan.board, false);
    if (!grabber.ok()) {
        std::cerr << "tgx: " << grabber.error() << '\n';
        return 2;
    }
    TgxConnectionProfile* profile = nullptr;
    if (const int32_t status = Tgx_LoadConnectionProfile(grabber.grabber(), o.file.c_str(), &profile);
        status != TGX_OK) {
        std::cerr << "tgx: profile " << o.file << ": " << StatusText(status) << '\n';
        return 1;
    }
    nlohmann::json cameras = nlohmann::json::array();
    for (int32_t i = 0; i < profile->nrOfCameras; ++i) {
        const TgxCameraInfo* info = profile->cameraInfos[i];
        TgxCameraHandle* camera = profile->cameras[i];
        nlohmann::json entry{{"index", i},
                             {"state", StateName(profile->states[i])},
                             {"masterPort", camera != nullptr ? CameraProperty(camera, "MASTERPORT") : 0U}};
        if (info != nullptr) {
            entry["modelName"] = info->modelName;
            entry["serialNumber"] = info->serialNumber;
        }
        if (!options.json) {
            std::cout << "camera " << i << ": " << entry["state"].get<std::string>();
            if (info != nullptr) {
                std::cout << " (" << info->modelName << ", serial " << info->serialNumber << ", port "
                          << entry["masterPort"].get<uint32_t>() << ')';
            }
            std::cout << '\n';
        }
        cameras.push_back(entry);
    }
    if (options.json) {
        std::cout << cameras.dump(2) << '\n';
    }
    Tgx_UnloadConnectionProfile(profile);
    return 0;
}

// `<group> save FILE` and `<group> load FILE`, sharing their options.
template <class Run>
void AddSaveLoad(CLI::App& app, const char* group, const char* description, bool withCamera, Run run) {
    CLI::App* command = app.add_subcommand(group, description);
    command->require_subcommand(1);
    for (const bool save : {true, false}) {
        auto o = std::make_shared<FileOptions>();
        CLI::App* sub = command->add_subcommand(save ? "save" : "load", save ? "Write the file" : "Read the file");
        sub->add_option("file", o->file, "File name")->required();
        AddScanOptions(sub, o->scan, withCamera);
        if (withCamera && !save) {
            sub->add_flag("--stop-on-error", o->stopOnError, "Stop at the first value that can't be applied");
        }
        sub->callback([o, save, run] { run(*o, save); });
    }
}

} // namespace

void AddConfigCommands(CLI::App& app, const GlobalOptions& options, int& exitCode) {
    AddSaveLoad(app, "params", "Save or load the camera's feature values", true,
                [&options, &exitCode](const FileOptions& o, bool save) { exitCode = RunParams(o, options, save); });
    AddSaveLoad(app, "config", "Save the board's link groups, or compare them with a saved file", false,
                [&options, &exitCode](const FileOptions& o, bool save) { exitCode = RunConfig(o, options, save); });

    auto profile = std::make_shared<FileOptions>();
    CLI::App* profileCommand =
        app.add_subcommand("profile", "Open the board from a saved configuration, connect its cameras, show them");
    profileCommand->add_option("file", profile->file, "Board configuration file")->required();
    profileCommand->add_option("-b,--board", profile->scan.board, "Board index")->capture_default_str();
    profileCommand->callback([profile, &options, &exitCode] { exitCode = RunProfile(*profile, options); });
}

} // namespace tgx
