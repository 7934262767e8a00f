#include <exception>
#include <iostream>

#include "tools/tgx/Commands.h"

int main(int argc, char** argv) try {
    CLI::App app{"tgx: the cameras behind a frame grabber board"};
    app.require_subcommand(1);
    tgx::GlobalOptions options;
    app.add_flag("--json", options.json, "Print the result as JSON");
    // --json may stand after the subcommand as well: subcommands made from
    // here on pass what they don't know to the app.
    app.fallthrough();
    int exitCode = 0;
    tgx::AddBoardsCommand(app, options, exitCode);
    tgx::AddCameraCommands(app, options, exitCode);
    tgx::AddWatchCommand(app, options, exitCode);
    tgx::AddPowerCommand(app, options, exitCode);
    tgx::AddRegisterCommands(app, options, exitCode);
    tgx::AddFeatureCommands(app, options, exitCode);
    tgx::AddConfigCommands(app, options, exitCode);
    CLI11_PARSE(app, argc, argv);
    return exitCode;
} catch (const std::exception& e) {
    std::cerr << "tgx: " << e.what() << '\n';
    return 3;
}
