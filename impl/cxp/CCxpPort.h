// One CoaXPress connector of a frame grabber and the only way to the registers
// of the camera behind it: the control channel (command packets and their
// acknowledges), the camera's bootstrap and identity, and the transceivers of
// the port (bit rates, core reset, link lock, NIT watch, LED).
//
// Two channel paths, chosen by the core interface type `gtxIf`: the register
// path (1, 2, 3, 6, 10) where software builds the whole packet and moves it
// word by word through design registers, and the queue path (16) where the
// board's data queues carry the packet and the board adds markers and CRC.
//
// Locks, always taken in this order:
//   portMutex   per object, recursive: the getters, ReadMem/WriteMem, the
//               manifest and description reads, WaitLinkLock;
//   comLock     "orva_genicam-board_<b>-CCxpCom_lock", shared by every port of
//               the board in every process: one command packet and its
//               acknowledge;
//   txcLock     "orva_genicam-board_<b>-CCxpTxc_lock", same scope: transceiver
//               programming, core reset, LED and the register look-ups.
// cameraInfoMutex is separate; it is held across a whole identity read and
// may be held while portMutex and comLock are taken.
//
// Nothing here throws, except the constructor when a named lock can't be
// opened (std::runtime_error "can not open the requested lock").
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "impl/core/CCameraInfo.h"
#include "impl/core/IPortInterface.h"
#include "runtime/board/OrvaBoardApi.h"
#include "runtime/templates/InterProcessLock.h"
#include "runtime/templates/RecursiveMutex.h"

namespace orva::tools::logging {
class Logger;
}

namespace orva::cxp {

class CCxpPort : public orva::core::IPortInterface {
public:
    // Value of masterId, appletMasterId, linkSpeed, magicValue and
    // xmlManifestSize when unknown.
    static constexpr uint32_t kUnknown = 0xFFFFFFFF;
    // Core interface type of the queue path; every other type uses registers.
    static constexpr uint32_t kGtxIfQueue = 16;
    // Bootstrap value of camera address 0 on a working link.
    static constexpr uint32_t kMagicValue = 0xC0A79AE5;
    // Acknowledge modes of ExecCmd.
    static constexpr uint32_t kAckRequired = 0;
    static constexpr uint32_t kAckOptional = 1;
    static constexpr uint32_t kAckNone = 2;

    // Reads the tweaks, takes the port's data queue locks (queue path), opens
    // the named locks, binds the registers, holds the core in reset (6) and
    // leaves the LED at "no link" (2). `design` may be null (no design loaded).
    CCxpPort(uint32_t portNumber, uint32_t gtxIf, OHalDevice* device, DsgDesign* design);
    // Releases the data queue locks (queue path) and sets the LED to 2.
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
    // True for the link registers 0x4000..0x4014 (step 4); portMutex.
    bool IsValidAddress(uint64_t address) override;
    uint32_t GetControlPacketSize() override; // portMutex
    uint32_t GetStreamPacketSize() override;  // portMutex; always 2048
    // cameraInfoMutex, briefly; the record stays owned by the port.
    orva::core::ICameraInfo* GetCameraInfo() override;
    // Reads revision, versions, tags, packet sizes and identity strings into
    // the record; cameraInfoMutex over the whole run (then portMutex, comLock
    // per access).
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

    // ---- control channel ----

