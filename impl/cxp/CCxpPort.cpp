#include "impl/cxp/CCxpPort.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "impl/core/DescriptionBlock.h"
#include "impl/core/Stopwatch.h"
#include "impl/core/TweakValue.h"
#include "impl/cxp/CCxpBufferRW.h"
#include "impl/cxp/CxpPacket.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logger.h"
#include "runtime/logging/Logging.h"
#include "runtime/templates/InterProcessLockGuard.h"
#include "runtime/templates/MonotonicTime.h"
#include "runtime/templates/TweakProperties.h"

namespace orva::cxp {

namespace {

using orva::templates::platform::InterProcessLockGuard;
using orva::templates::platform::RecursiveMutex;
using orva::tools::logging::LevelDebug;
using orva::tools::logging::LevelError;
using orva::tools::logging::LevelInfo;
using orva::tools::logging::LevelTrace;
using orva::tools::logging::LevelWarning;
using PortLock = std::lock_guard<RecursiveMutex>;

constexpr const char* kLoggerName = "orva.genicam.CxpController";

// Time-out of node map and bootstrap accesses.
constexpr uint32_t kAccessTimeoutMs = 200;
// Statuses of the transceiver programming that have no public code.
constexpr int32_t kErrSpeedNotSupported = -2075;
constexpr int32_t kErrUnknownCoreType = -2031;

// Control channel bounds.
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

// Transceiver flag waits and the link lock window.
constexpr uint64_t kFlagWaitUs = 1000000;
constexpr uint64_t kLockWindowUs = 5000;
constexpr uint32_t kLockGoodReads = 100;
constexpr uint32_t kLockAttempts = 10;

// Bootstrap registers.
constexpr uint32_t kRegMagic = 0x0000;
constexpr uint32_t kRegRevision = 0x0004;
constexpr uint32_t kRegManifestCount = 0x0008;
constexpr uint32_t kRegManifestSelect = 0x000C;
constexpr uint32_t kRegXmlVersion = 0x0010;
constexpr uint32_t kRegXmlSchemaVersion = 0x0014;
constexpr uint32_t kRegXmlUrlAddress = 0x0018;
constexpr uint32_t kRegDeviceName = 0x2000;
constexpr uint32_t kRegModelName = 0x2020;
constexpr uint32_t kRegManufacturerInfo = 0x2040;
constexpr uint32_t kRegDeviceVersion = 0x2070;
constexpr uint32_t kRegFirmwareVersion = 0x2090;
constexpr uint32_t kRegSerialNumber = 0x20B0;
constexpr uint32_t kRegUserId = 0x20C0;
constexpr uint32_t kRegConnectionReset = 0x4000;
constexpr uint32_t kRegControlPacketSize = 0x400C;
constexpr uint32_t kRegStreamPacketSize = 0x4010;
constexpr uint32_t kRegConnectionConfig = 0x4014;
constexpr uint32_t kRegVersionsSupported = 0x4044;
constexpr uint32_t kRegVersionUsed = 0x4048;

constexpr uint32_t kUrlBytes = 256;
constexpr uint32_t kStringBytes = 32;
constexpr uint32_t kShortStringBytes = 16;
// Largest description the port fetches from a camera.
constexpr uint32_t kMaxDescriptionBytes = 64u << 20;

constexpr uint32_t kRevision11 = 0x10001;
constexpr uint32_t kRevision20 = 0x20000;
constexpr uint32_t kVersionBit11 = 2;
constexpr uint32_t kVersionBit20 = 4;

// Core reset values.
constexpr uint32_t kCoreHeld = 6;
constexpr uint32_t kCoreLockTest = 2;
constexpr uint32_t kCoreRunning = 0;
// Bits a port may set in a core reset register that serves another design
// port: everything but the acknowledge receiver.
constexpr uint32_t kCoreResetForeignMask = 5;

// Transceiver status register.
constexpr uint64_t kNitCountMask = 0xFFFFFF;
constexpr uint32_t kStatusLinkUpBit = 48;
constexpr uint32_t kStatusReadyBit = 49;

constexpr uint32_t kHighSpeedFirst = 10000;

using orva::core::Stopwatch;

uint32_t ClampControlPacketSize(uint32_t size, uint32_t limit) {
    return size == 0 || size > limit ? limit : size;
}

struct DrpWord {
    uint32_t address;
    uint32_t data;
};
struct DrpSetting {
    uint32_t speed;
    std::array<DrpWord, 4> words;
    uint32_t count;
};

// Transceiver configuration words of the cores programmed directly.
constexpr std::array<DrpSetting, 5> kDrpTableA{{
    {1250, {{{0x1B, 0x78C0}, {0x1C, 0x20}, {0x1F, 0x78C0}, {0x20, 0x20}}}, 4},
    {2500, {{{0x1B, 0x38C0}, {0x1C, 0x20}, {0x1F, 0x38C0}, {0x20, 0x20}}}, 4},
    {3125, {{{0x1B, 0x78C6}, {0x1C, 0x20}, {0x1F, 0x78C6}, {0x20, 0x20}}}, 4},
    {5000, {{{0x1B, 0x38C4}, {0x1C, 0x20}, {0x1F, 0x38C4}, {0x20, 0x20}}}, 4},
    {6250, {{{0x1B, 0x38C6}, {0x1C, 0x20}, {0x1F, 0x38C6}, {0x20, 0x20}}}, 4},
}};
constexpr std::array<DrpSetting, 5> kDrpTableB{{
    {1250, {{{0xA9, 0x1010}, {0x5E, 0x1082}, {0x88, 0x22}, {0, 0}}}, 3},
    {2500, {{{0xA9, 0x1020}, {0x5E, 0x1082}, {0x88, 0x11}, {0, 0}}}, 3},
    {3125, {{{0xA9, 0x1020}, {0x5E, 0x1083}, {0x88, 0x11}, {0, 0}}}, 3},
    {5000, {{{0xA9, 0x1040}, {0x5E, 0x1082}, {0x88, 0}, {0, 0}}}, 3},
    {6250, {{{0xA9, 0x1040}, {0x5E, 0x1083}, {0x88, 0}, {0, 0}}}, 3},
}};

const DrpSetting* FindDrpSetting(const std::array<DrpSetting, 5>& table, uint32_t speed) {
    const auto* it =
        std::find_if(table.begin(), table.end(), [speed](const DrpSetting& s) { return s.speed == speed; });
    return it == table.end() ? nullptr : it;
}

// Rate code of the bit rate registers; -1 for a speed the core lacks.
int32_t RateCode(uint32_t speed, bool highSpeedCore) {
    constexpr std::array<uint32_t, 7> kSpeeds{1250, 2500, 3125, 5000, 6250, 10000, 12500};
    const size_t usable = highSpeedCore ? kSpeeds.size() : 5;
    for (size_t i = 0; i < usable; ++i) {
        if (kSpeeds[i] == speed) {
            return static_cast<int32_t>(i);
        }
    }
    return -1;
}

// A hexadecimal number of at most 32 bits; false if there is no digit or it
// doesn't fit.
bool ParseHex32(std::string_view text, uint32_t& value) {
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
    }
    uint64_t parsed = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), parsed, 16);
    if (ec != std::errc() || end == text.data() || parsed >= 0xFFFFFFFFull) {
        return false;
    }
    value = static_cast<uint32_t>(parsed);
    return true;
}

} // namespace

// ---------------------------------------------------------------------------
// construction

