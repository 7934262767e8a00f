// The camera parameter dump: written from one camera, read into another.
#include <cstring>
#include <fstream>
#include <sstream>

#include "include/tgx_genicam.h"
#include "tests/api/ApiTestSupport.h"
#include "tests/api/TestCameraDescription.h"

using orva::core::kLinkIndexMaster;
using orva::test::ApiTest;

namespace {

class ParameterFile : public ApiTest {
protected:
    void SetUp() override {
        SetUpApi("*=5");
        ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
        for (uint32_t port : {0U, 1U}) {
            fake->port(port).SetCamera(kLinkIndexMaster, port + 1, 0);
            fake->port(port).SetDescription(orva::test::kDescription);
            std::memset(fake->port(port).memory() + 0x100, 0, 0x200);
        }
        ASSERT_EQ(Tgx_scanPorts(board, 0x3, 1000, 0), TGX_OK);
        ASSERT_EQ(Tgx_getCamera(board, 0, &first), TGX_OK);
        ASSERT_EQ(Tgx_getCamera(board, 1, &second), TGX_OK);
        ASSERT_EQ(Tgx_connectCamera(first), TGX_OK);
        ASSERT_EQ(Tgx_connectCamera(second), TGX_OK);
        path = ::testing::TempDir() + "tgx-params-" + std::to_string(getpid()) + ".txt";
    }
    void TearDown() override {
        std::remove(path.c_str());
        ApiTest::TearDown();
    }
    std::string File() const { return orva::test::ReadFile(path); }
    void WriteFile(const std::string& text) const { orva::test::WriteFile(path, text); }

