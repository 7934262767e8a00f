#include "CxpDescription.h"

#include "CxpWire.h"

#include <rapidxml/rapidxml.hpp>
#include <zlib.h>

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

namespace {

constexpr uint32_t kLocalHeaderSignature = 0x04034B50;
constexpr uint32_t kCentralHeaderSignature = 0x02014B50;
constexpr uint32_t kEndOfDirectorySignature = 0x06054B50;
constexpr uint16_t kVersionNeeded = 20;
constexpr uint16_t kMethodDeflate = 8;
// A fixed date (2024-01-01 00:00) keeps the container the same in every
// process that builds it.
constexpr uint16_t kDosTime = 0;
constexpr uint16_t kDosDate = ((2024 - 1980) << 9) | (1 << 5) | 1;

std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::vector<uint8_t> deflateRaw(std::span<const uint8_t> content) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("can't set up the compression of the description");
    }
    std::vector<uint8_t> out(deflateBound(&stream, static_cast<uLong>(content.size())));
    stream.next_in = const_cast<Bytef*>(content.data()); // NOLINT: zlib doesn't write its input
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) {
        throw std::runtime_error("can't compress the description");
    }
    return out;
}

class ZipWriter {
public:
    void u16(uint16_t value) {
        const size_t at = bytes.size();
        bytes.resize(at + 2);
        storeLe16(bytes.data() + at, value);
    }
    void u32(uint32_t value) {
        const size_t at = bytes.size();
        bytes.resize(at + 4);
        storeLe32(bytes.data() + at, value);
    }
    void raw(std::span<const uint8_t> data) { bytes.insert(bytes.end(), data.begin(), data.end()); }

    std::vector<uint8_t> bytes;
};

} // namespace

