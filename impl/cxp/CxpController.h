// The controller of a CoaXPress board.
//
// Finds out how many ports and which transceiver core the loaded design
// offers, owns one CCxpPort per port, and runs one worker thread that watches
// the links and brings up the ports that have none: power check, core reset,
// link reset, speed detection, topology scan, camera information, final link
// configuration. DiscoverCameras arms the worker and waits for its result.
//
// Locks, outermost first: scanMutex (one worker step; the link configuration
// property), controllerMutex (properties, power, speeds), callbackMutex (the
// event function), then the ports' own locks. controllerLock, shared between
// processes, guards the discovery selector registers. workerMutex is taken
// alone, or innermost for an interruptible pause.
//
// A scan touches only the ports without a link: cameras whose links are all
// in use keep their routes through the selector, their master ids and their
// connection configuration.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "impl/core/IControllerInterface.h"
#include "impl/cxp/CCxpPort.h"
#include "impl/cxp/CxpTopology.h"
#include "runtime/board/OrvaBoardApi.h"
#include "runtime/logging/Logger.h"
#include "runtime/templates/InterProcessLock.h"
#include "runtime/templates/RecursiveMutex.h"

namespace orva::cxp {

class CxpController : public core::IControllerInterface {
public:
    // Throws std::runtime_error("can not open the requested lock") when the
    // named lock of the board can't be opened; the ports' constructors may
    // throw the same.
    CxpController(OHalDevice* device, DsgDesign* design);
    // Stops and joins the worker, then deletes the ports.
    ~CxpController() override;
    CxpController(const CxpController&) = delete;
    CxpController& operator=(const CxpController&) = delete;
    CxpController(CxpController&&) = delete;
    CxpController& operator=(CxpController&&) = delete;

    void WaitAfterReset() override;
    void SetEventCallback(core::ControllerEventSink sink, void* context) override;
    void PowerOn(uint32_t portMask) override;
    void PowerOff(uint32_t portMask) override;
    int32_t SetDiscoverySelector(uint64_t selector) override;
    uint64_t GetDiscoverySelector() override;
    // 0 once a port of the mask has a link, else TGX_ERR_NO_CAMERA_FOUND at
    // the deadline; TGX_ERR_INVALID_LINK_SPEED, TGX_ERR_INVALID_PORT. Called
    // from the event function (on the worker) it gives TGX_ERR_BLOCKED: the
    // worker can't wait for itself.
    int32_t DiscoverCameras(uint32_t portMask, uint32_t speed, uint32_t timeoutMs) override;
    void ResetController() override;
    int32_t GetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) override;
    int32_t SetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) override;
    uint32_t GetNrOfPorts() override;
    core::IPortInterface* GetPort(uint32_t index) override;
    int32_t SetPortLinkSpeed(uint32_t portIndex, uint32_t speed) override;
    int32_t ResetPortCores(uint32_t portMask, uint32_t value) override;

    virtual tools::logging::Logger* GetLogger();
    // Forgets the ports of the mask (idle state, no master id) and sets the
    // selector so that they serve the design port of their own number, as
    // far as the routes of connected cameras leave free.
    virtual int32_t ResetPorts(uint32_t portMask);
    // 64-bit value of a design register looked up by name; 0 with `found`
    // false if the design has no such register.
    virtual uint64_t ReadDesignRegister(const char* name, bool& found);

    // 0 or TGX_ERR_INVALID_LINK_SPEED for this board.
    int32_t IsValidSpeed(uint32_t speed) const;

    // What the constructor found in the design.
    uint32_t GetGtxIf() const { return gtxIf_; }
    // Ports whose link is in use; bit n for port n.
    uint32_t GetConnectedMask();

    // Name of the worker thread as the system shows it.
    static constexpr const char* kWorkerThreadName = "CxpWorker";

    // Settling time of the cameras before their identity is read, on a board
    // of more than one port. Fixed: no tweak changes it.
    static constexpr uint32_t kWaitBeforeCameraInfoMs = 256;

    // Longest text "XmlFile" copies: two 8-digit versions, two separators
    // and a URL of at most 255 characters fit.
    static constexpr uint32_t kXmlFileMaxBytes = 512;

