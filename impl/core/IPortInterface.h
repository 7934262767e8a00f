// One physical port of a board, as the core sees it. Each technology's port
// implements it; the core never asks which technology stands behind it.
//
// Thread-safety: every operation may be called from any thread, also while
// the controller's worker threads run; implementations guard themselves (the
// getters under the port's own mutex, the hardware under the named locks).
#pragma once

#include <cstdint>
#include <string>

#include "impl/core/ICameraInfo.h"

namespace orva::core {

// Link index values of a port.
inline constexpr uint32_t kLinkIndexMaster = 0;
inline constexpr uint32_t kLinkIndexExtension = 1;
inline constexpr uint32_t kLinkIndexNoCamera = 2;

class IPortInterface {
public:
    virtual ~IPortInterface() = default;

    // Register access of a node map: forward to ReadMem/WriteMem with the
    // technology's time-out. A failure surfaces through the node map's own
    // error path, not here.
    virtual void Read(void* buffer, int64_t address, int64_t length) = 0;
    virtual void Write(const void* buffer, int64_t address, int64_t length) = 0;

    virtual uint32_t GetLinkIndex() = 0;      // 0 master, 1 extension, 2 no camera
    virtual uint32_t GetPortNumber() = 0;     // physical port of the board, from 0
    virtual uint32_t GetAppletPort() = 0;     // the port as the loaded design numbers it
    virtual uint32_t GetMasterId() = 0;       // high 16: camera id; low 16: link number in the camera
    virtual uint32_t GetAppletMasterId() = 0; // high 16: design's master id; low 16: link order there
    virtual uint32_t GetLinkSpeed() = 0;      // all ones when not connected
    virtual bool IsConnected() = 0;           // a camera answered in the last discovery
    virtual bool IsTransceiverLocked() = 0;   // the link is up now; may touch the hardware
    virtual bool IsValidAddress(uint64_t address) = 0;
    virtual uint32_t GetControlPacketSize() = 0;
    virtual uint32_t GetStreamPacketSize() = 0;
    // Never null; the port keeps ownership. Valid after a discovery.
    virtual ICameraInfo* GetCameraInfo() = 0;
    virtual void SaveCameraInfo() = 0;
    virtual void UpdateCameraInfo() = 0;
    virtual int32_t GetXmlInfo(std::string& xml, uint32_t index) = 0;
    // Time-outs, in ms, of the node map's register access through this port:
    // the technology's own, since a serial camera answers slower than a
    // coaxial one.
    virtual uint32_t GetNodeMapReadTimeoutMs() = 0;
    virtual uint32_t GetNodeMapWriteTimeoutMs() = 0;
    // Values come in the camera's byte order.
    virtual int32_t ReadMem(uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs) = 0;
    virtual int32_t WriteMem(uint32_t address, const void* buffer, uint32_t length, uint32_t timeoutMs) = 0;
};

} // namespace orva::core
