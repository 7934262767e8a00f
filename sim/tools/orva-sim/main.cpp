// orva-sim: sets up and steers the simulated boards of a namespace.

#include "orva_sim.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const char* powerText(uint32_t state) {
    switch (state) {
    case ORVA_SIM_POWER_ON:
        return "on";
    case ORVA_SIM_POWER_TRIPPED:
        return "tripped";
    default:
        return "off";
    }
}

int report(int32_t status) {
    if (status >= 0) {
        return 0;
    }
    const char* detail = orva_sim_last_error();
    std::fprintf(stderr, "orva-sim: %s\n", *detail != '\0' ? detail : orva_sim_status_text(status));
    return 1;
}

int listBoards() {
    const int32_t count = orva_sim_list_boards(nullptr, 0);
    if (count < 0) {
        return report(count);
    }
    std::vector<orva_sim_board_info> boards(static_cast<size_t>(count));
    const int32_t listed = orva_sim_list_boards(boards.data(), static_cast<uint32_t>(boards.size()));
    if (listed < 0) {
        return report(listed);
    }
    std::printf("%-6s %-8s %-12s %-6s %s\n", "index", "type", "serial", "ports", "design");
    for (int32_t i = 0; i < listed && i < count; ++i) {
        const auto& b = boards[static_cast<size_t>(i)];
        std::printf("%-6u 0x%-6X %-12llu %-6u %s\n", b.index, b.type, static_cast<unsigned long long>(b.serial),
                    b.ports, b.design);
    }
    return 0;
}

int listPorts(uint32_t board) {
    orva_sim_board_info info{};
    std::vector<orva_sim_board_info> all(64);
    const int32_t count = orva_sim_list_boards(all.data(), static_cast<uint32_t>(all.size()));
    if (count < 0) {
        return report(count);
    }
    bool found = false;
    for (int32_t i = 0; i < count && i < static_cast<int32_t>(all.size()); ++i) {
        if (all[static_cast<size_t>(i)].index == board) {
            info = all[static_cast<size_t>(i)];
            found = true;
        }
    }
    if (!found) {
        std::fprintf(stderr, "orva-sim: namespace '%s' has no board %u\n", orva_sim_namespace(), board);
        return 1;
    }
    std::printf("%-5s %-8s %-8s %-12s %-5s %-9s %-6s %-8s %-4s %s\n", "port", "power", "cable", "camera", "link",
                "datapath", "speed", "version", "led", "baud");
    for (uint32_t port = 0; port < info.ports; ++port) {
        orva_sim_port_info p{};
        const int32_t status = orva_sim_get_port_info(board, port, &p);
        if (status < 0) {
            return report(status);
        }
        const std::string camera = p.camera >= 0 ? std::to_string(p.camera) + ":" + p.model : "-";
        std::printf("%-5u %-8s %-8s %-12s %-5u %-9u %-6u %-8u %-4u %u\n", port, powerText(p.power),
                    p.plugged != 0 ? "in" : "out", camera.c_str(), p.link, p.dataPathState, p.dataPathSpeed,
                    p.cxpVersion, p.ledState, p.serialBaud);
    }
    return 0;
}

int run(int argc, char** argv) {
    CLI::App app{"Sets up and steers the simulated frame grabber boards."};
    app.require_subcommand(1);
    std::string ns;
    app.add_option("-n,--namespace", ns, "Namespace of the boards (default: $ORVA_SIM_NAMESPACE or \"default\")");

    std::string file;
    auto* load = app.add_subcommand("load", "Load a scenario file: the boards start anew as it says");
    load->add_option("file", file, "Scenario (JSON)")->required();
    auto* reset = app.add_subcommand("reset", "Start the loaded scenario anew");
    auto* destroy = app.add_subcommand("destroy", "Remove every shared object of the namespace");
    auto* boards = app.add_subcommand("boards", "List the boards: index, type, serial, ports, design");

    uint32_t board = 0;
    uint32_t port = 0;
    auto* ports = app.add_subcommand("ports", "Show the state of the ports of a board");
    ports->add_option("board", board, "Board index")->required();
    auto* plug = app.add_subcommand("plug", "Plug the cable of a port in");
    auto* unplug = app.add_subcommand("unplug", "Pull the cable of a port");
    for (auto* command : {plug, unplug}) {
        command->add_option("board", board, "Board index")->required();
        command->add_option("port", port, "Port")->required();
    }

    std::string powerState;
    auto* power = app.add_subcommand("power", "Switch port power on or off, or trip it (over-current)");
    power->add_option("state", powerState, "on, off or trip")->required()->check(CLI::IsMember({"on", "off", "trip"}));
    power->add_option("board", board, "Board index")->required();
    power->add_option("port", port, "Port")->required();

    std::string faultName;
    uint32_t faultCount = 1;
    auto* fault = app.add_subcommand("fault", "Arm a fault at the camera on a port (count 0 disarms it)");
    fault->add_option("board", board, "Board index")->required();
    fault->add_option("port", port, "Port")->required();
    fault->add_option("name", faultName, "Fault name, as the camera model knows it")->required();
    fault->add_option("count", faultCount, "Occurrences (default 1)");

    CLI11_PARSE(app, argc, argv);

    if (!ns.empty()) {
        // Still the only thread: nothing reads the environment meanwhile.
        setenv("ORVA_SIM_NAMESPACE", ns.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    }
    if (*load) {
        return report(orva_sim_load_file(file.c_str()));
    }
    if (*reset) {
        return report(orva_sim_reset());
    }
    if (*destroy) {
        return report(orva_sim_destroy());
    }
    if (*boards) {
        return listBoards();
    }
    if (*ports) {
        return listPorts(board);
    }
    if (*plug || *unplug) {
        return report(orva_sim_plug(board, port, *plug ? 1 : 0));
    }
    if (*power) {
        const uint32_t state = powerState == "on"    ? ORVA_SIM_POWER_ON
                               : powerState == "off" ? ORVA_SIM_POWER_OFF
                                                     : ORVA_SIM_POWER_TRIPPED;
        return report(orva_sim_set_power(board, port, state));
    }
    if (*fault) {
        return report(orva_sim_inject_fault(board, port, faultName.c_str(), faultCount));
    }
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "orva-sim: %s\n", e.what());
    } catch (...) {
        std::fprintf(stderr, "orva-sim: unexpected failure\n");
    }
    return 1;
}
