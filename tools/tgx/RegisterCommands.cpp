#include <iomanip>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "tools/tgx/CameraSelection.h"
#include "tools/tgx/Commands.h"

namespace tgx {

namespace {

struct AccessOptions {
    ScanOptions scan;
    std::string action;
    uint64_t address = 0;
    std::string value; // register value, or memory bytes in hex
    uint32_t length = 4;
};

std::string HexBytes(const std::vector<uint8_t>& bytes) {
    std::ostringstream out;
    out << std::hex << std::setfill('0');
    for (uint8_t b : bytes) {
        out << std::setw(2) << static_cast<unsigned>(b);
    }
    return out.str();
}

// "0a1B ff" -> {0x0a, 0x1b, 0xff}; false on anything else.
bool ParseHexBytes(const std::string& text, std::vector<uint8_t>& out) {
    std::string digits;
    for (char c : text) {
        if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
            digits += c;
        } else if (c != ' ' && c != ':') {
            return false;
        }
    }
    if (digits.empty() || digits.size() % 2 != 0) {
        return false;
    }
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        out.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return true;
}

int Report(const GlobalOptions& options, int32_t status, const nlohmann::json& result, const std::string& text) {
    if (status != TGX_OK) {
        std::cerr << "tgx: " << StatusText(status) << '\n';
        return 1;
    }
    if (options.json) {
        std::cout << result.dump(2) << '\n';
    } else {
        std::cout << text << '\n';
    }
    return 0;
}

int RunRegister(const AccessOptions& o, const GlobalOptions& options) {
    int32_t status = TGX_OK;
    auto session = Discover(o.scan, options, status);
    TgxCameraHandle* camera = session ? SelectCamera(*session, o.scan) : nullptr;
    if (camera == nullptr) {
        return 2;
    }
    std::ostringstream address;
    address << "0x" << std::hex << o.address;
    if (o.action == "read") {
        uint32_t value = 0;
        status = Tgx_registerReadFromCamera(camera, &value, o.address);
        std::ostringstream text;
        text << "0x" << std::hex << std::setw(8) << std::setfill('0') << value;
        return Report(options, status, {{"address", address.str()}, {"value", value}}, text.str());
    }
    uint32_t value = 0;
    try {
        value = static_cast<uint32_t>(std::stoul(o.value, nullptr, 0));
    } catch (const std::exception&) {
        std::cerr << "tgx: not a register value: " << o.value << '\n';
        return 2;
    }
    status = Tgx_registerWriteToCamera(camera, value, o.address);
    return Report(options, status, {{"address", address.str()}, {"value", value}, {"status", status}}, "ok");
}

int RunMemory(const AccessOptions& o, const GlobalOptions& options) {
    std::vector<uint8_t> bytes;
    if (o.action == "write" && !ParseHexBytes(o.value, bytes)) {
        std::cerr << "tgx: not hex bytes: " << o.value << '\n';
        return 2;
    }
    int32_t status = TGX_OK;
    auto session = Discover(o.scan, options, status);
    TgxCameraHandle* camera = session ? SelectCamera(*session, o.scan) : nullptr;
    if (camera == nullptr) {
        return 2;
    }
    if (o.action == "read") {
        bytes.assign(o.length, 0);
        status = Tgx_memoryReadFromCamera(camera, bytes.data(), o.address, o.length);
        return Report(options, status, {{"address", o.address}, {"bytes", HexBytes(bytes)}}, HexBytes(bytes));
    }
    status = Tgx_memoryWriteToCamera(camera, bytes.data(), o.address, static_cast<uint32_t>(bytes.size()));
    return Report(options, status, {{"address", o.address}, {"length", bytes.size()}, {"status", status}}, "ok");
}

int RunProperties(const ScanOptions& o, const GlobalOptions& options) {
    int32_t status = TGX_OK;
    auto session = Discover(o, options, status);
    if (!session) {
        return 2;
    }
    nlohmann::json board;
    for (const char* name : {"NrOfPorts", "NrOfCameras", "TransceiversLockedMask"}) {
        uint32_t value = 0;
        if (Tgx_getBoardPropertyWithType(session->board(), name, &value, TGX_PROPERTY_TYPE_UINT32, nullptr) == TGX_OK) {
            board[name] = value;
        }
    }
    nlohmann::json result = {{"board", board}};
    if (TgxCameraHandle* camera = SelectCamera(*session, o)) {
        nlohmann::json cam;
        for (const char* name : {"MASTERPORT", "MASTERID", "NROFLINKS", "LINKSPEED", "DISCOVERYSPEED",
                                 "CONTROLPACKETSIZE", "STREAMPACKETSIZE", "CONNECTED", "ISTRANSCEIVERLOCKED"}) {
            cam[name] = CameraProperty(camera, name);
        }
        nlohmann::json links = nlohmann::json::array();
        for (uint32_t link = 0; link < CameraProperty(camera, "NROFLINKS") && link < 4; ++link) {
            links.push_back({{"FGPORT", CameraProperty(camera, "FGPORT", link)},
                             {"APPLETPORT", CameraProperty(camera, "APPLETPORT", link)},
                             {"APPLETMASTERID", CameraProperty(camera, "APPLETMASTERID", link)},
                             {"APPLETLINKORDERINDEX", CameraProperty(camera, "APPLETLINKORDERINDEX", link)}});
        }
        cam["links"] = links;
        result["camera"] = cam;
    }
    if (options.json) {
        std::cout << result.dump(2) << '\n';
    } else {
        for (const auto& [group, values] : result.items()) {
            for (const auto& [key, value] : values.items()) {
                std::cout << group << '.' << key << ": " << value.dump() << '\n';
            }
        }
    }
    return 0;
}

} // namespace

void AddRegisterCommands(CLI::App& app, const GlobalOptions& options, int& exitCode) {
    auto reg = std::make_shared<AccessOptions>();
    CLI::App* regCommand = app.add_subcommand("reg", "Read or write a 32-bit camera register");
    regCommand->add_option("action", reg->action, "read or write")->required()->check(CLI::IsMember({"read", "write"}));
    regCommand->add_option("address", reg->address, "Register address")->required();
    regCommand->add_option("value", reg->value, "Value to write");
    AddScanOptions(regCommand, reg->scan, true);
    regCommand->callback([reg, &options, &exitCode] {
        if (reg->action == "write" && reg->value.empty()) {
            throw CLI::ValidationError("reg write needs a value");
        }
        exitCode = RunRegister(*reg, options);
    });

    auto mem = std::make_shared<AccessOptions>();
    CLI::App* memCommand = app.add_subcommand("mem", "Read or write camera memory");
    memCommand->add_option("action", mem->action, "read or write")->required()->check(CLI::IsMember({"read", "write"}));
    memCommand->add_option("address", mem->address, "Start address")->required();
    memCommand->add_option("data", mem->value, "Bytes to write, in hex");
    memCommand->add_option("-n,--length", mem->length, "Bytes to read")->capture_default_str();
    AddScanOptions(memCommand, mem->scan, true);
    memCommand->callback([mem, &options, &exitCode] {
        if (mem->action == "write" && mem->value.empty()) {
            throw CLI::ValidationError("mem write needs data");
        }
        exitCode = RunMemory(*mem, options);
    });

    auto props = std::make_shared<ScanOptions>();
    CLI::App* propsCommand = app.add_subcommand("props", "Board and camera properties");
    AddScanOptions(propsCommand, *props, true);
    propsCommand->callback([props, &options, &exitCode] { exitCode = RunProperties(*props, options); });
}

} // namespace tgx
