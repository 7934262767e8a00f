#include "impl/cxp/CCxpPort.h"

#include <sstream>
#include <stdexcept>

#include "impl/core/TweakValue.h"
#include "impl/cxp/CxpDataQueues.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logger.h"
#include "runtime/templates/InterProcessLockGuard.h"
#include "runtime/templates/RecursiveMutexGuard.h"

namespace orva::cxp {

namespace {

using orva::templates::platform::InterProcessLock;
using orva::templates::platform::InterProcessLockGuard;
using orva::templates::platform::RecursiveMutexGuard;
using orva::tools::logging::LevelInfo;

constexpr uint32_t kLedConstruction = 1;
constexpr uint32_t kLedNoLink = 2;

} // namespace

// ---------------------------------------------------------------------------
// construction

CCxpPort::Settings CCxpPort::ReadSettings() {
    using orva::core::TweakOr;
    Settings settings;
    settings.toleratedNitErrors = TweakOr<uint32_t>("CXP::ToleratedNITErrorsPerPollingInterval", 5);
    settings.toleratedIntervals = TweakOr<uint32_t>("CXP::ToleratedPollingIntervalsOverNITErrorThreshold", 30);
    settings.commandAckTimeout = TweakOr<uint32_t>("CXP::CommandAckTimeout", 500);
    settings.waitAfterLinkLockFound = TweakOr<uint32_t>("CXP::WaitAfterLinkLockFound", 0);
    settings.skipRegisterCheck = TweakOr<bool>("CXP::SkipRegisterCheckOnLinkConfig", false);
    settings.enableCxp2Extensions = TweakOr<bool>("CXP::EnableCxp2Extensions", true);
    settings.maxControlPacketSize = TweakOr<uint32_t>("CXP::MaxControlPacketSize", 512);
    return settings;
}

CCxpPort::CCxpPort(uint32_t portNumber, uint32_t gtxIf, OHalDevice* device, DsgDesign* design)
    : portNumber_(portNumber), traits_(CxpCoreTraits::Of(gtxIf)), device_(device), design_(design),
      settings_(ReadSettings()) {
    auto queues = std::make_unique<CxpDataQueues>(device_, portNumber_, traits_.path == ChannelPath::Queues, logger_);

    const int32_t board = orva::board::OHalGetBoardIndex(device_, 0);
    const uint32_t boardIndex = board >= 0 ? static_cast<uint32_t>(board) : 0;
    std::unique_ptr<InterProcessLock> comLock;
    try {
        txcLock_ = std::make_unique<InterProcessLock>(LockName(boardIndex, "-CCxpTxc_lock"));
        comLock = std::make_unique<InterProcessLock>(LockName(boardIndex, "-CCxpCom_lock"));
    } catch (...) {
        // The queues go back as `queues` goes.
        throw std::runtime_error("can not open the requested lock");
    }

    const CxpBoardRegisters boardRegs = BindRegisters();
    CxpControlChannel::Setup channel;
    channel.portNumber = portNumber_;
    channel.device = device_;
    channel.txCmdPacketSent = boardRegs.txCmdPacketSent;
    channel.commandAckTimeout = settings_.commandAckTimeout;
    channel.controlPacketSize = settings_.maxControlPacketSize;
    channel_ = std::make_unique<CxpControlChannel>(channel, traits_, portMutex_, logger_, std::move(queues),
                                                   std::move(comLock));

    CxpTransceivers::Setup transceivers;
    transceivers.portNumber = portNumber_;
    transceivers.device = device_;
    transceivers.waitAfterLinkLockFound = settings_.waitAfterLinkLockFound;
    transceivers.skipRegisterCheck = settings_.skipRegisterCheck;
    transceivers.toleratedNitErrors = settings_.toleratedNitErrors;
    transceivers.toleratedIntervals = settings_.toleratedIntervals;
    transceivers_ =
        std::make_unique<CxpTransceivers>(transceivers, traits_, boardRegs, *channel_, portMutex_, *txcLock_, logger_);

    CxpBootstrap::Setup bootstrap;
    bootstrap.portNumber = portNumber_;
    bootstrap.device = device_;
    bootstrap.streamPacketSize = boardRegs.streamPacketSize;
    bootstrap.enableCxp2Extensions = settings_.enableCxp2Extensions;
    bootstrap_ = std::make_unique<CxpBootstrap>(bootstrap, traits_, *channel_, portMutex_, logger_);

    BindPortRegisters(portNumber_);
    SetTagMode(false);
    SetCoreReset(CxpTransceivers::kCoreHeld);
    SetLedMode(kLedConstruction);
    LogSettings();
    SetLedMode(kLedNoLink);
}

CCxpPort::~CCxpPort() {
    channel_->ReleaseDataQueues();
    SetLedMode(kLedNoLink);
}

void CCxpPort::LogSettings() {
    auto setting = [this](const char* name, const char* unit, uint32_t value) {
        ORVA_LOG(GetLogger(), LevelInfo, orva::core::TweakLine(name, unit, value));
    };
    setting("ORVA_CXP_COMMAND_ACK_TIMEOUT", "(ms) = ", settings_.commandAckTimeout);
    setting("ORVA_CXP_WAIT_AFTER_LINK_LOCK_FOUND", "(ms) = ", settings_.waitAfterLinkLockFound);
    setting("ORVA_CXP_TOLERATED_NIT_ERRS_PER_INTERVAL", "(errors) = ", settings_.toleratedNitErrors);
    setting("ORVA_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", "(intervals) = ", settings_.toleratedIntervals);
    setting("ORVA_CXP_SKIP_REGISTER_CHECK_AFTER_LINK_LOCK_FOUND", "(on/off) = ", settings_.skipRegisterCheck ? 1 : 0);
    setting("ORVA_CXP_ENABLE_CXP2_EXTENSIONS", "(on/off) = ", settings_.enableCxp2Extensions ? 1 : 0);
    setting("ORVA_CXP_MAX_CONTROL_PACKET_SIZE", "(bytes) = ", GetControlPacketSize());
}

std::string CCxpPort::LockName(uint32_t boardIndex, const char* suffix) {
    std::ostringstream name;
    name << "orva_genicam-board_" << boardIndex << suffix;
    return name.str();
}

CxpBoardRegisters CCxpPort::BindRegisters() {
    if (design_ == nullptr) {
        return {};
    }
    InterProcessLockGuard txc(txcLock_.get());
    return CxpBoardRegisters::LookUp(design_, portNumber_, traits_, logger_);
}

void CCxpPort::BindPortRegisters(uint32_t n) {
    RecursiveMutexGuard lock(portMutex_);
    if (design_ == nullptr) {
        return;
    }
    InterProcessLockGuard txc(txcLock_.get());
    const CxpPortRegisters regs = CxpPortRegisters::LookUp(design_, n, traits_, logger_);
    channel_->UsePortRegisters(regs);
    transceivers_->UsePortRegisters(regs);
}

orva::tools::logging::Logger* CCxpPort::GetLogger() {
    return logger_.Get();
}

// ---------------------------------------------------------------------------
// IPortInterface

void CCxpPort::Read(void* buffer, int64_t address, int64_t length) {
    (void)ReadMem(static_cast<uint32_t>(address), buffer, static_cast<uint32_t>(length),
                  CxpControlChannel::kAccessTimeoutMs);
}

void CCxpPort::Write(const void* buffer, int64_t address, int64_t length) {
    (void)WriteMem(static_cast<uint32_t>(address), buffer, static_cast<uint32_t>(length),
                   CxpControlChannel::kAccessTimeoutMs);
}

uint32_t CCxpPort::GetLinkIndex() {
    RecursiveMutexGuard lock(portMutex_);
    return linkIndex_;
}

uint32_t CCxpPort::GetPortNumber() {
    return portNumber_;
}

uint32_t CCxpPort::GetAppletPort() {
    return channel_->GetAppletPort();
}

uint32_t CCxpPort::GetMasterId() {
    RecursiveMutexGuard lock(portMutex_);
    return masterId_;
}

uint32_t CCxpPort::GetAppletMasterId() {
    RecursiveMutexGuard lock(portMutex_);
    return appletMasterId_;
}

uint32_t CCxpPort::GetLinkSpeed() {
    RecursiveMutexGuard lock(portMutex_);
    return linkSpeed_;
}

bool CCxpPort::IsConnected() {
    RecursiveMutexGuard lock(portMutex_);
    return linkSpeed_ != kUnknown;
}

bool CCxpPort::IsTransceiverLocked() {
    return transceivers_->IsTransceiverLocked();
}

bool CCxpPort::IsValidAddress(uint64_t address) {
    RecursiveMutexGuard lock(portMutex_);
    return address >= bootstrap::kConnectionReset && address <= bootstrap::kConnectionConfig && address % 4 == 0;
}

uint32_t CCxpPort::GetControlPacketSize() {
    return channel_->GetControlPacketSize();
}

uint32_t CCxpPort::GetStreamPacketSize() {
    RecursiveMutexGuard lock(portMutex_);
    return CxpControlChannel::kStreamPacketSizeLimit;
}

orva::core::ICameraInfo* CCxpPort::GetCameraInfo() {
    return bootstrap_->GetCameraInfo();
}

void CCxpPort::SaveCameraInfo() {
    bootstrap_->SaveCameraInfo();
}

void CCxpPort::UpdateCameraInfo() {
    bootstrap_->UpdateCameraInfo();
}

int32_t CCxpPort::GetXmlInfo(std::string& xml, uint32_t index) {
    return bootstrap_->GetXmlInfo(xml, index);
}

uint32_t CCxpPort::GetNodeMapReadTimeoutMs() {
    return CxpControlChannel::kAccessTimeoutMs;
}

uint32_t CCxpPort::GetNodeMapWriteTimeoutMs() {
    return CxpControlChannel::kAccessTimeoutMs;
}

int32_t CCxpPort::ReadMem(uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs) {
    return channel_->ReadMem(address, buffer, length, timeoutMs);
}

int32_t CCxpPort::WriteMem(uint32_t address, const void* buffer, uint32_t length, uint32_t timeoutMs) {
    return channel_->WriteMem(address, buffer, length, timeoutMs);
}

// ---------------------------------------------------------------------------
// control channel

int32_t CCxpPort::ExecCmd(bool isWrite, uint32_t address, uint32_t* buffer, uint32_t size, uint32_t ackMode,
                          uint32_t timeoutMs) {
    return channel_->ExecCmd(isWrite, address, buffer, size, ackMode, timeoutMs);
}

int32_t CCxpPort::CleanDataBuffer() {
    return channel_->CleanDataBuffer();
}

int32_t CCxpPort::WaitForPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words) {
    return channel_->WaitForPacketData(timeoutMs, words);
}

