// A small camera description of the tests' own, with one node of each kind
// the facade serves, and where its registers lie.
#pragma once

#include <cstdint>
#include <string>

namespace orva::test {

// Register addresses of the test camera (all big-endian, 4 bytes unless
// said otherwise).
namespace reg {
inline constexpr uint64_t kWidth = 0x100;
inline constexpr uint64_t kHeight = 0x104;
inline constexpr uint64_t kGain = 0x108;  // 32-bit float
inline constexpr uint64_t kFlags = 0x10C; // ReverseX the lowest bit, ReverseY the next
inline constexpr uint64_t kPixelFormat = 0x110;
inline constexpr uint64_t kAcquisitionStart = 0x114; // the camera clears it
inline constexpr uint64_t kAcquisitionStop = 0x118;  // write only
inline constexpr uint64_t kGainSelector = 0x11C;
inline constexpr uint64_t kDeviceUserId = 0x120;         // 16 bytes
inline constexpr uint64_t kDeviceTemperature = 0x140;    // 32-bit float, read only
inline constexpr uint64_t kSensorWidth = 0x144;          // read only
inline constexpr uint64_t kTriggerSoftwareValue = 0x148; // write only
inline constexpr uint64_t kBinningAvailable = 0x14C;
inline constexpr uint64_t kExposureTime = 0x150; // 32-bit float
inline constexpr uint64_t kNotImplemented = 0x160;
inline constexpr uint64_t kBinning = 0x164;
inline constexpr uint64_t kParamsLocked = 0x168;
inline constexpr uint64_t kOffsetX = 0x16C;
inline constexpr uint64_t kPayloadSize = 0x170;
inline constexpr uint64_t kGainRawBase = 0x200; // one register per selector value
inline constexpr uint64_t kLut = 0x1000;        // 16 bytes
} // namespace reg

inline constexpr int64_t kMono8 = 0x01080001;
inline constexpr int64_t kMono10 = 0x01100003;
inline constexpr int64_t kMono12 = 0x01100005;

// The opening tag of a description, for descriptions written in the tests.
inline std::string DescriptionHead() {
    return R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="TestCamera" VendorName="Orva" StandardNameSpace="None"
    SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0"
    MajorVersion="1" MinorVersion="0" SubMinorVersion="0" ToolTip="test camera"
    ProductGuid="6f1d2d7a-0000-4000-8000-000000000001" VersionGuid="6f1d2d7a-0000-4000-8000-000000000002"
    xmlns="http://www.genicam.org/GenApi/Version_1_1"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
)";
}

inline std::string Description(const std::string& body) {
    return DescriptionHead() + body + "\n<Port Name=\"Device\"/>\n</RegisterDescription>\n";
}

inline std::string IntReg(const std::string& name, uint64_t address, const char* access = "RW") {
    return "<IntReg Name=\"" + name + "\"><Address>" + std::to_string(address) +
           "</Address><Length>4</Length><AccessMode>" + access +
           "</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>\n";
}

inline std::string FloatReg(const std::string& name, uint64_t address, const char* access = "RW") {
    return "<FloatReg Name=\"" + name + "\"><Address>" + std::to_string(address) +
           "</Address><Length>4</Length><AccessMode>" + access +
           "</AccessMode><pPort>Device</pPort><Endianess>BigEndian</Endianess></FloatReg>\n";
}

inline std::string TestCameraXml() {
    using namespace reg;
    return Description(
        R"(
<Category Name="Root">
  <pFeature>DeviceControl</pFeature>
  <pFeature>ImageFormatControl</pFeature>
  <pFeature>AcquisitionControl</pFeature>
  <pFeature>AnalogControl</pFeature>
</Category>
<Category Name="DeviceControl">
  <pFeature>DeviceUserID</pFeature>
  <pFeature>DeviceTemperature</pFeature>
  <pFeature>SensorArea</pFeature>
  <pFeature>LUTData</pFeature>
</Category>
<Category Name="ImageFormatControl">
  <pFeature>Width</pFeature>
  <pFeature>Height</pFeature>
  <pFeature>SensorWidth</pFeature>
  <pFeature>PixelFormat</pFeature>
  <pFeature>ReverseX</pFeature>
  <pFeature>ReverseY</pFeature>
  <pFeature>OffsetX</pFeature>
  <pFeature>BinningHorizontal</pFeature>
  <pFeature>NotImplementedFeature</pFeature>
  <pFeature>PayloadSize</pFeature>
</Category>
<Category Name="AcquisitionControl">
  <pFeature>AcquisitionStart</pFeature>
  <pFeature>AcquisitionStop</pFeature>
  <pFeature>ExposureTime</pFeature>
  <pFeature>ExposureTimeMs</pFeature>
  <pFeature>TriggerSoftwareValue</pFeature>
</Category>
<Category Name="AnalogControl">
  <pFeature>GainSelector</pFeature>
  <pFeature>Gain</pFeature>
  <pFeature>GainRaw</pFeature>
</Category>

<Integer Name="Width">
  <DisplayName>Image width</DisplayName>
  <ToolTip>Width of the image in pixels</ToolTip>
  <pValue>WidthReg</pValue><Min>16</Min><Max>4096</Max><Inc>16</Inc><Unit>px</Unit>
</Integer>
<Integer Name="Height"><pValue>HeightReg</pValue><Min>1</Min><Max>3072</Max></Integer>
<IntSwissKnife Name="SensorArea">
  <pVariable Name="W">Width</pVariable><pVariable Name="H">Height</pVariable><Formula>W*H</Formula>
</IntSwissKnife>
<Float Name="Gain"><pValue>GainReg</pValue><Min>0</Min><Max>24</Max><Unit>dB</Unit></Float>
<Float Name="ExposureTime"><pValue>ExposureTimeReg</pValue><Min>1</Min><Max>1000</Max><Inc>0.5</Inc><Unit>us</Unit></Float>
<SwissKnife Name="ExposureTimeMs"><pVariable Name="ET">ExposureTime</pVariable><Formula>ET/1000</Formula></SwissKnife>
<Boolean Name="ReverseX"><pValue>ReverseXReg</pValue><OnValue>1</OnValue><OffValue>0</OffValue></Boolean>
<Boolean Name="ReverseY"><pValue>ReverseYReg</pValue><OnValue>1</OnValue><OffValue>0</OffValue></Boolean>
<MaskedIntReg Name="ReverseXReg"><Address>)" +
        std::to_string(kFlags) + R"(</Address><Length>4</Length><AccessMode>RW</AccessMode>
  <pPort>Device</pPort><Bit>31</Bit><Endianess>BigEndian</Endianess></MaskedIntReg>
<MaskedIntReg Name="ReverseYReg"><Address>)" +
        std::to_string(kFlags) + R"(</Address><Length>4</Length><AccessMode>RW</AccessMode>
  <pPort>Device</pPort><Bit>30</Bit><Endianess>BigEndian</Endianess></MaskedIntReg>
