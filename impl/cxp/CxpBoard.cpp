#include "impl/cxp/CxpBoard.h"

#include <array>
#include <sstream>

#include "impl/core/DesignRegisters.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logging.h"
#include "runtime/templates/ByteOrder.h"

namespace orva::cxp {

namespace {

using templates::platform::swap32;
using tools::logging::LevelDebug;

constexpr const char* kLoggerName = "orva.genicam.CxpController";

// Every access to the link layer's registers waits this long for its answer.
constexpr uint32_t kCameraTimeoutMs = 200;

// The design's per-port registers are numbered up to this many ports.
constexpr uint32_t kMaxDesignPorts = 4;

} // namespace

std::string PortRegisterName(const char* base, uint32_t port) {
    return std::string(base) + std::to_string(port);
}

std::string Hex(uint64_t value) {
    std::ostringstream text;
    text << "0x" << std::hex << std::uppercase << value;
    return text.str();
}

CxpBoard::CxpBoard(OHalDevice* device, DsgDesign* design) : device_(device), design_(design) {
    logger_ = tools::logging::Logging::instance()->GetLogger(kLoggerName);
    boardIndex_ = static_cast<uint32_t>(board::OHalGetBoardIndex(device_, 0));
    boardType_ = static_cast<uint32_t>(board::OHalGetBoardInfoInt(device_, "board/type"));
    facts_ = core::FactsOfBoardType(boardType_);
    controllerLock = std::make_unique<templates::platform::InterProcessLock>(
        "orva_genicam-board_" + std::to_string(boardIndex_) + "-CxpController_lock");
    tweaks_ = CxpControllerTweaks::Read(logger_);
    DetectNrPorts();
    ports_.reserve(nrPorts_);
    for (uint32_t port = 0; port < nrPorts_; ++port) {
        ports_.push_back(std::make_unique<CCxpPort>(port, gtxIf_, device_, design_));
    }
}

CxpBoard::~CxpBoard() = default;

uint32_t CxpBoard::AllPortsMask() const {
    return nrPorts_ >= 32 ? ~uint32_t{0} : PortBit(nrPorts_) - 1;
}

int32_t CxpBoard::LookUp(const std::string& name) const {
    return core::LookUpRegister(design_, name);
}

int32_t CxpBoard::ReadRegisterByName(const std::string& name, uint64_t& value) const {
    return core::ReadRegisterByName(device_, design_, name, value);
}

int32_t CxpBoard::ReadCameraWord(uint32_t port, uint32_t address, uint32_t& value) const {
    uint32_t wire = 0;
    const int32_t status = ports_[port]->ReadMem(address, &wire, sizeof(wire), kCameraTimeoutMs);
    if (status == TGX_OK) {
        value = swap32(wire);
    }
    return status;
}

int32_t CxpBoard::WriteCameraWord(uint32_t port, uint32_t address, uint32_t value) const {
    const uint32_t wire = swap32(value);
    return ports_[port]->WriteMem(address, &wire, sizeof(wire), kCameraTimeoutMs);
}

void CxpBoard::DetectNrPorts() {
    if (design_ == nullptr) {
        return;
    }
    bool drpAddress = false;
    bool drpData = false;
    std::array<bool, kMaxDesignPorts> status{};
    std::array<bool, kMaxDesignPorts> bitRate{};
    std::array<bool, kMaxDesignPorts> downlink{};
    for (uint32_t port = 0; port < kMaxDesignPorts; ++port) {
        drpAddress = drpAddress || LookUp(PortRegisterName("CxpTransceiverGtxDrpAddress_", port)) > 0;
        drpData = drpData || LookUp(PortRegisterName("CxpTransceiverGtxDrpWriteData_", port)) > 0;
        status[port] = LookUp(PortRegisterName("CxpTransceiverStatus_", port)) > 0;
        bitRate[port] = LookUp(PortRegisterName("CxpTransceiverGtxSetBitRate_", port)) > 0;
        downlink[port] = LookUp(PortRegisterName("CxpTransceiverDownLinkBitRate_", port)) > 0;
    }
    const bool bitRateDone = LookUp("CxpTransceiverGtxSetBitRateDone") > 0;
    const bool rxStatus = LookUp("CxpTransceiverRxStatus") > 0;
    const bool drp = drpAddress && drpData;

    if (facts_.InCxpGroup(core::kCxpGroup1) && drp) {
        gtxIf_ = 1;
        nrPorts_ = 4;
    }
    if (facts_.InCxpGroup(core::kCxpGroup2)) {
        if (drp) {
            gtxIf_ = 2;
            nrPorts_ = 4;
        } else if (nrPorts_ == 0 && bitRateDone && bitRate[0]) {
            gtxIf_ = rxStatus ? 6 : 3;
            nrPorts_ = 1;
            if (bitRate[1]) {
                nrPorts_ = 2;
                if (bitRate[2] && bitRate[3]) {
                    nrPorts_ = 4;
                }
            }
        }
    }
    if (facts_.InCxpGroup(core::kCxpGroup3) && status[0]) {
        if (downlink[0]) {
            gtxIf_ = 10;
            nrPorts_ = 1;
            if (status[1] && downlink[1]) {
                nrPorts_ = 2;
                if (status[2] && downlink[2] && status[3] && downlink[3]) {
                    nrPorts_ = 4;
                }
            }
        } else if (board::OHalCameraCtrlIsAvailable(device_) == 0) {
            board::OHalCameraCtrlReset(device_);
            gtxIf_ = CCxpPort::kGtxIfQueue;
            nrPorts_ = 1;
            if (status[1]) {
                nrPorts_ = 2;
                if (status[2] && status[3]) {
                    nrPorts_ = 4;
                }
            }
        }
    }
    ORVA_LOG(logger_, LevelDebug,
             "DetectNrPorts - NrPorts " << nrPorts_ << " GtxIf " << gtxIf_ << " Board Type:" << Hex(boardType_));
}

} // namespace orva::cxp