CCxpPort::CCxpPort(uint32_t portNumber, uint32_t gtxIf, OHalDevice* device, DsgDesign* design)
    : portNumber_(portNumber), appletPort_(portNumber), design_(design), device_(device), gtxIf_(gtxIf) {
    toleratedNitErrors_ = orva::core::TweakOr<uint32_t>("CXP::ToleratedNITErrorsPerPollingInterval", 5);
    toleratedIntervals_ = orva::core::TweakOr<uint32_t>("CXP::ToleratedPollingIntervalsOverNITErrorThreshold", 30);

    if (IsQueuePath()) {
        for (uint32_t i = 0; i < dataQueues_.size(); ++i) {
            dataQueues_[i] = 4 * portNumber_ + i;
        }
        // The first queue is ours only if we can lock it; the sending one is
        // tried only then.
        queueLocksHeld_[0] = orva::board::OHalDataQueueAcquireLock(device_, dataQueues_[0]) == 0;
        if (queueLocksHeld_[0]) {
            queueLocksHeld_[1] = orva::board::OHalDataQueueAcquireLock(device_, dataQueues_[3]) == 0;
        }
        if (!queueLocksHeld_[0] || !queueLocksHeld_[1]) {
            ORVA_LOG(GetLogger(), LevelError,
                     "Failed to get data queue lock for port " << portNumber_ << "; port is already in use!");
        }
    }

    const int32_t board = orva::board::OHalGetBoardIndex(device_, 0);
    boardIndex_ = board >= 0 ? static_cast<uint32_t>(board) : 0;
    try {
        txcLock_ = std::make_unique<orva::templates::platform::InterProcessLock>(LockName("-CCxpTxc_lock"));
        comLock_ = std::make_unique<orva::templates::platform::InterProcessLock>(LockName("-CCxpCom_lock"));
    } catch (...) {
        // The destructor won't run: give the queues back here.
        if (queueLocksHeld_[1]) {
            orva::board::OHalDataQueueReleaseLock(device_, dataQueues_[3]);
        }
        if (queueLocksHeld_[0]) {
            orva::board::OHalDataQueueReleaseLock(device_, dataQueues_[0]);
        }
        throw std::runtime_error("can not open the requested lock");
    }

    BindRegisters();
    BindPortRegisters(portNumber_);
    SetTagMode(false);
    SetCoreReset(kCoreHeld);
    SetLedMode(1);

    commandAckTimeout_ = orva::core::TweakOr<uint32_t>("CXP::CommandAckTimeout", 500);
    waitAfterLinkLockFound_ = orva::core::TweakOr<uint32_t>("CXP::WaitAfterLinkLockFound", 0);
    skipRegisterCheck_ = orva::core::TweakOr<bool>("CXP::SkipRegisterCheckOnLinkConfig", false);
    enableCxp2Extensions_ = orva::core::TweakOr<bool>("CXP::EnableCxp2Extensions", true);
    controlPacketSize_ =
        ClampControlPacketSize(orva::core::TweakOr<uint32_t>("CXP::MaxControlPacketSize", 512), streamPacketSizeLimit_);

    auto setting = [this](const char* name, const char* unit, uint32_t value) {
        ORVA_LOG(GetLogger(), LevelInfo, orva::core::TweakLine(name, unit, value));
    };
    setting("ORVA_CXP_COMMAND_ACK_TIMEOUT", "(ms) = ", commandAckTimeout_);
    setting("ORVA_CXP_WAIT_AFTER_LINK_LOCK_FOUND", "(ms) = ", waitAfterLinkLockFound_);
    setting("ORVA_CXP_TOLERATED_NIT_ERRS_PER_INTERVAL", "(errors) = ", toleratedNitErrors_);
    setting("ORVA_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", "(intervals) = ", toleratedIntervals_);
    setting("ORVA_CXP_SKIP_REGISTER_CHECK_AFTER_LINK_LOCK_FOUND", "(on/off) = ", skipRegisterCheck_ ? 1 : 0);
    setting("ORVA_CXP_ENABLE_CXP2_EXTENSIONS", "(on/off) = ", enableCxp2Extensions_ ? 1 : 0);
    setting("ORVA_CXP_MAX_CONTROL_PACKET_SIZE", "(bytes) = ", controlPacketSize_);

    SetLedMode(2);
}

CCxpPort::~CCxpPort() {
    if (queueLocksHeld_[1]) {
        orva::board::OHalDataQueueReleaseLock(device_, dataQueues_[3]);
    }
    if (queueLocksHeld_[0]) {
        orva::board::OHalDataQueueReleaseLock(device_, dataQueues_[0]);
    }
    SetLedMode(2);
}

std::string CCxpPort::LockName(const char* suffix) const {
    std::ostringstream name;
    name << "orva_genicam-board_" << boardIndex_ << suffix;
    return name.str();
}

orva::tools::logging::Logger* CCxpPort::GetLogger() {
    auto* logger = logger_.load(std::memory_order_acquire);
    if (logger == nullptr) {
        logger = orva::tools::logging::Logging::instance()->GetLogger(kLoggerName);
        logger_.store(logger, std::memory_order_release);
    }
    return logger;
}

// ---------------------------------------------------------------------------
// IPortInterface

void CCxpPort::Read(void* buffer, int64_t address, int64_t length) {
    (void)ReadMem(static_cast<uint32_t>(address), buffer, static_cast<uint32_t>(length), kAccessTimeoutMs);
}

void CCxpPort::Write(const void* buffer, int64_t address, int64_t length) {
    (void)WriteMem(static_cast<uint32_t>(address), buffer, static_cast<uint32_t>(length), kAccessTimeoutMs);
}

uint32_t CCxpPort::Load(uint32_t CCxpPort::*field) {
    PortLock lock(portMutex_);
    return this->*field;
}

void CCxpPort::Store(uint32_t CCxpPort::*field, uint32_t value) {
    PortLock lock(portMutex_);
    this->*field = value;
}

uint32_t CCxpPort::GetLinkIndex() {
    return Load(&CCxpPort::linkIndex_);
}

uint32_t CCxpPort::GetPortNumber() {
    return portNumber_;
}

uint32_t CCxpPort::GetAppletPort() {
    return Load(&CCxpPort::appletPort_);
}

uint32_t CCxpPort::GetMasterId() {
    return Load(&CCxpPort::masterId_);
}

uint32_t CCxpPort::GetAppletMasterId() {
    return Load(&CCxpPort::appletMasterId_);
}

uint32_t CCxpPort::GetLinkSpeed() {
    return Load(&CCxpPort::linkSpeed_);
}

bool CCxpPort::IsConnected() {
    PortLock lock(portMutex_);
    return linkSpeed_ != kUnknown;
}

bool CCxpPort::IsValidAddress(uint64_t address) {
    PortLock lock(portMutex_);
    return address >= kRegConnectionReset && address <= kRegConnectionConfig && address % 4 == 0;
}

uint32_t CCxpPort::GetControlPacketSize() {
    return Load(&CCxpPort::controlPacketSize_);
}

uint32_t CCxpPort::GetStreamPacketSize() {
    PortLock lock(portMutex_);
    return streamPacketSizeLimit_;
}

orva::core::ICameraInfo* CCxpPort::GetCameraInfo() {
    // Waits for a refill in progress to finish.
    std::lock_guard<std::mutex> lock(cameraInfoMutex_);
    return &cameraInfo_;
}

