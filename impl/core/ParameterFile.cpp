#include "impl/core/ParameterFile.h"

#include <charconv>
#include <istream>
#include <limits>
#include <ostream>
#include <sstream>
#include <string>
#include <unordered_set>

namespace orva::core {

namespace {

// Categories nest; a description whose categories name each other in a ring
// must not take the dump down.
constexpr int kMaxCategoryDepth = 32;
// No feature line is this long; a longer one is junk, not a value.
constexpr std::size_t kMaxLineBytes = std::size_t{64} * 1024;

std::string ValueText(const genapi::Node& node) {
    std::ostringstream text;
    switch (node.GetPrincipalInterfaceType()) {
    case genapi::InterfaceType::Integer:
        text << node.As<genapi::Integer>()->GetValue(false);
        break;
    case genapi::InterfaceType::Boolean:
        text << (node.As<genapi::Boolean>()->GetValue() ? 1 : 0);
        break;
    case genapi::InterfaceType::Float:
        // Every digit it takes to read the same value back.
        text.precision(std::numeric_limits<double>::max_digits10);
        text << node.As<genapi::Float>()->GetValue(false);
        break;
    case genapi::InterfaceType::String:
        text << '"' << node.As<genapi::String>()->GetValue() << '"';
        break;
    case genapi::InterfaceType::Enumeration: {
        auto entry = node.As<genapi::Enumeration>()->GetCurrentEntry();
        text << (entry ? entry->GetSymbolic() : std::string());
        break;
    }
    case genapi::InterfaceType::Command:
        text << (node.As<genapi::Command>()->IsDone() ? 1 : 0);
        break;
    default:
        break;
    }
    return text.str();
}

bool IsValueType(genapi::InterfaceType type) {
    switch (type) {
    case genapi::InterfaceType::Integer:
    case genapi::InterfaceType::Boolean:
    case genapi::InterfaceType::Float:
    case genapi::InterfaceType::String:
    case genapi::InterfaceType::Enumeration:
    case genapi::InterfaceType::Command:
        return true;
    default:
        return false;
    }
}

void DumpNode(std::ostream& out, const genapi::Node& node, int depth) {
    const std::string name = node.GetName();
    try {
        if (auto category = node.As<genapi::Category>()) {
            if (depth < kMaxCategoryDepth) {
                for (const genapi::Node& feature : category->GetFeatures()) {
                    DumpNode(out, feature, depth + 1);
                }
            }
            out << '#' << name << '\n'; // a category's name comes after its content
            return;
        }
        const genapi::AccessMode mode = node.GetAccessMode();
        if (!genapi::IsReadable(mode)) {
            out << '#' << name << '\n';
            return;
        }
        const genapi::InterfaceType type = node.GetPrincipalInterfaceType();
        if (!IsValueType(type)) {
            out << "# " << name << ": not supported\n";
            return;
        }
        const bool comment = mode != genapi::AccessMode::RW || type == genapi::InterfaceType::Command;
        out << (comment ? "#" : "") << name << '=' << ValueText(node) << '\n';
    } catch (const genapi::GenApiError& e) {
        out << "# " << name << ": genicam exception - " << e.what() << '\n';
    } catch (const std::exception& e) {
        out << "# " << name << ": exception - " << e.what() << '\n';
    }
}

std::string Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n\f\v");
    if (first == std::string::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t\r\n\f\v");
    return text.substr(first, last - first + 1);
}

template <class Number> bool ParseNumber(const std::string& text, Number& out) {
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, out);
    return ec == std::errc() && ptr == end;
}

bool ParseDouble(const std::string& text, double& out) {
    std::istringstream in(text);
    in >> out;
    return !in.fail() && (in >> std::ws).eof();
}

// True if the value was taken.
bool ApplyValue(const genapi::Node& node, const std::string& text, bool onlyIfDifferent) {
    if (text.empty()) {
        return false;
    }
    switch (node.GetPrincipalInterfaceType()) {
    case genapi::InterfaceType::Integer: {
        int64_t value = 0;
        if (!ParseNumber(text, value)) {
            return false;
        }
        auto n = node.As<genapi::Integer>();
        if (!onlyIfDifferent || n->GetValue() != value) {
            n->SetValue(value, true);
        }
        return true;
    }
    case genapi::InterfaceType::Boolean: {
        int64_t value = 0;
        if (!ParseNumber(text, value)) {
            return false;
        }
        auto n = node.As<genapi::Boolean>();
        if (!onlyIfDifferent || n->GetValue() != (value != 0)) {
            n->SetValue(value != 0);
        }
        return true;
    }
    case genapi::InterfaceType::Float: {
        double value = 0;
        if (!ParseDouble(text, value)) {
            return false;
        }
        auto n = node.As<genapi::Float>();
        if (!onlyIfDifferent || n->GetValue() != value) {
            n->SetValue(value, true);
        }
        return true;
    }
    case genapi::InterfaceType::String: {
        if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
            return false;
        }
        const std::string inner = text.substr(1, text.size() - 2);
        auto n = node.As<genapi::String>();
        if (!onlyIfDifferent || n->GetValue() != inner) {
            n->SetValue(inner, true);
        }
        return true;
    }
    case genapi::InterfaceType::Enumeration: {
        auto n = node.As<genapi::Enumeration>();
        auto entry = n->GetEntryByName(text);
        if (!entry) {
            return false;
        }
        if (!onlyIfDifferent || n->GetIntValue() != entry->GetValue()) {
            n->SetIntValue(entry->GetValue(), true);
        }
        return true;
    }
    case genapi::InterfaceType::Command: {
        int64_t value = 0;
        if (!ParseNumber(text, value)) {
            return false;
        }
        if (value != 0) {
            node.As<genapi::Command>()->Execute();
        }
        return true;
    }
    default:
        return false;
    }
}

