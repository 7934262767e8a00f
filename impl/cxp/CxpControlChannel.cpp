#include "impl/cxp/CxpControlChannel.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <thread>

#include "impl/core/LazyLogger.h"
#include "impl/core/Stopwatch.h"
#include "impl/cxp/CCxpBufferRW.h"
#include "impl/cxp/CxpBootstrapRegisters.h"
#include "impl/cxp/CxpPacket.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logger.h"
#include "runtime/templates/InterProcessLockGuard.h"
#include "runtime/templates/RecursiveMutexGuard.h"

namespace orva::cxp {

namespace {

using orva::core::Stopwatch;
using orva::templates::platform::InterProcessLockGuard;
using orva::templates::platform::RecursiveMutexGuard;
using orva::tools::logging::LevelError;
using orva::tools::logging::LevelTrace;
using orva::tools::logging::LevelWarning;

constexpr uint32_t kPacketSentPolls = 500;
constexpr uint32_t kMaxResends = 4;
constexpr uint32_t kAckBudget = 4;
// A read that moves no data goes out at most this many times in a row.
constexpr uint32_t kMaxIdlePackets = 5;
// Longest wait a camera may ask for in a wait acknowledge.
constexpr uint32_t kMaxCameraWaitMs = 60000;
// Reads of the acknowledge FIFO / clears of the queue while draining.
constexpr uint32_t kMaxDrainSteps = 65536;
// Largest acknowledge accepted: the 16-bit word count of the queue header,
// and a little more for the register path's framing.
constexpr size_t kMaxAckWords = 0x10000 + 8;
// Smallest control packet the channel works with; below it the command
// header wouldn't leave room for data.
constexpr uint32_t kMinControlPacketSize = 64;
// Room of a chunk below the control packet size: header, tag, CRC, markers.
constexpr uint32_t kChunkOverhead = 32;
// Words of a packet that aren't the command body.
constexpr uint32_t kPacketOverheadBytes = 8;

uint32_t ClampControlPacketSize(uint32_t size) {
    return size == 0 || size > CxpControlChannel::kStreamPacketSizeLimit ? CxpControlChannel::kStreamPacketSizeLimit
                                                                         : size;
}

} // namespace

CxpControlChannel::CxpControlChannel(const Setup& setup, const CxpCoreTraits& traits,
                                     orva::templates::platform::RecursiveMutex& portMutex, core::LazyLogger& logger,
                                     std::unique_ptr<CxpDataQueues> queues,
                                     std::unique_ptr<orva::templates::platform::InterProcessLock> comLock)
    : traits_(traits), portNumber_(setup.portNumber), device_(setup.device), txCmdPacketSent_(setup.txCmdPacketSent),
      commandAckTimeout_(setup.commandAckTimeout), logger_(logger), portMutex_(portMutex), queues_(std::move(queues)),
      comLock_(std::move(comLock)), controlPacketSize_(ClampControlPacketSize(setup.controlPacketSize)),
      appletPort_(setup.portNumber) {}

// ---------------------------------------------------------------------------
// camera memory

uint32_t CxpControlChannel::ChunkBytes() {
    const uint32_t size = std::max(controlPacketSize_, kMinControlPacketSize);
    return (size - kChunkOverhead) & ~3u;
}

int32_t CxpControlChannel::ReadMem(uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs) {
    if (length == 0) {
        return 0;
    }
    if (buffer == nullptr) {
        return TGX_ERR_INVALID_POINTER;
    }
    RecursiveMutexGuard lock(portMutex_);
    std::vector<uint32_t> temp((size_t{length} + 3) / 4, 0);
    const int32_t status = ExecInChunks(false, address, temp.data(), length, kAckRequired, timeoutMs);
    if (status == 0) {
        std::memcpy(buffer, temp.data(), length);
    }
    return status;
}

int32_t CxpControlChannel::WriteMem(uint32_t address, const void* buffer, uint32_t length, uint32_t timeoutMs) {
    if (length == 0) {
        return 0;
    }
    if (buffer == nullptr) {
        return TGX_ERR_INVALID_POINTER;
    }
    RecursiveMutexGuard lock(portMutex_);
    std::vector<uint32_t> temp((size_t{length} + 3) / 4, 0);
    std::memcpy(temp.data(), buffer, length);
    // The connection reset is never acknowledged, and a camera that switches
    // its links on a new configuration may not get its acknowledge through.
    uint32_t ackMode = kAckRequired;
    if (address == bootstrap::kConnectionReset) {
        ackMode = kAckNone;
    } else if (address == bootstrap::kConnectionConfig) {
        ackMode = kAckOptional;
    }
    return ExecInChunks(true, address, temp.data(), length, ackMode, timeoutMs);
}

int32_t CxpControlChannel::ExecInChunks(bool isWrite, uint32_t address, uint32_t* words, uint32_t length,
                                        uint32_t ackMode, uint32_t timeoutMs) {
    const uint32_t chunk = ChunkBytes();
    for (uint32_t offset = 0; offset < length; offset += std::min(chunk, length - offset)) {
        const uint32_t part = std::min(chunk, length - offset);
        ORVA_LOG(logger_.Get(), LevelTrace,
                 "Start ReadPacket param: address 0x" << std::hex << address + offset << std::dec << " size " << part);
        const int32_t status = ExecCmd(isWrite, address + offset, words + offset / 4, part, ackMode, timeoutMs);
        if (status != 0) {
            return status;
        }
    }
    return 0;
}

int32_t CxpControlChannel::ReadRegister32(uint32_t address, uint32_t& value) {
    std::array<uint8_t, 4> bytes{};
    const int32_t status = ReadMem(address, bytes.data(), 4, kAccessTimeoutMs);
    if (status == 0) {
        value = wire::LoadBigEndian32(bytes.data());
    }
    return status;
}

int32_t CxpControlChannel::WriteRegister32(uint32_t address, uint32_t value) {
    const auto bytes = wire::StoreBigEndian32(value);
    return WriteMem(address, bytes.data(), 4, kAccessTimeoutMs);
}

// ---------------------------------------------------------------------------
// state

void CxpControlChannel::SetTagMode(bool on) {
    RecursiveMutexGuard lock(portMutex_);
    tagMode_ = on;
    tagCounter_ = 0;
}

bool CxpControlChannel::GetTagMode() {
    RecursiveMutexGuard lock(portMutex_);
    return tagMode_;
}

uint32_t CxpControlChannel::GetControlPacketSize() {
    RecursiveMutexGuard lock(portMutex_);
    return controlPacketSize_;
}

void CxpControlChannel::LowerControlPacketSize(uint32_t cameraLimit) {
    RecursiveMutexGuard lock(portMutex_);
    if (cameraLimit < controlPacketSize_) {
        controlPacketSize_ = std::max(cameraLimit, kMinControlPacketSize);
    }
}

uint32_t CxpControlChannel::GetAppletPort() {
    RecursiveMutexGuard lock(portMutex_);
    return appletPort_;
}

void CxpControlChannel::SetAppletPort(uint32_t port) {
    RecursiveMutexGuard lock(portMutex_);
    appletPort_ = port;
}

void CxpControlChannel::UsePortRegisters(const CxpPortRegisters& regs) {
    RecursiveMutexGuard lock(portMutex_);
    txCmdWriteData_ = regs.txCmdWriteData;
    rxCmdAckPacketData_ = regs.rxCmdAckPacketData;
}

void CxpControlChannel::ReleaseDataQueues() {
    queues_->Release();
}

// ---------------------------------------------------------------------------
// packets

uint32_t CxpControlChannel::FirstWord() const {
    if (OnQueues()) {
        return tagMode_ ? wire::kQueueTagFlag : 0;
    }
    return tagMode_ ? wire::kTaggedCommandType : wire::kCommandType;
}

int32_t CxpControlChannel::ExecCmd(bool isWrite, uint32_t address, uint32_t* buffer, uint32_t size, uint32_t ackMode,
                                   uint32_t timeoutMs) {
    if (buffer == nullptr) {
        return TGX_ERR_INVALID_POINTER;
    }
    // A read without an acknowledge could never bring its data.
    if (ackMode > kAckNone || (!isWrite && ackMode == kAckNone)) {
        return TGX_ERR_INVALID_DATA;
    }
    RecursiveMutexGuard lock(portMutex_);
    int32_t status = CleanDataBuffer();
    const auto words = static_cast<uint32_t>((uint64_t{size} + 3) / 4);
    AckPass pass;
    pass.resends = kMaxResends;
    uint32_t idlePackets = 0;

    while (status == 0 && pass.done != words) {
        uint8_t tag = 0;
        if (tagMode_) {
            tag = tagCounter_++;
        }
        const uint32_t packetSize = std::max(controlPacketSize_, kMinControlPacketSize);
        const CCxpBufferRW command(address + 4 * pass.done, isWrite ? buffer + pass.done : nullptr, words - pass.done,
                                   (packetSize - kPacketOverheadBytes) / 4, tagMode_, tag, isWrite);
        std::vector<uint32_t> packet;
        uint32_t packetWords = 0;
        pass.payloadWords = 0;
        if (!command.BuildCommand(packet, packetWords, pass.payloadWords, FirstWord())) {
            ORVA_LOG(logger_.Get(), LevelError, "Failed to create command packet.");
            status = TGX_ERR_GENCP_INVALID_PACKET;
            break;
        }
        if (OnQueues()) {
            packet[0] |= (packetWords - 1) & wire::kQueueWordCountMask;
        }

        const uint32_t doneBefore = pass.done;
        {
            InterProcessLockGuard com(comLock_.get());
            status = SendPacket(packet, timeoutMs);
            if (status == 0) {
                if (ackMode == kAckNone) {
                    pass.done += pass.payloadWords;
                } else {
                    status = ReceiveAcknowledges(isWrite, buffer, words, tag, timeoutMs, pass);
                    if (isWrite && status == 0) {
                        pass.done += pass.payloadWords;
                    }
                    if (status == TGX_ERR_PACKET_TIMEOUT && ackMode == kAckOptional) {
                        ORVA_LOG(logger_.Get(), LevelWarning, "Did not receive optional ACK.");
                        pass.done += pass.payloadWords;
                        status = 0;
                    }
                }
            }
        }

        // Bound the packets that move nothing: a camera that keeps answering
        // without data, or only with wait acknowledges, must not hold the
        // caller forever.
        if (status == 0 && pass.done == doneBefore) {
            if (++idlePackets >= kMaxIdlePackets) {
                ORVA_LOG(logger_.Get(), LevelWarning,
                         "No data after " << idlePackets << " packets at address 0x" << std::hex
                                          << address + 4 * pass.done);
                status = TGX_ERR_GENCP_NO_READ_DATA;
            }
        } else {
            idlePackets = 0;
        }
    }
    return status;
}

int32_t CxpControlChannel::SendPacket(const std::vector<uint32_t>& packet, uint32_t timeoutMs) {
    ORVA_LOG(logger_.Get(), LevelTrace,
             "Send command packet, port " << portNumber_ << ": " << wire::DumpPacket(packet));
    if (OnQueues()) {
        const auto bytes = static_cast<uint32_t>(packet.size() * sizeof(uint32_t));
        const int32_t sent =
            orva::board::OHalDataQueueWriteBufferLong(device_, queues_->Sending(), packet.data(), bytes, timeoutMs);
        if (sent < 0) {
            return sent;
        }
        return static_cast<uint32_t>(sent) == bytes ? 0 : TGX_ERR_INTERNAL;
    }

    for (const wire::Row& row : wire::RegisterPathRows(packet)) {
        const int32_t status = WriteDesignRegister(device_, txCmdWriteData_, row.Value());
        if (status != 0) {
            return status;
        }
    }
    // Only a hint that the packet has left; the acknowledge decides.
    for (uint32_t poll = 0; poll < kPacketSentPolls; ++poll) {
        uint64_t sent = 0;
        if (ReadDesignRegister(device_, txCmdPacketSent_, sent) != 0 || ((sent >> appletPort_) & 1u) != 0) {
            break;
        }
    }
    return 0;
}
int32_t CxpControlChannel::ReceiveAcknowledges(bool isWrite, uint32_t* buffer, uint32_t words, uint8_t sentTag,
                                               uint32_t timeoutMs, AckPass& pass) {
    const size_t headerWords = tagMode_ ? 2 : 1;
    // The register path hands over the CRC word; the queue path strips it.
    const size_t crcWords = OnQueues() ? 0 : 1;
    uint32_t waitTime = std::max(timeoutMs, commandAckTimeout_);
    uint32_t ackBudget = kAckBudget;
    const CCxpBufferRW parser(0, nullptr, 0, 0, tagMode_, sentTag, isWrite);
    int32_t status = 0;
    bool again = false;

    do {
        if (status != 0 || ackBudget == 0) {
            break;
        }
        again = false;
        std::vector<uint32_t> list;
        status = WaitForPacketData(waitTime, list);
        if (status == 0) {
            status = ReadPacketData(waitTime, list);
        }
        if (status == 0 && list.empty()) {
            status = TGX_ERR_INVALID_DATA;
        }
        ORVA_LOG(logger_.Get(), LevelTrace, "Acknowledge, port " << portNumber_ << ": " << wire::DumpPacket(list));

        size_t front = 0;
        while (status == 0 && front < list.size()) {
            const std::span<const uint32_t> ack(list.data() + front, list.size() - front);
            const int32_t r = parser.GetAckStatus(ack);
            status = r < 0 ? r : 0;
            size_t consumed = headerWords;
            switch (r) {
            case wire::kAckResultFinalWithData: {
                ORVA_LOG(logger_.Get(), LevelTrace, "Received final ACK with Payload.");
                uint32_t gotWords = 0;
                uint8_t receivedTag = sentTag;
                // A write has no room for data: nothing is copied then.
                const uint32_t room = isWrite ? 0 : words - pass.done;
                status = parser.GetDataFromRawPacket(ack, buffer + pass.done, room, gotWords, receivedTag);
                if (tagMode_ && receivedTag != sentTag) {
                    ORVA_LOG(logger_.Get(), LevelWarning,
                             "Ack received with invalid tag: expected " << uint32_t{sentTag} << ", received "
                                                                        << uint32_t{receivedTag});
                }
                pass.done += gotWords;
                // Step over the whole payload the camera announced, also
                // the part that found no room.
                consumed = headerWords + 1 + wire::AckSizeBytes(ack[headerWords]) / 4 + crcWords;
                again = false;
                break;
            }
            case wire::kAckResultFinal:
                ORVA_LOG(logger_.Get(), LevelTrace, "Received final ACK.");
                again = false;
                break;
            case wire::kAckResultChannelReset:
                ORVA_LOG(logger_.Get(), LevelTrace, "Received Channel Reset ACK.");
                again = false;
                break;
            case wire::kAckResultTentative:
            case wire::kAckResultWait: {
                if (r == wire::kAckResultTentative) {
                    ORVA_LOG(logger_.Get(), LevelTrace, "Received tentative ACK.");
                } else {
                    // [tag], status, size, delay, [CRC]: the delay is the
                    // payload of the acknowledge, behind its size word.
                    const size_t delayAt = headerWords + 1;
                    consumed = delayAt + 1 + crcWords;
                    if (ack.size() >= consumed) {
                        waitTime = std::min(wire::FromWire(ack[delayAt]), kMaxCameraWaitMs);
                        ORVA_LOG(logger_.Get(), LevelTrace, "Received Wait ACK with delay = " << waitTime << " ms.");
                    }
                }
                if (ack.size() >= consumed) {
                    again = true;
                    --ackBudget;
                } else {
                    status = TGX_ERR_GENCP_SHORT_READ;
                }
                break;
            }
            case TGX_ERR_CXP_MALFORMED_PACKET:
                if (pass.resends != 0) {
                    // The same data go out again; nothing of this packet counts.
                    status = 0;
                    pass.payloadWords = 0;
                    --pass.resends;
                }
                // Framing can't be trusted behind a malformed word.
                consumed = ack.size();
                break;
            default:
                break;
            }
            front += std::min(consumed, ack.size());
        }
    } while (again);
    return status;
}

int32_t CxpControlChannel::CleanDataBuffer() {
    RecursiveMutexGuard lock(portMutex_);
    uint32_t dropped = 0;
    int32_t status = 0;
    if (OnQueues()) {
        for (uint32_t step = 0; step < kMaxDrainSteps; ++step) {
            const int32_t waiting = orva::board::OHalDataQueueGetNrOfWords(device_, queues_->Receiving());
            if (waiting <= 0) {
                break;
            }
            dropped += static_cast<uint32_t>(waiting);
            orva::board::OHalDataQueueClear(device_, queues_->Receiving());
        }
    } else {
        uint32_t step = 0;
        for (; step < kMaxDrainSteps; ++step) {
            uint64_t value = 0;
            status = ReadDesignRegister(device_, rxCmdAckPacketData_, value);
            if (status != 0 || ((value >> 32) & wire::kAckFifoEmpty) != 0) {
                break;
            }
            ++dropped;
        }
        if (step == kMaxDrainSteps) {
            status = TGX_ERR_INTERNAL;
        }
    }
    ORVA_LOG(logger_.Get(), LevelTrace,
             "Clean data buffer - Port: " << portNumber_ << ", words dropped: " << dropped << ", status: " << status);
    return status;
}

int32_t CxpControlChannel::WaitForPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words) {
    RecursiveMutexGuard lock(portMutex_);
    const Stopwatch watch;
    for (;;) {
        if (OnQueues()) {
            const int32_t waiting = orva::board::OHalDataQueueGetNrOfWords(device_, queues_->Receiving());
            if (waiting != 0) {
                return waiting < 0 ? waiting : 0;
            }
        } else {
            uint64_t value = 0;
            const int32_t status = ReadDesignRegister(device_, rxCmdAckPacketData_, value);
            if (status != 0) {
                return status;
            }
            const auto high = static_cast<uint32_t>(value >> 32);
            if ((high & wire::kAckFifoEmpty) == 0 && (high & wire::kAckFifoEndOfPacket) == 0) {
                words.push_back(static_cast<uint32_t>(value));
                return 0;
            }
            // An end marker without a packet in front of it is dropped.
        }
        const uint64_t elapsed = watch.ElapsedMs();
        if (elapsed > timeoutMs) {
            if (!OnQueues()) {
                ORVA_LOG(logger_.Get(), LevelWarning, "Timeout while waiting for CXP Packet after " << elapsed << "ms");
            }
            return TGX_ERR_PACKET_TIMEOUT;
        }
        std::this_thread::yield();
    }
}

