// Connecting a camera and using its features by name, on a camera of the
// tests' own technology whose registers the test can see.
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "include/tgx_genicam.h"
#include "tests/api/ApiTestSupport.h"
#include "tests/api/TestCameraDescription.h"

using orva::core::kLinkIndexMaster;
using orva::test::ApiTest;

namespace {

class Features : public ApiTest {
protected:
    void SetUp() override {
        SetUpApi("*=5");
        ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
        fake->port(0).SetCamera(kLinkIndexMaster, 1, 0);
        fake->port(0).SetDescription(orva::test::kDescription);
        ASSERT_EQ(Tgx_scanPorts(board, 0x1, 1000, 0), TGX_OK);
        ASSERT_EQ(Tgx_getCamera(board, 0, &camera), TGX_OK);
        Register(0x100, 640);
        Register(0x104, 2048);
        Register(0x114, 0);
        Register(0x118, 2);
        Register(0x11C, 0);
        std::memset(memory() + 0x200, 0, 16);
    }
    uint8_t* memory() { return fake->port(0).memory(); }
    void Register(uint32_t address, uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            memory()[address + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
        }
    }
    uint32_t Register(uint32_t address) {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value = (value << 8) | memory()[address + i];
        }
        return value;
    }

    TgxCameraHandle* camera = nullptr;
};

TEST_F(Features, NothingWorksBeforeTheConnection) {
    int64_t value = 0;
    EXPECT_EQ(Tgx_getIntegerValue(camera, "Width", &value), TGX_ERR_NO_GENICAM_CONNECTION);
    EXPECT_EQ(Tgx_getIntegerValue(camera, "Width", nullptr), TGX_ERR_INVALID_ARGUMENT) << "the pointer comes first";
    EXPECT_EQ(Tgx_executeCommand(camera, "AcquisitionStart"), TGX_ERR_NO_GENICAM_CONNECTION);
    EXPECT_NE(Log().find("|Failed to get camera node map\n"), std::string::npos);
    EXPECT_EQ(Tgx_disconnectCamera(camera), TGX_OK) << "a disconnect without a connection is no fault";
}

TEST_F(Features, IntegersFloatsBooleansStringsThroughTheRegisters) {
    ASSERT_EQ(Tgx_connectCamera(camera), TGX_OK);
    int64_t width = 0;
    ASSERT_EQ(Tgx_getIntegerValue(camera, "Width", &width), TGX_OK);
    EXPECT_EQ(width, 640);
    ASSERT_EQ(Tgx_setIntegerValue(camera, "Width", 1024), TGX_OK);
    EXPECT_EQ(Register(0x100), 1024U);
    EXPECT_EQ(Tgx_setIntegerValue(camera, "Width", 1000), TGX_ERR_EXCEPTION) << "off the increment";
    EXPECT_EQ(Tgx_setIntegerValue(camera, "Width", -16), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Register(0x100), 1024U) << "refused values touch nothing";

    EXPECT_EQ(Tgx_setFloatValue(camera, "ExposureTime", 1250.5), TGX_OK);
    double exposure = 0;
    ASSERT_EQ(Tgx_getFloatValue(camera, "ExposureTime", &exposure), TGX_OK);
    EXPECT_DOUBLE_EQ(exposure, 1250.5);

    ASSERT_EQ(Tgx_setBooleanValue(camera, "ReverseX", 7), TGX_OK);
    EXPECT_EQ(Register(0x114), 1U);
    uint32_t reverse = 9;
    ASSERT_EQ(Tgx_getBooleanValue(camera, "ReverseX", &reverse), TGX_OK);
    EXPECT_EQ(reverse, 1U);

    ASSERT_EQ(Tgx_setStringValue(camera, "DeviceUserID", "line-3"), TGX_OK);
    const char* first = nullptr;
    const char* again = nullptr;
    ASSERT_EQ(Tgx_getStringValue(camera, "DeviceUserID", &first), TGX_OK);
    EXPECT_STREQ(first, "line-3");
    ASSERT_EQ(Tgx_getStringValue(camera, "DeviceUserID", &again), TGX_OK);
    EXPECT_EQ(first, again) << "equal values share one stored text";
    ASSERT_EQ(Tgx_setStringValue(camera, "DeviceUserID", "line-4"), TGX_OK);
    ASSERT_EQ(Tgx_getStringValue(camera, "DeviceUserID", &again), TGX_OK);
    EXPECT_STREQ(first, "line-3") << "an earlier text stays valid";
    EXPECT_STREQ(again, "line-4");
}