    // One access of at most one chunk as one or more packets. `buffer` holds
    // (size + 3) / 4 words in wire order; a read fills it. ackMode: 0 an
    // acknowledge is required, 1 optional, 2 none expected. Takes comLock per
    // packet; callers hold portMutex.
    int32_t ExecCmd(bool isWrite, uint32_t address, uint32_t* buffer, uint32_t size, uint32_t ackMode,
                    uint32_t timeoutMs);
    // Drops whatever waits on the receive side; no lock of its own.
    int32_t CleanDataBuffer();
    // Waits up to timeoutMs for the start of a packet; on the register path
    // the first word is appended to `words`. No lock of its own.
    int32_t WaitForPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words);
    // Appends the (rest of the) packet to `words`. No lock of its own.
    int32_t ReadPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words);
    // Control packets carry a tag from now on (or not); restarts the tag
    // counter at 0. portMutex.
    void SetTagMode(bool on);
    bool GetTagMode(); // portMutex

    // ---- bootstrap and identity ----

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

    // ---- transceivers and link state ----

    // Programs the receivers to `speed` (Mbit/s), then resets them. txcLock
    // (register path). -2075 for a speed the core type doesn't have, -2031
    // for an unknown core type, TGX_ERR_LINK_TIMEOUT if a ready flag never comes.
    int32_t SetDownlinkSpeed(uint32_t speed);
    // Sets the uplink class (high for 10000/12500) after holding the core in
    // reset; `changed` is set when the class differs from the last one.
    // txcLock (gtxIf 10).
    int32_t SetUplinkSpeed(uint32_t speed, bool& changed);
    // Control core reset mask: 6 held in reset, 2 lock test, 0 running.
    // Stored for GetCoreResetValue. txcLock (register path).
    int32_t SetCoreReset(uint32_t value);
    uint32_t GetCoreResetValue(); // portMutex; last value given to SetCoreReset
    // Resets the receivers of this port and waits for them; txcLock.
    int32_t TransceiverReset();
    // 0 once more than 100 NIT reads in a row are 0 within 5 ms, else
    // TGX_ERR_LINK_LOCK_TIMEOUT. portMutex.
    int32_t WaitLinkLock();
    // Whole lock procedure at one speed, magic value check included; sets the
    // link speed on success. portMutex, txcLock and comLock by its steps.
    int32_t LockLinksAtSpeed(uint32_t speed);
    // NIT error counter of the port (bits 23..0 on gtxIf 10/16); no lock.
    uint64_t ReadNitCounter();
    // LED: 1 construction, 2 no link, 3 link reset, 8 connected. txcLock
    // (register path).
    int32_t SetLedMode(uint32_t mode);

    // ---- state the controller sets ----

    // Back to "no camera": applet port = port number, ids and link speed
    // unknown, link index 2, port registers bound to the port number. portMutex.
    void ResetPortState();
    // Looks up the five per-port channel registers for design port `n`;
    // portMutex, txcLock.
    void BindPortRegisters(uint32_t n);
    // Looks up the board and transceiver registers of the design; txcLock.
    void BindRegisters();
    // Link index (0 master, 1 extension, 2 no camera) and the camera's link
    // key together; portMutex.
    void SetLinkRole(uint32_t linkIndex, uint32_t masterId);
    void SetLinkIndex(uint32_t linkIndex);                 // portMutex
    void SetMasterId(uint32_t masterId);                   // portMutex
    void SetAppletMasterId(uint32_t key);                  // portMutex
    void SetAppletPort(uint32_t port);                     // portMutex; call BindPortRegisters(port) too
    void SetLinkSpeed(uint32_t speed);                     // portMutex; kUnknown marks the port disconnected
    void SetControlPacketSize(uint32_t bytes);             // portMutex; 0 or above 2048 becomes 2048
    uint32_t GetGtxIf() const { return gtxIf_; }           // no lock; never changes
    DsgDesign* GetDesign() const { return design_; }       // no lock; never changes
    OHalDevice* GetDevice() const { return device_; }      // no lock; never changes
    uint32_t GetBoardIndex() const { return boardIndex_; } // no lock; never changes

