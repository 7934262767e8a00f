// The control channel of one CoaXPress port: command packets to the camera
// and the acknowledges that answer them (final, tentative, wait, channel
// reset, error), their time-outs and re-sends, tags, and the division of
// long camera memory accesses into chunks of the control packet size. The
// path, register or queue, is the port's core type's (CxpCoreTraits).
//
// Owns the port's data queues (queue path) and comLock, the named lock
// "orva_genicam-board_<b>-CCxpCom_lock": every port of the board in every
// process holds it from the first word of a command packet to the end of its
// acknowledge, so one packet is on the board's command path at a time.
// Borrows the port's portMutex, which guards the tag mode and counter, the
// control packet size, the applet port and the design port's registers, and
// which every public operation here takes (it is recursive: callers may hold
// it). Lock order: portMutex, then comLock.
//
// Thread-safe. Nothing throws.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "impl/cxp/CxpCoreTraits.h"
#include "impl/cxp/CxpDataQueues.h"
#include "impl/cxp/CxpDesignRegisters.h"
#include "runtime/board/OrvaBoardApi.h"
#include "runtime/templates/InterProcessLock.h"
#include "runtime/templates/RecursiveMutex.h"
#include "runtime/templates/ThreadSafety.h"

namespace orva::core {
class LazyLogger;
}

namespace orva::cxp {

class CxpControlChannel {
public:
    // Acknowledge modes of ExecCmd.
    static constexpr uint32_t kAckRequired = 0;
    static constexpr uint32_t kAckOptional = 1;
    static constexpr uint32_t kAckNone = 2;
    // Time-out of node map and bootstrap accesses.
    static constexpr uint32_t kAccessTimeoutMs = 200;
    // Largest stream packet, and so the largest control packet too.
    static constexpr uint32_t kStreamPacketSizeLimit = 0x800;

    struct Setup {
        uint32_t portNumber = 0;
        OHalDevice* device = nullptr;
        int32_t txCmdPacketSent = 0;    // the board's "command sent" register
        uint32_t commandAckTimeout = 0; // ms, the least wait for an acknowledge
        uint32_t controlPacketSize = 0; // bytes; 0 or above the limit is the limit
    };

    // The channel starts without tags, at design port `setup.portNumber`,
    // without registers until UsePortRegisters.
    CxpControlChannel(const Setup& setup, const CxpCoreTraits& traits,
                      orva::templates::platform::RecursiveMutex& portMutex, core::LazyLogger& logger,
                      std::unique_ptr<CxpDataQueues> queues,
                      std::unique_ptr<orva::templates::platform::InterProcessLock> comLock);
    ~CxpControlChannel() = default;

    CxpControlChannel(const CxpControlChannel&) = delete;
    CxpControlChannel& operator=(const CxpControlChannel&) = delete;
    CxpControlChannel(CxpControlChannel&&) = delete;
    CxpControlChannel& operator=(CxpControlChannel&&) = delete;

    // Camera memory access of any length, in chunks of the control packet
    // size less 32 bytes; stops at the first failed chunk. A read leaves
    // `buffer` untouched on failure. Writes to the connection reset expect no
    // acknowledge, writes to the connection configuration an optional one.
    int32_t ReadMem(uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs);
    int32_t WriteMem(uint32_t address, const void* buffer, uint32_t length, uint32_t timeoutMs);
    // One bootstrap register as a host number, with kAccessTimeoutMs.
    int32_t ReadRegister32(uint32_t address, uint32_t& value);
    int32_t WriteRegister32(uint32_t address, uint32_t value);

    // One access of at most one chunk as one or more packets. `buffer` holds
    // (size + 3) / 4 words in wire order; a read fills it. ackMode: 0 an
    // acknowledge is required, 1 optional, 2 none expected.
    int32_t ExecCmd(bool isWrite, uint32_t address, uint32_t* buffer, uint32_t size, uint32_t ackMode,
                    uint32_t timeoutMs);
    // Drops whatever waits on the receive side.
    int32_t CleanDataBuffer();
    // Waits up to timeoutMs for the start of a packet; on the register path
    // its first word is appended to `words`.
    int32_t WaitForPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words);
    // Appends the (rest of the) packet to `words`.
    int32_t ReadPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words);

    // Control packets carry a tag from now on (or not); the tag counter
    // starts again at 0.
    void SetTagMode(bool on);
    bool GetTagMode();

    uint32_t GetControlPacketSize();
    // Lowers the control packet size to a camera's limit, if that is smaller.
    void LowerControlPacketSize(uint32_t cameraLimit);

    // The design port that serves this connector, and its registers.
    uint32_t GetAppletPort();
    void SetAppletPort(uint32_t port);
    void UsePortRegisters(const CxpPortRegisters& regs);

    // Gives the data queues back (queue path); the port does so first when
    // it goes.
    void ReleaseDataQueues();

private:
    // Outcome of the acknowledges of one command packet.
    struct AckPass {
        uint32_t done = 0;         // words transferred so far
        uint32_t payloadWords = 0; // data words of this packet (writes)
        uint32_t resends = 0;      // re-sends left for malformed answers
    };

    bool OnQueues() const { return traits_.path == ChannelPath::Queues; }
    uint32_t ChunkBytes() REQUIRES(portMutex_);
    int32_t ExecInChunks(bool isWrite, uint32_t address, uint32_t* words, uint32_t length, uint32_t ackMode,
                         uint32_t timeoutMs) REQUIRES(portMutex_);
    uint32_t FirstWord() const REQUIRES(portMutex_);
    int32_t SendPacket(const std::vector<uint32_t>& packet, uint32_t timeoutMs) REQUIRES(portMutex_, comLock_);
    int32_t ReceiveAcknowledges(bool isWrite, uint32_t* buffer, uint32_t words, uint8_t sentTag, uint32_t timeoutMs,
                                AckPass& pass) REQUIRES(portMutex_, comLock_);

    const CxpCoreTraits& traits_;
    const uint32_t portNumber_;
    OHalDevice* const device_;
    const int32_t txCmdPacketSent_;
    const uint32_t commandAckTimeout_;
    core::LazyLogger& logger_;
    // The port's mutex, lent for the channel's lifetime.
    orva::templates::platform::RecursiveMutex& portMutex_;
    const std::unique_ptr<CxpDataQueues> queues_;
    const std::unique_ptr<orva::templates::platform::InterProcessLock> comLock_;

    bool tagMode_ GUARDED_BY(portMutex_) = false;
    uint8_t tagCounter_ GUARDED_BY(portMutex_) = 0;
    uint32_t controlPacketSize_ GUARDED_BY(portMutex_);
    uint32_t appletPort_ GUARDED_BY(portMutex_);
    int32_t txCmdWriteData_ GUARDED_BY(portMutex_) = 0;
    int32_t rxCmdAckPacketData_ GUARDED_BY(portMutex_) = 0;
};

} // namespace orva::cxp
