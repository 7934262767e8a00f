// Power over the coaxial cable: switching it per port, and the trip check
// that runs before every attempt to bring up links, which power-cycles the
// ports whose over-current protection has tripped.
//
// PowerOn and PowerOff take controllerMutex and sleep under it, so that a
// power command holds off the board properties for its wait.
#pragma once

#include <cstdint>

#include "impl/cxp/CxpBoard.h"
#include "impl/cxp/CxpBoardProperties.h"
#include "impl/cxp/CxpWorkerThread.h"

namespace orva::cxp {

class CxpPower {
public:
    // Looks up the board's power enable registers.
    CxpPower(CxpBoard& board, CxpBoardProperties& properties, CxpWorkerThread& worker);

    // Failures of the register access aren't reported.
    void PowerOn(uint32_t portMask);
    void PowerOff(uint32_t portMask);

    // Step 1 of the discovery pipeline: power-cycles the tripped ports, as
    // often as the tweak says. 0, or the status of the last port's
    // "CxpPowerStatus".
    int32_t CheckPortTrips();

private:
    void SwitchPower(uint32_t portMask, bool on);

    CxpBoard& board_;
    CxpBoardProperties& properties_;
    CxpWorkerThread& worker_;
    int32_t regPowerEnableRead_ = 0;
    int32_t regPowerEnableWrite_ = 0;
};

} // namespace orva::cxp