private:
    // Register numbers of the design; 0 or less: the design lacks it.
    struct BoardRegisters {
        int32_t gtxRxReset = 0;
        int32_t rxPllDet = 0;
        int32_t rxResetDone = 0;
        int32_t gtxDrpReady = 0;
        int32_t gtxSetBitRateDone = 0;
        int32_t rxStatus = 0;
        int32_t txCmdPacketSent = 0;
        int32_t streamPacketSize = 0;
        int32_t coreReset = 0; // of portNumber, fixed
        int32_t notInTable = 0;
        int32_t gtxDrpAddress = 0;
        int32_t gtxDrpWriteData = 0;
        int32_t gtxSetBitRate = 0;
        int32_t transceiverStatus = 0;
        int32_t downLinkBitRate = 0;
        int32_t upLinkBitRate = 0;
    };
    // The channel registers; they follow the applet port.
    struct PortRegisters {
        int32_t txCmdWriteData = 0;
        int32_t rxCmdAckPacketData = 0;
        int32_t controlCoreReset = 0;
        int32_t ledModeSelectWrite = 0;
        int32_t ledModeSelectRead = 0;
    };

    // Outcome of the acknowledges of one command packet.
    struct AckPass {
        uint32_t done = 0;         // words transferred so far
        uint32_t payloadWords = 0; // data words of this packet (writes)
        uint32_t resends = 0;      // re-sends left for malformed answers
    };

    // A field that portMutex guards, read or written under it.
    uint32_t Load(uint32_t CCxpPort::*field);
    void Store(uint32_t CCxpPort::*field, uint32_t value);
    bool IsQueuePath() const { return gtxIf_ == kGtxIfQueue; }
    std::string LockName(const char* suffix) const;
    uint32_t ChunkBytes();
    // ReadMem and WriteMem behind their checks: `length` bytes of `words`, in
    // chunks of ChunkBytes(), stopping at the first failure.
    int32_t ExecInChunks(bool isWrite, uint32_t address, uint32_t* words, uint32_t length, uint32_t ackMode,
                         uint32_t timeoutMs);
    int32_t RegisterRead(int32_t reg, uint64_t& value) const;
    int32_t RegisterWrite(int32_t reg, uint64_t value) const;
    // Polls bit `bit` of `reg` until it reads as `set`; bounded in time, then
    // TGX_ERR_LINK_TIMEOUT.
    int32_t WaitForBit(int32_t reg, uint32_t bit, bool set, const char* what);
    int32_t SendPacket(const std::vector<uint32_t>& packet, uint32_t timeoutMs);
    int32_t ReceiveAcknowledges(bool isWrite, uint32_t* buffer, uint32_t words, uint8_t sentTag, uint32_t timeoutMs,
                                AckPass& pass);
    int32_t ProgramDownlink(uint32_t speed);
    void NegotiateVersion();
    void WriteVersionUsed(uint32_t version);
    int32_t ReadRegister32(uint32_t address, uint32_t& value);
    int32_t WriteRegister32(uint32_t address, uint32_t value);
    int32_t ReadString(uint32_t address, uint32_t size, std::string& text);
    int32_t ReadManifestUrl(std::string& url);

    std::atomic<orva::tools::logging::Logger*> logger_{nullptr};
    const uint32_t portNumber_;
    uint32_t appletPort_;
    uint32_t masterId_ = kUnknown;
    uint32_t appletMasterId_ = kUnknown;
    uint32_t linkIndex_ = orva::core::kLinkIndexNoCamera;
    uint32_t linkSpeed_ = kUnknown;
    uint32_t uplinkHighSpeed_ = 2;
    uint32_t commandAckTimeout_ = 500;
    uint32_t waitAfterLinkLockFound_ = 0;
    uint32_t toleratedNitErrors_ = 5;
    uint32_t toleratedIntervals_ = 30;
    // Polled from any thread without a lock.
    std::atomic<uint32_t> lastNitCount_{0};
    std::atomic<uint32_t> criticalIntervals_{0};
    bool skipRegisterCheck_ = false;
    uint32_t magicValue_ = kUnknown;
    uint32_t xmlManifestSize_ = kUnknown;
    std::string xmlInfo_;
    DsgDesign* const design_;
    orva::core::CCameraInfo cameraInfo_;
    bool enableCxp2Extensions_ = true;
    bool tagMode_ = false;
    uint8_t tagCounter_ = 0;
    OHalDevice* const device_;
    // Queue 0 receives, queue 3 sends; kUnknown on the register path.
    std::array<uint32_t, 4> dataQueues_{kUnknown, kUnknown, kUnknown, kUnknown};
    std::array<bool, 2> queueLocksHeld_{false, false}; // of queues 0 and 3
    const uint32_t gtxIf_;
    uint32_t boardIndex_ = 0;
    BoardRegisters boardRegs_;
    PortRegisters portRegs_;
    uint32_t coreResetValue_ = 0;
    const uint32_t streamPacketSizeLimit_ = 0x800;
    uint32_t controlPacketSize_ = 128;
    mutable orva::templates::platform::RecursiveMutex portMutex_;
    std::mutex cameraInfoMutex_;
    std::unique_ptr<orva::templates::platform::InterProcessLock> txcLock_;
    std::unique_ptr<orva::templates::platform::InterProcessLock> comLock_;
};

} // namespace orva::cxp
