// Subcommands of the tgx tool. Each registers itself on the app and runs
// when chosen; results go to standard output, as text or as JSON.
#pragma once

#include <CLI/CLI.hpp>

namespace tgx {

struct GlobalOptions {
    bool json = false;
};

// `tgx boards`: every board of the system with its identity and whether this
// library can drive it.
void AddBoardsCommand(CLI::App& app, const GlobalOptions& options, int& exitCode);

} // namespace tgx
