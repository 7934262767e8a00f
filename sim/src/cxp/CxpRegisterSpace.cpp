#include "CxpRegisterSpace.h"

#include <rapidxml/rapidxml.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

namespace orva::sim::cxp {

// ---- the registers a description addresses ----

namespace {

using XmlNode = rapidxml::xml_node<char>;

constexpr std::array<std::string_view, 6> kRegisterNodes{"IntReg",    "MaskedIntReg", "FloatReg",
                                                         "StringReg", "Register",     "StructReg"};
// Links from a command to its register are followed this far (Command ->
// Integer -> IntReg, say); further is a description the camera doesn't use.
constexpr int kMaxValueLinks = 4;

std::string_view nameOf(const XmlNode& node) {
    return {node.name(), node.name_size()};
}

std::string_view valueOf(const XmlNode& node) {
    std::string_view value(node.value(), node.value_size());
    const auto first = value.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return value.substr(first, value.find_last_not_of(" \t\r\n") - first + 1);
}

const XmlNode* childOf(const XmlNode& node, std::string_view name) {
    for (const XmlNode* child = node.first_node(); child != nullptr; child = child->next_sibling()) {
        if (nameOf(*child) == name) {
            return child;
        }
    }
    return nullptr;
}

std::string_view childValue(const XmlNode& node, std::string_view name) {
    const XmlNode* child = childOf(node, name);
    return child != nullptr ? valueOf(*child) : std::string_view{};
}

// A whole number as descriptions write them: decimal or 0x hex, maybe signed.
std::optional<int64_t> wholeNumberOf(std::string_view text) {
    const std::string s(text);
    if (s.empty()) {
        return std::nullopt;
    }
    const bool hex = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    char* end = nullptr;
    errno = 0;
    const int64_t value =
        hex ? static_cast<int64_t>(std::strtoull(s.c_str(), &end, 16)) : std::strtoll(s.c_str(), &end, 10);
    if (errno != 0 || end != s.c_str() + s.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> realNumberOf(std::string_view text) {
    const std::string s(text);
    char* end = nullptr;
    const double value = std::strtod(s.c_str(), &end);
    if (s.empty() || end != s.c_str() + s.size()) {
        return std::nullopt;
    }
    return value;
}

struct DescribedRegister {
    uint32_t address = 0;
    uint32_t length = 0;
    bool readable = false;
    bool writable = false;
    bool command = false;
    std::vector<uint8_t> initial; // empty: zeros
};

// The register's address, if it is fixed: the sum of its <Address> elements,
// none computed (<pAddress>, <IntSwissKnife>) and no <pIndex>.
std::optional<uint64_t> fixedAddress(const XmlNode& node) {
    uint64_t address = 0;
    bool any = false;
    for (const XmlNode* child = node.first_node(); child != nullptr; child = child->next_sibling()) {
        const std::string_view name = nameOf(*child);
        if (name == "pAddress" || name == "IntSwissKnife" || name == "pIndex") {
            return std::nullopt;
        }
        if (name == "Address") {
            const auto part = wholeNumberOf(valueOf(*child));
            if (!part || *part < 0) {
                return std::nullopt;
            }
            address += static_cast<uint64_t>(*part);
            any = true;
        }
    }
    return any ? std::optional<uint64_t>(address) : std::nullopt;
}

// `value` in the register's length and byte order (little-endian unless
// the description says otherwise).
std::vector<uint8_t> encoded(const XmlNode& reg, uint32_t length, uint64_t bits) {
    std::vector<uint8_t> bytes(length, 0);
    const bool bigEndian = childValue(reg, "Endianess") == "BigEndian";
    for (uint32_t i = 0; i < length && i < 8; ++i) {
        const auto byte = static_cast<uint8_t>(bits >> (8 * i));
        bytes[bigEndian ? length - 1 - i : i] = byte;
    }
    return bytes;
}

// What a register holds at power-up when the feature over it is `feature`.
std::vector<uint8_t> initialValue(const XmlNode& reg, uint32_t length, const XmlNode& feature) {
    const std::string_view type = nameOf(feature);
    std::optional<double> value;
    if (type == "Integer" || type == "Float") {
        const std::string_view min = childValue(feature, "Min");
        if (type == "Float") {
            value = realNumberOf(min);
        } else if (const std::optional<int64_t> whole = wholeNumberOf(min)) {
            value = static_cast<double>(*whole);
        }
        if (!value || !(*value > 0)) {
            return {};
        }
    } else if (type == "Enumeration") {
        const XmlNode* entry = childOf(feature, "EnumEntry");
        const auto number = entry != nullptr ? wholeNumberOf(childValue(*entry, "Value")) : std::nullopt;
        if (!number) {
            return {};
        }
        value = static_cast<double>(*number);
    } else {
        return {};
    }
    if (nameOf(reg) == "FloatReg") {
        if (length == 4) {
            return encoded(reg, length, std::bit_cast<uint32_t>(static_cast<float>(*value)));
        }
        return length == 8 ? encoded(reg, length, std::bit_cast<uint64_t>(*value)) : std::vector<uint8_t>{};
    }
    if (nameOf(reg) == "IntReg" && length <= 8) {
        return encoded(reg, length, static_cast<uint64_t>(static_cast<int64_t>(*value)));
    }
    return {};
}

void collectElements(const XmlNode& node, std::unordered_map<std::string_view, const XmlNode*>& byName,
                     std::vector<const XmlNode*>& all) {
    for (const XmlNode* child = node.first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() != rapidxml::node_element) {
            continue;
        }
        all.push_back(child);
        if (const rapidxml::xml_attribute<char>* name = child->first_attribute("Name")) {
            byName.emplace(std::string_view(name->value(), name->value_size()), child);
        }
        // Nodes sit in the root or in groups; properties hold no nodes, but
        // an enumeration's entries are looked at through the enumeration.
        if (nameOf(*child) == "Group") {
            collectElements(*child, byName, all);
        }
    }
}

bool isRegisterNode(const XmlNode& node) {
    return std::find(kRegisterNodes.begin(), kRegisterNodes.end(), nameOf(node)) != kRegisterNodes.end();
}

} // namespace

RegisterSpace RegisterSpace::fromDescription(std::string_view xml,
                                             const std::function<bool(uint32_t)>& servedElsewhere) {
    std::vector<char> text(xml.begin(), xml.end());
    text.push_back('\0');
    rapidxml::xml_document<char> document;
    try {
        document.parse<rapidxml::parse_default>(text.data());
    } catch (const rapidxml::parse_error&) {
        return {};
    }
    const XmlNode* root = document.first_node();
    if (root == nullptr) {
        return {};
    }
    std::unordered_map<std::string_view, const XmlNode*> byName;
    std::vector<const XmlNode*> elements;
    collectElements(*root, byName, elements);

    // The registers behind commands, and the feature over each register that
    // may give it a value to start from.
    std::unordered_set<const XmlNode*> commandRegisters;
    std::unordered_map<const XmlNode*, const XmlNode*> featureOf;
    for (const XmlNode* element : elements) {
        const std::string_view type = nameOf(*element);
        const auto target = byName.find(childValue(*element, "pValue"));
        if (target == byName.end()) {
            continue;
        }
        if (type == "Command") {
            const XmlNode* node = target->second;
            for (int link = 0; link < kMaxValueLinks && node != nullptr && !isRegisterNode(*node); ++link) {
                const auto next = byName.find(childValue(*node, "pValue"));
                node = next != byName.end() ? next->second : nullptr;
            }
            if (node != nullptr && isRegisterNode(*node)) {
                commandRegisters.insert(node);
            }
        } else if (type == "Integer" || type == "Float" || type == "Enumeration") {
            featureOf.emplace(target->second, element);
        }
    }

    std::vector<DescribedRegister> registers;
    for (const XmlNode* element : elements) {
        if (!isRegisterNode(*element)) {
            continue;
        }
        const std::optional<uint64_t> address = fixedAddress(*element);
        const std::optional<int64_t> length = wholeNumberOf(childValue(*element, "Length"));
        if (!address || !length || *length <= 0 || *address + static_cast<uint64_t>(*length) > 0x100000000ULL ||
            servedElsewhere(static_cast<uint32_t>(*address))) {
            continue;
        }
        DescribedRegister r;
        r.address = static_cast<uint32_t>(*address);
        r.length = static_cast<uint32_t>(*length);
        // The default access of a register is read-only.
        const std::string_view access = childValue(*element, "AccessMode");
        r.readable = access != "WO";
        r.writable = access == "WO" || access == "RW";
        r.command = commandRegisters.contains(element);
        if (const auto feature = featureOf.find(element); feature != featureOf.end()) {
            r.initial = initialValue(*element, r.length, *feature->second);
        }
        registers.push_back(std::move(r));
    }
    std::stable_sort(registers.begin(), registers.end(),
                     [](const DescribedRegister& a, const DescribedRegister& b) { return a.address < b.address; });

    RegisterSpace space;
    std::vector<bool> commands;
    for (const DescribedRegister& r : registers) {
        Extent* last = space.extents_.empty() ? nullptr : &space.extents_.back();
        if (last != nullptr && r.address - last->address < last->length) {
            const uint64_t end =
                std::max<uint64_t>(uint64_t{last->address} + last->length, uint64_t{r.address} + r.length);
            last->length = static_cast<uint32_t>(end - last->address);
            last->readable = last->readable || r.readable;
            last->writable = last->writable || r.writable;
            commands.back() = commands.back() || r.command;
        } else {
            space.extents_.push_back(Extent{r.address, r.length, r.readable, r.writable, 0, std::nullopt});
            commands.push_back(r.command);
        }
    }
    uint64_t store = 0;
    for (Extent& extent : space.extents_) {
        extent.offset = static_cast<uint32_t>(store);
        store += (uint64_t{extent.length} + 3) / 4 * 4;
        if (store > 0xFFFFFFFFULL) {
            throw std::invalid_argument("the description's registers take more than 4 GiB");
        }
    }
    for (size_t i = 0; i < space.extents_.size(); ++i) {
        if (commands[i]) {
            space.extents_[i].stampedAt = static_cast<uint32_t>(store);
            store += sizeof(uint64_t);
        }
    }
    if (store > 0xFFFFFFFFULL) {
        throw std::invalid_argument("the description's registers take more than 4 GiB");
    }
    space.initial_.assign(store, 0);
    for (const DescribedRegister& r : registers) {
        if (!r.initial.empty()) {
            space.setInitial(r.address, r.initial);
        }
    }
    return space;
}

const RegisterSpace::Extent* RegisterSpace::find(uint32_t address) const {
    const auto after = std::upper_bound(extents_.begin(), extents_.end(), address,
                                        [](uint32_t at, const Extent& e) { return at < e.address; });
    if (after == extents_.begin()) {
        return nullptr;
    }
    const Extent& extent = *std::prev(after);
    return address - extent.address < extent.length ? &extent : nullptr;
}

bool RegisterSpace::overlaps(uint32_t address, uint64_t size) const {
    const uint64_t end = uint64_t{address} + size;
    return std::any_of(extents_.begin(), extents_.end(),
                       [&](const Extent& e) { return e.address < end && address < uint64_t{e.address} + e.length; });
}

void RegisterSpace::setInitial(uint32_t address, std::span<const uint8_t> bytes) {
    const Extent* extent = find(address);
    if (extent == nullptr || bytes.size() > extent->length - (address - extent->address)) {
        throw std::logic_error("an initial value outside the described registers");
    }
    std::copy(bytes.begin(), bytes.end(), initial_.begin() + extent->offset + (address - extent->address));
}

} // namespace orva::sim::cxp
