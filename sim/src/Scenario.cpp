#include "Scenario.h"

#include "Device.h"
#include "SharedLayout.h"
#include "SimError.h"
#include "Technologies.h"
#include "orva_sim.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <initializer_list>
#include <map>
#include <sstream>

namespace orva::sim {

namespace {

using nlohmann::json;

constexpr std::string_view kDefaultScenario = R"({
  "description": "one board of each camera technology; two CoaXPress cameras on board 0",
  "boards": [
    { "index": 0, "type": "0xA64", "serial": 100000, "design": "coaxpress",  "ports": 4, "portPower": "on",
      "cameras": [
        { "model": "cxp-camera", "ports": [0, 1],
          "params": { "modelName": "cxp-dual-link", "serialNumber": "CXP-SIM-0001" } },
        { "model": "cxp-camera", "ports": [2],
          "params": { "modelName": "cxp-single-link", "serialNumber": "CXP-SIM-0002", "revision": "1.1",
                      "defaultSpeed": 5000, "descriptionFormat": "plain" } }
      ] },
    { "index": 1, "type": "0xA62", "serial": 100001, "design": "clhs",       "ports": 2 },
    { "index": 2, "type": "0xA58", "serial": 100002, "design": "cameralink", "ports": 2 },
    { "index": 3, "type": "0xB61", "serial": 100003, "design": "gige",       "ports": 4 }
  ]
})";

class Checker {
public:
    explicit Checker(std::string_view source) : source_(source) {}

    [[noreturn]] void fail(const std::string& path, const std::string& message) const {
        std::string text(source_);
        text += ": ";
        if (!path.empty()) {
            text += path + ": ";
        }
        throw SimError(ORVA_SIM_ERR_SCENARIO, text + message);
    }

    void onlyKeys(const json& object, const std::string& path, std::initializer_list<std::string_view> known) const {
        for (const auto& item : object.items()) {
            if (std::find(known.begin(), known.end(), item.key()) == known.end()) {
                std::string list;
                for (auto k : known) {
                    list += (list.empty() ? "" : ", ") + std::string(k);
                }
                fail(path, "unknown field '" + item.key() + "' (known: " + list + ")");
            }
        }
    }

    const json& required(const json& object, const std::string& path, const char* key) const {
        auto it = object.find(key);
        if (it == object.end()) {
            fail(path, std::string("missing field '") + key + "'");
        }
        return *it;
    }

    uint64_t unsignedValue(const json& value, const std::string& path, uint64_t max) const {
        if (!value.is_number_unsigned() || value.get<uint64_t>() > max) {
            fail(path, "expected a whole number from 0 to " + std::to_string(max) + ", got " + value.dump());
        }
        return value.get<uint64_t>();
    }

    std::string text(const json& value, const std::string& path, size_t maxLength) const {
        if (!value.is_string() || value.get<std::string>().empty()) {
            fail(path, "expected a non-empty text, got " + value.dump());
        }
        auto s = value.get<std::string>();
        if (s.size() > maxLength) {
            fail(path, "'" + s + "' is longer than " + std::to_string(maxLength) + " characters");
        }
        return s;
    }

private:
    std::string_view source_;
};

constexpr size_t kMaxName = layout::kNameBytes - 1;

uint32_t parseType(const Checker& check, const json& value, const std::string& path) {
    if (value.is_string()) {
        const auto s = value.get<std::string>();
        const bool hex = s.size() > 2 && s.size() <= 10 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X') &&
                         std::all_of(s.begin() + 2, s.end(), [](char c) { return std::isxdigit(c) != 0; });
        if (!hex) {
            check.fail(path, "expected a board type as a number or a hex text such as \"0xA64\", got " + value.dump());
        }
        return static_cast<uint32_t>(std::stoul(s.substr(2), nullptr, 16));
    }
    return static_cast<uint32_t>(check.unsignedValue(value, path, UINT32_MAX));
}

// A register value: a number, or a hex text such as "0x1100" for values a
// JSON reader may not keep exactly.
uint64_t parseRegisterValue(const Checker& check, const json& value, const std::string& path) {
    if (value.is_string()) {
        const auto s = value.get<std::string>();
        const bool hex = s.size() > 2 && s.size() <= 18 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X') &&
                         std::all_of(s.begin() + 2, s.end(), [](char c) { return std::isxdigit(c) != 0; });
        if (!hex) {
            check.fail(path, "expected a number or a hex text such as \"0x1100\", got " + value.dump());
        }
        return std::stoull(s.substr(2), nullptr, 16);
    }
    return check.unsignedValue(value, path, UINT64_MAX);
}