    TgxCameraHandle* first = nullptr;
    TgxCameraHandle* second = nullptr;
    std::string path;
};

TEST_F(ParameterFile, TheDumpsLinesAndWhatALoadLeavesAlone) {
    ASSERT_EQ(Tgx_setIntegerValue(first, "Width", 1024), TGX_OK);
    ASSERT_EQ(Tgx_setFloatValue(first, "ExposureTime", 1234.5678), TGX_OK);
    ASSERT_EQ(Tgx_setBooleanValue(first, "ReverseX", 1), TGX_OK);
    ASSERT_EQ(Tgx_setStringValue(first, "DeviceUserID", "left camera"), TGX_OK);
    ASSERT_EQ(Tgx_setEnumerationValue(first, "PixelFormat", "Mono16"), TGX_OK);
    ASSERT_EQ(Tgx_SaveCameraParameters(first, path.c_str()), TGX_OK);

    const std::string dump = File();
    EXPECT_EQ(dump.rfind("# --- GenICam parameter dump\n\n", 0), 0U) << dump;
    EXPECT_NE(dump.find("\nWidth=1024\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("\nDeviceUserID=\"left camera\"\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("\n#SensorWidth=0\n"), std::string::npos) << "read-only values are comments: " << dump;
    EXPECT_NE(dump.find("\nPixelFormat=Mono16\n#ImageFormat\n"), std::string::npos) << "the category after its content";
    EXPECT_NE(dump.find("\n#AcquisitionStart=1\n"), std::string::npos) << "commands are comments: " << dump;
    EXPECT_NE(dump.find("\n#Secret\n"), std::string::npos) << "an unreadable feature is its name alone";

    fake->port(1).memory()[0x107] = 0x55; // the second camera's own read-only value
    ASSERT_EQ(Tgx_LoadCameraParameters(second, path.c_str(), TGX_LOAD_PARAMETERS_STOP_ON_ERROR), TGX_OK);
    const char* id = nullptr;
    EXPECT_EQ(Tgx_getStringValue(second, "DeviceUserID", &id), TGX_OK);
    EXPECT_STREQ(id, "left camera");
    EXPECT_EQ(fake->port(1).memory()[0x107], 0x55) << "read-only values are left alone";
}

TEST_F(ParameterFile, BadLinesArePassedOverOrStopTheLoad) {
    WriteFile("# --- GenICam parameter dump\n\nno equals sign here\nDeviceUserID=unquoted\nUnknown=5\n"
              "Width = 512 \nPixelFormat=NoSuchEntry\n" +
              std::string(100000, 'x') + "=1\nReverseX=1\n");
    EXPECT_EQ(Tgx_LoadCameraParameters(second, path.c_str(), 0), TGX_OK);
    int64_t width = 0;
    ASSERT_EQ(Tgx_getIntegerValue(second, "Width", &width), TGX_OK);
    EXPECT_EQ(width, 512) << "white space around the parts is trimmed";
    uint32_t reverse = 0;
    ASSERT_EQ(Tgx_getBooleanValue(second, "ReverseX", &reverse), TGX_OK);
    EXPECT_EQ(reverse, 1U) << "the load goes on past bad lines";
    const char* id = nullptr;
    ASSERT_EQ(Tgx_getStringValue(second, "DeviceUserID", &id), TGX_OK);
    EXPECT_STREQ(id, "") << "a string without quotes isn't applied";

    // With the flag the first bad line ends the load; the lines before stay.
    WriteFile("Width=256\nDeviceUserID=unquoted\nReverseX=0\n");
    EXPECT_EQ(Tgx_LoadCameraParameters(second, path.c_str(), TGX_LOAD_PARAMETERS_STOP_ON_ERROR),
              TGX_ERR_INVALID_FEATURE);
    ASSERT_EQ(Tgx_getIntegerValue(second, "Width", &width), TGX_OK);
    EXPECT_EQ(width, 256);
    ASSERT_EQ(Tgx_getBooleanValue(second, "ReverseX", &reverse), TGX_OK);
    EXPECT_EQ(reverse, 1U);
}

TEST_F(ParameterFile, JunkAndEmptyFilesGiveTheirStatusesWithoutHarm) {
    std::string junk;
    for (int i = 0; i < 200000; ++i) {
        junk.push_back(static_cast<char>((i * 7919) % 256));
    }
    WriteFile(junk);
    EXPECT_EQ(Tgx_LoadCameraParameters(second, path.c_str(), 0), TGX_OK);
    WriteFile("");
    EXPECT_EQ(Tgx_LoadCameraParameters(second, path.c_str(), TGX_LOAD_PARAMETERS_STOP_ON_ERROR), TGX_OK);
    EXPECT_EQ(Tgx_LoadCameraParameters(second, "/nonexistent/params.txt", 0), TGX_ERR_INVALID_FILENAME);
    EXPECT_EQ(Tgx_SaveCameraParameters(first, "/nonexistent/params.txt"), TGX_ERR_INVALID_FILENAME);
}

TEST_F(ParameterFile, ChecksComeInTheirOrder) {
    EXPECT_EQ(Tgx_SaveCameraParameters(nullptr, ""), TGX_ERR_INVALID_BOARD_HANDLE);
    EXPECT_EQ(Tgx_SaveCameraParameters(first, ""), TGX_ERR_INVALID_FILENAME);
    ASSERT_EQ(Tgx_LinkDisconnect(first), TGX_OK);
    EXPECT_EQ(Tgx_SaveCameraParameters(first, ""), TGX_ERR_NO_GENICAM_CONNECTION);
    EXPECT_EQ(Tgx_LoadCameraParameters(first, path.c_str(), 0), TGX_ERR_NO_GENICAM_CONNECTION);
    const std::string log = Log();
    EXPECT_NE(log.find("|Invalid XML connection \n"), std::string::npos) << log;
    EXPECT_NE(log.find("| Invalid param File Name\n"), std::string::npos) << log;
}

TEST_F(ParameterFile, TheLowLevelLinkProfileListsTheRouting) {
    ASSERT_EQ(Tgx_StoreLowLevelLinkProfile(board, path.c_str()), TGX_OK);
    const std::string profile = File();
    EXPECT_EQ(profile.rfind("# low level link profile v1.0\nmux=0x7654321076543210\ndl_0=17,0\ndl_1=18,0\n", 0), 0U)
        << profile;
    EXPECT_NE(profile.find("speed_0=6250\n"), std::string::npos);
    EXPECT_NE(profile.find("speed_3=4294967295\n"), std::string::npos) << "no link: all ones";
    EXPECT_EQ(Tgx_RestoreLowLevelLinkProfile(board, path.c_str()), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_RestoreLowLevelLinkProfile(board, "/nonexistent/profile"), TGX_ERR_FILE_ACCESS);
    EXPECT_EQ(Tgx_StoreLowLevelLinkProfile(board, "/nonexistent/profile"), TGX_ERR_FILE_ACCESS);
    EXPECT_EQ(Tgx_StoreLowLevelLinkProfile(board, nullptr), TGX_ERR_INVALID_FILENAME);
}

} // namespace
