#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include <map>
#include <rapidxml/rapidxml.hpp>
#include <vector>

#include "tools/tgx/CameraSelection.h"
#include "tools/tgx/Commands.h"

namespace tgx {

namespace {

// What the tool needs of a description: each feature's kind and each
// category's features. Values always go through the library; the library's
// own node map stays inside it.
enum class Kind { Category, Integer, Float, Boolean, String, Enumeration, Command, Other };

const char* KindName(Kind kind) {
    switch (kind) {
    case Kind::Category:
        return "ICategory";
    case Kind::Integer:
        return "IInteger";
    case Kind::Float:
        return "IFloat";
    case Kind::Boolean:
        return "IBoolean";
    case Kind::String:
        return "IString";
    case Kind::Enumeration:
        return "IEnumeration";
    case Kind::Command:
        return "ICommand";
    case Kind::Other:
        break;
    }
    return "IValue";
}

Kind KindOfElement(const std::string& tag) {
    static const std::map<std::string, Kind> kinds = {
        {"Category", Kind::Category},    {"Integer", Kind::Integer},         {"IntReg", Kind::Integer},
        {"MaskedIntReg", Kind::Integer}, {"IntConverter", Kind::Integer},    {"IntSwissKnife", Kind::Integer},
        {"Float", Kind::Float},          {"FloatReg", Kind::Float},          {"Converter", Kind::Float},
        {"SwissKnife", Kind::Float},     {"Boolean", Kind::Boolean},         {"String", Kind::String},
        {"StringReg", Kind::String},     {"Enumeration", Kind::Enumeration}, {"Command", Kind::Command},
    };
    const auto it = kinds.find(tag);
    return it != kinds.end() ? it->second : Kind::Other;
}

struct FeatureInfo {
    Kind kind = Kind::Other;
    std::vector<std::string> features; // of a category
    // What the description says of its access: an imposed mode, a
    // register's own mode, the node the value comes from, a formula.
    std::string imposedAccess;
    std::string registerAccess;
    std::string valueFrom;
    bool formula = false;
};

using Description = std::map<std::string, FeatureInfo>;

// Groups nest in principle; no description nests them this deep.
constexpr int kMaxGroupDepth = 8;

// One named element of a description.
void ReadNode(const rapidxml::xml_node<>& node, const rapidxml::xml_attribute<>& name, Description& out) {
    FeatureInfo& info = out[std::string(name.value(), name.value_size())];
    const std::string tag(node.name(), node.name_size());
    info.kind = KindOfElement(tag);
    for (auto* child = node.first_node("pFeature"); child != nullptr; child = child->next_sibling("pFeature")) {
        info.features.emplace_back(child->value(), child->value_size());
    }
    const auto text = [&](const char* element) {
        const rapidxml::xml_node<>* child = node.first_node(element);
        return child != nullptr ? std::string(child->value(), child->value_size()) : std::string();
    };
    info.imposedAccess = text("ImposedAccessMode");
    info.registerAccess = text("AccessMode");
    info.valueFrom = text("pValue");
    if (info.valueFrom.empty()) {
        info.valueFrom = text("pValueDefault");
    }
    info.formula = tag == "SwissKnife" || tag == "IntSwissKnife";
}

// The named elements below `parent`, and those of the <Group> elements in
// it, which only gather nodes for the reader's eye.
void ReadNodes(const rapidxml::xml_node<>& parent, Description& out, int depth = 0) {
    for (auto* node = parent.first_node(); node != nullptr; node = node->next_sibling()) {
        if (node->type() != rapidxml::node_element) {
            continue;
        }
        if (const rapidxml::xml_attribute<>* name = node->first_attribute("Name")) {
            ReadNode(*node, *name, out);
        } else if (std::string_view(node->name(), node->name_size()) == "Group" && depth < kMaxGroupDepth) {
            ReadNodes(*node, out, depth + 1);
        }
    }
}

// Reads the named elements of a description; throws rapidxml::parse_error on
// a broken text.
Description ReadDescription(std::string text) {
    rapidxml::xml_document<> document;
    document.parse<0>(text.data());
    Description out;
    if (const rapidxml::xml_node<>* root = document.first_node()) {
        ReadNodes(*root, out);
    }
    return out;
}

struct FeatureOptions {
    ScanOptions scan;
    std::string feature;
    std::string value;
};

std::string DescriptionText(TgxCameraHandle* camera) {
    uint32_t size = 0;
    if (Tgx_loadCameraXml(camera) != TGX_OK || Tgx_getGenICamXML(camera, nullptr, &size) != TGX_OK) {
        return {};
    }
    std::string xml(size, '\0');
    if (Tgx_getGenICamXML(camera, xml.data(), &size) != TGX_OK) {
        return {};
    }
    return xml;
}

// The value of a feature through the library, as its interface gives it;
// empty with the status when it can't be read.
std::optional<nlohmann::json> ReadValue(TgxCameraHandle* camera, const std::string& name, Kind type, int32_t& status) {
    const char* text = nullptr;
    switch (type) {
    case Kind::Integer: {
        int64_t v = 0;
        status = Tgx_getIntegerValue(camera, name.c_str(), &v);
        return status == TGX_OK ? std::optional<nlohmann::json>(v) : std::nullopt;
    }
    case Kind::Float: {
        double v = 0;
        status = Tgx_getFloatValue(camera, name.c_str(), &v);
        return status == TGX_OK ? std::optional<nlohmann::json>(v) : std::nullopt;
    }
    case Kind::Boolean: {
        uint32_t v = 0;
        status = Tgx_getBooleanValue(camera, name.c_str(), &v);
        return status == TGX_OK ? std::optional<nlohmann::json>(v != 0) : std::nullopt;
    }
    case Kind::String:
        status = Tgx_getStringValue(camera, name.c_str(), &text);
        return status == TGX_OK ? std::optional<nlohmann::json>(std::string(text)) : std::nullopt;
    case Kind::Enumeration:
        status = Tgx_getEnumerationValueAsString(camera, name.c_str(), &text);
        return status == TGX_OK ? std::optional<nlohmann::json>(std::string(text)) : std::nullopt;
    default:
        status = TGX_OK;
        return std::nullopt;
    }
}

int32_t WriteValue(TgxCameraHandle* camera, const std::string& name, Kind type, const std::string& value) {
    try {
        switch (type) {
        case Kind::Integer:
            return Tgx_setIntegerValue(camera, name.c_str(), std::stoll(value, nullptr, 0));
        case Kind::Float:
            return Tgx_setFloatValue(camera, name.c_str(), std::stod(value));
        case Kind::Boolean:
            return Tgx_setBooleanValue(camera, name.c_str(), value == "true" || value == "1" ? 1U : 0U);
        case Kind::String:
            return Tgx_setStringValue(camera, name.c_str(), value.c_str());
        case Kind::Enumeration:
            return Tgx_setEnumerationValue(camera, name.c_str(), value.c_str());
        case Kind::Command:
            return Tgx_executeCommand(camera, name.c_str());
        default:
            return TGX_ERR_INVALID_FEATURE;
        }
    } catch (const std::exception&) {
        return TGX_ERR_INVALID_ARGUMENT; // not a number
    }
}

// The structure of the camera's features, from its description.
std::optional<Description> Structure(TgxCameraHandle* camera) {
    try {
        return ReadDescription(DescriptionText(camera));
    } catch (const std::exception& e) {
        std::cerr << "tgx: the camera's description: " << e.what() << '\n';
        return std::nullopt;
    }
}

// Categories may name each other in a ring; the walk stops at this depth.
constexpr int kMaxDepth = 32;

// The access the description gives a feature, following its value to the
// register: "RO" or "RW" (a feature whose value the node map holds itself is
// RW). What the camera's state locks or hides at run time shows in the
// reads; this is what the description says alone.
std::string DescribedAccess(const Description& description, const std::string& name, int depth = 0) {
    const auto it = description.find(name);
    if (it == description.end() || depth > kMaxDepth) {
        return "RW";
    }
    const FeatureInfo& info = it->second;
    if (!info.imposedAccess.empty()) {
        return info.imposedAccess;
    }
    if (!info.registerAccess.empty()) {
        return info.registerAccess;
    }
    if (info.formula) {
        return "RO";
    }
    return info.valueFrom.empty() ? "RW" : DescribedAccess(description, info.valueFrom, depth + 1);
}

void Walk(TgxCameraHandle* camera, const Description& description, const std::string& name, int depth,
          nlohmann::json& out, bool json) {
    const auto it = description.find(name);
    const Kind kind = it != description.end() ? it->second.kind : Kind::Other;
    nlohmann::json entry = {{"name", name}, {"type", KindName(kind)}};
    if (kind != Kind::Category) {
        int32_t status = TGX_OK;
        if (auto value = ReadValue(camera, name, kind, status)) {
            entry["value"] = *value;
            entry["access"] = DescribedAccess(description, name);
        } else if (status == TGX_ERR_FEATURE_WRITE_ONLY) {
            entry["access"] = "WO";
        } else if (status != TGX_OK) {
            // Not implemented, not available now, or the camera didn't answer.
            entry["access"] = "NA";
            entry["error"] = status;
        } else {
            entry["access"] = DescribedAccess(description, name); // a command: nothing to read
        }
    }
    if (!json) {
        std::cout << std::string(std::size_t{2} * depth, ' ') << name << " [" << KindName(kind);
        if (entry.contains("access")) {
            std::cout << ", " << entry["access"].get<std::string>();
        }
        std::cout << ']';
        if (entry.contains("value")) {
            std::cout << " = "
                      << (entry["value"].is_string() ? entry["value"].get<std::string>() : entry["value"].dump());
        }
        std::cout << '\n';
    }
    if (kind == Kind::Category && depth < kMaxDepth) {
        nlohmann::json children = nlohmann::json::array();
        for (const std::string& child : it->second.features) {
            Walk(camera, description, child, depth + 1, children, json);
        }
        entry["features"] = children;
    }
    out.push_back(entry);
}

int RunFeatures(const FeatureOptions& o, const GlobalOptions& options) {
    ConnectedCamera c;
    if (!Connect(o.scan, options, c)) {
        return 2;
    }
    auto description = Structure(c.camera);
    if (!description) {
        return 1;
    }
    if (description->count("Root") == 0) {
        std::cerr << "tgx: the description has no Root category\n";
        return 1;
    }
    nlohmann::json tree = nlohmann::json::array();
    Walk(c.camera, *description, "Root", 0, tree, options.json);
    if (options.json) {
        std::cout << tree.dump(2) << '\n';
    }
    return 0;
}

int RunGetSet(const FeatureOptions& o, const GlobalOptions& options, bool set) {
    ConnectedCamera c;
    if (!Connect(o.scan, options, c)) {
        return 2;
    }
    auto description = Structure(c.camera);
    const auto node = description ? description->find(o.feature) : Description::const_iterator();
    if (!description || node == description->end()) {
        std::cerr << "tgx: no feature " << o.feature << '\n';
        return 1;
    }
    const Kind type = node->second.kind;
    int32_t status = set ? WriteValue(c.camera, o.feature, type, o.value) : TGX_OK;
    std::optional<nlohmann::json> value;
    if (status == TGX_OK && type != Kind::Command) {
        value = ReadValue(c.camera, o.feature, type, status);
    }
    if (status != TGX_OK) {
        std::cerr << "tgx: " << o.feature << ": " << StatusText(status) << '\n';
        return 1;
    }
    if (options.json) {
        std::cout << nlohmann::json{{"feature", o.feature}, {"value", value.value_or(nullptr)}}.dump(2) << '\n';
    } else if (value) {
        std::cout << (value->is_string() ? value->get<std::string>() : value->dump()) << '\n';
    }
    return 0;
}

int RunXml(const ScanOptions& o, const GlobalOptions& options) {
    int32_t status = TGX_OK;
    auto session = Discover(o, options, status);
    TgxCameraHandle* camera = session ? SelectCamera(*session, o) : nullptr;
    if (camera == nullptr) {
        return 2;
    }
    const std::string xml = DescriptionText(camera);
    if (xml.empty()) {
        std::cerr << "tgx: the camera gave no description\n";
        return 1;
    }
    if (options.json) {
        std::cout << nlohmann::json{{"xml", xml}}.dump(2) << '\n';
    } else {
        std::cout << xml;
    }
    return 0;
}

} // namespace

void AddFeatureCommands(CLI::App& app, const GlobalOptions& options, int& exitCode) {
    auto features = std::make_shared<FeatureOptions>();
    CLI::App* featuresCommand = app.add_subcommand("features", "The camera's features with type and value");
    AddScanOptions(featuresCommand, features->scan, true);
    featuresCommand->callback([features, &options, &exitCode] { exitCode = RunFeatures(*features, options); });

    auto get = std::make_shared<FeatureOptions>();
    CLI::App* getCommand = app.add_subcommand("get", "Print a feature's value");
    getCommand->add_option("feature", get->feature, "Feature name")->required();
    AddScanOptions(getCommand, get->scan, true);
    getCommand->callback([get, &options, &exitCode] { exitCode = RunGetSet(*get, options, false); });

    auto set = std::make_shared<FeatureOptions>();
    CLI::App* setCommand = app.add_subcommand("set", "Set a feature (a command runs)");
    setCommand->add_option("feature", set->feature, "Feature name")->required();
    setCommand->add_option("value", set->value, "Value; an entry name for enumerations");
    AddScanOptions(setCommand, set->scan, true);
    setCommand->callback([set, &options, &exitCode] { exitCode = RunGetSet(*set, options, true); });

    auto xml = std::make_shared<ScanOptions>();
    CLI::App* xmlCommand = app.add_subcommand("xml", "Print the camera's GenICam description");
    AddScanOptions(xmlCommand, *xml, true);
    xmlCommand->callback([xml, &options, &exitCode] { exitCode = RunXml(*xml, options); });
}

} // namespace tgx