DesignChoice parseDesign(const Checker& check, const json& value, const std::string& path) {
    DesignChoice design;
    const auto lookup = [&](const json& name, const std::string& at) {
        const auto text = check.text(name, at, kMaxName);
        const DesignDef* found = findDesign(text);
        if (found == nullptr) {
            std::string known;
            for (const Technology& technology : technologies()) {
                for (const DesignDef& d : technology.designs()) {
                    known += (known.empty() ? "" : ", ") + std::string(d.name);
                }
            }
            check.fail(at, "unknown design '" + text + "' (known: " + known + ")");
        }
        return found;
    };
    if (value.is_string()) {
        design.base = lookup(value, path);
        design.name = std::string(design.base->name);
        return design;
    }
    if (!value.is_object()) {
        check.fail(path, "expected a design name or an object with 'base', got " + value.dump());
    }
    check.onlyKeys(value, path, {"base", "name", "without", "initial"});
    design.base = lookup(check.required(value, path, "base"), path + ".base");
    design.name =
        value.contains("name") ? check.text(value["name"], path + ".name", kMaxName) : std::string(design.base->name);
    if (value.contains("without")) {
        const json& without = value["without"];
        if (!without.is_array()) {
            check.fail(path + ".without", "expected a list of register names");
        }
        for (size_t i = 0; i < without.size(); ++i) {
            const std::string at = path + ".without[" + std::to_string(i) + "]";
            const auto name = check.text(without[i], at, kMaxName);
            const auto& regs = design.base->registers;
            if (std::none_of(regs.begin(), regs.end(), [&](const RegisterDef& r) { return r.name == name; })) {
                check.fail(at, "design '" + std::string(design.base->name) + "' has no register '" + name + "'");
            }
            design.without.push_back(name);
        }
    }
    if (value.contains("initial")) {
        const json& initial = value["initial"];
        if (!initial.is_object()) {
            check.fail(path + ".initial", "expected an object of register names and values");
        }
        for (const auto& item : initial.items()) {
            const std::string& name = item.key();
            std::string at = path;
            at += ".initial.";
            at += name;
            const auto& regs = design.base->registers;
            if (std::none_of(regs.begin(), regs.end(), [&](const RegisterDef& r) { return r.name == name; })) {
                check.fail(at, "design '" + std::string(design.base->name) + "' has no register '" + name + "'");
            }
            design.initial.emplace_back(name, parseRegisterValue(check, item.value(), at));
        }
    }
    return design;
}

CameraSetup parseCamera(const Checker& check, const json& value, const std::string& path, const BoardSetup& board,
                        std::map<uint32_t, std::string>& cabled) {
    if (!value.is_object()) {
        check.fail(path, "expected an object");
    }
    check.onlyKeys(value, path, {"model", "ports", "params", "plugged"});
    CameraSetup camera;
    camera.model = check.text(check.required(value, path, "model"), path + ".model", kMaxName);
    const DeviceModel* model = findDeviceModel(camera.model);
    if (model == nullptr) {
        std::string known;
        for (const Technology& technology : technologies()) {
            for (const DeviceModel& m : technology.cameraModels()) {
                known += (known.empty() ? "" : ", ") + std::string(m.name);
            }
        }
        check.fail(path + ".model", "unknown camera model '" + camera.model + "' (known: " + known + ")");
    }

    const json& ports = check.required(value, path, "ports");
    if (!ports.is_array() || ports.empty()) {
        check.fail(path + ".ports", "expected a non-empty list of port numbers");
    }
    for (size_t i = 0; i < ports.size(); ++i) {
        const std::string at = path + ".ports[" + std::to_string(i) + "]";
        const auto port = static_cast<uint32_t>(check.unsignedValue(ports[i], at, UINT32_MAX));
        if (port >= board.ports) {
            check.fail(at, "port " + std::to_string(port) + " is out of range: board " + std::to_string(board.index) +
                               " has " + std::to_string(board.ports) + " ports");
        }
        auto [it, fresh] = cabled.emplace(port, path);
        if (!fresh) {
            check.fail(at, "port " + std::to_string(port) + " is already cabled to the camera at " + it->second);
        }
        camera.ports.push_back(port);
    }

    const json params = value.contains("params") ? value["params"] : json::object();
    if (!params.is_object()) {
        check.fail(path + ".params", "expected an object");
    }
    camera.params = params.dump();
    if (camera.params.size() >= layout::kCameraParamsBytes) {
        check.fail(path + ".params", "longer than " + std::to_string(layout::kCameraParamsBytes - 1) + " bytes");
    }
    try {
        (void)model->create(params, static_cast<uint32_t>(camera.ports.size()));
    } catch (const std::exception& e) {
        check.fail(path + ".params", e.what());
    }
    if (value.contains("plugged")) {
        if (!value["plugged"].is_boolean()) {
            check.fail(path + ".plugged", "expected true or false");
        }
        camera.plugged = value["plugged"].get<bool>();
    }
    return camera;
}

