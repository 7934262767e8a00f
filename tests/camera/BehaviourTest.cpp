// What the simulated CoaXPress camera does with the registers of the
// description it serves, seen through the C interface: values that stay
// across programs, registers that refuse, commands that take their time, and
// a camera that stops answering.
#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include "tests/camera/CameraTestSupport.h"

namespace {

using orva::cameratest::CameraScenario;
using orva::cameratest::CameraTest;

// A small description of our own: Width starts at its minimum, 16.
constexpr const char* kDescription = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="ShelfCamera" VendorName="Orva" StandardNameSpace="None"
    SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0"
    MajorVersion="1" MinorVersion="0" SubMinorVersion="0" ToolTip="test camera"
    ProductGuid="6f1d2d7a-0000-4000-8000-000000000031" VersionGuid="6f1d2d7a-0000-4000-8000-000000000032"
    xmlns="http://www.genicam.org/GenApi/Version_1_1">
<Category Name="Root"><pFeature>Width</pFeature><pFeature>SensorWidth</pFeature></Category>
<Integer Name="Width"><pValue>WidthReg</pValue><Min>16</Min><Max>4096</Max><Inc>16</Inc></Integer>
<IntReg Name="WidthReg"><Address>0x8000</Address><Length>4</Length><AccessMode>RW</AccessMode>
  <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
<Integer Name="SensorWidth"><pValue>SensorWidthReg</pValue><Min>4096</Min><Max>4096</Max></Integer>
<IntReg Name="SensorWidthReg"><Address>0x8004</Address><Length>4</Length><AccessMode>RO</AccessMode>
  <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
<Port Name="Device"/>
</RegisterDescription>
)";

class Behaviour : public CameraTest {
protected:
    std::string WriteFile(const std::string& name, const std::string& content) {
        const std::string path = Folder() + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    std::string OwnCameraParams() {
        return std::string(R"({"descriptionFile":")") + WriteFile("camera.xml", kDescription) + R"("})";
    }

    // Runs the tool on port 0 of board 0; its standard output, "exit <n>"
    // appended when it fails. Its standard error goes to a file of the test.
    std::string Tool(const std::string& arguments) {
        const std::string command =
            std::string(TGX_TEST_BUILD_DIR_PATH) + "/bin/tgx " + arguments + " -p 1 2>>" + Folder() + "/tool.err";
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe == nullptr) {
            return "popen failed";
        }
        std::string output;
        std::array<char, 256> buffer{};
        while (fgets(buffer.data(), buffer.size(), pipe) != nullptr) {
            output += buffer.data();
        }
        const int status = pclose(pipe);
        return status == 0 ? output : output + "exit " + std::to_string(status);
    }
};

TEST_F(Behaviour, AValueOneProgramSetsIsWhatTheNextOneReads) {
    const std::string scenario = WriteFile("scenario.json", CameraScenario(OwnCameraParams()));
    // The first program to open the namespace loads the scenario.
    setenv("ORVA_SIM_SCENARIO", scenario.c_str(), 1); // NOLINT(concurrency-mt-unsafe): no threads yet
    EXPECT_EQ(Tool("get Width"), "16\n") << "its minimum, as the camera powers up";
    EXPECT_EQ(Tool("set Width 1024"), "1024\n");
    EXPECT_EQ(Tool("get Width"), "1024\n");
}

TEST_F(Behaviour, ACommandIsDoneOnceTheCameraHasCarriedItOut) {
    ASSERT_NO_FATAL_FAILURE(Connect(R"({"commandUs":50000})"));
    ASSERT_EQ(Tgx_startAcquisition(camera), TGX_OK);
    uint32_t done = 0;
    const auto bound = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (done == 0 && std::chrono::steady_clock::now() < bound) {
        ASSERT_EQ(Tgx_isCommandDone(camera, "AcquisitionStart", &done), TGX_OK) << Log();
        if (done == 0) {
            std::this_thread::yield();
        }
    }
    ASSERT_EQ(done, 1u) << "not done within the bound";
    uint32_t acquiring = 0;
    ASSERT_EQ(Tgx_registerReadFromCamera(camera, &acquiring, 0x10020), TGX_OK);
    EXPECT_EQ(acquiring, 1u) << "the camera's acquisition status";
}

TEST_F(Behaviour, ACameraThatStopsAnsweringFailsTheReadWithThePortsFailure) {
    ASSERT_NO_FATAL_FAILURE(Connect("{}"));
    int64_t width = 0;
    ASSERT_EQ(Tgx_getIntegerValue(camera, "Width", &width), TGX_OK);
    ASSERT_EQ(width, 1024);
    ASSERT_EQ(orva_sim_plug(0, 0, 0), ORVA_SIM_OK) << orva_sim_last_error();
    width = 12345;
    EXPECT_EQ(Tgx_getIntegerValue(camera, "Width", &width), TGX_ERR_EXCEPTION);
    EXPECT_EQ(width, 12345) << "no value, not an old one";
    // The error line names the feature and carries the port's status.
    const std::string log = Log();
    EXPECT_THAT(log, ::testing::ContainsRegex("\\[error\\][^\n]*\\|Exception while getting feature Width: [^\n]*" +
                                              std::to_string(TGX_ERR_PACKET_TIMEOUT)))
        << log;
}

} // namespace
