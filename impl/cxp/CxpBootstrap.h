// Bootstrap and identity of the camera behind one CoaXPress port, once its
// link is locked: the negotiation of the CoaXPress version and of tags, the
// control and stream packet sizes, the identity strings, the manifest of the
// camera's GenICam description and the fetch of the description itself,
// plain or zipped. Every access goes through the port's control channel.
//
// Owns the identity record and cameraInfoMutex, which guards the record over
// a whole identity read (SaveCameraInfo, UpdateCameraInfo) and which
// GetCameraInfo takes briefly, so that a reader never gets a record in the
// middle of a refill. Borrows the port's portMutex, which guards the
// manifest size and text and is held over a manifest or description read.
// Lock order: cameraInfoMutex, then portMutex, then comLock (per packet, in
// the channel).
//
// Thread-safe. Nothing throws.
#pragma once

#include <cstdint>
#include <string>

#include "impl/core/CCameraInfo.h"
#include "impl/cxp/CxpBootstrapRegisters.h"
#include "impl/cxp/CxpCoreTraits.h"
#include "runtime/board/OrvaBoardApi.h"
#include "runtime/templates/Mutex.h"
#include "runtime/templates/RecursiveMutex.h"
#include "runtime/templates/ThreadSafety.h"

namespace orva::core {
class LazyLogger;
}

namespace orva::cxp {

class CxpControlChannel;

class CxpBootstrap {
public:
    struct Setup {
        uint32_t portNumber = 0;
        OHalDevice* device = nullptr;
        int32_t streamPacketSize = 0;      // the design's register
        bool enableCxp2Extensions = false; // CXP 2.0 and tags when the camera has them
    };

    CxpBootstrap(const Setup& setup, const CxpCoreTraits& traits, CxpControlChannel& channel,
                 orva::templates::platform::RecursiveMutex& portMutex, core::LazyLogger& logger);

    // Fills the record from the camera: revision, version and tags, packet
    // sizes, identity strings. Each step logs its status; a failed one leaves
    // its field empty and the next steps go on.
    void SaveCameraInfo() EXCLUDES(cameraInfoMutex_);
    // Reads the user id again.
    void UpdateCameraInfo() EXCLUDES(cameraInfoMutex_);
    // The record; stays owned here. Waits for a refill in progress.
    orva::core::ICameraInfo* GetCameraInfo() EXCLUDES(cameraInfoMutex_);
    uint32_t GetCameraRevision() EXCLUDES(cameraInfoMutex_);

    // Refreshes the manifest size and the manifest text of entry 0; the
    // status of the first failed access.
    int32_t ReadManifestInfo();
    uint32_t GetXmlManifestSize();
    // "<xml version>;<schema version>;<url>", versions in hexadecimal.
    std::string GetXmlManifestInfo();
    // Fetches manifest entry `index` into `xml`: the text of a plain block,
    // or entry 0 of a zip container. TGX_ERR_GENCP_INVALID_ADDRESS past the
    // manifest, TGX_ERR_INTERNAL for a location that doesn't parse or a zip
    // without entries, TGX_ERR_INVALID_DATA for one too large or an entry
    // that can't be unpacked; `xml` is left alone then.
    int32_t GetXmlInfo(std::string& xml, uint32_t index);

private:
    using Setter = void (orva::core::CCameraInfo::*)(std::string);

    void NegotiateVersion() REQUIRES(cameraInfoMutex_);
    // One identity string into the record with `set`, logged with `label`.
    void ReadIdentityField(uint32_t address, uint32_t size, const char* label, Setter set) REQUIRES(cameraInfoMutex_);
    void WriteVersionUsed(uint32_t version) REQUIRES(cameraInfoMutex_);
    int32_t ReadString(uint32_t address, uint32_t size, std::string& text);
    int32_t ReadManifestUrl(std::string& url);

    const CxpCoreTraits& traits_;
    const uint32_t portNumber_;
    OHalDevice* const device_;
    const int32_t streamPacketSizeRegister_;
    const bool enableCxp2Extensions_;
    CxpControlChannel& channel_;
    core::LazyLogger& logger_;
    // The port's mutex, lent for this object's lifetime.
    orva::templates::platform::RecursiveMutex& portMutex_;

    orva::templates::platform::Mutex cameraInfoMutex_ ACQUIRED_BEFORE(portMutex_);
    orva::core::CCameraInfo cameraInfo_ GUARDED_BY(cameraInfoMutex_);
    uint32_t xmlManifestSize_ GUARDED_BY(portMutex_) = bootstrap::kNotRead;
    std::string xmlInfo_ GUARDED_BY(portMutex_);
};

} // namespace orva::cxp
