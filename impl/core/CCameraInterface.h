// One discovered camera: its master port, the links the discovery found, and
// what the API hands out about it. A camera handle is this object.
//
// It borrows its port and controller (both owned by the board's controller)
// and so must be destroyed before them; CDriver does that.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/genapi/NodeMap.h"
#include "core/genapi/RegisterPort.h"

#include "impl/core/IControllerInterface.h"
#include "impl/core/IPortInterface.h"
#include "include/tgx_genicam.h"
#include "runtime/logging/Logger.h"
#include "runtime/templates/Mutex.h"

// The opaque handle type of the C interface.
struct TgxCameraHandle {};

namespace orva::core {

inline constexpr uint32_t kMaxLinks = 4;

// Where one link of the camera lies, on the board's side and on the design's.
// -1 where unknown.
struct LinkRecord {
    int32_t fgPort = -1;
    int32_t appletPort = -1;
    int32_t appletMasterId = -1;
    int32_t appletLinkOrderIndex = -1;
};

class CCameraInterface : public TgxCameraHandle {
public:
    CCameraInterface(IPortInterface* port, IControllerInterface* controller);
    virtual ~CCameraInterface();
    CCameraInterface(const CCameraInterface&) = delete;
    CCameraInterface& operator=(const CCameraInterface&) = delete;

    virtual tools::logging::Logger* GetLogger();

    IPortInterface* GetPort() const { return port_; }
    IControllerInterface* GetController() const { return controller_; }

    void SetDiscoverySpeed(uint32_t speed) { discoverySpeed_ = speed; }
    uint32_t GetDiscoverySpeed() const { return discoverySpeed_; }

    // 0 to 4 links; more is TGX_ERR_INVALID_ARGUMENT.
    int32_t SetNrOfLinks(uint32_t count);
    uint32_t GetNrOfLinks() const { return nrOfLinks_; }

    // Link numbers 0 to 3, else TGX_ERR_INVALID_ARGUMENT. Port numbers and the
    // link order index only fit 0 to 3: a larger value leaves the field as it
    // was. The master id is stored whole.
    int32_t SetLinkFgPort(uint32_t link, uint32_t value);
    int32_t SetLinkAppletPort(uint32_t link, uint32_t value);
    int32_t SetLinkAppletMasterId(uint32_t link, uint32_t value);
    int32_t SetLinkAppletLinkOrderIndex(uint32_t link, uint32_t value);
    // Link 0 to 3; a larger number gives the record of an unknown link.
    LinkRecord GetLink(uint32_t link) const;

    // The identity record handed to the application, refilled from the
    // port's record first. Only changed fields are written, and never to
    // null in between; the texts belong to the port's record and outlive a
    // refill that replaces them.
    const TgxCameraInfo* RefreshInfo();
    // Reads the parts of the identity that can change (the user id) again.
    void UpdateInfo();

    // Camera properties: TGX_ERR_NOT_IMPLEMENTED for an unknown name.
    int32_t GetProperty(const char* name, void* value, uint32_t type, const uint32_t* extra);
    int32_t SetProperty(const char* name, void* value, uint32_t type, const uint32_t* extra);

    // GenICam connection. Connecting, disconnecting and feature calls on one
    // camera must not overlap: the application serialises them.

    // Sets the GenICam environment, fetches the description unless one was
    // set or loaded, and builds the node map on the master port.
    int32_t Connect();
    // The same from a description file.
    int32_t ConnectWithExternalXml(const char* fileName);
    // Drops the node map and the description; puts the environment back.
    int32_t Disconnect();
    // Fetches the description from the camera into the object.
    int32_t LoadXml();
    // Copies the description out: its length with a null buffer.
    int32_t GetXml(char* buffer, uint32_t* size) const;
    // Takes a description for the next connect.
    void SetXml(const char* xml) { xml_ = xml; }

    // Null while not connected.
    genapi::NodeMap* GetNodeMap() { return nodeMap_ ? &*nodeMap_ : nullptr; }
    // A text handed to the application: stays valid while the camera lives.
    // Thread-safe: feature reads of one camera may run on several threads.
    const char* Keep(std::string text) EXCLUDES(stringPoolMutex_);

    // A node map has been made and not released by a link disconnect.
    bool IsConnected() const { return connected_; }
    // Releases the link's claim without touching the node map.
    void ReleaseLink() { connected_ = false; }

private:
    tools::logging::Logger* logger_ = nullptr;
    IPortInterface* const port_;             // borrowed: the master port
    IControllerInterface* const controller_; // borrowed
    uint32_t discoverySpeed_ = 0;
    uint32_t nrOfLinks_ = 0;
    std::array<LinkRecord, kMaxLinks> links_{};
    int32_t CreateNodeMap();
    void DropConnection();

    bool connected_ = false;
    std::optional<genapi::NodeMap> nodeMap_;
    std::shared_ptr<genapi::CorePortAdapter> portAdapter_;
    std::vector<std::string> savedEnvironment_;
    std::string xml_;
    // Guards stringPool_ alone, so that feature reads stay as parallel as
    // the node map lets them be; taken last, with nothing called under it.
    templates::platform::Mutex stringPoolMutex_;
    std::set<std::string, std::less<>> stringPool_ GUARDED_BY(stringPoolMutex_); // only grows
    // Guards the writes to info_ and the port's identity refresh. The
    // application reads info_ without it.
    templates::platform::Mutex infoMutex_;
    TgxCameraInfo info_{};
};

} // namespace orva::core