<StringReg Name="DeviceUserID"><Address>)" +
        std::to_string(kDeviceUserId) + R"(</Address><Length>16</Length><AccessMode>RW</AccessMode>
  <pPort>Device</pPort></StringReg>
<Float Name="DeviceTemperature"><pValue>DeviceTemperatureReg</pValue><Min>-100</Min><Max>200</Max></Float>
<Enumeration Name="PixelFormat">
  <EnumEntry Name="Mono8"><Value>)" +
        std::to_string(kMono8) + R"(</Value></EnumEntry>
  <EnumEntry Name="Mono10"><Value>)" +
        std::to_string(kMono10) + R"(</Value></EnumEntry>
  <EnumEntry Name="Mono12"><pIsAvailable>Zero</pIsAvailable><Value>)" +
        std::to_string(kMono12) + R"(</Value></EnumEntry>
  <pValue>PixelFormatReg</pValue>
</Enumeration>
<Command Name="AcquisitionStart"><pValue>AcquisitionStartReg</pValue><CommandValue>1</CommandValue></Command>
<Command Name="AcquisitionStop"><pValue>AcquisitionStopReg</pValue><CommandValue>1</CommandValue></Command>
<Enumeration Name="GainSelector">
  <pSelected>GainRaw</pSelected>
  <EnumEntry Name="All"><Value>0</Value></EnumEntry>
  <EnumEntry Name="Red"><Value>1</Value></EnumEntry>
  <EnumEntry Name="Green"><Value>2</Value></EnumEntry>
  <pValue>GainSelectorReg</pValue>
</Enumeration>
<IntReg Name="GainRaw"><pAddress>GainRawAddress</pAddress><Length>4</Length><AccessMode>RW</AccessMode>
  <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
<IntSwissKnife Name="GainRawAddress">
  <pVariable Name="SEL">GainSelector</pVariable><Formula>)" +
        std::to_string(kGainRawBase) + R"( + SEL*4</Formula>
</IntSwissKnife>
<Integer Name="NotImplementedFeature"><pIsImplemented>Zero</pIsImplemented><pValue>NotImplementedReg</pValue></Integer>
<Integer Name="BinningHorizontal"><pIsAvailable>BinningAvailableReg</pIsAvailable><pValue>BinningReg</pValue></Integer>
<Integer Name="OffsetX"><pIsLocked>ParamsLockedReg</pIsLocked><pValue>OffsetXReg</pValue></Integer>
<Integer Name="PayloadSize"><ImposedAccessMode>RO</ImposedAccessMode><pValue>PayloadSizeReg</pValue></Integer>
<Register Name="LUTData"><Address>)" +
        std::to_string(kLut) + R"(</Address><Length>16</Length><AccessMode>RW</AccessMode>
  <pPort>Device</pPort></Register>
<Integer Name="Zero"><Value>0</Value></Integer>
)" + IntReg("WidthReg", kWidth) +
        IntReg("HeightReg", kHeight) + FloatReg("GainReg", kGain) + FloatReg("ExposureTimeReg", kExposureTime) +
        FloatReg("DeviceTemperatureReg", kDeviceTemperature, "RO") + IntReg("PixelFormatReg", kPixelFormat) +
        IntReg("AcquisitionStartReg", kAcquisitionStart) + IntReg("AcquisitionStopReg", kAcquisitionStop, "WO") +
        IntReg("GainSelectorReg", kGainSelector) + IntReg("SensorWidth", kSensorWidth, "RO") +
        IntReg("TriggerSoftwareValue", kTriggerSoftwareValue, "WO") + IntReg("BinningAvailableReg", kBinningAvailable) +
        IntReg("NotImplementedReg", kNotImplemented) + IntReg("BinningReg", kBinning) +
        IntReg("ParamsLockedReg", kParamsLocked) + IntReg("OffsetXReg", kOffsetX) +
        IntReg("PayloadSizeReg", kPayloadSize));
}

} // namespace orva::test