int32_t CCxpPort::ReadPacketData(uint32_t timeoutMs, std::vector<uint32_t>& words) {
    return channel_->ReadPacketData(timeoutMs, words);
}

void CCxpPort::SetTagMode(bool on) {
    channel_->SetTagMode(on);
}

bool CCxpPort::GetTagMode() {
    return channel_->GetTagMode();
}

// ---------------------------------------------------------------------------
// bootstrap and identity

int32_t CCxpPort::ReadManifestInfo() {
    return bootstrap_->ReadManifestInfo();
}

uint32_t CCxpPort::GetMagicValue() {
    return transceivers_->GetMagicValue();
}

uint32_t CCxpPort::GetXmlManifestSize() {
    return bootstrap_->GetXmlManifestSize();
}

std::string CCxpPort::GetXmlManifestInfo() {
    return bootstrap_->GetXmlManifestInfo();
}

uint32_t CCxpPort::GetCameraRevision() {
    return bootstrap_->GetCameraRevision();
}

// ---------------------------------------------------------------------------
// transceivers and link state

int32_t CCxpPort::SetDownlinkSpeed(uint32_t speed) {
    return transceivers_->SetDownlinkSpeed(speed);
}

int32_t CCxpPort::SetUplinkSpeed(uint32_t speed, bool& changed) {
    return transceivers_->SetUplinkSpeed(speed, changed);
}

