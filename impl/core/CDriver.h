// One frame grabber board in the process; a board handle is this object.
//
// Owns the board's controller (which owns the ports), the cameras found by
// the last discovery, and the monitoring thread. Thread-safety: every
// operation may be called from any application thread, except that the
// destructor must not overlap with any other call on the same board.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "impl/core/CCameraInterface.h"
#include "impl/core/CDriverMonitoringThread.h"
#include "impl/core/IControllerInterface.h"
#include "impl/core/IMonitorInterface.h"
#include "include/tgx_genicam.h"
#include "runtime/board/OrvaBoardApi.h"
#include "runtime/logging/Logger.h"
#include "runtime/templates/RecursiveMutex.h"
#include "runtime/templates/RecursiveMutexGuard.h"

// The opaque handle type of the C interface.
struct TgxBoardHandle {};

namespace orva::core {

class CDriver : public TgxBoardHandle, public IMonitorInterface {
public:
    CDriver();
    // Stops the monitoring thread, deletes the cameras, then the controller.
    ~CDriver() override;
    CDriver(const CDriver&) = delete;
    CDriver& operator=(const CDriver&) = delete;

    void Monitor() override;
    virtual tools::logging::Logger* GetLogger();
    // Discovery, then the camera list is rebuilt: every camera of a scanned
    // port is deleted, so handles taken before are dead afterwards.
    virtual int32_t ScanPorts(uint32_t portMask, uint32_t speed, uint32_t timeoutMs);
    virtual int32_t ReadPort(uint32_t portIndex, uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs);
    virtual int32_t WritePort(uint32_t portIndex, uint32_t address, const void* buffer, uint32_t length,
                              uint32_t timeoutMs);
    virtual int32_t GetCameraCount();
    virtual int32_t GetCameraListSize();

    // Chooses the controller from the board type, resets it and starts the
    // monitoring thread. `forceCoreReset` reaches the Camera Link HS
    // controller only.
    int32_t Init(const Gb_Struct_s* grabber, bool forceCoreReset);
    // The same, with a controller already made: for boards whose controller
    // is built elsewhere (and for tests of the core).
    int32_t Init(std::unique_ptr<IControllerInterface> controller);

    CCameraInterface* GetCameraByIndex(uint32_t index);
    // The first camera whose link 0 lies on this board port; null if none.
    CCameraInterface* GetCameraAtPort(uint32_t portIndex);
    uint32_t GetNrOfPorts();
    IPortInterface* GetPort(uint32_t index);
    IControllerInterface* GetController() const { return controller_.get(); }

    // The controller's properties first, then the board's own.
    int32_t GetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra);
    int32_t SetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra);

    // The design's link routing as a text file; TGX_ERR_FILE_ACCESS if it
    // can't be written. A restore has no effect yet: it checks the file and
    // gives TGX_ERR_INVALID_ARGUMENT.
    int32_t StoreLowLevelLinkProfile(const char* fileName);
    int32_t RestoreLowLevelLinkProfile(const char* fileName);

    // 0 off, 1 on, 2 off-pause-on; other commands do nothing. Always 0.
    int32_t PowerSwitch(uint32_t portMask, uint32_t command);

    // Replaces the event function; null ends delivery. Always 0.
    int32_t RegisterEventCallback(TgxEventCallback callback, void* context);
    // Calls the event function under eventLock_; TGX_ERR_NO_EVENT_HANDLER
    // without one, TGX_ERR_EXCEPTION if it throws.
    int32_t DeliverEvent(const TgxEventRecord* record, uint32_t reserved);
    // What the controller calls on a link change.
    static void EventSink(LinkEventKind kind, uint32_t portMask, void* context);
    // True on the thread that runs this board's event function right now:
    // that thread can't free the board, whose controller it belongs to.
    bool IsDeliveringEvent() const;

private:
    // Each takes cameraLock_ again, held already by ScanPorts.
    void RemoveCameraOfPort(const IPortInterface* port);
    void AddCameraOfMasterPort(IPortInterface* master, uint32_t speed);

    tools::logging::Logger* logger_ = nullptr;
    // Guards eventCallback_/eventContext_ and serialises deliveries; held
    // while the event function runs. Re-entered when that function registers
    // a function of its board again. Taken before cameraLock_ when an event
    // function calls back into the API.
    templates::platform::RecursiveMutex eventLock_ ACQUIRED_BEFORE(cameraLock_);
    // Guards cameras_; held over a whole discovery, and re-entered by
    // ScanPorts for each port while it edits the list.
    templates::platform::RecursiveMutex cameraLock_;
    TgxEventCallback eventCallback_ GUARDED_BY(eventLock_) = nullptr;
    void* eventContext_ GUARDED_BY(eventLock_) = nullptr;
    // The thread inside the event function; written under eventLock_.
    std::atomic<std::thread::id> deliveringThread_{};
    std::unique_ptr<IControllerInterface> controller_;
    std::unique_ptr<CDriverMonitoringThread> monitor_;
    std::vector<std::unique_ptr<CCameraInterface>> cameras_ GUARDED_BY(cameraLock_);
};

} // namespace orva::core
