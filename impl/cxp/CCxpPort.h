// One CoaXPress connector of a frame grabber and the only way to the
// registers of the camera behind it: the board core's IPortInterface for
// CoaXPress, and the operations the controller drives a link with.
//
// The port is a front of three parts, each owned here and each in its own
// file:
//   CxpControlChannel  command packets, acknowledges, tags, memory access;
//   CxpBootstrap       version, identity, manifest and description;
//   CxpTransceivers    bit rates, core and receiver reset, lock, NIT, LED.
// The core type `gtxIf` picks one row of CxpCoreTraits at construction; the
// parts read it and never test the type.
//
// Locks, always taken in this order:
//   cameraInfoMutex (CxpBootstrap) over a whole identity read;
//   portMutex       here, recursive, lent to the parts: the link role and ids
//                   below, the getters, a memory access, a manifest or
//                   description read, a lock test, and what each part says;
//   txcLock         here, "orva_genicam-board_<b>-CCxpTxc_lock", shared by
//                   every port of the board in every process, lent to
//                   CxpTransceivers: register look-ups, transceiver
//                   programming, core reset and LED;
//   comLock         (CxpControlChannel) "orva_genicam-board_<b>-CCxpCom_lock",
//                   same scope: one command packet and its acknowledge.
// txcLock and comLock are never held together.
//
// Thread-safe. Nothing throws, except the constructor when a named lock can't
// be opened (std::runtime_error "can not open the requested lock").
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "impl/core/IPortInterface.h"
#include "impl/core/LazyLogger.h"
#include "impl/cxp/CxpBootstrap.h"
#include "impl/cxp/CxpBootstrapRegisters.h"
#include "impl/cxp/CxpControlChannel.h"
#include "impl/cxp/CxpCoreTraits.h"
#include "impl/cxp/CxpDesignRegisters.h"
#include "impl/cxp/CxpTransceivers.h"
#include "runtime/board/OrvaBoardApi.h"
#include "runtime/templates/InterProcessLock.h"
#include "runtime/templates/RecursiveMutex.h"
#include "runtime/templates/ThreadSafety.h"

namespace orva::cxp {

class CCxpPort : public orva::core::IPortInterface {
public:
    // Value of masterId, appletMasterId and linkSpeed when unknown, and of
    // the magic value and manifest size before they are read.
    static constexpr uint32_t kUnknown = bootstrap::kNotRead;
    // Core interface type of the queue path and the camera control interface.
    static constexpr uint32_t kGtxIfQueue = 16;
    // Bootstrap value of camera address 0 on a working link.
    static constexpr uint32_t kMagicValue = bootstrap::kMagicValue;

    // Reads the tweaks, takes the port's data queue locks (queue path), opens
    // the named locks, looks the registers up, holds the core in reset (6)
    // and leaves the LED at "no link" (2). `design` may be null (no design
    // loaded).
    CCxpPort(uint32_t portNumber, uint32_t gtxIf, OHalDevice* device, DsgDesign* design);
    // Releases the data queue locks (queue path), then sets the LED to 2.
    ~CCxpPort() override;

    CCxpPort(const CCxpPort&) = delete;
    CCxpPort& operator=(const CCxpPort&) = delete;
    CCxpPort(CCxpPort&&) = delete;
    CCxpPort& operator=(CCxpPort&&) = delete;

    // ---- IPortInterface ----

    // ReadMem with 200 ms; the status is dropped (node map access).
    void Read(void* buffer, int64_t address, int64_t length) override;
    // WriteMem with 200 ms; the status is dropped.
    void Write(const void* buffer, int64_t address, int64_t length) override;
    uint32_t GetLinkIndex() override;      // portMutex
    uint32_t GetPortNumber() override;     // no lock; never changes
    uint32_t GetAppletPort() override;     // portMutex
    uint32_t GetMasterId() override;       // portMutex
    uint32_t GetAppletMasterId() override; // portMutex
    uint32_t GetLinkSpeed() override;      // portMutex; kUnknown without a link
    bool IsConnected() override;           // portMutex; linkSpeed != kUnknown
    // NIT poll: false once too many polls in a row saw too many new NIT
    // errors. No lock; the counters are shared by every polling thread.
    bool IsTransceiverLocked() override;
    // True for the link registers 0x4000..0x4014; portMutex.
    bool IsValidAddress(uint64_t address) override;
    uint32_t GetControlPacketSize() override; // portMutex
    uint32_t GetStreamPacketSize() override;  // portMutex; always 2048
    // cameraInfoMutex, briefly; the record stays owned by the port.
    orva::core::ICameraInfo* GetCameraInfo() override;
    // Reads revision, versions, tags, packet sizes and identity strings into
    // the record; cameraInfoMutex over the whole run.
    void SaveCameraInfo() override;
    // Reads the user id again; cameraInfoMutex.
    void UpdateCameraInfo() override;
    // Fetches manifest entry `index` (plain text or zip) into `xml`; portMutex.
    int32_t GetXmlInfo(std::string& xml, uint32_t index) override;
    uint32_t GetNodeMapReadTimeoutMs() override;  // 200
    uint32_t GetNodeMapWriteTimeoutMs() override; // 200
    // Camera memory access of any length, in chunks of GetControlPacketSize()
    // - 32 bytes; portMutex, comLock per packet. On failure `buffer` of a read
    // is untouched.
    int32_t ReadMem(uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs) override;
    // As ReadMem; no acknowledge for 0x4000, an optional one for 0x4014.
    int32_t WriteMem(uint32_t address, const void* buffer, uint32_t length, uint32_t timeoutMs) override;

