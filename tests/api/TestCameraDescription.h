// The description of the tests' camera: one feature of each kind over
// registers the tests can see.
#pragma once

namespace orva::test {

inline constexpr const char* kDescription = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="TestCamera" VendorName="Orva" ToolTip="" StandardNameSpace="None"
  SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0"
  SubMinorVersion="0" ProductGuid="11111111-2222-3333-4444-555555555555"
  VersionGuid="11111111-2222-3333-4444-666666666666" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root"><pFeature>ImageFormat</pFeature><pFeature>Acquisition</pFeature>
    <pFeature>DeviceUserID</pFeature><pFeature>Secret</pFeature></Category>
  <Category Name="ImageFormat"><pFeature>Width</pFeature><pFeature>SensorWidth</pFeature>
    <pFeature>PixelFormat</pFeature></Category>
  <Category Name="Acquisition"><pFeature>ExposureTime</pFeature><pFeature>ReverseX</pFeature>
    <pFeature>AcquisitionStart</pFeature></Category>
  <Integer Name="Width"><pValue>WidthReg</pValue><Min>16</Min><Max>4096</Max><Inc>16</Inc></Integer>
  <IntReg Name="WidthReg"><Address>0x100</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <IntReg Name="SensorWidth"><Address>0x104</Address><Length>4</Length><AccessMode>RO</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <IntReg Name="Secret"><Address>0x108</Address><Length>4</Length><AccessMode>WO</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <FloatReg Name="ExposureTime"><Address>0x110</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Endianess>BigEndian</Endianess></FloatReg>
  <Boolean Name="ReverseX"><pValue>ReverseXReg</pValue><OnValue>1</OnValue><OffValue>0</OffValue></Boolean>
  <IntReg Name="ReverseXReg"><Address>0x114</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <StringReg Name="DeviceUserID"><Address>0x200</Address><Length>16</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort></StringReg>
  <Enumeration Name="PixelFormat">
    <EnumEntry Name="Mono8"><Value>1</Value></EnumEntry>
    <EnumEntry Name="Mono16"><Value>2</Value></EnumEntry>
    <pValue>PixelFormatReg</pValue>
  </Enumeration>
  <IntReg Name="PixelFormatReg"><Address>0x118</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Command Name="AcquisitionStart"><pValue>AcquisitionReg</pValue><CommandValue>1</CommandValue></Command>
  <IntReg Name="AcquisitionReg"><Address>0x11C</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Port Name="Device"/>
</RegisterDescription>
)";

} // namespace orva::test