uint32_t CCxpPort::GetNodeMapReadTimeoutMs() {
    return kAccessTimeoutMs;
}

uint32_t CCxpPort::GetNodeMapWriteTimeoutMs() {
    return kAccessTimeoutMs;
}

uint32_t CCxpPort::ChunkBytes() {
    const uint32_t size = std::max(GetControlPacketSize(), kMinControlPacketSize);
    return (size - kChunkOverhead) & ~3u;
}

int32_t CCxpPort::ReadMem(uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs) {
    if (length == 0) {
        return 0;
    }
    if (buffer == nullptr) {
        return TGX_ERR_INVALID_POINTER;
    }
    PortLock lock(portMutex_);
    std::vector<uint32_t> temp((size_t{length} + 3) / 4, 0);
    const int32_t status = ExecInChunks(false, address, temp.data(), length, kAckRequired, timeoutMs);
    if (status == 0) {
        std::memcpy(buffer, temp.data(), length);
    }
    return status;
}

int32_t CCxpPort::WriteMem(uint32_t address, const void* buffer, uint32_t length, uint32_t timeoutMs) {
    if (length == 0) {
        return 0;
    }
    if (buffer == nullptr) {
        return TGX_ERR_INVALID_POINTER;
    }
    PortLock lock(portMutex_);
    std::vector<uint32_t> temp((size_t{length} + 3) / 4, 0);
    std::memcpy(temp.data(), buffer, length);
    // The connection reset is never acknowledged, and a camera that switches
    // its links on a new configuration may not get its acknowledge through.
    uint32_t ackMode = kAckRequired;
    if (address == kRegConnectionReset) {
        ackMode = kAckNone;
    } else if (address == kRegConnectionConfig) {
        ackMode = kAckOptional;
    }
    return ExecInChunks(true, address, temp.data(), length, ackMode, timeoutMs);
}

int32_t CCxpPort::ExecInChunks(bool isWrite, uint32_t address, uint32_t* words, uint32_t length, uint32_t ackMode,
                               uint32_t timeoutMs) {
    const uint32_t chunk = ChunkBytes();
    for (uint32_t offset = 0; offset < length; offset += std::min(chunk, length - offset)) {
        const uint32_t part = std::min(chunk, length - offset);
        ORVA_LOG(GetLogger(), LevelTrace,
                 "Start ReadPacket param: address 0x" << std::hex << address + offset << std::dec << " size " << part);
        const int32_t status = ExecCmd(isWrite, address + offset, words + offset / 4, part, ackMode, timeoutMs);
        if (status != 0) {
            return status;
        }
    }
    return 0;
}

// ---------------------------------------------------------------------------
// control channel

void CCxpPort::SetTagMode(bool on) {
    PortLock lock(portMutex_);
    tagMode_ = on;
    tagCounter_ = 0;
}

bool CCxpPort::GetTagMode() {
    PortLock lock(portMutex_);
    return tagMode_;
}

int32_t CCxpPort::RegisterRead(int32_t reg, uint64_t& value) const {
    if (reg <= 0) {
        return TGX_ERR_INTERNAL;
    }
    const int32_t status = orva::board::OHalRegisterRead(device_, static_cast<uint32_t>(reg), &value);
    return status < 0 ? status : 0;
}

int32_t CCxpPort::RegisterWrite(int32_t reg, uint64_t value) const {
    if (reg <= 0) {
        return TGX_ERR_INTERNAL;
    }
    const int32_t status = orva::board::OHalRegisterWrite(device_, static_cast<uint32_t>(reg), value);
    return status < 0 ? status : 0;
}

