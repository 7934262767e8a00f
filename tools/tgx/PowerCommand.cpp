#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/tgx/BoardSession.h"
#include "tools/tgx/Commands.h"

namespace tgx {

namespace {

struct PowerOptions {
    std::string action;
    uint32_t board = 0;
    uint32_t ports = 0;
};

int RunPower(const PowerOptions& o, const GlobalOptions& options) {
    const uint32_t command = o.action == "on" ? TGX_POWER_ON : o.action == "off" ? TGX_POWER_OFF : TGX_POWER_CYCLE;
    BoardSession session(o.board);
    if (!session.ok()) {
        std::cerr << "tgx: " << session.error() << '\n';
        return 2;
    }
    const uint32_t ports = session.ports();
    const uint32_t mask = o.ports != 0 ? o.ports : (ports >= 32 ? 0xFFFFFFFFU : (1U << ports) - 1U);
    const int32_t status = Tgx_powerSwitchExt(session.board(), mask, command);
    if (options.json) {
        std::cout
            << nlohmann::json{{"board", o.board}, {"portMask", mask}, {"action", o.action}, {"status", status}}.dump(2)
            << '\n';
    } else {
        std::cout << "board " << o.board << " ports 0x" << std::hex << mask << std::dec << ": power " << o.action
                  << ": " << StatusText(status) << '\n';
    }
    return status == TGX_OK ? 0 : 1;
}

} // namespace

void AddPowerCommand(CLI::App& app, const GlobalOptions& options, int& exitCode) {
    auto o = std::make_shared<PowerOptions>();
    CLI::App* command = app.add_subcommand("power", "Switch camera power: on, off or cycle");
    command->add_option("action", o->action, "on, off or cycle")
        ->required()
        ->check(CLI::IsMember({"on", "off", "cycle"}));
    command->add_option("-b,--board", o->board, "Board index")->capture_default_str();
    command->add_option("-p,--ports", o->ports, "Port mask (default: every port)");
    command->callback([o, &options, &exitCode] { exitCode = RunPower(*o, options); });
}

} // namespace tgx
