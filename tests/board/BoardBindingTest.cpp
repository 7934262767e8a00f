#include <dlfcn.h>
#include <gtest/gtest.h>

#include <set>
#include <string_view>
#include <vector>

#include "runtime/board/BoardBinding.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/board/BoardLibraryNames.h"
#include "runtime/templates/RuntimeLibrary.h"

using namespace orva::board;

namespace {

using orva::templates::platform::SetRuntimeLibraryDirectory;

// Binds against the complete fake installation unless a test points elsewhere.
class BoardBinding : public ::testing::Test {
protected:
    void SetUp() override { SetRuntimeLibraryDirectory(FAKE_BOARD_DIR); }
    void TearDown() override { SetRuntimeLibraryDirectory(nullptr); }
};

TEST_F(BoardBinding, ForwarderBindsOnFirstCallAndSplitsValuesLowFirst) {
    ASSERT_FALSE(IsBound(BoardLibrary::OrvaHal));

    uint64_t value = 0;
    EXPECT_EQ(OHalRegisterRead(nullptr, 5, &value), 0);
    EXPECT_TRUE(IsBound(BoardLibrary::OrvaHal));
    EXPECT_EQ(value, 0x1000000005ULL);

    EXPECT_EQ(OHalRegisterWrite(nullptr, 1, 0x1122334455667788ULL), 0);
    auto* lastWrite = reinterpret_cast<uint64_t (*)()>(BoundEntry(BoardLibrary::OrvaHal, "FakeLastRegisterWrite"));
    EXPECT_EQ(lastWrite, nullptr) << "names outside the table are not bound";
    void* handle = dlopen(FAKE_BOARD_DIR "/lib/liborva_hal.so", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr);
    lastWrite = reinterpret_cast<uint64_t (*)()>(dlsym(handle, "FakeLastRegisterWrite"));
    ASSERT_NE(lastWrite, nullptr);
    EXPECT_EQ(lastWrite(), 0x1122334455667788ULL);
    dlclose(handle);
}

TEST_F(BoardBinding, MissingFunctionsGiveTheFixedStatusAndFallbacksAreTried) {
    // Both kinds of forwarder: the camera control family and a plain one.
    EXPECT_EQ(OHalCameraCtrlSetPortMap(nullptr, 1, 2), kOrvaHalUnavailable);
    EXPECT_EQ(OHalDataQueueReadBufferLong(nullptr, 0, nullptr, 4, 0), kOrvaHalUnavailable);
    EXPECT_EQ(OHalCameraCtrlIsAvailable(nullptr), 0) << "present functions are still reached";
    EXPECT_EQ(OHalGetCameraStatusExtended(nullptr, 0), 0U);
    // The firmware read falls back to the board specific name.
    std::vector<uint8_t> buffer(8, 0);
    EXPECT_EQ(OHalReadFirmware(nullptr, 0x1AB, buffer.data(), static_cast<uint32_t>(buffer.size())), 8);
    EXPECT_EQ(buffer[7], 0xAB);
    // The design runtime answers only for its names.
    EXPECT_EQ(DsgGetRegisterByName(nullptr, "BoardVersion"), 7);
    EXPECT_EQ(DsgGetRegisterByName(nullptr, "NoSuchRegister"), 0);
}

TEST_F(BoardBinding, MissingLibrariesFailSilentlyAndALateLibraryIsPickedUp) {
    SetRuntimeLibraryDirectory(EMPTY_BOARD_DIR);
    EXPECT_EQ(BindOrvaHal(), kOrvaHalUnavailable);
    EXPECT_EQ(BindDsgrt(), kDsgrtLoadFailed);
    EXPECT_EQ(BindGblib5(), kGblib5Unavailable);
    uint64_t value = 0;
    EXPECT_EQ(OHalRegisterRead(nullptr, 1, &value), kOrvaHalUnavailable);
    EXPECT_EQ(DsgGetRegisterByName(nullptr, "BoardVersion"), kDsgrtUnavailable);
    EXPECT_EQ(Gb_InitEx(0, nullptr, 0), nullptr);

    // The library turns up: the next call binds it.
    SetRuntimeLibraryDirectory(FAKE_BOARD_DIR);
    EXPECT_EQ(OHalRegisterRead(nullptr, 1, &value), 0);
    EXPECT_EQ(value, 0x1000000001ULL);
}

TEST_F(BoardBinding, OneMissingLibraryLeavesTheOthersBound) {
    SetRuntimeLibraryDirectory(PARTIAL_BOARD_DIR);
    EXPECT_EQ(BindOrvaHal(), 0);
    EXPECT_EQ(BindDsgrt(), kDsgrtLoadFailed);
    EXPECT_TRUE(IsBound(BoardLibrary::OrvaHal));
    EXPECT_FALSE(IsBound(BoardLibrary::Dsgrt));
    EXPECT_EQ(DsgGetRegisterByName(nullptr, "BoardVersion"), kDsgrtUnavailable);
}

TEST_F(BoardBinding, FreeingTheGrabberLibrariesEmptiesItsTable) {
    ASSERT_EQ(BindGblib5(), 0);
    ASSERT_TRUE(IsBound(BoardLibrary::Gblib5));
    EXPECT_EQ(Gb_FreeLibraries(), 1);
    EXPECT_FALSE(IsBound(BoardLibrary::Gblib5));
    EXPECT_EQ(BoundEntry(BoardLibrary::Gblib5, "Gb_FreeLibraries"), nullptr);
    // The next call binds again and reaches the same library.
    EXPECT_EQ(Gb_FreeLibraries(), 2);
}

TEST(BoardLibraryNames, TablesHoldEveryNameOnce) {
    // A name twice would give two slots, of which the forwarders use one.
    const auto unique = [](const auto& names) {
        return std::set<std::string_view>(names.begin(), names.end()).size() == names.size();
    };
    EXPECT_TRUE(unique(kOrvaHalNames));
    EXPECT_TRUE(unique(kDsgrtNames));
    EXPECT_TRUE(unique(kGblib5Names));
}

} // namespace