int32_t CxpControlChannel::ReadPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words) {
    RecursiveMutexGuard lock(portMutex_);
    if (!OnQueues()) {
        const Stopwatch watch;
        for (;;) {
            uint64_t value = 0;
            const int32_t status = ReadDesignRegister(device_, rxCmdAckPacketData_, value);
            if (status != 0) {
                return status;
            }
            const auto high = static_cast<uint32_t>(value >> 32);
            if ((high & wire::kAckFifoEndOfPacket) != 0) {
                return 0;
            }
            if ((high & wire::kAckFifoEmpty) == 0) {
                if (words.size() >= kMaxAckWords) {
                    return TGX_ERR_INVALID_DATA;
                }
                words.push_back(static_cast<uint32_t>(value));
                continue;
            }
            if (watch.ElapsedMs() > timeoutMs) {
                return TGX_ERR_PACKET_TIMEOUT;
            }
            std::this_thread::yield();
        }
    }

    uint32_t header = 0;
    const int32_t got =
        orva::board::OHalDataQueueReadBufferLong(device_, queues_->Receiving(), &header, sizeof header, 0);
    if (got < 0) {
        return got;
    }
    if (got == 0) {
        return TGX_ERR_PACKET_TIMEOUT;
    }
    if (got != static_cast<int32_t>(sizeof header)) {
        return TGX_ERR_INTERNAL;
    }
    const uint32_t count = header & wire::kQueueWordCountMask;
    const size_t first = words.size();
    words.resize(first + count);
    const size_t wanted = size_t{count} * sizeof(uint32_t);
    size_t received = 0;
    int32_t last = 1;
    auto* bytes = reinterpret_cast<uint8_t*>(words.data() + first);
    while (received < wanted) {
        last = orva::board::OHalDataQueueReadBufferLong(device_, queues_->Receiving(), bytes + received,
                                                        static_cast<uint32_t>(wanted - received), timeoutMs);
        if (last <= 0) {
            break;
        }
        if (static_cast<size_t>(last) > wanted - received) {
            return TGX_ERR_INTERNAL;
        }
        received += static_cast<size_t>(last);
    }
    if (received < wanted) {
        words.resize(first + received / sizeof(uint32_t));
        return last < 0 ? last : TGX_ERR_PACKET_TIMEOUT;
    }
    return 0;
}

} // namespace orva::cxp
