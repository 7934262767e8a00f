// The controller of a CoaXPress board: the IControllerInterface of the
// technology. It owns the board's parts and hands each operation to the one
// whose job it is:
//   CxpBoard            handles, board-type facts, transceiver core, ports,
//                       tunables and the shared locks (lock order there);
//   CxpWorkerThread     the worker thread and every wait of the controller;
//   CxpTopology         link groups, master ids, the discovery selector and
//                       the connection configuration of a camera;
//   CxpBoardProperties  the board properties, a table of rows;
//   CxpPower            power over the cable and the trip check;
//   CxpLinkWorker       the link watch and the discovery pipeline.
//
// A scan touches only the ports without a link: cameras whose links are all
// in use keep their routes through the selector, their master ids and their
// connection configuration.
#pragma once

#include <cstdint>

#include "impl/core/IControllerInterface.h"
#include "impl/cxp/CxpBoard.h"
#include "impl/cxp/CxpBoardProperties.h"
#include "impl/cxp/CxpLinkWorker.h"
#include "impl/cxp/CxpPower.h"
#include "impl/cxp/CxpTopology.h"
#include "impl/cxp/CxpWorkerThread.h"
#include "runtime/board/OrvaBoardApi.h"

namespace orva::tools::logging {
class Logger;
}

namespace orva::cxp {

class CxpController : public core::IControllerInterface {
public:
    // Throws std::runtime_error("can not open the requested lock") when the
    // named lock of the board can't be opened; the ports' constructors may
    // throw the same.
    CxpController(OHalDevice* device, DsgDesign* design);
    // Stops and joins the worker, then deletes the parts and the ports.
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
    uint32_t GetGtxIf() const { return board_.GtxIf(); }
    // Ports whose link is in use; bit n for port n.
    uint32_t GetConnectedMask();

private:
    // In the order of construction: each part uses only those above it.
    CxpBoard board_;
    CxpWorkerThread workerThread_;
    CxpTopology topology_;
    CxpBoardProperties properties_;
    CxpPower power_;
    CxpLinkWorker linkWorker_;
};

} // namespace orva::cxp