std::string builtInDescription(std::string_view vendorName, std::string_view modelName) {
    std::string xml = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName=")" +
                      escaped(modelName) + R"(" VendorName=")" + escaped(vendorName) +
                      R"(" ToolTip="Simulated CoaXPress camera" StandardNameSpace="None"
    SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0"
    MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ProductGuid="6B2F1C40-5D3A-4E8B-9A71-2C4D5E6F7A80" VersionGuid="0C1D2E3F-4A5B-4C6D-8E7F-9A0B1C2D3E4F"
    xmlns="http://www.genicam.org/GenApi/Version_1_1"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xsi:schemaLocation="http://www.genicam.org/GenApi/Version_1_1 http://www.genicam.org/GenApi/GenApiSchema_Version_1_1.xsd">
  <Category Name="Root" NameSpace="Standard">
    <pFeature>DeviceControl</pFeature>
    <pFeature>ImageFormatControl</pFeature>
    <pFeature>AcquisitionControl</pFeature>
    <pFeature>AnalogControl</pFeature>
    <pFeature>TransportLayerControl</pFeature>
  </Category>
  <Category Name="DeviceControl" NameSpace="Standard">
    <pFeature>DeviceVendorName</pFeature>
    <pFeature>DeviceModelName</pFeature>
    <pFeature>DeviceManufacturerInfo</pFeature>
    <pFeature>DeviceVersion</pFeature>
    <pFeature>DeviceSerialNumber</pFeature>
    <pFeature>DeviceUserID</pFeature>
  </Category>
  <Category Name="ImageFormatControl" NameSpace="Standard">
    <pFeature>Width</pFeature>
    <pFeature>Height</pFeature>
    <pFeature>PixelFormat</pFeature>
  </Category>
  <Category Name="AcquisitionControl" NameSpace="Standard">
    <pFeature>AcquisitionMode</pFeature>
    <pFeature>AcquisitionStart</pFeature>
    <pFeature>AcquisitionStop</pFeature>
    <pFeature>ExposureTime</pFeature>
    <pFeature>Gain</pFeature>
  </Category>
  <Category Name="AnalogControl" NameSpace="Standard">
    <pFeature>BlackLevelSelector</pFeature>
    <pFeature>BlackLevel</pFeature>
  </Category>
  <Category Name="TransportLayerControl" NameSpace="Standard">
    <pFeature>PayloadSize</pFeature>
  </Category>
  <StringReg Name="DeviceVendorName" NameSpace="Standard">
    <Address>0x2000</Address>
    <Length>32</Length>
    <AccessMode>RO</AccessMode>
    <pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceModelName" NameSpace="Standard">
    <Address>0x2020</Address>
    <Length>32</Length>
    <AccessMode>RO</AccessMode>
    <pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceManufacturerInfo" NameSpace="Standard">
    <Address>0x2040</Address>
    <Length>48</Length>
    <AccessMode>RO</AccessMode>
    <pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceVersion" NameSpace="Standard">
    <Address>0x2070</Address>
    <Length>32</Length>
    <AccessMode>RO</AccessMode>
    <pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceSerialNumber" NameSpace="Standard">
    <Address>0x20B0</Address>
    <Length>16</Length>
    <AccessMode>RO</AccessMode>
    <pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceUserID" NameSpace="Standard">
    <Address>0x20C0</Address>
    <Length>16</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
  </StringReg>
  <Integer Name="Width" NameSpace="Standard">
    <pValue>WidthReg</pValue>
    <Min>16</Min>
    <Max>4096</Max>
    <Inc>16</Inc>
  </Integer>
  <IntReg Name="WidthReg">
    <Address>0x10000</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Integer Name="Height" NameSpace="Standard">
    <pValue>HeightReg</pValue>
    <Min>1</Min>
    <Max>4096</Max>
    <Inc>1</Inc>
  </Integer>
  <IntReg Name="HeightReg">
    <Address>0x10004</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Enumeration Name="PixelFormat" NameSpace="Standard">
    <EnumEntry Name="Mono8" NameSpace="Standard">
      <Value>17301505</Value>
    </EnumEntry>
    <EnumEntry Name="Mono10" NameSpace="Standard">
      <Value>17825795</Value>
    </EnumEntry>
    <EnumEntry Name="Mono12" NameSpace="Standard">
      <Value>17825797</Value>
    </EnumEntry>
    <pValue>PixelFormatReg</pValue>
  </Enumeration>
  <IntReg Name="PixelFormatReg">
    <Address>0x10008</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Enumeration Name="AcquisitionMode" NameSpace="Standard">
    <EnumEntry Name="Continuous" NameSpace="Standard">
      <Value>0</Value>
    </EnumEntry>
    <EnumEntry Name="SingleFrame" NameSpace="Standard">
      <Value>1</Value>
    </EnumEntry>
    <pValue>AcquisitionModeReg</pValue>
  </Enumeration>
  <IntReg Name="AcquisitionModeReg">
    <Address>0x1000C</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Command Name="AcquisitionStart" NameSpace="Standard">
    <pValue>AcquisitionStartReg</pValue>
    <CommandValue>1</CommandValue>
  </Command>
  <IntReg Name="AcquisitionStartReg">
    <Address>0x10010</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Command Name="AcquisitionStop" NameSpace="Standard">
    <pValue>AcquisitionStopReg</pValue>
    <CommandValue>1</CommandValue>
  </Command>
  <IntReg Name="AcquisitionStopReg">
    <Address>0x10014</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <IntReg Name="AcquisitionStatusReg">
    <Address>0x10020</Address>
    <Length>4</Length>
    <AccessMode>RO</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Float Name="ExposureTime" NameSpace="Standard">
    <pValue>ExposureTimeReg</pValue>
    <Min>10</Min>
    <Max>1000000</Max>
    <Unit>us</Unit>
  </Float>
  <FloatReg Name="ExposureTimeReg">
    <Address>0x10018</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Endianess>BigEndian</Endianess>
  </FloatReg>
  <Float Name="Gain" NameSpace="Standard">
    <pValue>GainReg</pValue>
    <Min>1</Min>
    <Max>16</Max>
  </Float>
  <FloatReg Name="GainReg">
    <Address>0x1001C</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Endianess>BigEndian</Endianess>
  </FloatReg>
  <Enumeration Name="BlackLevelSelector" NameSpace="Standard">
    <pSelected>BlackLevel</pSelected>
    <EnumEntry Name="All" NameSpace="Standard">
      <Value>0</Value>
    </EnumEntry>
    <EnumEntry Name="Red" NameSpace="Standard">
      <Value>1</Value>
    </EnumEntry>
    <EnumEntry Name="Green" NameSpace="Standard">
      <Value>2</Value>
    </EnumEntry>
    <EnumEntry Name="Blue" NameSpace="Standard">
      <Value>3</Value>
    </EnumEntry>
    <pValue>BlackLevelSelectorReg</pValue>
  </Enumeration>
  <IntReg Name="BlackLevelSelectorReg">
    <Address>0x10024</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Integer Name="BlackLevel" NameSpace="Standard">
    <pIndex>BlackLevelSelectorReg</pIndex>
    <pValueIndexed Index="1">BlackLevelRedReg</pValueIndexed>
    <pValueIndexed Index="2">BlackLevelGreenReg</pValueIndexed>
    <pValueIndexed Index="3">BlackLevelBlueReg</pValueIndexed>
    <pValueDefault>BlackLevelAllReg</pValueDefault>
    <Min>0</Min>
    <Max>255</Max>
  </Integer>
  <IntReg Name="BlackLevelAllReg">
    <Address>0x10028</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <IntReg Name="BlackLevelRedReg">
    <Address>0x1002C</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <IntReg Name="BlackLevelGreenReg">
    <Address>0x10030</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <IntReg Name="BlackLevelBlueReg">
    <Address>0x10034</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <IntSwissKnife Name="PayloadSize" NameSpace="Standard">
    <pVariable Name="W">Width</pVariable>
    <pVariable Name="H">Height</pVariable>
    <pVariable Name="PF">PixelFormatReg</pVariable>
    <Formula>W * H * ((PF = 17301505) ? 1 : 2)</Formula>
  </IntSwissKnife>
  <Port Name="Device" NameSpace="Standard"/>
</RegisterDescription>
)";
    return xml;
}

