// Registers and memory through a camera and directly through a board port.
#include "include/tgx_genicam.h"
#include "tests/api/ApiTestSupport.h"

using orva::core::kLinkIndexMaster;
using orva::test::ApiTest;

namespace {

class Registers : public ApiTest {
protected:
    void SetUp() override {
        SetUpApi("orva.genicam.lib=1");
        ASSERT_NO_FATAL_FAILURE(OpenFakeBoard());
        fake->port(1).SetCamera(kLinkIndexMaster, 1, 0);
        ASSERT_EQ(Tgx_scanPorts(board, 0xF, 1000, 0), TGX_OK);
        ASSERT_EQ(Tgx_getCamera(board, 1, &camera), TGX_OK);
        ASSERT_NE(camera, nullptr);
        uint8_t* memory = fake->port(1).memory();
        memory[0x100] = 0xAA;
        memory[0x101] = 0xBB;
        memory[0x102] = 0xCC;
        memory[0x103] = 0xDD;
    }
    TgxCameraHandle* camera = nullptr;
};

TEST_F(Registers, RegistersReadAsBigEndianHostValues) {
    uint32_t value = 0;
    ASSERT_EQ(Tgx_registerReadFromCamera(camera, &value, 0x100), TGX_OK);
    EXPECT_EQ(value, 0xAABBCCDDU);
    EXPECT_EQ(fake->port(1).lastTimeoutMs, 2000U);
    ASSERT_EQ(Tgx_registerWriteToCamera(camera, 0x01020304, 0x200), TGX_OK);
    EXPECT_EQ(fake->port(1).memory()[0x200], 0x01);
    EXPECT_EQ(fake->port(1).memory()[0x203], 0x04);
    EXPECT_NE(Log().find("|Entering Tgx_registerReadFromCamera; Address: 256\n"), std::string::npos);
}

TEST_F(Registers, ALostLinkRefusesTheCameraRouteAndLeavesTheValue) {
    fake->port(1).SetNoCamera();
    uint32_t value = 42;
    EXPECT_EQ(Tgx_registerReadFromCamera(camera, &value, 0x100), TGX_ERR_STREAM_PACKET_SIZE_REJECTED);
    EXPECT_EQ(value, 42U);
    EXPECT_NE(Log().find("|Tranceiver not sysncronized\n"), std::string::npos);
}

TEST_F(Registers, OwnChecksComeBeforeTheCamera) {
    uint8_t buffer[8];
    EXPECT_EQ(Tgx_memoryReadFromCamera(nullptr, buffer, 0, 0), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_memoryReadFromCamera(nullptr, nullptr, 0, 8), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_memoryReadFromCamera(nullptr, buffer, 0, 8), TGX_ERR_INVALID_CAMERA_HANDLE);
    EXPECT_EQ(Tgx_registerReadFromCamera(camera, nullptr, 0), TGX_ERR_INVALID_ARGUMENT);
    const std::string log = Log();
    EXPECT_NE(log.find("|Invalid length\n"), std::string::npos);
    EXPECT_NE(log.find("|Leaving __impl_Tgx_memoryReadFromCameraWithOrWithoutTimeout,return=-1000\n"),
              std::string::npos)
        << log;
}

TEST_F(Registers, MemoryGoesAsIsWithTheGivenTimeOut) {
    uint8_t buffer[4] = {};
    ASSERT_EQ(Tgx_memoryReadFromCameraWithTimeout(camera, buffer, 0x1'0000'0100ULL, 4, 750), TGX_OK);
    EXPECT_EQ(buffer[0], 0xAA) << "the high half of the address is dropped";
    EXPECT_EQ(fake->port(1).lastTimeoutMs, 750U);
    char text[3] = {};
    ASSERT_EQ(Tgx_stringReadFromCamera(camera, text, 0x41, 2), TGX_OK);
    EXPECT_STREQ(text, "AB");
    const uint8_t data[2] = {7, 9};
    ASSERT_EQ(Tgx_memoryWriteToCamera(camera, data, 0x300, 2), TGX_OK);
    EXPECT_EQ(fake->port(1).memory()[0x301], 9);
    EXPECT_EQ(Tgx_memoryReadFromCamera(camera, buffer, 0xFFFF0, 4), TGX_ERR_CXP_INVALID_ADDRESS)
        << "the port's status goes to the caller";
}

TEST_F(Registers, DirectRouteReadsSwappedAndWritesSwappedOnRequest) {
    uint32_t value = 0;
    ASSERT_EQ(Tgx_DirectRegisterRead64(board, 1, 0xFFFF'FFFF'0000'0100ULL, &value), TGX_OK);
    EXPECT_EQ(value, 0xAABBCCDDU);
    EXPECT_EQ(fake->port(1).lastTimeoutMs, 200U);
    EXPECT_EQ(Tgx_DirectRegisterRead(board, 4, 0, &value), TGX_ERR_INVALID_POINTER);
    EXPECT_EQ(Tgx_DirectRegisterRead(board, 1, 0, nullptr), TGX_ERR_INVALID_DATA);

    ASSERT_EQ(Tgx_DirectRegisterWrite(board, 2, 0x10, 0x11223344, 0), TGX_OK);
    EXPECT_EQ(fake->port(2).memory()[0x10], 0x44) << "host order without the flag";
    ASSERT_EQ(Tgx_DirectRegisterWrite64(board, 2, 0x10, 0x11223344, 1), TGX_OK);
    EXPECT_EQ(fake->port(2).memory()[0x10], 0x11);

    uint8_t buffer[4] = {};
    uint32_t length = 4;
    ASSERT_EQ(Tgx_DirectRegisterReadMemWithTimeOut(board, 1, 0x100, buffer, &length, 900), TGX_OK);
    EXPECT_EQ(buffer[3], 0xDD);
    EXPECT_EQ(fake->port(1).lastTimeoutMs, 900U);
    EXPECT_EQ(Tgx_DirectRegisterReadMem(board, 1, 0x100, buffer, nullptr), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_DirectRegisterWriteMem64(board, 3, 0x1'0000'0020ULL, buffer, 4), TGX_OK);
    EXPECT_EQ(fake->port(3).memory()[0x20], 0xAA);
    EXPECT_EQ(Tgx_DirectRegisterWriteMem(nullptr, 0, 0, buffer, 4), TGX_ERR_INVALID_BOARD_HANDLE);
    EXPECT_NE(Log().find("|Invalid buffer length\n"), std::string::npos);
}

} // namespace