// One line of at most kMaxLineBytes; false at the end of the stream or for a
// longer line (whose rest is skipped).
bool ReadLine(std::istream& in, std::string& line, bool& tooLong) {
    line.clear();
    tooLong = false;
    char c = 0;
    bool any = false;
    while (in.get(c)) {
        any = true;
        if (c == '\n') {
            return true;
        }
        if (line.size() < kMaxLineBytes) {
            line.push_back(c);
        } else {
            tooLong = true;
        }
    }
    return any;
}

} // namespace

bool DumpParameters(std::ostream& out, genapi::NodeMap* map) {
    if (map == nullptr) {
        return false;
    }
    out << kParameterDumpHeader << "\n\n";
    if (auto root = map->Get<genapi::Category>("Root")) {
        for (const genapi::Node& feature : root->GetFeatures()) {
            DumpNode(out, feature, 1);
        }
    }
    out.flush();
    return static_cast<bool>(out);
}

bool LoadParameters(std::istream& in, genapi::NodeMap* map, bool stopOnError) {
    if (map == nullptr) {
        return false;
    }
    std::string line;
    bool tooLong = false;
    while (ReadLine(in, line, tooLong)) {
        if (tooLong) {
            if (stopOnError) {
                return false;
            }
            continue;
        }
        const auto equals = line.find('=');
        if (line.empty() || line.front() == '#' || equals == std::string::npos) {
            continue;
        }
        const std::string key = Trim(line.substr(0, equals));
        const std::string value = Trim(line.substr(equals + 1));
        std::optional<genapi::Node> node = map->GetNode(key);
        bool applied = false;
        if (node) {
            try {
                applied = ApplyValue(*node, value, false);
            } catch (const genapi::GenApiError&) {
                applied = false;
            } catch (const std::exception&) {
                // Once more, writing only what differs: a camera may refuse to
                // write a value it already has.
                try {
                    ApplyValue(*node, value, true);
                } catch (const std::exception&) {
                }
                applied = false;
            }
        }
        if (!applied && stopOnError) {
            return false;
        }
    }
    return true;
}

} // namespace orva::core