std::vector<uint8_t> zipContainer(std::string_view fileName, std::span<const uint8_t> content) {
    const std::vector<uint8_t> packed = deflateRaw(content);
    const auto crc = static_cast<uint32_t>(crc32(0L, content.data(), static_cast<uInt>(content.size())));
    const auto name = std::span(reinterpret_cast<const uint8_t*>(fileName.data()), fileName.size());
    const auto nameBytes = static_cast<uint16_t>(fileName.size());
    const auto packedBytes = static_cast<uint32_t>(packed.size());
    const auto contentBytes = static_cast<uint32_t>(content.size());

    ZipWriter zip;
    zip.u32(kLocalHeaderSignature);
    zip.u16(kVersionNeeded);
    zip.u16(0); // flags
    zip.u16(kMethodDeflate);
    zip.u16(kDosTime);
    zip.u16(kDosDate);
    zip.u32(crc);
    zip.u32(packedBytes);
    zip.u32(contentBytes);
    zip.u16(nameBytes);
    zip.u16(0); // extra field
    zip.raw(name);
    zip.raw(packed);

    const auto directoryAt = static_cast<uint32_t>(zip.bytes.size());
    zip.u32(kCentralHeaderSignature);
    zip.u16(kVersionNeeded); // made by
    zip.u16(kVersionNeeded);
    zip.u16(0);
    zip.u16(kMethodDeflate);
    zip.u16(kDosTime);
    zip.u16(kDosDate);
    zip.u32(crc);
    zip.u32(packedBytes);
    zip.u32(contentBytes);
    zip.u16(nameBytes);
    zip.u16(0); // extra field
    zip.u16(0); // comment
    zip.u16(0); // disk
    zip.u16(0); // internal attributes
    zip.u32(0); // external attributes
    zip.u32(0); // offset of the local header
    zip.raw(name);
    const auto directoryBytes = static_cast<uint32_t>(zip.bytes.size()) - directoryAt;

    zip.u32(kEndOfDirectorySignature);
    zip.u16(0); // this disk
    zip.u16(0); // disk of the directory
    zip.u16(1); // entries on this disk
    zip.u16(1); // entries
    zip.u32(directoryBytes);
    zip.u32(directoryAt);
    zip.u16(0); // comment
    return std::move(zip.bytes);
}

