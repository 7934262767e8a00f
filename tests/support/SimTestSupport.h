#pragma once

// Support for the tests of the simulated boards: the board libraries loaded
// the way the library loads them, a namespace of its own per test, and
// child processes for the tests that need two programs on one board.

#include "orva_sim.h"
#include "runtime/board/OrvaBoardApi.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace orva::simtest {

using OHalFreeDevice_t = int32_t (*)(OHalDevice*);
using DsgUnloadDsgFile_t = int32_t (*)(DsgDesign*);

// The functions of the three board libraries of <build>/lib, by library.
#define ORVA_SIMTEST_BOARD_FUNCTIONS(X)                                                                                \
    X(dsgrt, DsgGetRegisterByName)                                                                                     \
    X(dsgrt, DsgLoadDsgFileWithType)                                                                                   \
    X(dsgrt, DsgUnloadDsgFile)                                                                                         \
    X(orva_hal, OHalInitDevice)                                                                                        \
    X(orva_hal, OHalFreeDevice)                                                                                        \
    X(orva_hal, OHalRegisterRead)                                                                                      \
    X(orva_hal, OHalRegisterWrite)                                                                                     \
    X(orva_hal, OHalGetBoardIndex)                                                                                     \
    X(orva_hal, OHalGetBoardInfoInt)                                                                                   \
    X(orva_hal, OHalDataQueueReadBufferLong)                                                                           \
    X(orva_hal, OHalDataQueueWriteBufferLong)                                                                          \
    X(orva_hal, OHalDataQueueReadBuffer)                                                                               \
    X(orva_hal, OHalDataQueueWriteBuffer)                                                                              \
    X(orva_hal, OHalDataQueueGetNrOfWords)                                                                             \
    X(orva_hal, OHalDataQueueClear)                                                                                    \
    X(orva_hal, OHalDataQueueFlush)                                                                                    \
    X(orva_hal, OHalDataQueueAcquireLock)                                                                              \
    X(orva_hal, OHalDataQueueReleaseLock)                                                                              \
    X(orva_hal, OHalClSerInit)                                                                                         \
    X(orva_hal, OHalClSerSetBaudrate)                                                                                  \
    X(orva_hal, OHalGetCameraStatusExtended)                                                                           \
    X(orva_hal, OHalCameraCtrlIsAvailable)                                                                             \
    X(orva_hal, OHalCameraCtrlReset)                                                                                   \
    X(orva_hal, OHalCameraCtrlSetPortMap)                                                                              \
    X(orva_hal, OHalCameraCtrlSetPortPowerState)                                                                       \
    X(orva_hal, OHalCameraCtrlSetPortDataPathState)                                                                    \
    X(orva_hal, OHalCameraCtrlSetPortDataPathSpeed)                                                                    \
    X(orva_hal, OHalCameraCtrlSetPortCxpStandardVersion)                                                               \
    X(orva_hal, OHalCameraCtrlSetPortCxpLedState)                                                                      \
    X(orva_hal, OHalReadFirmware)                                                                                      \
    X(gblib5, Gb_InitEx)                                                                                               \
    X(gblib5, Gb_FreeGrabber)                                                                                          \
    X(gblib5, Gb_FreeLibraries)

// The board libraries, opened with dlopen and bound by name like the real ones.
struct BoardLibraries {
#define ORVA_SIMTEST_SLOT(library, name) name##_t name;
    ORVA_SIMTEST_BOARD_FUNCTIONS(ORVA_SIMTEST_SLOT)
#undef ORVA_SIMTEST_SLOT
};

// Loaded once per process; a missing library or name fails the test.
const BoardLibraries& boardLibraries();

// Every test gets a namespace of its own, destroyed at its end, so that
// tests can run in parallel and leave nothing behind.
class SimTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Loads a scenario into the test's namespace; fails the test if it can't.
    void load(const std::string& json);
    // Opens a board; the handle is freed at the end of the test.
    OHalDevice* open(uint32_t board);
    int32_t registerNumber(OHalDevice* device, const char* name);
    // The register's number on the board of `device`, written / read.
    void writeRegister(OHalDevice* device, const char* name, uint64_t value);
    uint64_t readRegister(OHalDevice* device, const char* name);
    // For a child process: runs `body` on a handle of its own to `board`,
    // freed afterwards; 100 if the board can't be opened.
    int withOwnHandle(uint32_t board, const std::function<int(OHalDevice*)>& body);

    const BoardLibraries& hal = boardLibraries();
    std::string ns;

private:
    std::vector<OHalDevice*> devices_;
};

// A unique namespace name for the running test.
std::string uniqueNamespace(const std::string& tag = "");

// Runs `body` in a forked child and returns its exit status (the value
// `body` returned, 0 for success), or -1 if it didn't end normally. The
// child leaves with _exit, so nothing of the test framework runs there.
int runInChild(const std::function<int()>& body);

} // namespace orva::simtest
