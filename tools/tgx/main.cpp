#include "tools/tgx/Commands.h"

int main(int argc, char** argv) {
    CLI::App app{"tgx: cameras behind a frame grabber board"};
    app.require_subcommand(1);
    tgx::GlobalOptions options;
    app.add_flag("--json", options.json, "Print the result as JSON");
    int exitCode = 0;
    tgx::AddBoardsCommand(app, options, exitCode);
    CLI11_PARSE(app, argc, argv);
    return exitCode;
}