bool isZipContainer(std::span<const uint8_t> bytes) {
    return bytes.size() >= 4 && loadWord(bytes.data()) == kLocalHeaderSignature;
}

namespace {

constexpr uint16_t kMethodStored = 0;
constexpr size_t kEndOfDirectoryBytes = 22;
constexpr size_t kCentralHeaderBytes = 46;
constexpr size_t kLocalHeaderBytes = 30;

uint16_t loadLe16(std::span<const uint8_t> bytes, size_t at) {
    return static_cast<uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

uint32_t loadLe32(std::span<const uint8_t> bytes, size_t at) {
    return loadWord(bytes.data() + at);
}

} // namespace

std::optional<std::string> unzippedContent(std::span<const uint8_t> zip, size_t maxBytes) {
    // The central directory has the sizes even where the local header leaves
    // them to a trailing descriptor. The end record is the last thing in the
    // file, before a comment of at most 64 KiB.
    if (zip.size() < kEndOfDirectoryBytes) {
        return std::nullopt;
    }
    std::optional<size_t> end;
    for (size_t at = zip.size() - kEndOfDirectoryBytes + 1;
         at-- > 0 && zip.size() - at <= 0x10000 + kEndOfDirectoryBytes;) {
        if (loadLe32(zip, at) == kEndOfDirectorySignature) {
            end = at;
            break;
        }
    }
    if (!end) {
        return std::nullopt;
    }
    const size_t directory = loadLe32(zip, *end + 16);
    if (directory + kCentralHeaderBytes > zip.size() || loadLe32(zip, directory) != kCentralHeaderSignature) {
        return std::nullopt;
    }
    const uint16_t method = loadLe16(zip, directory + 10);
    const size_t packedBytes = loadLe32(zip, directory + 20);
    const size_t contentBytes = loadLe32(zip, directory + 24);
    const size_t local = loadLe32(zip, directory + 42);
    if (contentBytes > maxBytes || local + kLocalHeaderBytes > zip.size() ||
        loadLe32(zip, local) != kLocalHeaderSignature) {
        return std::nullopt;
    }
    const size_t data = local + kLocalHeaderBytes + loadLe16(zip, local + 26) + loadLe16(zip, local + 28);
    if (data > zip.size() || packedBytes > zip.size() - data) {
        return std::nullopt;
    }
    const auto packed = zip.subspan(data, packedBytes);
    if (method == kMethodStored) {
        return packedBytes == contentBytes ? std::optional<std::string>(std::in_place, packed.begin(), packed.end())
                                           : std::nullopt;
    }
    if (method != kMethodDeflate) {
        return std::nullopt;
    }
    std::string content(contentBytes, '\0');
    z_stream stream{};
    if (inflateInit2(&stream, -15) != Z_OK) {
        return std::nullopt;
    }
    stream.next_in = const_cast<Bytef*>(packed.data()); // NOLINT: zlib doesn't write its input
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(content.data());
    stream.avail_out = static_cast<uInt>(content.size());
    const int result = inflate(&stream, Z_FINISH);
    const bool whole = result == Z_STREAM_END && stream.total_out == contentBytes;
    inflateEnd(&stream);
    return whole ? std::optional<std::string>(std::move(content)) : std::nullopt;
}

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