TEST_F(Features, TextsOfOneCameraCanBeReadOnSeveralThreads) {
    ASSERT_EQ(Tgx_connectCamera(camera), TGX_OK);
    ASSERT_EQ(Tgx_setEnumerationValue(camera, "PixelFormat", "Mono16"), TGX_OK);
    constexpr int kReads = 300;
    int wrongNames = 0;
    std::thread names([&] {
        for (int i = 0; i < kReads; ++i) {
            const std::string id = "id-" + std::to_string(i); // a new text for the pool each time
            const char* value = nullptr;
            if (Tgx_setStringValue(camera, "DeviceUserID", id.c_str()) != TGX_OK ||
                Tgx_getStringValue(camera, "DeviceUserID", &value) != TGX_OK || id != value) {
                ++wrongNames;
            }
        }
    });
    // This thread brings new texts to the pool too: the names the other one
    // writes, whole.
    int wrongTexts = 0;
    for (int i = 0; i < kReads; ++i) {
        const char* format = nullptr;
        const char* name = nullptr;
        if (Tgx_getEnumerationValueAsString(camera, "PixelFormat", &format) != TGX_OK ||
            std::strcmp(format, "Mono16") != 0 || Tgx_getStringValue(camera, "DeviceUserID", &name) != TGX_OK ||
            (*name != '\0' && std::strncmp(name, "id-", 3) != 0)) {
            ++wrongTexts;
        }
    }
    names.join();
    EXPECT_EQ(wrongNames, 0);
    EXPECT_EQ(wrongTexts, 0);
}

TEST_F(Features, AccessModesAndTypesAreCheckedWithTheirStatuses) {
    ASSERT_EQ(Tgx_connectCamera(camera), TGX_OK);
    EXPECT_EQ(Tgx_setIntegerValue(camera, "SensorWidth", 16), TGX_ERR_FEATURE_READ_ONLY);
    int64_t value = 0;
    EXPECT_EQ(Tgx_getIntegerValue(camera, "Secret", &value), TGX_ERR_FEATURE_WRITE_ONLY);
    EXPECT_EQ(Tgx_getIntegerValue(camera, "ExposureTime", &value), TGX_ERR_INVALID_FEATURE);
    EXPECT_EQ(Tgx_getIntegerValue(camera, "NoSuchFeature", &value), TGX_ERR_INVALID_FEATURE);
    EXPECT_EQ(Tgx_getIntegerValue(camera, "", &value), TGX_ERR_INVALID_FEATURE);
    const std::string log = Log();
    EXPECT_NE(log.find("|Feature SensorWidth is read only\n"), std::string::npos) << log;
    EXPECT_NE(log.find("|Value is write only\n"), std::string::npos);
    EXPECT_NE(log.find("|Failed to get feature ExposureTime\n"), std::string::npos);
}

