// The design registers a CoaXPress port uses, by number. A design is asked
// for each by name (DsgGetRegisterByName); a number of 0 or less means that
// the design lacks the register, and is how the port learns what the design
// can do. Plain records: the port says which lock guards each copy.
#pragma once

#include <cstdint>

#include "runtime/board/OrvaBoardApi.h"

namespace orva::core {
class LazyLogger;
}

namespace orva::cxp {

struct CxpCoreTraits;

// Registers of the board, and those of the port's own connector. Looked up
// once, at the port's construction; fixed from then on.
struct CxpBoardRegisters {
    int32_t gtxRxReset = 0;        // one bit a port: receiver reset
    int32_t rxPllDet = 0;          // one bit a port: PLL lock
    int32_t rxResetDone = 0;       // one bit a port: reset finished
    int32_t gtxDrpReady = 0;       // one bit a port: DRP ready
    int32_t gtxSetBitRateDone = 0; // one bit a port: bit rate register done
    int32_t rxStatus = 0;          // two bits a port: reset done, link up
    int32_t txCmdPacketSent = 0;   // one bit a design port: command sent
    int32_t streamPacketSize = 0;  // the design's stream packet size
    int32_t coreReset = 0;         // control core reset of the connector
    int32_t notInTable = 0;        // NIT counter
    int32_t gtxDrpAddress = 0;
    int32_t gtxDrpWriteData = 0;
    int32_t gtxSetBitRate = 0;
    int32_t transceiverStatus = 0; // NIT count, link up, ready for a rate change
    int32_t downLinkBitRate = 0;
    int32_t upLinkBitRate = 0;

    // All numbers for connector `portNumber`; all 0 without a design. The
    // caller holds txcLock.
    static CxpBoardRegisters LookUp(DsgDesign* design, uint32_t portNumber, const CxpCoreTraits& traits,
                                    core::LazyLogger& logger);
};

// Registers of the design port that serves the connector (its applet port);
// they follow it when the topology routes the connector elsewhere.
struct CxpPortRegisters {
    int32_t txCmdWriteData = 0;
    int32_t rxCmdAckPacketData = 0;
    int32_t controlCoreReset = 0;
    int32_t ledModeSelectWrite = 0;
    int32_t ledModeSelectRead = 0;

    // The numbers for design port `designPort`. The caller holds txcLock and
    // has checked that there is a design.
    static CxpPortRegisters LookUp(DsgDesign* design, uint32_t designPort, const CxpCoreTraits& traits,
                                   core::LazyLogger& logger);
};

// One 64-bit register access; TGX_ERR_INTERNAL for a register the design
// lacks, the board's status for a failed access, else 0.
int32_t ReadDesignRegister(OHalDevice* device, int32_t reg, uint64_t& value);
int32_t WriteDesignRegister(OHalDevice* device, int32_t reg, uint64_t value);

} // namespace orva::cxp
