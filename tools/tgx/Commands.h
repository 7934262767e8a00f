// Subcommands of the tgx tool. Each registers itself on the app and runs
// when chosen; results go to standard output, as text or as JSON, and
// progress and errors to standard error.
#pragma once

#include <CLI/CLI.hpp>

namespace tgx {

struct GlobalOptions {
    bool json = false;
};

// `tgx boards`: every board with its identity and whether this library drives it.
void AddBoardsCommand(CLI::App& app, const GlobalOptions& options, int& exitCode);
// `tgx scan` and `tgx info`: discovery and the cameras found.
void AddCameraCommands(CLI::App& app, const GlobalOptions& options, int& exitCode);
// `tgx watch`: link events as they come.
void AddWatchCommand(CLI::App& app, const GlobalOptions& options, int& exitCode);
// `tgx reg read|write`, `tgx mem read|write`, `tgx props`.
void AddRegisterCommands(CLI::App& app, const GlobalOptions& options, int& exitCode);
// `tgx features`, `tgx get`, `tgx set`, `tgx xml`.
void AddFeatureCommands(CLI::App& app, const GlobalOptions& options, int& exitCode);
// `tgx params save|load`, `tgx config save|load`, `tgx profile`.
void AddConfigCommands(CLI::App& app, const GlobalOptions& options, int& exitCode);
// `tgx power on|off|cycle`.
void AddPowerCommand(CLI::App& app, const GlobalOptions& options, int& exitCode);

} // namespace tgx
