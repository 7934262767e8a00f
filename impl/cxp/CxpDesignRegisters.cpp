#include "impl/cxp/CxpDesignRegisters.h"

#include <string>

#include "impl/core/LazyLogger.h"
#include "impl/cxp/CxpCoreTraits.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logger.h"

namespace orva::cxp {

namespace {

int32_t ByName(DsgDesign* design, const std::string& name) {
    return orva::board::DsgGetRegisterByName(design, name.c_str());
}

// The control core reset of `n`. Older cores name it differently; a core
// driven through the camera control interface needs none.
int32_t CoreResetRegister(DsgDesign* design, const std::string& n, const CxpCoreTraits& traits,
                          core::LazyLogger& logger) {
    int32_t reg = ByName(design, "CxpControlCoreReset_" + n);
    if (reg < 1 && traits.control == PortControl::DesignRegisters) {
        reg = ByName(design, "CxpReset_" + n);
        if (reg < 1) {
            ORVA_LOG(logger.Get(), tools::logging::LevelWarning, "Failed to detect CXP core interface type");
        }
    }
    return reg;
}

} // namespace

CxpBoardRegisters CxpBoardRegisters::LookUp(DsgDesign* design, uint32_t portNumber, const CxpCoreTraits& traits,
                                            core::LazyLogger& logger) {
    CxpBoardRegisters regs;
    if (design == nullptr) {
        return regs;
    }
    const std::string n = std::to_string(portNumber);
    regs.gtxRxReset = ByName(design, "CxpTransceiverGtxRxReset");
    regs.rxPllDet = ByName(design, "CxpTransceiverRxPlllDet");
    regs.rxResetDone = ByName(design, "CxpTransceiverRxResetDone");
    regs.gtxDrpReady = ByName(design, "CxpTransceiverGtxDrpReady");
    regs.gtxSetBitRateDone = ByName(design, "CxpTransceiverGtxSetBitRateDone");
    regs.rxStatus = ByName(design, "CxpTransceiverRxStatus");
    regs.txCmdPacketSent = ByName(design, "CxpTxCmdPacketSent");
    regs.streamPacketSize = ByName(design, "StreamPacketSize");
    regs.coreReset = CoreResetRegister(design, n, traits, logger);
    regs.notInTable = ByName(design, "CxpTransceiverNotInTable_" + n);
    regs.gtxDrpAddress = ByName(design, "CxpTransceiverGtxDrpAddress_" + n);
    regs.gtxDrpWriteData = ByName(design, "CxpTransceiverGtxDrpWriteData_" + n);
    regs.gtxSetBitRate = ByName(design, "CxpTransceiverGtxSetBitRate_" + n);
    regs.transceiverStatus = ByName(design, "CxpTransceiverStatus_" + n);
    regs.downLinkBitRate = ByName(design, "CxpTransceiverDownLinkBitRate_" + n);
    regs.upLinkBitRate = ByName(design, "CxpTransceiverUpLinkBitRate_" + n);
    return regs;
}

CxpPortRegisters CxpPortRegisters::LookUp(DsgDesign* design, uint32_t designPort, const CxpCoreTraits& traits,
                                          core::LazyLogger& logger) {
    CxpPortRegisters regs;
    const std::string n = std::to_string(designPort);
    regs.txCmdWriteData = ByName(design, "CxpTxCmdWriteData_" + n);
    regs.rxCmdAckPacketData = ByName(design, "CxpRxCmdAckPacketData_" + n);
    regs.controlCoreReset = CoreResetRegister(design, n, traits, logger);
    regs.ledModeSelectWrite = ByName(design, "CxpLedModeSelectWrite_" + n);
    regs.ledModeSelectRead = ByName(design, "CxpLedModeSelectRead_" + n);
    return regs;
}

int32_t ReadDesignRegister(OHalDevice* device, int32_t reg, uint64_t& value) {
    if (reg <= 0) {
        return TGX_ERR_INTERNAL;
    }
    const int32_t status = orva::board::OHalRegisterRead(device, static_cast<uint32_t>(reg), &value);
    return status < 0 ? status : 0;
}

int32_t WriteDesignRegister(OHalDevice* device, int32_t reg, uint64_t value) {
    if (reg <= 0) {
        return TGX_ERR_INTERNAL;
    }
    const int32_t status = orva::board::OHalRegisterWrite(device, static_cast<uint32_t>(reg), value);
    return status < 0 ? status : 0;
}

} // namespace orva::cxp