TEST_F(Features, EnumerationsByEntryAndCommandsUntilTheCameraTakesThem) {
    ASSERT_EQ(Tgx_connectCamera(camera), TGX_OK);
    const char* format = nullptr;
    ASSERT_EQ(Tgx_getEnumerationValueAsString(camera, "PixelFormat", &format), TGX_OK);
    EXPECT_STREQ(format, "Mono16");
    ASSERT_EQ(Tgx_setEnumerationValue(camera, "PixelFormat", "Mono8"), TGX_OK);
    int64_t number = 0;
    ASSERT_EQ(Tgx_getEnumerationValue(camera, "PixelFormat", &number), TGX_OK);
    EXPECT_EQ(number, 1);
    EXPECT_EQ(Tgx_setEnumerationValue(camera, "PixelFormat", "RGB8"), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_NE(Log().find("|Invalid enum value\n"), std::string::npos);
    Register(0x118, 9); // a value no entry has
    EXPECT_EQ(Tgx_getEnumerationValueAsString(camera, "PixelFormat", &format), TGX_ERR_INVALID_DATA);

    ASSERT_EQ(Tgx_startAcquisition(camera), TGX_OK);
    EXPECT_EQ(Register(0x11C), 1U);
    uint32_t done = 7;
    ASSERT_EQ(Tgx_isCommandDone(camera, "AcquisitionStart", &done), TGX_OK);
    EXPECT_EQ(done, 0U) << "the register still holds the command";
    Register(0x11C, 0); // the camera takes it
    ASSERT_EQ(Tgx_isCommandDone(camera, "AcquisitionStart", &done), TGX_OK);
    EXPECT_EQ(done, 1U);
    EXPECT_EQ(Tgx_stopAcquisition(camera), TGX_ERR_INVALID_FEATURE) << "this camera has no AcquisitionStop";
}

TEST_F(Features, AFailedRegisterAccessIsAnExceptionWithThePortsFailure) {
    ASSERT_EQ(Tgx_connectCamera(camera), TGX_OK);
    fake->port(0).SetReadFailure(TGX_ERR_PACKET_TIMEOUT);
    int64_t value = 12345;
    EXPECT_EQ(Tgx_getIntegerValue(camera, "Width", &value), TGX_ERR_EXCEPTION);
    EXPECT_EQ(value, 12345) << "no value, not an old one";
    EXPECT_NE(Log().find("-1997"), std::string::npos) << "the line carries the port's status: " << Log();
}

TEST_F(Features, TheDescriptionComesFromTheCameraOrFromTheApplication) {
    uint32_t size = 0;
    ASSERT_EQ(Tgx_getGenICamXML(camera, nullptr, &size), TGX_OK);
    EXPECT_EQ(size, 0U) << "nothing fetched yet";
    ASSERT_EQ(Tgx_loadCameraXml(camera), TGX_OK);
    ASSERT_EQ(Tgx_getGenICamXML(camera, nullptr, &size), TGX_OK);
    ASSERT_EQ(size, std::strlen(orva::test::kDescription));
    std::string text(size, '\0');
    uint32_t small = size - 1;
    EXPECT_EQ(Tgx_getGenICamXML(camera, text.data(), &small), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(small, size - 1);
    ASSERT_EQ(Tgx_getGenICamXML(camera, text.data(), &size), TGX_OK);
    EXPECT_EQ(text, orva::test::kDescription);

    // A description given by the application is used without a fetch.
    const int fetches = fake->port(0).GetXmlInfoCalls;
    ASSERT_EQ(Tgx_setGenICamXML(camera, orva::test::kDescription, 0), TGX_OK);
    ASSERT_EQ(Tgx_connectCamera(camera), TGX_OK);
    EXPECT_EQ(fake->port(0).GetXmlInfoCalls, fetches);
    ASSERT_EQ(Tgx_disconnectCamera(camera), TGX_OK);
    int64_t value = 0;
    EXPECT_EQ(Tgx_getIntegerValue(camera, "Width", &value), TGX_ERR_NO_GENICAM_CONNECTION);
}

TEST_F(Features, ABrokenDescriptionIsRefusedAndFetchedAgainNextTime) {
    ASSERT_EQ(Tgx_setGenICamXML(camera, "<RegisterDescription><Integer Name=\"Cut", 0), TGX_OK);
    EXPECT_EQ(Tgx_connectCamera(camera), TGX_ERR_NO_INTERFACE);
    uint32_t size = 1;
    ASSERT_EQ(Tgx_getGenICamXML(camera, nullptr, &size), TGX_OK);
    EXPECT_EQ(size, 0U) << "the refused description is dropped";
    EXPECT_EQ(Tgx_connectCamera(camera), TGX_OK) << "the camera's own description is fetched";
}

TEST_F(Features, ADescriptionFromAFile) {
    const std::string path = ::testing::TempDir() + "tgx-feature-" + std::to_string(getpid()) + ".xml";
    std::ofstream(path) << orva::test::kDescription;
    EXPECT_EQ(Tgx_connectCameraWithExternalXml(camera, path.c_str()), TGX_OK);
    int64_t width = 0;
    EXPECT_EQ(Tgx_getIntegerValue(camera, "Width", &width), TGX_OK);
    std::ofstream(path, std::ios::trunc).close();
    EXPECT_EQ(Tgx_connectCameraWithExternalXml(camera, path.c_str()), TGX_ERR_NO_DATA);
    std::remove(path.c_str());
    EXPECT_EQ(Tgx_connectCameraWithExternalXml(camera, path.c_str()), TGX_ERR_FILE_NOT_FOUND);
    EXPECT_EQ(Tgx_connectCameraWithExternalXml(camera, nullptr), TGX_ERR_INVALID_FILENAME);
}

} // namespace
