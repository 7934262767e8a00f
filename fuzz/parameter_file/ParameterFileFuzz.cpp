// Feeds any bytes to the camera parameter reader, over a camera in memory
// with a feature of each kind. Whatever the file says, the reader must not
// crash, hang or let an exception out, and must leave read-only registers
// alone. The state it leaves must survive the writer: a dump, loaded back
// with stop-on-error, is taken whole and gives the same dump again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "core/genapi/NodeMap.h"
#include "impl/core/ParameterFile.h"

namespace {

using orva::core::genapi::IRegisterPort;
using orva::core::genapi::NodeMap;
using orva::core::genapi::PortError;

constexpr uint64_t kReadOnlyAddress = 0x104;
constexpr uint8_t kReadOnlyFill = 0x5A;

class MemoryPort : public IRegisterPort {
public:
    // Every value valid at the start, as a camera's are after power-up.
    MemoryPort() {
        memory[0x100 + 3] = 16; // Width
        memory[0x11C + 3] = 1;  // PixelFormat Mono8
        std::memset(memory.data() + kReadOnlyAddress, kReadOnlyFill, 4);
    }
    void Read(uint64_t address, void* buffer, uint64_t length) override {
        Check(address, length);
        std::memcpy(buffer, memory.data() + address, length);
    }
    void Write(uint64_t address, const void* buffer, uint64_t length) override {
        Check(address, length);
        std::memcpy(memory.data() + address, buffer, length);
    }
    std::vector<uint8_t> memory = std::vector<uint8_t>(0x400, 0);

private:
    static void Check(uint64_t address, uint64_t length) {
        if (address > 0x400 || length > 0x400 - address) {
            throw PortError(-1, "outside the memory");
        }
    }
};

// Each kind of feature a dump writes, with a selector, a formula and
// read-only and write-only registers.
const char* const kDescription = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="FuzzCamera" VendorName="Orva" ToolTip="" StandardNameSpace="None"
  SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0"
  SubMinorVersion="0" ProductGuid="11111111-2222-3333-4444-555555555555"
  VersionGuid="11111111-2222-3333-4444-666666666666" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root"><pFeature>Image</pFeature><pFeature>DeviceUserID</pFeature><pFeature>Secret</pFeature>
    <pFeature>AcquisitionStart</pFeature></Category>
  <Category Name="Image"><pFeature>Width</pFeature><pFeature>SensorWidth</pFeature><pFeature>PixelFormat</pFeature>
    <pFeature>ExposureTime</pFeature><pFeature>ReverseX</pFeature><pFeature>PayloadSize</pFeature>
    <pFeature>GainSelector</pFeature><pFeature>Gain</pFeature></Category>
  <Integer Name="Width"><pValue>WidthReg</pValue><Min>16</Min><Max>4096</Max><Inc>16</Inc></Integer>
  <IntReg Name="WidthReg"><Address>0x100</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <IntReg Name="SensorWidth"><Address>0x104</Address><Length>4</Length><AccessMode>RO</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <IntReg Name="Secret"><Address>0x108</Address><Length>4</Length><AccessMode>WO</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <FloatReg Name="ExposureTime"><Address>0x110</Address><Length>8</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Endianess>BigEndian</Endianess></FloatReg>
  <Boolean Name="ReverseX"><pValue>ReverseXReg</pValue><OnValue>1</OnValue><OffValue>0</OffValue></Boolean>
  <IntReg Name="ReverseXReg"><Address>0x118</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <IntSwissKnife Name="PayloadSize"><pVariable Name="W">WidthReg</pVariable><Formula>W * 4</Formula></IntSwissKnife>
  <Enumeration Name="PixelFormat"><EnumEntry Name="Mono8"><Value>1</Value></EnumEntry>
    <EnumEntry Name="Mono16"><Value>2</Value></EnumEntry><pValue>PixelFormatReg</pValue></Enumeration>
  <IntReg Name="PixelFormatReg"><Address>0x11C</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Enumeration Name="GainSelector"><pSelected>Gain</pSelected><EnumEntry Name="All"><Value>0</Value></EnumEntry>
    <EnumEntry Name="Red"><Value>1</Value></EnumEntry><pValue>GainSelectorReg</pValue></Enumeration>
  <IntReg Name="GainSelectorReg"><Address>0x120</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Integer Name="Gain"><pValue>GainReg</pValue><Min>0</Min><Max>48</Max></Integer>
  <IntReg Name="GainReg"><pAddress>GainAddress</pAddress><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <IntSwissKnife Name="GainAddress"><pVariable Name="S">GainSelectorReg</pVariable>
    <Formula>0x124 + S * 4</Formula></IntSwissKnife>
  <StringReg Name="DeviceUserID"><Address>0x200</Address><Length>16</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort></StringReg>
  <Command Name="AcquisitionStart"><pValue>StartReg</pValue><CommandValue>1</CommandValue></Command>
  <IntReg Name="StartReg"><Address>0x130</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Port Name="Device"/>
</RegisterDescription>
)";

void Require(bool holds, const char* what, const std::string& text) {
    if (!holds) {
        std::fprintf(stderr, "parameter file: %s\n--- dump ---\n%s\n", what, text.c_str());
        std::abort();
    }
}

std::string Dump(NodeMap& map) {
    std::ostringstream out;
    Require(orva::core::DumpParameters(out, &map), "a dump failed", out.str());
    return out.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static NodeMap map = NodeMap::FromXml(kDescription);
    auto port = std::make_shared<MemoryPort>();
    map.Connect(port);

    const bool stopOnError = size > 0 && (data[0] & 1) != 0;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    orva::core::LoadParameters(in, &map, stopOnError);
    const std::vector<uint8_t> readOnly(port->memory.begin() + kReadOnlyAddress,
                                        port->memory.begin() + kReadOnlyAddress + 4);
    Require(readOnly == std::vector<uint8_t>(4, kReadOnlyFill), "a read-only register was written", "");

    const std::string first = Dump(map);
    std::istringstream back(first);
    Require(orva::core::LoadParameters(back, &map, true), "a dump didn't load back whole", first);
    Require(Dump(map) == first, "a dump loaded back gave another dump", first);
    map.Connect(nullptr);
    return 0;
}
