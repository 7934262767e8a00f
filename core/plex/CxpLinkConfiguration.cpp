#include "core/plex/CxpLinkConfiguration.h"

#include <rapidxml/rapidxml.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <limits>
#include <new>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace orva::core::plex {

namespace {

using Node = rapidxml::xml_node<char>;
using Attribute = rapidxml::xml_attribute<char>;

struct Link {
    int32_t phyIndex = -1;
    int32_t dlIndex = -1;
};

struct Group {
    std::array<Link, CxpLinkConfiguration::kMaxLinksPerGroup> link{};
    uint32_t linkCount = 0;
    int32_t masterPhyIndex = -1;
    uint32_t masterId = 0;
    uint32_t speed = CxpLinkConfiguration::kDefaultSpeed;
    uint32_t streamPacketSize = CxpLinkConfiguration::kDefaultStreamPacketSize;
};

// The speeds a link can run at, in Mbit/s; the document holds them as these
// words and nothing else.
constexpr std::array<std::string_view, 7> kSpeedWords = {"1250", "2500", "3125", "5000", "6250", "10000", "12500"};

// Values from a document are echoed in messages, which end in logs: a value
// of a megabyte of junk is cut to its start.
constexpr std::size_t kMaxShownValue = 64;

std::string Shown(std::string_view value) {
    if (value.size() <= kMaxShownValue) {
        return std::string(value);
    }
    return std::string(value.substr(0, kMaxShownValue)) + "...";
}

std::string_view RootElementOf(const std::string& technology) {
    if (technology == "cxp") {
        return "cxpconfiguration";
    }
    if (technology == "clhs") {
        return "clhsconfiguration";
    }
    if (technology == "cl") {
        return "clconfiguration";
    }
    return {};
}

std::string_view NameOf(const Node& node) {
    return {node.name(), node.name_size()};
}

std::string_view NameOf(const Attribute& attribute) {
    return {attribute.name(), attribute.name_size()};
}

std::string_view ValueOf(const Attribute& attribute) {
    return {attribute.value(), attribute.value_size()};
}

bool IsElement(const Node& node, std::string_view name) {
    return node.type() == rapidxml::node_element && NameOf(node) == name;
}

// Decimal digits only, no sign, no blanks, and the value must fit.
std::optional<uint32_t> ReadUnsigned(std::string_view text, uint32_t max = std::numeric_limits<uint32_t>::max()) {
    if (text.empty() || text.front() < '0' || text.front() > '9') {
        return std::nullopt;
    }
    uint32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (ec != std::errc{} || ptr != end || value > max) {
        return std::nullopt;
    }
    return value;
}

// An index field is signed, with -1 for none: a document's index must fit
// it as a non-negative value.
std::optional<uint32_t> ReadIndex(std::string_view text) {
    return ReadUnsigned(text, static_cast<uint32_t>(std::numeric_limits<int32_t>::max()));
}

// Attributes the reader wants, by name; an empty value counts as absent.
// Later duplicates win, as the walk meets them.
template <std::size_t N> struct Wanted {
    std::array<std::string_view, N> names;
    std::array<std::optional<std::string_view>, N> values{};

    explicit Wanted(std::array<std::string_view, N> wanted) : names(wanted) {}

    void Collect(const Node& node) {
        for (const Attribute* a = node.first_attribute(); a != nullptr; a = a->next_attribute()) {
            const std::string_view name = NameOf(*a);
            for (std::size_t i = 0; i < N; ++i) {
                if (name == names[i]) {
                    values[i] = ValueOf(*a);
                }
            }
        }
        for (auto& value : values) {
            if (value && value->empty()) {
                value.reset();
            }
        }
    }
};

std::runtime_error TooLarge(const std::string& fileName) {
    return std::runtime_error("XML file '" + fileName + "' is too large: more than " +
                              std::to_string(CxpLinkConfiguration::kMaxDocumentSize) + " bytes");
}

// The parser recurses once per level of nesting. Every element it makes
// starts at a '<' that isn't followed by '/', '?' or '!', so the number of
// those bounds the depth, whatever the rest of the text is.
std::size_t CountElementStarts(const char* text, std::size_t length) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        if (text[i] == '<') {
            const char next = text[i + 1]; // text[length] is the terminating zero
            if (next != '/' && next != '?' && next != '!') {
                ++count;
            }
        }
    }
    return count;
}