int32_t CCxpPort::SetCoreReset(uint32_t value) {
    return transceivers_->SetCoreReset(value);
}

uint32_t CCxpPort::GetCoreResetValue() {
    return transceivers_->GetCoreResetValue();
}

int32_t CCxpPort::TransceiverReset() {
    return transceivers_->TransceiverReset();
}

int32_t CCxpPort::WaitLinkLock() {
    return transceivers_->WaitLinkLock();
}

int32_t CCxpPort::LockLinksAtSpeed(uint32_t speed) {
    const int32_t status = transceivers_->LockLinksAtSpeed(speed);
    if (status != 0) {
        return status;
    }
    // The one place a link speed is set: a lock that held.
    RecursiveMutexGuard lock(portMutex_);
    linkSpeed_ = speed;
    return 0;
}

uint64_t CCxpPort::ReadNitCounter() {
    return transceivers_->ReadNitCounter();
}

int32_t CCxpPort::SetLedMode(uint32_t mode) {
    return transceivers_->SetLedMode(mode);
}

// ---------------------------------------------------------------------------
// state the controller sets

void CCxpPort::ResetPortState() {
    RecursiveMutexGuard lock(portMutex_);
    channel_->SetAppletPort(portNumber_);
    masterId_ = kUnknown;
    appletMasterId_ = kUnknown;
    linkSpeed_ = kUnknown;
    linkIndex_ = orva::core::kLinkIndexNoCamera;
    BindPortRegisters(portNumber_);
}

void CCxpPort::SetLinkRole(uint32_t linkIndex, uint32_t masterId) {
    RecursiveMutexGuard lock(portMutex_);
    linkIndex_ = linkIndex;
    masterId_ = masterId;
}

void CCxpPort::SetAppletMasterId(uint32_t key) {
    RecursiveMutexGuard lock(portMutex_);
    appletMasterId_ = key;
}

void CCxpPort::SetAppletPort(uint32_t port) {
    channel_->SetAppletPort(port);
}

} // namespace orva::cxp
