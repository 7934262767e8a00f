#include "CxpCoreRegisters.h"

#include "CxpLinkSlot.h"
#include "CxpPower.h"
#include "CxpRegisterPath.h"
#include "CxpSelector.h"
#include "CxpTransceiver.h"
#include "RegisterBehaviour.h"

namespace orva::sim::cxp {

namespace {

Fn functionOf(const layout::RegisterSlot& slot) {
    return static_cast<Fn>((slot.param >> 8) & 0xFF);
}

uint32_t portOf(const layout::RegisterSlot& slot) {
    return static_cast<uint32_t>(slot.param & 0xFF) % layout::kMaxPorts;
}

class CoreRegister : public RegisterBehaviour {
public:
    uint64_t read(BoardAccess& board, layout::RegisterSlot& slot) const override {
        const uint32_t port = portOf(slot);
        switch (functionOf(slot)) {
        case Fn::RxCmdAckPacketData:
            return readAckWord(board, port);
        case Fn::TxCmdPacketSent:
            return packetSentBits(board);
        case Fn::ControlCoreReset:
            return linkOf(board, port).coreReset;
        case Fn::LedModeRead:
            return linkOf(board, port).ledMode;
        case Fn::NotInTable:
            return nitCount(board, port);
        case Fn::DisparityError:
            return disparityCount(board, port);
        case Fn::DrpAddress:
            return linkOf(board, port).drpAddress;
        case Fn::DrpReady:
        case Fn::SetBitRateDone:
            return readyBits(board);
        case Fn::GtxRxReset:
            return rxResetBits(board);
        case Fn::RxPllLock:
            return pllLockBits(board);
        case Fn::RxResetDone:
            return resetDoneBits(board);
        case Fn::RxStatus:
            return rxStatusBits(board);
        case Fn::TransceiverStatus:
            return transceiverStatus(board, port);
        case Fn::SelectWrite:
        case Fn::SelectRead:
            return board.block().portMap;
        case Fn::PowerEnableRead:
            return powerEnableBits(board);
        case Fn::PowerStatus:
            return powerStatus(board, port);
        case Fn::PowerSense:
            return sensorReading(board, port, Sensor::CurrentSense);
        case Fn::PowerShuntVoltage:
            return sensorReading(board, port, Sensor::ShuntVoltage);
        case Fn::PowerVin:
            return sensorReading(board, port, Sensor::SupplyVin);
        case Fn::PowerBusVoltage:
            return sensorReading(board, port, Sensor::BusVoltage);
        case Fn::PowerAdIn:
            return sensorReading(board, port, Sensor::AuxiliaryIn);
        default:
            return slot.value;
        }
    }

    void write(BoardAccess& board, layout::RegisterSlot& slot, uint64_t value) const override {
        const uint32_t port = portOf(slot);
        switch (functionOf(slot)) {
        case Fn::TxCmdWriteData:
            writeCommandWord(board, port, value);
            break;
        case Fn::ControlCoreReset:
            applyCoreReset(board, port, static_cast<uint32_t>(value));
            break;
        case Fn::LedModeWrite:
            slot.value = value;
            linkOf(board, port).ledMode = static_cast<uint32_t>(value);
            if (const auto physical = physicalOf(board, port)) {
                board.block().ports[*physical].ledState = static_cast<uint32_t>(value);
            }
            break;
        case Fn::DrpAddress:
            writeDrpAddress(board, port, value);
            break;
        case Fn::DrpWriteData:
            slot.value = value;
            writeDrpData(board, port, value);
            break;
        case Fn::GtxRxReset:
            writeRxReset(board, value);
            break;
        case Fn::SetBitRate:
            slot.value = value;
            setRateCode(board, port, value, 5);
            break;
        case Fn::DownLinkBitRate:
            slot.value = value;
            setRateCode(board, port, value, 7);
            break;
        case Fn::UpLinkBitRate:
            slot.value = value;
            setUplinkHigh(board, port, (value & 1u) != 0);
            break;
        case Fn::SelectWrite:
            board.block().portMap = value;
            break;
        case Fn::DiscoveryConfig:
            slot.value = value;
            // The port field of a board-wide register holds the design's ports.
            selectFromList(board, port, value);
            break;
        case Fn::PowerEnableWrite:
            slot.value = value;
            setPowerEnable(board, value);
            break;
        default:
            // Status and counters: writes change nothing.
            break;
        }
    }
};

} // namespace

const RegisterBehaviour& coreRegisters() {
    static const CoreRegister behaviour;
    return behaviour;
}

} // namespace orva::sim::cxp
