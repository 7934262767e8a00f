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

// The three board libraries of <build>/lib, opened with dlopen and bound by
// name like the real ones.
struct BoardLibraries {
    DsgGetRegisterByName_t DsgGetRegisterByName;
    DsgLoadDsgFileWithType_t DsgLoadDsgFileWithType;
    DsgUnloadDsgFile_t DsgUnloadDsgFile;
    OHalInitDevice_t OHalInitDevice;
    OHalFreeDevice_t OHalFreeDevice;
    OHalRegisterRead_t OHalRegisterRead;
    OHalRegisterWrite_t OHalRegisterWrite;
    OHalGetBoardIndex_t OHalGetBoardIndex;
    OHalGetBoardInfoInt_t OHalGetBoardInfoInt;
    OHalDataQueueReadBufferLong_t OHalDataQueueReadBufferLong;
    OHalDataQueueWriteBufferLong_t OHalDataQueueWriteBufferLong;
    OHalDataQueueReadBuffer_t OHalDataQueueReadBuffer;
    OHalDataQueueWriteBuffer_t OHalDataQueueWriteBuffer;
    OHalDataQueueGetNrOfWords_t OHalDataQueueGetNrOfWords;
    OHalDataQueueClear_t OHalDataQueueClear;
    OHalDataQueueFlush_t OHalDataQueueFlush;
    OHalDataQueueAcquireLock_t OHalDataQueueAcquireLock;
    OHalDataQueueReleaseLock_t OHalDataQueueReleaseLock;
    OHalClSerInit_t OHalClSerInit;
    OHalClSerSetBaudrate_t OHalClSerSetBaudrate;
    OHalGetCameraStatusExtended_t OHalGetCameraStatusExtended;
    OHalCameraCtrlIsAvailable_t OHalCameraCtrlIsAvailable;
    OHalCameraCtrlReset_t OHalCameraCtrlReset;
    OHalCameraCtrlSetPortMap_t OHalCameraCtrlSetPortMap;
    OHalCameraCtrlSetPortPowerState_t OHalCameraCtrlSetPortPowerState;
    OHalCameraCtrlSetPortDataPathState_t OHalCameraCtrlSetPortDataPathState;
    OHalCameraCtrlSetPortDataPathSpeed_t OHalCameraCtrlSetPortDataPathSpeed;
    OHalCameraCtrlSetPortCxpStandardVersion_t OHalCameraCtrlSetPortCxpStandardVersion;
    OHalCameraCtrlSetPortCxpLedState_t OHalCameraCtrlSetPortCxpLedState;
    OHalReadFirmware_t OHalReadFirmware;
    Gb_InitEx_t Gb_InitEx;
    Gb_FreeGrabber_t Gb_FreeGrabber;
    Gb_FreeLibraries_t Gb_FreeLibraries;
};

// Loaded once per process; a missing library or name fails the test.
const BoardLibraries& boardLibraries();

std::string buildDirectory();

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

    const BoardLibraries& hal = boardLibraries();
    std::string ns;

private:
    std::vector<OHalDevice*> devices_;
};

// The tests change the environment only from their main thread, while no
// other thread of theirs runs.
void setEnvironment(const char* name, const std::string& value);
void clearEnvironment(const char* name);

// A unique namespace name for the running test.
std::string uniqueNamespace(const std::string& tag = "");

// A one-way pipe between a parent and a forked child, to say "go".
class Signal {
public:
    Signal();
    ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    void send();
    // False if nothing came within the bound.
    bool wait(int timeoutMs = 10000);

private:
    int fds_[2];
};

// Runs `body` in a forked child and returns its exit status (the value
// `body` returned, 0 for success), or -1 if it didn't end normally. The
// child leaves with _exit, so nothing of the test framework runs there.
int runInChild(const std::function<int()>& body);

// Forks a child that runs `body`; waitChild collects its exit status.
pid_t startChild(const std::function<int()>& body);
int waitChild(pid_t pid);

} // namespace orva::simtest
