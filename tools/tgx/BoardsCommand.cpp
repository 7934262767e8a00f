#include <cstdint>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "include/tgx_genicam.h"
#include "tools/tgx/Commands.h"
#include "tools/tgx/GrabberLibrary.h"

namespace tgx {

namespace {

// Board indices are dense from 0; a gap ends the system's boards.
constexpr uint32_t kMaxBoards = 16;

struct BoardReport {
    uint32_t index = 0;
    int64_t type = 0;
    int64_t serial = 0;
    int64_t ports = 0;
    int32_t status = 0;
};

std::string Hex(int64_t value) {
    std::ostringstream out;
    out << "0x" << std::hex << std::uppercase << value;
    return out.str();
}

BoardReport Inspect(uint32_t index, Gb_Struct_s* grabber) {
    BoardReport report;
    report.index = index;
    report.type = OHalGetBoardInfoInt(grabber->device, "board/type");
    report.serial = OHalGetBoardInfoInt(grabber->device, "board/serial");
    report.ports = OHalGetBoardInfoInt(grabber->device, "board/ports");
    TgxBoardHandle* board = nullptr;
    report.status = Tgx_initBoard(grabber, 0, &board);
    if (report.status == TGX_OK) {
        Tgx_freeBoard(board);
    }
    return report;
}

int RunBoards(const GlobalOptions& options) {
    GenICamInit();
    nlohmann::json boards = nlohmann::json::array();
    uint32_t found = 0;
    for (uint32_t index = 0; index < kMaxBoards; ++index) {
        Gb_Struct_s* grabber = Gb_InitEx(index, nullptr, 0);
        if (grabber == nullptr) {
            break;
        }
        const BoardReport r = Inspect(index, grabber);
        Gb_FreeGrabber(grabber);
        ++found;
        if (options.json) {
            boards.push_back({{"index", r.index},
                              {"type", Hex(r.type)},
                              {"serial", Hex(r.serial)},
                              {"ports", r.ports},
                              {"status", r.status},
                              {"statusText", Tgx_getErrorDescription(r.status)}});
        } else {
            std::cout << "board " << r.index << ": type " << Hex(r.type) << ", serial " << Hex(r.serial) << ", "
                      << r.ports << " ports: " << Tgx_getErrorDescription(r.status) << " (" << r.status << ")\n";
        }
    }
    if (options.json) {
        std::cout << boards.dump(2) << '\n';
    } else if (found == 0) {
        std::cout << "no boards\n";
    }
    GenICamDeinit();
    return 0;
}

} // namespace

void AddBoardsCommand(CLI::App& app, const GlobalOptions& options, int& exitCode) {
    CLI::App* command = app.add_subcommand("boards", "List the boards with type, serial and ports");
    command->callback([&options, &exitCode] { exitCode = RunBoards(options); });
}

} // namespace tgx