// Reads a whole regular file. Opened without blocking, so that a FIFO
// can't hang the reader, and refused unless it is a regular file.
std::vector<char> ReadDocumentFile(const std::string& fileName) {
    const std::string openError = "Error opening file '" + fileName + "' for reading!";
    const int fd = ::open(fileName.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        throw std::runtime_error(openError);
    }
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};

    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0) {
        throw std::runtime_error(openError);
    }
    const auto size = static_cast<uint64_t>(info.st_size);
    if (size > CxpLinkConfiguration::kMaxDocumentSize) {
        throw TooLarge(fileName);
    }

    std::vector<char> buffer;
    try {
        buffer.resize(static_cast<std::size_t>(size) + 1);
    } catch (const std::bad_alloc&) {
        throw std::runtime_error("Allocating memory for reading file '" + fileName + "' failed!");
    }
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t n = ::read(fd, buffer.data() + filled, static_cast<std::size_t>(size) - filled);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            throw std::runtime_error("Error reading file '" + fileName + "'!");
        }
        if (n == 0) {
            break; // the file shrank since fstat: take what is there
        }
        filled += static_cast<std::size_t>(n);
    }
    buffer.resize(filled + 1);
    buffer[filled] = '\0';
    return buffer;
}

// The parser would stop at a zero byte and take the text before it as the
// whole document; a document with one is junk, not a shorter document.
void RefuseZeroBytes(const std::vector<char>& buffer, const std::string& fileName) {
    if (std::find(buffer.begin(), buffer.end() - 1, '\0') != buffer.end() - 1) {
        throw std::runtime_error("Error parsing XML file '" + fileName + "': zero byte in the text");
    }
}

// Only the exact words: "01250" or "1250.0" is no speed.
std::optional<uint32_t> SpeedOf(std::string_view word) {
    if (std::find(kSpeedWords.begin(), kSpeedWords.end(), word) == kSpeedWords.end()) {
        return std::nullopt;
    }
    return ReadUnsigned(word);
}

// An unknown speed writes an empty word, which reads back as the default.
std::string_view SpeedWord(uint32_t speed) {
    for (const std::string_view word : kSpeedWords) {
        if (ReadUnsigned(word) == speed) {
            return word;
        }
    }
    return {};
}

} // namespace

struct CxpLinkConfiguration::D {
    uint32_t links = 0;
    uint32_t linkGroups = 0;
    std::array<Group, kMaxLinkGroups> groups{};
    std::string fileName;
    std::string technology;

    Group& GroupAt(uint32_t g) {
        if (g >= linkGroups || g >= kMaxLinkGroups) {
            throw std::runtime_error("link group index out of bounds.");
        }
        return groups[g];
    }

    Link& LinkAt(uint32_t g, uint32_t l) {
        Group& group = GroupAt(g);
        if (l >= kMaxLinksPerGroup) {
            throw std::runtime_error("link index out of bounds.");
        }
        return group.link[l];
    }
};

CxpLinkConfiguration::CxpLinkConfiguration(const std::string& technology) : d_(std::make_shared<D>()) {
    d_->technology = technology;
}

CxpLinkConfiguration::~CxpLinkConfiguration() = default;

void CxpLinkConfiguration::LoadFromFile(const std::string& fileName) {
    std::vector<char> buffer = ReadDocumentFile(fileName);
    RefuseZeroBytes(buffer, fileName);
    Parse(buffer.data(), fileName);
}

void CxpLinkConfiguration::LoadFromString(const std::string& text) {
    static const std::string kName = "<buffer>";
    if (text.size() > kMaxDocumentSize) {
        throw TooLarge(kName);
    }
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    RefuseZeroBytes(buffer, kName);
    Parse(buffer.data(), kName);
}