BoardSetup parseBoard(const Checker& check, const json& value, const std::string& path) {
    if (!value.is_object()) {
        check.fail(path, "expected an object");
    }
    check.onlyKeys(value, path, {"index", "type", "serial", "design", "ports", "portPower", "cameras"});
    BoardSetup board;
    board.index = static_cast<uint32_t>(
        check.unsignedValue(check.required(value, path, "index"), path + ".index", layout::kMaxBoards - 1));
    board.type = parseType(check, check.required(value, path, "type"), path + ".type");
    board.serial = check.unsignedValue(check.required(value, path, "serial"), path + ".serial", INT64_MAX);
    board.design = parseDesign(check, check.required(value, path, "design"), path + ".design");
    const uint32_t maxPorts = board.design.base->maxPorts;
    board.ports =
        static_cast<uint32_t>(check.unsignedValue(check.required(value, path, "ports"), path + ".ports", UINT32_MAX));
    if (board.ports == 0 || board.ports > maxPorts) {
        check.fail(path + ".ports", "expected 1 to " + std::to_string(maxPorts) + " ports for design '" +
                                        std::string(board.design.base->name) + "', got " + std::to_string(board.ports));
    }
    board.portPowerOn = !board.design.base->cameraControl;
    if (value.contains("portPower")) {
        const json& power = value["portPower"];
        if (power != "on" && power != "off") {
            check.fail(path + ".portPower", "expected \"on\" or \"off\", got " + power.dump());
        }
        board.portPowerOn = power == "on";
    }
    if (value.contains("cameras")) {
        const json& cameras = value["cameras"];
        if (!cameras.is_array()) {
            check.fail(path + ".cameras", "expected a list of cameras");
        }
        std::map<uint32_t, std::string> cabled;
        for (size_t i = 0; i < cameras.size(); ++i) {
            board.cameras.push_back(
                parseCamera(check, cameras[i], path + ".cameras[" + std::to_string(i) + "]", board, cabled));
        }
    }
    return board;
}

} // namespace

Scenario parseScenario(std::string_view text, std::string_view source) {
    const Checker check(source);
    json document;
    try {
        document = json::parse(text);
    } catch (const json::parse_error& e) {
        std::string what = e.what();
        // Keep the readable part: "parse error at line 3, column 5: ...".
        const auto at = what.find("parse error");
        check.fail("", "not valid JSON: " + (at == std::string::npos ? what : what.substr(at)));
    }
    if (!document.is_object()) {
        check.fail("", "expected an object with a list 'boards'");
    }
    check.onlyKeys(document, "", {"description", "boards"});
    const json& boards = check.required(document, "", "boards");
    if (!boards.is_array()) {
        check.fail("boards", "expected a list of boards");
    }
    Scenario scenario;
    std::map<uint32_t, size_t> seen;
    for (size_t i = 0; i < boards.size(); ++i) {
        const std::string path = "boards[" + std::to_string(i) + "]";
        BoardSetup board = parseBoard(check, boards[i], path);
        auto [it, fresh] = seen.emplace(board.index, i);
        if (!fresh) {
            check.fail(path + ".index", "board index " + std::to_string(board.index) +
                                            " appears twice (also at boards[" + std::to_string(it->second) + "])");
        }
        scenario.boards.push_back(std::move(board));
    }
    std::sort(scenario.boards.begin(), scenario.boards.end(),
              [](const BoardSetup& a, const BoardSetup& b) { return a.index < b.index; });
    return scenario;
}

std::string readScenarioFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw SimError(ORVA_SIM_ERR_SCENARIO, path + ": can't open the scenario file");
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        throw SimError(ORVA_SIM_ERR_SCENARIO, path + ": can't read the scenario file");
    }
    return text.str();
}

std::string_view defaultScenarioText() {
    return kDefaultScenario;
}

} // namespace orva::sim