    // Logger "orva.genicam.CxpController", fetched on first use. No lock.
    orva::tools::logging::Logger* GetLogger();

    // ---- control channel (CxpControlChannel) ----

    // One access of at most one chunk; ackMode 0 required, 1 optional, 2 none.
    int32_t ExecCmd(bool isWrite, uint32_t address, uint32_t* buffer, uint32_t size, uint32_t ackMode,
                    uint32_t timeoutMs);
    int32_t CleanDataBuffer();
    int32_t WaitForPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words);
    int32_t ReadPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words);
    // Control packets carry a tag from now on (or not); the tag counter
    // starts again at 0. portMutex.
    void SetTagMode(bool on);
    bool GetTagMode(); // portMutex

    // ---- bootstrap and identity (CxpBootstrap) ----

    // Refreshes the manifest size and the manifest text of entry 0; portMutex.
    int32_t ReadManifestInfo();
    // Board property "MagicValue": camera address 0 at the last lock; portMutex.
    uint32_t GetMagicValue();
    // Board property "XmlSize": number of manifest entries; portMutex.
    uint32_t GetXmlManifestSize();
    // Board property "XmlFile": "<xml version>;<schema version>;<url>"; portMutex.
    std::string GetXmlManifestInfo();
    // Board property "CameraRevision"; cameraInfoMutex.
    uint32_t GetCameraRevision();

    // ---- transceivers and link state (CxpTransceivers) ----

    int32_t SetDownlinkSpeed(uint32_t speed);
    int32_t SetUplinkSpeed(uint32_t speed, bool& changed);
    int32_t SetCoreReset(uint32_t value);
    uint32_t GetCoreResetValue(); // portMutex; last value given to SetCoreReset
    int32_t TransceiverReset();
    int32_t WaitLinkLock();
    // Whole lock procedure at one speed, magic value check included; sets the
    // link speed on success.
    int32_t LockLinksAtSpeed(uint32_t speed);
    uint64_t ReadNitCounter();
    int32_t SetLedMode(uint32_t mode);

    // ---- state the controller sets ----

    // Back to "no camera": applet port = port number, ids and link speed
    // unknown, link index 2, port registers bound to the port number. portMutex.
    void ResetPortState();
    // Looks up the five per-port registers for design port `n` and hands them
    // to the parts; portMutex, txcLock.
    void BindPortRegisters(uint32_t n);
    // Link index (0 master, 1 extension, 2 no camera) and the camera's link
    // key together; portMutex.
    void SetLinkRole(uint32_t linkIndex, uint32_t masterId);
    void SetAppletMasterId(uint32_t key); // portMutex
    void SetAppletPort(uint32_t port);    // portMutex; call BindPortRegisters(port) too

private:
    // The tunables of the port, read at construction.
    struct Settings {
        uint32_t toleratedNitErrors = 0;
        uint32_t toleratedIntervals = 0;
        uint32_t commandAckTimeout = 0;
        uint32_t waitAfterLinkLockFound = 0;
        bool skipRegisterCheck = false;
        bool enableCxp2Extensions = false;
        uint32_t maxControlPacketSize = 0;
    };
    static Settings ReadSettings();
    void LogSettings();
    // Board and connector registers; txcLock.
    CxpBoardRegisters BindRegisters();
    static std::string LockName(uint32_t boardIndex, const char* suffix);

    const uint32_t portNumber_;
    const CxpCoreTraits& traits_;
    OHalDevice* const device_;
    DsgDesign* const design_;
    const Settings settings_;
    orva::core::LazyLogger logger_{"orva.genicam.CxpController"};
    orva::templates::platform::RecursiveMutex portMutex_;
    std::unique_ptr<orva::templates::platform::InterProcessLock> txcLock_;

    uint32_t masterId_ GUARDED_BY(portMutex_) = kUnknown;
    uint32_t appletMasterId_ GUARDED_BY(portMutex_) = kUnknown;
    uint32_t linkIndex_ GUARDED_BY(portMutex_) = orva::core::kLinkIndexNoCamera;
    uint32_t linkSpeed_ GUARDED_BY(portMutex_) = kUnknown;

    // Destroyed before the locks they borrow, the parts before the channel
    // they use.
    std::unique_ptr<CxpControlChannel> channel_;
    std::unique_ptr<CxpTransceivers> transceivers_;
    std::unique_ptr<CxpBootstrap> bootstrap_;
};

} // namespace orva::cxp