int32_t CCxpPort::ExecCmd(bool isWrite, uint32_t address, uint32_t* buffer, uint32_t size, uint32_t ackMode,
                          uint32_t timeoutMs) {
    if (buffer == nullptr) {
        return TGX_ERR_INVALID_POINTER;
    }
    // A read without an acknowledge could never bring its data.
    if (ackMode > kAckNone || (!isWrite && ackMode == kAckNone)) {
        return TGX_ERR_INVALID_DATA;
    }
    PortLock lock(portMutex_);
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
        uint32_t firstWord = 0;
        if (IsQueuePath()) {
            firstWord = tagMode_ ? wire::kQueueTagFlag : 0;
        } else {
            firstWord = tagMode_ ? wire::kTaggedCommandType : wire::kCommandType;
        }
        std::vector<uint32_t> packet;
        uint32_t packetWords = 0;
        pass.payloadWords = 0;
        if (!command.BuildCommand(packet, packetWords, pass.payloadWords, firstWord)) {
            ORVA_LOG(GetLogger(), LevelError, "Failed to create command packet.");
            status = TGX_ERR_GENCP_INVALID_PACKET;
            break;
        }
        if (IsQueuePath()) {
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
                        ORVA_LOG(GetLogger(), LevelWarning, "Did not receive optional ACK.");
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
                ORVA_LOG(GetLogger(), LevelWarning,
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

int32_t CCxpPort::SendPacket(const std::vector<uint32_t>& packet, uint32_t timeoutMs) {
    ORVA_LOG(GetLogger(), LevelTrace, "Send command packet, port " << portNumber_ << ": " << wire::DumpPacket(packet));
    if (IsQueuePath()) {
        const auto bytes = static_cast<uint32_t>(packet.size() * sizeof(uint32_t));
        const int32_t sent =
            orva::board::OHalDataQueueWriteBufferLong(device_, dataQueues_[3], packet.data(), bytes, timeoutMs);
        if (sent < 0) {
            return sent;
        }
        return static_cast<uint32_t>(sent) == bytes ? 0 : TGX_ERR_INTERNAL;
    }

    for (const wire::Row& row : wire::RegisterPathRows(packet)) {
        const int32_t status = RegisterWrite(portRegs_.txCmdWriteData, row.Value());
        if (status != 0) {
            return status;
        }
    }
    // Only a hint that the packet has left; the acknowledge decides.
    for (uint32_t poll = 0; poll < kPacketSentPolls; ++poll) {
        uint64_t sent = 0;
        if (RegisterRead(boardRegs_.txCmdPacketSent, sent) != 0 || ((sent >> appletPort_) & 1u) != 0) {
            break;
        }
    }
    return 0;
}

int32_t CCxpPort::ReceiveAcknowledges(bool isWrite, uint32_t* buffer, uint32_t words, uint8_t sentTag,
                                      uint32_t timeoutMs, AckPass& pass) {
    const size_t headerWords = tagMode_ ? 2 : 1;
    // The register path hands over the CRC word; the queue path strips it.
    const size_t crcWords = IsQueuePath() ? 0 : 1;
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
        ORVA_LOG(GetLogger(), LevelTrace, "Acknowledge, port " << portNumber_ << ": " << wire::DumpPacket(list));

        size_t front = 0;
        while (status == 0 && front < list.size()) {
            const std::span<const uint32_t> ack(list.data() + front, list.size() - front);
            const int32_t r = parser.GetAckStatus(ack);
            status = r < 0 ? r : 0;
            size_t consumed = headerWords;
            switch (r) {
            case wire::kAckResultFinalWithData: {
                ORVA_LOG(GetLogger(), LevelTrace, "Received final ACK with Payload.");
                uint32_t gotWords = 0;
                uint8_t receivedTag = sentTag;
                // A write has no room for data: nothing is copied then.
                const uint32_t room = isWrite ? 0 : words - pass.done;
                status = parser.GetDataFromRawPacket(ack, buffer + pass.done, room, gotWords, receivedTag);
                if (tagMode_ && receivedTag != sentTag) {
                    ORVA_LOG(GetLogger(), LevelWarning,
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
                ORVA_LOG(GetLogger(), LevelTrace, "Received final ACK.");
                again = false;
                break;
            case wire::kAckResultChannelReset:
                ORVA_LOG(GetLogger(), LevelTrace, "Received Channel Reset ACK.");
                again = false;
                break;
            case wire::kAckResultTentative:
            case wire::kAckResultWait: {
                if (r == wire::kAckResultTentative) {
                    ORVA_LOG(GetLogger(), LevelTrace, "Received tentative ACK.");
                } else {
                    // [tag], status, size, delay, [CRC]: the delay is the
                    // payload of the acknowledge, behind its size word.
                    const size_t delayAt = headerWords + 1;
                    consumed = delayAt + 1 + crcWords;
                    if (ack.size() >= consumed) {
                        waitTime = std::min(wire::FromWire(ack[delayAt]), kMaxCameraWaitMs);
                        ORVA_LOG(GetLogger(), LevelTrace, "Received Wait ACK with delay = " << waitTime << " ms.");
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
                }
                if (pass.resends != 0) {
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

int32_t CCxpPort::CleanDataBuffer() {
    PortLock lock(portMutex_);
    uint32_t dropped = 0;
    int32_t status = 0;
    if (IsQueuePath()) {
        for (uint32_t step = 0; step < kMaxDrainSteps; ++step) {
            const int32_t waiting = orva::board::OHalDataQueueGetNrOfWords(device_, dataQueues_[0]);
            if (waiting <= 0) {
                break;
            }
            dropped += static_cast<uint32_t>(waiting);
            orva::board::OHalDataQueueClear(device_, dataQueues_[0]);
        }
    } else {
        uint32_t step = 0;
        for (; step < kMaxDrainSteps; ++step) {
            uint64_t value = 0;
            status = RegisterRead(portRegs_.rxCmdAckPacketData, value);
            if (status != 0 || ((value >> 32) & wire::kAckFifoEmpty) != 0) {
                break;
            }
            ++dropped;
        }
        if (step == kMaxDrainSteps) {
            status = TGX_ERR_INTERNAL;
        }
    }
    ORVA_LOG(GetLogger(), LevelTrace,
             "Clean data buffer - Port: " << portNumber_ << ", words dropped: " << dropped << ", status: " << status);
    return status;
}

int32_t CCxpPort::WaitForPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words) {
    PortLock lock(portMutex_);
    const Stopwatch watch;
    for (;;) {
        if (IsQueuePath()) {
            const int32_t waiting = orva::board::OHalDataQueueGetNrOfWords(device_, dataQueues_[0]);
            if (waiting != 0) {
                return waiting < 0 ? waiting : 0;
            }
        } else {
            uint64_t value = 0;
            const int32_t status = RegisterRead(portRegs_.rxCmdAckPacketData, value);
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
            if (!IsQueuePath()) {
                ORVA_LOG(GetLogger(), LevelWarning, "Timeout while waiting for CXP Packet after " << elapsed << "ms");
            }
            return TGX_ERR_PACKET_TIMEOUT;
        }
        std::this_thread::yield();
    }
}

int32_t CCxpPort::ReadPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words) {
    PortLock lock(portMutex_);
    if (!IsQueuePath()) {
        const Stopwatch watch;
        for (;;) {
            uint64_t value = 0;
            const int32_t status = RegisterRead(portRegs_.rxCmdAckPacketData, value);
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
    const int32_t got = orva::board::OHalDataQueueReadBufferLong(device_, dataQueues_[0], &header, sizeof header, 0);
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
        last = orva::board::OHalDataQueueReadBufferLong(device_, dataQueues_[0], bytes + received,
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

// ---------------------------------------------------------------------------
// bootstrap and identity

int32_t CCxpPort::ReadRegister32(uint32_t address, uint32_t& value) {
    std::array<uint8_t, 4> bytes{};
    const int32_t status = ReadMem(address, bytes.data(), 4, kAccessTimeoutMs);
    if (status == 0) {
        value = wire::LoadBigEndian32(bytes.data());
    }
    return status;
}

int32_t CCxpPort::WriteRegister32(uint32_t address, uint32_t value) {
    const auto bytes = wire::StoreBigEndian32(value);
    return WriteMem(address, bytes.data(), 4, kAccessTimeoutMs);
}

int32_t CCxpPort::ReadString(uint32_t address, uint32_t size, std::string& text) {
    std::vector<uint8_t> block(size, 0);
    const int32_t status = ReadMem(address, block.data(), size, kAccessTimeoutMs);
    if (status == 0) {
        text = orva::core::TextOfBlock(block);
    }
    return status;
}

int32_t CCxpPort::ReadManifestUrl(std::string& url) {
    uint32_t urlAddress = 0;
    int32_t status = ReadRegister32(kRegXmlUrlAddress, urlAddress);
    if (status == 0) {
        status = ReadString(urlAddress, kUrlBytes, url);
    }
    return status;
}

void CCxpPort::SaveCameraInfo() {
    std::lock_guard<std::mutex> info(cameraInfoMutex_);
    cameraInfo_.Reset();

    uint32_t revision = 0;
    int32_t status = ReadRegister32(kRegRevision, revision);
    if (status == 0) {
        cameraInfo_.SetRevision(revision);
    }
    ORVA_LOG(GetLogger(), LevelDebug,
             "Revision: 0x" << std::hex << cameraInfo_.GetRevision() << std::dec << " Error code: " << status);

    if (cameraInfo_.GetRevision() >= kRevision20) {
        NegotiateVersion();
    }

    const bool useTags = enableCxp2Extensions_ && cameraInfo_.GetVersionUsed() >= kRevision20 && IsQueuePath();
    SetTagMode(useTags);
    if (useTags) {
        uint32_t versionUsed = 0;
        if (ReadRegister32(kRegVersionUsed, versionUsed) != 0) {
            SetTagMode(false);
            ORVA_LOG(GetLogger(), LevelDebug,
                     "Camera failed to respond to packet with tags, reverting to communication without tags");
        }
    }

    uint32_t packetSize = 0;
    status = ReadRegister32(kRegControlPacketSize, packetSize);
    if (status == 0) {
        cameraInfo_.SetControlPacketSizeLimit(packetSize);
        PortLock lock(portMutex_);
        if (packetSize < controlPacketSize_) {
            controlPacketSize_ = std::max(packetSize, kMinControlPacketSize);
        }
    }
    ORVA_LOG(GetLogger(), LevelDebug, "Control Packet Size: " << packetSize << " Error code: " << status);

    uint64_t streamPacketSize = 0;
    if (RegisterRead(boardRegs_.streamPacketSize, streamPacketSize) == 0) {
        const auto value = static_cast<uint32_t>(streamPacketSize);
        status = WriteRegister32(kRegStreamPacketSize, value);
        if (status == 0) {
            ORVA_LOG(GetLogger(), LevelDebug, "Stream Packet Size: " << value);
        } else {
            ORVA_LOG(GetLogger(), LevelWarning,
                     "Failed to set Stream Packet Size: " << value << " Error code: " << status);
        }
    }

    struct Field {
        uint32_t address;
        uint32_t size;
        const char* label;
        void (orva::core::CCameraInfo::*set)(std::string);
    };
    const std::array<Field, 6> fields{{
        {kRegDeviceName, kStringBytes, "Device name: ", &orva::core::CCameraInfo::SetDeviceName},
        {kRegModelName, kStringBytes, "Model name: ", &orva::core::CCameraInfo::SetModelName},
        {kRegManufacturerInfo, kStringBytes, "ManufacturerInfo name: ", &orva::core::CCameraInfo::SetManufacturerInfo},
        {kRegDeviceVersion, kStringBytes, "Version: ", &orva::core::CCameraInfo::SetDeviceVersion},
        {kRegSerialNumber, kShortStringBytes, "SerialNumber : ", &orva::core::CCameraInfo::SetSerialNumber},
        {kRegUserId, kShortStringBytes, "UserId: ", &orva::core::CCameraInfo::SetUserId},
    }};
    auto readField = [this](const Field& field) {
        std::string text;
        const int32_t result = ReadString(field.address, field.size, text);
        if (result == 0) {
            (cameraInfo_.*field.set)(text);
            ORVA_LOG(GetLogger(), LevelDebug, field.label << text);
        } else {
            ORVA_LOG(GetLogger(), LevelDebug, field.label << "<none> Error code: " << result);
        }
    };
    for (const Field& field : fields) {
        readField(field);
    }
    // Newer cameras dropped the firmware version register.
    if (cameraInfo_.GetRevision() <= kRevision11) {
        readField({kRegFirmwareVersion, kStringBytes, "FirmwareVer: ", &orva::core::CCameraInfo::SetFirmwareVersion});
    }

    ORVA_LOG(GetLogger(), LevelInfo,
             "Found " << cameraInfo_.GetDeviceName() << " " << cameraInfo_.GetModelName() << " on link "
                      << portNumber_);
}

void CCxpPort::NegotiateVersion() {
    uint32_t versions = 0;
    const int32_t status = ReadRegister32(kRegVersionsSupported, versions);
    if (status == 0) {
        cameraInfo_.SetVersionsSupported(versions);
    }
    ORVA_LOG(GetLogger(), LevelDebug,
             "Versions Supported: 0x" << std::hex << cameraInfo_.GetVersionsSupported() << std::dec
                                      << " Error code: " << status);

    // The board's core is told the version before the camera, so that it
    // frames the camera's answer already in the new version.
    auto tellFirmware = [this](uint32_t version) {
        const int32_t result = orva::board::OHalCameraCtrlSetPortCxpStandardVersion(device_, portNumber_, version);
        if (result < 0) {
            ORVA_LOG(GetLogger(), LevelWarning,
                     "Failed to set Version in the Firmware: " << version << " Error code: " << result);
        }
        return result;
    };
    if (enableCxp2Extensions_ && cameraInfo_.IsVersionSupported(kVersionBit20) && tellFirmware(3) >= 0) {
        WriteVersionUsed(kRevision20);
        return;
    }
    if (cameraInfo_.IsVersionSupported(kVersionBit11)) {
        tellFirmware(2);
        WriteVersionUsed(kRevision11);
        return;
    }
    ORVA_LOG(GetLogger(), LevelWarning, "Version Supported does not include either CXP 1.1 or CXP 2.0");
}

void CCxpPort::WriteVersionUsed(uint32_t version) {
    const int32_t status = WriteRegister32(kRegVersionUsed, version);
    if (status == 0) {
        cameraInfo_.SetVersionUsed(version);
        ORVA_LOG(GetLogger(), LevelDebug, "Version Used: 0x" << std::hex << version);
    } else {
        ORVA_LOG(GetLogger(), LevelWarning,
                 "Failed to set Version Used: 0x" << std::hex << version << std::dec << " Error code: " << status);
    }
}

void CCxpPort::UpdateCameraInfo() {
    std::lock_guard<std::mutex> info(cameraInfoMutex_);
    std::string userId;
    const int32_t status = ReadString(kRegUserId, kShortStringBytes, userId);
    if (status == 0) {
        cameraInfo_.SetUserId(userId);
        ORVA_LOG(GetLogger(), LevelDebug, "UserId: " << userId);
    }
}

int32_t CCxpPort::ReadManifestInfo() {
    PortLock lock(portMutex_);
    uint32_t count = 0;
    int32_t status = ReadRegister32(kRegManifestCount, count);
    if (status != 0) {
        return status;
    }
    xmlManifestSize_ = count;
    status = WriteRegister32(kRegManifestSelect, 0);
    if (status != 0) {
        return status;
    }
    std::string url;
    status = ReadManifestUrl(url);
    if (status != 0) {
        return status;
    }
    uint32_t xmlVersion = 0;
    uint32_t schemaVersion = 0;
    status = ReadRegister32(kRegXmlVersion, xmlVersion);
    if (status == 0) {
        status = ReadRegister32(kRegXmlSchemaVersion, schemaVersion);
    }
    if (status != 0) {
        return status;
    }
    std::ostringstream text;
    text << std::hex << xmlVersion << ';' << schemaVersion << ';' << url;
    xmlInfo_ = text.str();
    return 0;
}

uint32_t CCxpPort::GetMagicValue() {
    return Load(&CCxpPort::magicValue_);
}

uint32_t CCxpPort::GetXmlManifestSize() {
    return Load(&CCxpPort::xmlManifestSize_);
}

std::string CCxpPort::GetXmlManifestInfo() {
    PortLock lock(portMutex_);
    return xmlInfo_;
}

uint32_t CCxpPort::GetCameraRevision() {
    std::lock_guard<std::mutex> info(cameraInfoMutex_);
    return cameraInfo_.GetRevision();
}

int32_t CCxpPort::GetXmlInfo(std::string& xml, uint32_t index) {
    PortLock lock(portMutex_);
    ORVA_LOG(GetLogger(), LevelDebug, "LoadXML from Index: " << index);

    uint32_t count = 0;
    int32_t status = ReadRegister32(kRegManifestCount, count);
    if (status != 0) {
        return status;
    }
    if (index >= count) {
        return TGX_ERR_GENCP_INVALID_ADDRESS;
    }
    // The selector goes out as the host holds it: callers only ever ask for
    // entry 0, where the byte order makes no difference.
    status = WriteMem(kRegManifestSelect, &index, sizeof index, kAccessTimeoutMs);
    if (status != 0) {
        return status;
    }
    std::string url;
    status = ReadManifestUrl(url);
    if (status != 0) {
        return status;
    }

    // "Local:<name>;<address>;<size>", both numbers hexadecimal.
    constexpr std::string_view kLocal = "Local:";
    std::string_view rest(url);
    if (rest.substr(0, kLocal.size()) != kLocal) {
        ORVA_LOG(GetLogger(), LevelWarning, "Unsupported XML location: " << url);
        return TGX_ERR_INTERNAL;
    }
    rest.remove_prefix(kLocal.size());
    const size_t nameEnd = rest.find(';');
    if (nameEnd == std::string_view::npos) {
        return TGX_ERR_INTERNAL;
    }
    rest.remove_prefix(nameEnd + 1);
    const size_t addressEnd = rest.find(';');
    if (addressEnd == std::string_view::npos) {
        return TGX_ERR_INTERNAL;
    }
    uint32_t address = 0;
    uint32_t size = 0;
    if (!ParseHex32(rest.substr(0, addressEnd), address) || !ParseHex32(rest.substr(addressEnd + 1), size)) {
        ORVA_LOG(GetLogger(), LevelWarning, "Malformed XML location: " << url);
        return TGX_ERR_INTERNAL;
    }
    if (size > kMaxDescriptionBytes) {
        ORVA_LOG(GetLogger(), LevelWarning, "XML size " << size << " is beyond what the port fetches");
        return TGX_ERR_INVALID_DATA;
    }

    std::vector<uint8_t> block(size, 0);
    status = ReadMem(address, block.data(), size, kAccessTimeoutMs);
    if (status != 0) {
        return status;
    }

    // The first bytes decide, not the name: a zip container starts with its
    // local header signature.
    constexpr std::array<uint8_t, 4> kZipSignature{0x50, 0x4B, 0x03, 0x04};
    if (size < kZipSignature.size() || !std::equal(kZipSignature.begin(), kZipSignature.end(), block.begin())) {
        xml = orva::core::TextOfBlock(block);
        return 0;
    }

    switch (orva::core::UnzipDescription(block, GetLogger(), xml)) {
    case orva::core::UnzipOutcome::Unpacked:
        return 0;
    case orva::core::UnzipOutcome::NoEntries:
        return TGX_ERR_INTERNAL;
    case orva::core::UnzipOutcome::EntryRefused:
        break;
    }
    return TGX_ERR_INVALID_DATA;
}

// ---------------------------------------------------------------------------
// transceivers and link state

void CCxpPort::BindRegisters() {
    if (design_ == nullptr) {
        return;
    }
    InterProcessLockGuard txc(txcLock_.get());
    auto byName = [this](const std::string& name) { return orva::board::DsgGetRegisterByName(design_, name.c_str()); };
    const std::string n = std::to_string(portNumber_);
    boardRegs_.gtxRxReset = byName("CxpTransceiverGtxRxReset");
    boardRegs_.rxPllDet = byName("CxpTransceiverRxPlllDet");
    boardRegs_.rxResetDone = byName("CxpTransceiverRxResetDone");
    boardRegs_.gtxDrpReady = byName("CxpTransceiverGtxDrpReady");
    boardRegs_.gtxSetBitRateDone = byName("CxpTransceiverGtxSetBitRateDone");
    boardRegs_.rxStatus = byName("CxpTransceiverRxStatus");
    boardRegs_.txCmdPacketSent = byName("CxpTxCmdPacketSent");
    boardRegs_.streamPacketSize = byName("StreamPacketSize");
    boardRegs_.coreReset = byName("CxpControlCoreReset_" + n);
    if (boardRegs_.coreReset < 1 && !IsQueuePath()) {
        boardRegs_.coreReset = byName("CxpReset_" + n);
        if (boardRegs_.coreReset < 1) {
            ORVA_LOG(GetLogger(), LevelWarning, "Failed to detect CXP core interface type");
        }
    }
    boardRegs_.notInTable = byName("CxpTransceiverNotInTable_" + n);
    boardRegs_.gtxDrpAddress = byName("CxpTransceiverGtxDrpAddress_" + n);
    boardRegs_.gtxDrpWriteData = byName("CxpTransceiverGtxDrpWriteData_" + n);
    boardRegs_.gtxSetBitRate = byName("CxpTransceiverGtxSetBitRate_" + n);
    boardRegs_.transceiverStatus = byName("CxpTransceiverStatus_" + n);
    boardRegs_.downLinkBitRate = byName("CxpTransceiverDownLinkBitRate_" + n);
    boardRegs_.upLinkBitRate = byName("CxpTransceiverUpLinkBitRate_" + n);
}

void CCxpPort::BindPortRegisters(uint32_t n) {
    PortLock lock(portMutex_);
    if (design_ == nullptr) {
        return;
    }
    InterProcessLockGuard txc(txcLock_.get());
    auto byName = [this, n](const char* prefix) {
        const std::string name = prefix + std::to_string(n);
        return orva::board::DsgGetRegisterByName(design_, name.c_str());
    };
    portRegs_.txCmdWriteData = byName("CxpTxCmdWriteData_");
    portRegs_.rxCmdAckPacketData = byName("CxpRxCmdAckPacketData_");
    portRegs_.controlCoreReset = byName("CxpControlCoreReset_");
    if (portRegs_.controlCoreReset < 1 && !IsQueuePath()) {
        portRegs_.controlCoreReset = byName("CxpReset_");
        if (portRegs_.controlCoreReset < 1) {
            ORVA_LOG(GetLogger(), LevelWarning, "Failed to detect CXP core interface type");
        }
    }
    portRegs_.ledModeSelectWrite = byName("CxpLedModeSelectWrite_");
    portRegs_.ledModeSelectRead = byName("CxpLedModeSelectRead_");
}

int32_t CCxpPort::WaitForBit(int32_t reg, uint32_t bit, bool set, const char* what) {
    const Stopwatch watch;
    for (;;) {
        uint64_t value = 0;
        const int32_t status = RegisterRead(reg, value);
        if (status != 0) {
            return status;
        }
        if ((((value >> bit) & 1u) != 0) == set) {
            return 0;
        }
        if (watch.ElapsedUs() > kFlagWaitUs) {
            ORVA_LOG(GetLogger(), LevelError,
                     "Port " << portNumber_ << ": " << what << " didn't " << (set ? "set" : "clear") << " bit " << bit
                             << " within " << kFlagWaitUs / 1000 << " ms");
            return TGX_ERR_LINK_TIMEOUT;
        }
        std::this_thread::yield();
    }
}

int32_t CCxpPort::ProgramDownlink(uint32_t speed) {
    const uint32_t bit = portNumber_;
    switch (gtxIf_) {
    case 1: {
        const DrpSetting* setting = FindDrpSetting(kDrpTableA, speed);
        if (setting == nullptr) {
            return kErrSpeedNotSupported;
        }
        for (uint32_t i = 0; i < setting->count; ++i) {
            int32_t status = RegisterWrite(boardRegs_.gtxDrpAddress, setting->words[i].address);
            if (status == 0) {
                status = RegisterWrite(boardRegs_.gtxDrpWriteData, setting->words[i].data);
            }
            if (status != 0) {
                return status;
            }
            // This core has no ready flag; it takes a word within this time.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return 0;
    }
    case 2: {
        const DrpSetting* setting = FindDrpSetting(kDrpTableB, speed);
        if (setting == nullptr) {
            return kErrSpeedNotSupported;
        }
        int32_t status = WaitForBit(boardRegs_.gtxDrpReady, bit, true, "DRP ready");
        for (uint32_t i = 0; status == 0 && i < setting->count; ++i) {
            status = RegisterWrite(boardRegs_.gtxDrpAddress, setting->words[i].address);
            if (status == 0) {
                status = RegisterWrite(boardRegs_.gtxDrpWriteData, setting->words[i].data);
            }
            uint64_t ignored = 0;
            if (status == 0) {
                // The first read after a word may still show the old flag.
                status = RegisterRead(boardRegs_.gtxDrpReady, ignored);
            }
            if (status == 0) {
                status = WaitForBit(boardRegs_.gtxDrpReady, bit, true, "DRP ready");
            }
        }
        return status;
    }
    case 3:
    case 6:
    case 10: {
        const bool dual = gtxIf_ == 10;
        const int32_t code = RateCode(speed, dual);
        if (code < 0) {
            return kErrSpeedNotSupported;
        }
        const int32_t flagReg = dual ? boardRegs_.transceiverStatus : boardRegs_.gtxSetBitRateDone;
        const uint32_t flagBit = dual ? kStatusReadyBit : bit;
        const int32_t rateReg = dual ? boardRegs_.downLinkBitRate : boardRegs_.gtxSetBitRate;
        int32_t status = WaitForBit(flagReg, flagBit, true, "bit rate done");
        if (status == 0) {
            status = RegisterWrite(rateReg, static_cast<uint64_t>(code));
        }
        uint64_t ignored = 0;
        if (status == 0) {
            status = RegisterRead(flagReg, ignored);
        }
        if (status == 0) {
            status = WaitForBit(flagReg, flagBit, true, "bit rate done");
        }
        return status;
    }
    default:
        return kErrUnknownCoreType;
    }
}

int32_t CCxpPort::SetDownlinkSpeed(uint32_t speed) {
    int32_t status = 0;
    if (IsQueuePath()) {
        status = orva::board::OHalCameraCtrlSetPortDataPathSpeed(device_, portNumber_, speed);
        status = status < 0 ? status : 0;
    } else {
        InterProcessLockGuard txc(txcLock_.get());
        status = ProgramDownlink(speed);
    }
    if (status != 0) {
        ORVA_LOG(GetLogger(), LevelError,
                 "Failed to set bitrate of downlink transceivers,port-mask=" << portNumber_
                                                                             << " Error code: " << status);
        return status;
    }
    status = TransceiverReset();
    ORVA_LOG(GetLogger(), LevelDebug,
             "Downlink transceivers set to " << speed / 1000.0 << " Gbit/s, port " << portNumber_);
    return status;
}

int32_t CCxpPort::SetUplinkSpeed(uint32_t speed, bool& changed) {
    changed = false;
    const uint32_t high = speed >= kHighSpeedFirst ? 1 : 0;
    int32_t status = SetCoreReset(kCoreHeld);
    if (status == 0) {
        switch (gtxIf_) {
        case kGtxIfQueue:
            status = orva::board::OHalCameraCtrlSetPortDataPathSpeed(device_, portNumber_, speed);
            status = status < 0 ? status : 0;
            break;
        case 10: {
            InterProcessLockGuard txc(txcLock_.get());
            status = WaitForBit(boardRegs_.transceiverStatus, kStatusReadyBit, true, "uplink ready");
            if (status == 0) {
                status = RegisterWrite(boardRegs_.upLinkBitRate, high);
            }
            break;
        }
        case 1:
        case 2:
        case 3:
        case 6:
            break;
        default:
            status = TGX_ERR_INTERNAL;
            break;
        }
    }
    if (status != 0) {
        ORVA_LOG(GetLogger(), LevelError, "Failed to set bitrate of uplink transceivers");
        return status;
    }
    {
        PortLock lock(portMutex_);
        if (uplinkHighSpeed_ != high) {
            uplinkHighSpeed_ = high;
            changed = true;
        }
    }
    ORVA_LOG(GetLogger(), LevelDebug, "Uplink transceivers set to " << (high != 0 ? "high" : "low") << " speed");
    return 0;
}

int32_t CCxpPort::SetCoreReset(uint32_t value) {
    int32_t status = 0;
    bool writeFailed = false;
    if (IsQueuePath()) {
        uint32_t state = 3;
        switch (value) {
        case 0:
            state = 5;
            break;
        case 2:
            state = 4;
            break;
        case 7:
            state = 2;
            break;
        default:
            break;
        }
        status = orva::board::OHalCameraCtrlSetPortDataPathState(device_, portNumber_, state);
        status = status < 0 ? status : 0;
    } else {
        PortLock lock(portMutex_);
        InterProcessLockGuard txc(txcLock_.get());
        // The acknowledge receiver bit belongs to the design port that this
        // register serves; another port's routing mustn't hold it.
        const uint32_t written =
            boardRegs_.coreReset == portRegs_.controlCoreReset ? value : (value & kCoreResetForeignMask);
        // A design without the register still runs its links; the write's
        // failure is only reported.
        writeFailed = RegisterWrite(boardRegs_.coreReset, written) != 0;
    }
    {
        PortLock lock(portMutex_);
        coreResetValue_ = value;
    }
    if (status != 0 || writeFailed) {
        ORVA_LOG(GetLogger(), LevelWarning, "CXP Control Core Reset failed");
    } else {
        ORVA_LOG(GetLogger(), LevelDebug, "CXP Control Core Reset set to 0x" << std::hex << value);
    }
    return status;
}

uint32_t CCxpPort::GetCoreResetValue() {
    return Load(&CCxpPort::coreResetValue_);
}

int32_t CCxpPort::TransceiverReset() {
    if (IsQueuePath()) {
        return 0;
    }
    ORVA_LOG(GetLogger(), LevelDebug, "Performing transceiver reset...");
    InterProcessLockGuard txc(txcLock_.get());
    const uint64_t mask = uint64_t{1} << portNumber_;
    int32_t status = 0;
    switch (gtxIf_) {
    case 1:
        status = RegisterWrite(boardRegs_.gtxRxReset, mask);
        if (status == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            status = RegisterWrite(boardRegs_.gtxRxReset, 0);
        }
        if (status == 0) {
            status = WaitForBit(boardRegs_.rxPllDet, portNumber_, true, "PLL lock");
        }
        if (status == 0) {
            status = WaitForBit(boardRegs_.rxResetDone, portNumber_, true, "receiver reset done");
        }
        break;
    case 2:
        status = RegisterWrite(boardRegs_.gtxRxReset, mask);
        if (status == 0) {
            status = WaitForBit(boardRegs_.rxResetDone, portNumber_, false, "receiver reset start");
        }
        if (status == 0) {
            status = RegisterWrite(boardRegs_.gtxRxReset, 0);
        }
        if (status == 0) {
            status = WaitForBit(boardRegs_.rxResetDone, portNumber_, true, "receiver reset done");
        }
        break;
    case 6:
        status = RegisterWrite(boardRegs_.gtxRxReset, mask);
        if (status == 0) {
            status = RegisterWrite(boardRegs_.gtxRxReset, 0);
        }
        if (status == 0) {
            status = WaitForBit(boardRegs_.rxStatus, 2 * portNumber_, true, "receiver reset done");
        }
        break;
    default:
        break;
    }
    return status;
}

uint64_t CCxpPort::ReadNitCounter() {
    // A failed read leaves this value: all errors, so nothing counts as locked.
    uint64_t value = 0xFFFFFFFF;
    switch (gtxIf_) {
    case 1:
    case 2:
    case 3:
    case 6:
        (void)RegisterRead(boardRegs_.notInTable, value);
        return value;
    case 10:
    case kGtxIfQueue:
        (void)RegisterRead(boardRegs_.transceiverStatus, value);
        return value & kNitCountMask;
    default:
        ORVA_LOG(GetLogger(), LevelWarning, "Failed to check transceiver lock: Invalid GTX interface");
        return 0xFFFFFFFF;
    }
}

int32_t CCxpPort::WaitLinkLock() {
    PortLock lock(portMutex_);
    uint32_t good = 0;
    const Stopwatch watch;
    // A locked receiver shows a NIT counter that stays at 0.
    while (good <= kLockGoodReads) {
        const uint64_t elapsed = watch.ElapsedUs();
        if (elapsed >= kLockWindowUs) {
            break;
        }
        if (ReadNitCounter() == 0) {
            ++good;
            continue;
        }
        // The counter counts errors from the receiver's release on and goes
        // back to 0 only with a reset: this window can't show a lock any
        // more. Its rest is slept, not polled, so that the attempts keep
        // their length without a port that has no camera keeping a core
        // busy: the worker runs 50 lock tests per free port every second.
        good = 0;
        std::this_thread::sleep_for(std::chrono::microseconds(kLockWindowUs - elapsed));
    }
    if (good <= kLockGoodReads) {
        return TGX_ERR_LINK_LOCK_TIMEOUT;
    }
    ORVA_LOG(GetLogger(), LevelDebug,
             "Port " << portNumber_ << ": link lock found after " << watch.ElapsedUs() << " us");

    uint64_t status = 0;
    switch (gtxIf_) {
    case 6:
        if (RegisterRead(boardRegs_.rxStatus, status) != 0 || ((status >> (2 * portNumber_ + 1)) & 1u) == 0) {
            return TGX_ERR_LINK_LOCK_TIMEOUT;
        }
        return 0;
    case 10:
    case kGtxIfQueue:
        if (RegisterRead(boardRegs_.transceiverStatus, status) != 0 || ((status >> kStatusLinkUpBit) & 1u) == 0) {
            return TGX_ERR_LINK_LOCK_TIMEOUT;
        }
        return 0;
    default:
        return 0;
    }
}

int32_t CCxpPort::LockLinksAtSpeed(uint32_t speed) {
    int32_t status = SetCoreReset(kCoreHeld);
    if (status != 0) {
        return status;
    }
    ORVA_LOG(GetLogger(), LevelTrace, "[CXP::LockLinksAtSpeed] ... CXP control core reset.");
    status = SetDownlinkSpeed(speed);
    if (status != 0) {
        return status;
    }
    ORVA_LOG(GetLogger(), LevelTrace, "[CXP::LockLinksAtSpeed] ... Downlink transceiver bitrate set.");

    status = TGX_ERR_LINK_LOCK_TIMEOUT;
    for (uint32_t attempt = 0; attempt < kLockAttempts; ++attempt) {
        const int32_t reset = SetCoreReset(kCoreLockTest);
        if (reset != 0) {
            return reset;
        }
        ORVA_LOG(GetLogger(), LevelTrace, "[CXP::LockLinksAtSpeed] ... CXP control core reset.");
        status = WaitLinkLock();
        if (status == TGX_ERR_LINK_LOCK_TIMEOUT) {
            const int32_t held = SetCoreReset(kCoreHeld);
            if (held != 0) {
                return held;
            }
            std::this_thread::yield();
            continue;
        }
        const int32_t running = SetCoreReset(kCoreRunning);
        if (running != 0) {
            return running;
        }
        break;
    }
    ORVA_LOG(GetLogger(), LevelTrace, "[CXP::LockLinksAtSpeed] ... Waiting for link synchronisation done.");
    if (status != 0) {
        return status;
    }

    if (waitAfterLinkLockFound_ != 0) {
        ORVA_LOG(GetLogger(), LevelDebug, "Waiting " << waitAfterLinkLockFound_ << " milliseconds");
        std::this_thread::sleep_for(std::chrono::milliseconds(waitAfterLinkLockFound_));
    }

    if (!skipRegisterCheck_) {
        uint32_t magic = 0;
        if (ReadRegister32(kRegMagic, magic) != 0) {
            ORVA_LOG(GetLogger(), LevelWarning, "Link " << portNumber_ << " up but register communication failed");
            return TGX_ERR_INVALID_LINK_SPEED;
        }
        {
            PortLock lock(portMutex_);
            magicValue_ = magic;
        }
        ORVA_LOG(GetLogger(), LevelDebug, "[CXP::nMagicValue] ... Check magic value:0x" << std::hex << magic);
        if (magic != kMagicValue) {
            ORVA_LOG(GetLogger(), LevelWarning,
                     "Link " << portNumber_ << " up but received wrong magic value 0x" << std::hex << magic);
            return TGX_ERR_INVALID_LINK_SPEED;
        }
        ORVA_LOG(GetLogger(), LevelInfo, "Port " << portNumber_ << ": link locked at " << speed / 1000.0 << " Gbit/s");
    }

    PortLock lock(portMutex_);
    linkSpeed_ = speed;
    return 0;
}

bool CCxpPort::IsTransceiverLocked() {
    const auto count = static_cast<uint32_t>(ReadNitCounter());
    const uint32_t last = lastNitCount_.load();
    const uint32_t limit = (last + toleratedNitErrors_) & kNitCountMask;
    // The counter has 24 bits and wraps: so may the range of tolerated counts.
    const bool withinTolerance = limit > last ? (count >= last && count < limit) : (count >= last || count < limit);
    lastNitCount_.store(count);

    if (withinTolerance) {
        const uint32_t critical = criticalIntervals_.exchange(0);
        if (critical != 0) {
            ORVA_LOG(GetLogger(), LevelDebug,
                     "Reseting Number of critical NIT polling intervals from: "
                         << critical << " to zero, total NIT errors: " << count);
        }
        return true;
    }
    const uint32_t critical = criticalIntervals_.fetch_add(1) + 1;
    ORVA_LOG(GetLogger(), LevelDebug,
             "Number of critical NIT polling intervals: " << critical << ", total NIT errors: " << count);
    return critical <= toleratedIntervals_;
}

int32_t CCxpPort::SetLedMode(uint32_t mode) {
    if (IsQueuePath()) {
        uint32_t state = 7;
        switch (mode) {
        case 1:
        case 2:
        case 3:
            state = mode;
            break;
        case 5:
        case 6:
            state = 6;
            break;
        case 8:
            state = 4;
            break;
        default:
            break;
        }
        const int32_t status = orva::board::OHalCameraCtrlSetPortCxpLedState(device_, portNumber_, state);
        return status < 0 ? status : 0;
    }
    PortLock lock(portMutex_);
    InterProcessLockGuard txc(txcLock_.get());
    return RegisterWrite(portRegs_.ledModeSelectWrite, mode);
}

// ---------------------------------------------------------------------------
// state the controller sets

void CCxpPort::ResetPortState() {
    PortLock lock(portMutex_);
    appletPort_ = portNumber_;
    masterId_ = kUnknown;
    appletMasterId_ = kUnknown;
    linkSpeed_ = kUnknown;
    linkIndex_ = orva::core::kLinkIndexNoCamera;
    BindPortRegisters(portNumber_);
}

void CCxpPort::SetLinkRole(uint32_t linkIndex, uint32_t masterId) {
    PortLock lock(portMutex_);
    linkIndex_ = linkIndex;
    masterId_ = masterId;
}

void CCxpPort::SetLinkIndex(uint32_t linkIndex) {
    Store(&CCxpPort::linkIndex_, linkIndex);
}

void CCxpPort::SetMasterId(uint32_t masterId) {
    Store(&CCxpPort::masterId_, masterId);
}

void CCxpPort::SetAppletMasterId(uint32_t key) {
    Store(&CCxpPort::appletMasterId_, key);
}

void CCxpPort::SetAppletPort(uint32_t port) {
    Store(&CCxpPort::appletPort_, port);
}

void CCxpPort::SetLinkSpeed(uint32_t speed) {
    Store(&CCxpPort::linkSpeed_, speed);
}

void CCxpPort::SetControlPacketSize(uint32_t bytes) {
    PortLock lock(portMutex_);
    controlPacketSize_ = ClampControlPacketSize(bytes, streamPacketSizeLimit_);
}

} // namespace orva::cxp
