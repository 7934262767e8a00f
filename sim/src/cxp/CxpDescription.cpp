#include "CxpDescription.h"

#include "CxpWire.h"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>

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

} // namespace orva::sim::cxp