void CxpLinkConfiguration::Parse(char* text, const std::string& fileName) {
    if (text == nullptr || text[0] == '\0') {
        throw std::runtime_error("XML file is empty: '" + fileName);
    }
    const std::size_t length = ::strnlen(text, kMaxDocumentSize + 1);
    if (length > kMaxDocumentSize) {
        throw TooLarge(fileName);
    }
    if (CountElementStarts(text, length) > kMaxElements) {
        throw std::runtime_error("Error parsing XML file '" + fileName + "': more than " +
                                 std::to_string(kMaxElements) + " elements");
    }

    // The document keeps a 64 KiB pool inside itself: not for the stack.
    auto document = std::make_unique<rapidxml::xml_document<char>>();
    try {
        document->parse<rapidxml::parse_validate_closing_tags>(text);
    } catch (const rapidxml::parse_error& e) {
        throw std::runtime_error("Error parsing XML file '" + fileName + "': " + e.what());
    }

    const std::string_view rootName = RootElementOf(d_->technology);
    const bool knownTechnology = !rootName.empty();
    const Node* root = document->first_node();
    if (knownTechnology && (root == nullptr || !IsElement(*root, rootName))) {
        throw std::runtime_error("Illegal root node found in XML file '" + fileName +
                                 "': " + (root != nullptr ? Shown(NameOf(*root)) : std::string()));
    }

    uint32_t links = 0;
    uint32_t linkGroups = 0;
    if (root != nullptr) {
        Wanted<2> wanted({"links", "linkgroups"});
        wanted.Collect(*root);
        const std::string where = "> of XML file '" + fileName + "'";
        const auto read = [&](std::size_t i, uint32_t& out) {
            const std::optional<std::string_view>& value = wanted.values[i];
            const std::optional<uint32_t> number = value ? ReadUnsigned(*value) : std::nullopt;
            if (number) {
                out = *number;
            } else if (knownTechnology && !value) {
                throw std::runtime_error("Attribute '" + std::string(wanted.names[i]) + "' not found in <" +
                                         std::string(rootName) + where);
            } else if (knownTechnology) {
                throw std::runtime_error("Illegal value of attribute '" + std::string(wanted.names[i]) + "' in <" +
                                         std::string(rootName) + where + ": " + Shown(*value));
            }
        };
        read(0, links);
        read(1, linkGroups);
    }

    d_->links = 0;
    d_->linkGroups = 0;
    d_->groups = {};
    SetLinks(links);
    SetLinkGroups(linkGroups);
    if (links > kMaxPhysicalLinks || linkGroups > kMaxLinkGroups) {
        throw std::runtime_error("No more than 4 physical links and linkgroups allowed!");
    }
    if (root == nullptr) {
        return;
    }

    const auto illegalValue = [&](std::string_view attribute, std::string_view element, std::string_view value) {
        return std::runtime_error("Illegal value of attribute '" + std::string(attribute) + "' in <" +
                                  std::string(element) + "> of XML file '" + fileName + "': " + Shown(value));
    };

    uint32_t g = 0;
    for (const Node* groupNode = root->first_node(); groupNode != nullptr; groupNode = groupNode->next_sibling()) {
        if (!IsElement(*groupNode, "linkgroup")) {
            continue;
        }
        Wanted<3> groupAttributes({"masterId", "speed", "streampacketsize"});
        groupAttributes.Collect(*groupNode);
        const auto& [masterIdText, speedText, packetSizeText] = groupAttributes.values;

        uint32_t masterId = 0;
        if (masterIdText) {
            const std::optional<uint32_t> number = ReadUnsigned(*masterIdText);
            if (!number) {
                throw illegalValue("masterId", "linkgroup", *masterIdText);
            }
            masterId = *number;
        }
        if (const std::optional<uint32_t> speed = speedText ? SpeedOf(*speedText) : std::nullopt) {
            SetSpeed(g, *speed);
        }
        if (packetSizeText) {
            const std::optional<uint32_t> size = ReadUnsigned(*packetSizeText);
            if (size && *size != 0) {
                SetStreamPacketSize(g, *size);
            }
        }

        uint32_t count = 0;
        for (const Node* linkNode = groupNode->first_node(); linkNode != nullptr; linkNode = linkNode->next_sibling()) {
            if (IsElement(*linkNode, "link") && ++count > kMaxLinksPerGroup) {
                throw std::runtime_error("No more than 4 links per linkgroup allowed!");
            }
        }
        SetLinkCount(g, count);

        std::optional<int32_t> firstPhyIndex;
        uint32_t n = 0;
        for (const Node* linkNode = groupNode->first_node(); linkNode != nullptr; linkNode = linkNode->next_sibling()) {
            if (!IsElement(*linkNode, "link")) {
                continue;
            }
            Wanted<4> linkAttributes({"phyIndex", "dlIndex", "linkIndex", "isMaster"});
            linkAttributes.Collect(*linkNode);
            const auto& [phyText, dlText, linkIndexText, isMasterText] = linkAttributes.values;

            const auto required = [&](const std::optional<std::string_view>& text, std::string_view attribute) {
                if (!text) {
                    throw std::runtime_error("Attribute '" + std::string(attribute) +
                                             "' not found in <link> of XML file '" + fileName + "'");
                }
                const std::optional<uint32_t> number = ReadIndex(*text);
                if (!number) {
                    throw illegalValue(attribute, "link", *text);
                }
                return static_cast<int32_t>(*number);
            };
            const int32_t phyIndex = required(phyText, "phyIndex");
            const int32_t dlIndex = required(dlText, "dlIndex");
            uint32_t linkIndex = n;
            if (linkIndexText) {
                const std::optional<uint32_t> number = ReadUnsigned(*linkIndexText);
                if (!number) {
                    throw illegalValue("linkIndex", "link", *linkIndexText);
                }
                linkIndex = *number;
            }
            const bool isMaster =
                isMasterText && (*isMasterText == "1" || *isMasterText == "true" || *isMasterText == "yes");
            if (isMaster) {
                if (masterId == 0) {
                    masterId = static_cast<uint32_t>(phyIndex) + 1;
                }
                SetMasterPhyIndex(g, phyIndex);
            }
            SetPhyIndex(g, linkIndex, phyIndex);
            SetDlIndex(g, linkIndex, dlIndex);
            if (!firstPhyIndex) {
                firstPhyIndex = phyIndex;
            }
            ++n;
        }

        if (GetMasterPhyIndex(g) == -1 && firstPhyIndex) {
            SetMasterPhyIndex(g, *firstPhyIndex);
        }
        SetMasterId(g, masterId);
        ++g;
    }
}

