// The board as every part of the CoaXPress controller sees it: its handles,
// the facts of its type, the transceiver core and the ports that the loaded
// design offers, the tunables, and the locks the parts share.
//
// Locks of the controller, outermost first:
//   scanMutex        (here) one step of the link worker, with the fields of
//                    CxpLinkWorker it guards, and what must not run during
//                    one: a reset of ports, a camera's new link
//                    configuration, the start and the wait of a discovery;
//   callbackMutex    (CxpLinkWorker) the event function and its context,
//                    held over its call. It ranks below scanMutex, but the
//                    worker delivers its events after it has released
//                    scanMutex: an event function that calls back into the
//                    API (a new link configuration, a reset of ports) would
//                    otherwise wait for a lock its own thread holds;
//   controllerMutex  (here, recursive) the board properties, power
//                    switching, port speeds and cores: it keeps these
//                    hardware sequences apart and guards no field;
//   controllerLock   (here) named "orva_genicam-board_<n>-CxpController_lock",
//                    shared with every process on the board: the discovery
//                    selector registers, held for their read and write only;
//   then the ports' own locks (CCxpPort.h).
// workerMutex (CxpWorkerThread) guards the worker's run state and is taken
// alone.
//
// Everything but the locks is fixed once the constructor is done, so the
// accessors need no lock.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "impl/core/BoardTypeFacts.h"
#include "impl/cxp/CCxpPort.h"
#include "impl/cxp/CxpControllerTweaks.h"
#include "runtime/board/OrvaBoardApi.h"
#include "runtime/templates/InterProcessLock.h"
#include "runtime/templates/Mutex.h"
#include "runtime/templates/RecursiveMutex.h"
#include "runtime/templates/ThreadSafety.h"

namespace orva::tools::logging {
class Logger;
}

namespace orva::cxp {

// Camera bootstrap registers of the link layer.
inline constexpr uint32_t kConnectionReset = 0x4000;
inline constexpr uint32_t kDeviceConnectionId = 0x4004;
inline constexpr uint32_t kMasterHostConnectionId = 0x4008;
inline constexpr uint32_t kConnectionConfig = 0x4014;
inline constexpr uint32_t kConnectionConfigDefault = 0x4018;

// Core reset value that holds a port's control core in reset.
inline constexpr uint32_t kCoreResetHold = 6;

// LED modes of a port.
inline constexpr uint32_t kLedNoLink = 2;
inline constexpr uint32_t kLedLinkReset = 3;
inline constexpr uint32_t kLedConnected = 8;

constexpr uint32_t PortBit(uint32_t port) {
    return uint32_t{1} << port;
}

// The camera's part of a link key: the master id shared by its links.
constexpr uint32_t CameraIdOf(uint32_t masterId) {
    return masterId >> 16;
}

// A design register of one port: the name with the port number behind.
std::string PortRegisterName(const char* base, uint32_t port);

// "0x" and upper-case hex digits: numbers in the controller's log lines.
std::string Hex(uint64_t value);

class CxpBoard {
public:
    // Opens controllerLock, reads the tunables, finds the transceiver core
    // and the number of ports, and makes the ports. Throws
    // std::runtime_error("can not open the requested lock") when a named
    // lock (its own or a port's) can't be opened.
    CxpBoard(OHalDevice* device, DsgDesign* design);
    ~CxpBoard();
    CxpBoard(const CxpBoard&) = delete;
    CxpBoard& operator=(const CxpBoard&) = delete;
    CxpBoard(CxpBoard&&) = delete;
    CxpBoard& operator=(CxpBoard&&) = delete;

    OHalDevice* Device() const { return device_; }
    DsgDesign* Design() const { return design_; }
    uint32_t BoardIndex() const { return boardIndex_; }
    uint32_t BoardType() const { return boardType_; }
    const core::BoardTypeFacts& Facts() const { return facts_; }
    // Core interface type: 0 if none was found.
    uint32_t GtxIf() const { return gtxIf_; }
    // 0, 1, 2 or 4.
    uint32_t NrPorts() const { return nrPorts_; }
    uint32_t AllPortsMask() const;
    // `port` must be below NrPorts().
    CCxpPort& Port(uint32_t port) const { return *ports_[port]; }
    const CxpControllerTweaks& Tweaks() const { return tweaks_; }
    // "orva.genicam.CxpController".
    tools::logging::Logger* GetLogger() const { return logger_; }

    // The number of a design register; 0 when the design lacks it.
    int32_t LookUp(const std::string& name) const;
    // TGX_ERR_INVALID_COMMAND when the design lacks the register.
    int32_t ReadRegisterByName(const std::string& name, uint64_t& value) const;

    // One 32-bit bootstrap register of the camera behind a port, as a host
    // value, with the time-out of the link layer. On failure `value` is
    // untouched.
    int32_t ReadCameraWord(uint32_t port, uint32_t address, uint32_t& value) const;
    int32_t WriteCameraWord(uint32_t port, uint32_t address, uint32_t value) const;

    // The shared locks, in their order above.
    // One worker step, and the fields of CxpLinkWorker.
    templates::platform::Mutex scanMutex ACQUIRED_BEFORE(controllerMutex);
    // Properties, power, port speeds and cores; no field.
    templates::platform::RecursiveMutex controllerMutex;
    // The selector registers, across processes. Never null.
    std::unique_ptr<templates::platform::InterProcessLock> controllerLock;

private:
    void DetectNrPorts();

    tools::logging::Logger* logger_ = nullptr;
    OHalDevice* const device_;
    DsgDesign* const design_;
    uint32_t boardIndex_ = 0;
    uint32_t boardType_ = 0;
    core::BoardTypeFacts facts_;
    CxpControllerTweaks tweaks_;
    uint32_t gtxIf_ = 0;
    uint32_t nrPorts_ = 0;
    std::vector<std::unique_ptr<CCxpPort>> ports_;
};

} // namespace orva::cxp