private:
    // ---- construction ----
    void ReadTweaks();
    void DetectNrPorts();
    int32_t LookUp(const std::string& name) const;

    // ---- the worker ----
    void WorkerMain();
    void WorkerStep();
    // Sleeps up to `ms`; false at once when the controller is being destroyed.
    bool Pause(uint32_t ms);
    bool StopRequested();
    void Deliver(core::LinkEventKind kind, uint32_t portMask);
    // Adds to `mask` the other connected links of the cameras it touches: a
    // camera is brought up again as a whole.
    uint32_t WithWholeCameras(uint32_t mask);

    // ---- the pipeline, under scanMutex ----
    int32_t CheckPortTrips();
    int32_t PerformCoreReset(uint32_t mask);
    int32_t PerformLinkReset(uint32_t mask);
    int32_t PerformSpeedDetect(uint32_t speed, uint32_t mask, uint32_t& found);
    int32_t ScanTopology(uint32_t kept);
    int32_t SaveCameraInfo(bool remap, uint32_t kept, uint32_t candidates, uint32_t& found);
    int32_t ConnectUnconnectedPorts(uint32_t kept, uint32_t candidates, uint32_t& found);
    int32_t MapPorts(uint32_t kept);
    int32_t SetFinalLinkConfig(uint32_t kept);

    // ---- topology helpers ----
    // Routes the ports outside `kept` by `selector`, holding them in core
    // reset while it changes; the kept ports' routes must be part of it.
    void ApplySelector(uint64_t selector, uint32_t kept);
    // Binds the ports of the mask to the design ports the selector gives them.
    void RebindPorts(uint32_t mask, uint64_t selector);
    // Connected ports of the camera of `port` (same master id).
    uint32_t CameraGroup(uint32_t port);
    void SetUplinkSpeedOnMask(uint32_t portMask, uint32_t speed, uint32_t* changedMask);
    void LockGroupAtSpeed(uint32_t portMask, uint32_t speed, uint32_t& lockedMask);
    int32_t SetPortConnectionConfig(uint32_t portIndex, uint32_t config);
    int32_t ReadCameraWord(uint32_t port, uint32_t address, uint32_t& value);
    int32_t WriteCameraWord(uint32_t port, uint32_t address, uint32_t value);
    uint32_t AllPortsMask() const;

    // ---- power and properties ----
    void SwitchPower(uint32_t portMask, bool on);
    int32_t ReadRegisterByName(const std::string& name, uint64_t& value);
    int32_t GetPortProperty(const std::string& name, void* value, uint32_t type, uint32_t port);

    tools::logging::Logger* logger_ = nullptr;
    uint32_t gtxIf_ = 0;
    uint32_t waitAfterLinkResetOnEachPort_ = 0;
    uint32_t waitAfterLinkResetDone_ = 0;
    uint32_t waitAfterCameraConfigDone_ = 0;
    uint32_t waitAfterUplinkSpeedReset_ = 0;
    uint32_t waitAfterPowerup_ = 0;
    uint32_t waitAfterPowerdown_ = 0;
    uint32_t numResetAttemptsOnPortTrip_ = 0;
    uint32_t waitAfterTripReset_ = 0;
    int32_t regAppletMasterId_ = 0;
    int32_t regAppletExtensionId_ = 0;
    int32_t regDiscoverySelectWrite_ = 0;
    int32_t regDiscoverySelectRead_ = 0;
    int32_t regDiscoveryConfig_ = 0;
    int32_t regPowerEnableRead_ = 0;
    int32_t regPowerEnableWrite_ = 0;
    uint32_t boardIndex_ = 0;
    uint32_t boardType_ = 0;
    uint32_t nrPorts_ = 0;
    // Under scanMutex: the next entry of layout_.masterIds to give away.
    uint32_t nextMasterIndex_ = 0;
    DesignLayout layout_;
    std::vector<std::unique_ptr<CCxpPort>> ports_;
    OHalDevice* device_ = nullptr;
    DsgDesign* design_ = nullptr;
    templates::platform::RecursiveMutex controllerMutex_;
    std::unique_ptr<templates::platform::InterProcessLock> controllerLock_;

    std::mutex scanMutex_;
    std::condition_variable scanDone_;
    uint32_t connectedMask_ = 0; // under scanMutex
    int64_t nextScanTimeNs_ = 0; // under scanMutex; monotonic clock
    uint32_t workerPeriodMs_ = 5;
    static constexpr uint32_t kScanIntervalMs = 1000;
    bool disablePowerOverCxp_ = false;

    std::mutex callbackMutex_;
    core::ControllerEventSink eventFunction_ = nullptr; // under callbackMutex
    void* eventContext_ = nullptr;                      // under callbackMutex

    std::mutex workerMutex_;
    std::condition_variable workerWake_;
    bool workerRunning_ = false; // under workerMutex
    bool stopRequested_ = false; // under workerMutex
    std::thread worker_;         // under workerMutex until joined
};

} // namespace orva::cxp