void CxpLinkConfiguration::SaveToFile(const std::string& fileName) const {
    std::ofstream file(fileName, std::ios::out | std::ios::trunc);
    if (!file.is_open()) {
        throw std::runtime_error("Error opening file '" + fileName + "' for writing!");
    }
    WriteTo(file);
    file.close();
    if (file.fail()) {
        throw std::runtime_error("Error writing file '" + fileName + "'!");
    }
}

void CxpLinkConfiguration::WriteTo(std::ostream& stream) const {
    const std::string_view root = RootElementOf(d_->technology);
    if (!root.empty()) {
        stream << '<' << root << " links=\"" << d_->links << "\" linkgroups=\"" << d_->linkGroups << "\">\n";
    }
    for (uint32_t g = 0; g < d_->linkGroups && g < kMaxLinkGroups; ++g) {
        const Group& group = d_->groups[g];
        stream << "\t<linkgroup masterId=\"" << group.masterId << "\" speed=\"" << SpeedWord(group.speed)
               << "\" streampacketsize=\"" << group.streamPacketSize << "\">\n";
        uint32_t written = 0;
        for (uint32_t l = 0; l < kMaxLinksPerGroup && written < group.linkCount; ++l) {
            const Link& link = group.link[l];
            // -1 marks an empty slot; no negative index would read back.
            if (link.phyIndex < 0 || link.dlIndex < 0) {
                continue;
            }
            stream << "\t\t<link phyIndex=\"" << link.phyIndex << "\" dlIndex=\"" << link.dlIndex << "\" linkIndex=\""
                   << l << '"' << (l == 0 ? " isMaster=\"true\"" : "") << "/>\n";
            ++written;
        }
        stream << "\t</linkgroup>\n";
    }
    if (!root.empty()) {
        stream << "</" << root << ">\n";
    }
}

void CxpLinkConfiguration::SetFileName(const std::string& name) {
    d_->fileName = name;
}

const std::string& CxpLinkConfiguration::GetFileName() const {
    return d_->fileName;
}

const std::string& CxpLinkConfiguration::GetTechnology() const {
    return d_->technology;
}

void CxpLinkConfiguration::Reload() {
    if (d_->fileName.empty()) {
        return;
    }
    try {
        LoadFromFile(d_->fileName);
    } catch (...) { // NOLINT(bugprone-empty-catch): a failed reload keeps what was read
    }
}

bool CxpLinkConfiguration::Save() const {
    if (d_->fileName.empty()) {
        return false;
    }
    try {
        SaveToFile(d_->fileName);
        return true;
    } catch (...) {
        return false;
    }
}

uint32_t CxpLinkConfiguration::GetLinks() const {
    return d_->links;
}

void CxpLinkConfiguration::SetLinks(uint32_t links) {
    d_->links = links;
}

uint32_t CxpLinkConfiguration::GetLinkGroups() const {
    return d_->linkGroups;
}

void CxpLinkConfiguration::SetLinkGroups(uint32_t linkGroups) {
    if (linkGroups <= kMaxLinkGroups) {
        d_->linkGroups = linkGroups;
    }
}

uint32_t CxpLinkConfiguration::GetLinkCount(uint32_t g) const {
    return d_->GroupAt(g).linkCount;
}

void CxpLinkConfiguration::SetLinkCount(uint32_t g, uint32_t count) {
    Group& group = d_->GroupAt(g);
    if (count <= kMaxLinksPerGroup) {
        group.linkCount = count;
    }
}

int32_t CxpLinkConfiguration::GetMasterPhyIndex(uint32_t g) const {
    return d_->GroupAt(g).masterPhyIndex;
}

void CxpLinkConfiguration::SetMasterPhyIndex(uint32_t g, int32_t phyIndex) {
    d_->GroupAt(g).masterPhyIndex = phyIndex;
}

uint32_t CxpLinkConfiguration::GetMasterId(uint32_t g) const {
    return d_->GroupAt(g).masterId;
}

void CxpLinkConfiguration::SetMasterId(uint32_t g, uint32_t masterId) {
    d_->GroupAt(g).masterId = masterId;
}

uint32_t CxpLinkConfiguration::GetSpeed(uint32_t g) const {
    return d_->GroupAt(g).speed;
}

void CxpLinkConfiguration::SetSpeed(uint32_t g, uint32_t speed) {
    d_->GroupAt(g).speed = speed;
}

uint32_t CxpLinkConfiguration::GetStreamPacketSize(uint32_t g) const {
    return d_->GroupAt(g).streamPacketSize;
}

void CxpLinkConfiguration::SetStreamPacketSize(uint32_t g, uint32_t size) {
    d_->GroupAt(g).streamPacketSize = size;
}

int32_t CxpLinkConfiguration::GetPhyIndex(uint32_t g, uint32_t l) const {
    return d_->LinkAt(g, l).phyIndex;
}

void CxpLinkConfiguration::SetPhyIndex(uint32_t g, uint32_t l, int32_t phyIndex) {
    d_->LinkAt(g, l).phyIndex = phyIndex;
}

int32_t CxpLinkConfiguration::GetDlIndex(uint32_t g, uint32_t l) const {
    return d_->LinkAt(g, l).dlIndex;
}

void CxpLinkConfiguration::SetDlIndex(uint32_t g, uint32_t l, int32_t dlIndex) {
    d_->LinkAt(g, l).dlIndex = dlIndex;
}

} // namespace orva::core::plex
