#include "RegisterBehaviour.h"

#include "BoardAccess.h"
#include "BoardCore.h"
#include "Clock.h"
#include "orva_sim.h"

namespace orva::sim {

namespace {

class ReadOnly : public RegisterBehaviour {
public:
    void write(BoardAccess&, layout::RegisterSlot&, uint64_t) const override {}
};

// A write starts what the bits of `param` stand for; they read back as 0.
class SelfClearing : public RegisterBehaviour {
public:
    void write(BoardAccess&, layout::RegisterSlot& slot, uint64_t value) const override {
        slot.value = value & ~slot.param;
    }
};

// Status bits: set by the board, cleared by writing 1 to them.
class WriteOneToClear : public RegisterBehaviour {
public:
    void write(BoardAccess&, layout::RegisterSlot& slot, uint64_t value) const override {
        slot.value &= ~(value & slot.param);
    }
};

// state[0]: index of the oldest word, state[1]: words held, then the words.
// A write to a full FIFO is lost, a read of an empty one gives 0.
class FifoData : public RegisterBehaviour {
public:
    uint64_t read(BoardAccess&, layout::RegisterSlot& slot) const override {
        if (slot.state[1] == 0) {
            return 0;
        }
        const uint64_t value = slot.state[2 + slot.state[0]];
        slot.state[0] = (slot.state[0] + 1) % kRegisterFifoDepth;
        --slot.state[1];
        return value;
    }
    void write(BoardAccess&, layout::RegisterSlot& slot, uint64_t value) const override {
        if (slot.state[1] == kRegisterFifoDepth) {
            return;
        }
        slot.state[2 + (slot.state[0] + slot.state[1]) % kRegisterFifoDepth] = value;
        ++slot.state[1];
    }
};

// `param` is the number of the FIFO register, 0 if the design lacks it.
class FifoLevel : public RegisterBehaviour {
public:
    uint64_t read(BoardAccess& board, layout::RegisterSlot& slot) const override {
        const uint64_t number = slot.param;
        if (number == 0 || number > board.block().registerCount) {
            return 0;
        }
        return board.block().registers[number - 1].state[1];
    }
    void write(BoardAccess&, layout::RegisterSlot&, uint64_t) const override {}
};

// Free-running counter of `param` ticks per second; a write sets its value.
// state[0]: monotonic time of the last write, `value` the count then.
class TimeCounter : public RegisterBehaviour {
public:
    void load(BoardAccess& board, layout::RegisterSlot& slot, const RegisterDef& def) const override {
        RegisterBehaviour::load(board, slot, def);
        slot.state[0] = board.nowNs();
    }
    uint64_t read(BoardAccess& board, layout::RegisterSlot& slot) const override {
        const uint64_t elapsed = board.nowNs() - slot.state[0];
        const uint64_t ticksPerSecond = slot.param;
        return slot.value + (elapsed / kNsPerSecond) * ticksPerSecond +
               (elapsed % kNsPerSecond) * ticksPerSecond / kNsPerSecond;
    }
    void write(BoardAccess& board, layout::RegisterSlot& slot, uint64_t value) const override {
        slot.value = value;
        slot.state[0] = board.nowNs();
    }
};

class PortPowerStatus : public RegisterBehaviour {
public:
    uint64_t read(BoardAccess& board, layout::RegisterSlot&) const override {
        uint64_t status = 0;
        for (uint32_t p = 0; p < board.block().portCount; ++p) {
            const uint32_t power = board.block().ports[p].power;
            if (power == ORVA_SIM_POWER_ON) {
                status |= uint64_t{1} << p;
            } else if (power == ORVA_SIM_POWER_TRIPPED) {
                status |= uint64_t{1} << (16 + p);
            }
        }
        return status;
    }
    void write(BoardAccess&, layout::RegisterSlot&, uint64_t) const override {}
};

} // namespace

void RegisterBehaviour::load(BoardAccess&, layout::RegisterSlot& slot, const RegisterDef& def) const {
    slot.value = def.initial;
    slot.param = def.param;
}

uint64_t RegisterBehaviour::read(BoardAccess&, layout::RegisterSlot& slot) const {
    return slot.value;
}

void RegisterBehaviour::write(BoardAccess&, layout::RegisterSlot& slot, uint64_t value) const {
    slot.value = value;
}

const RegisterBehaviour& behaviourOf(BehaviourKind kind, const BoardCore& core) {
    static const RegisterBehaviour plain;
    static const ReadOnly readOnly;
    static const SelfClearing selfClearing;
    static const WriteOneToClear writeOneToClear;
    static const FifoData fifoData;
    static const FifoLevel fifoLevel;
    static const TimeCounter timeCounter;
    static const PortPowerStatus portPowerStatus;
    switch (kind) {
    case BehaviourKind::Plain:
        return plain;
    case BehaviourKind::ReadOnly:
        return readOnly;
    case BehaviourKind::SelfClearing:
        return selfClearing;
    case BehaviourKind::WriteOneToClear:
        return writeOneToClear;
    case BehaviourKind::FifoData:
        return fifoData;
    case BehaviourKind::FifoLevel:
        return fifoLevel;
    case BehaviourKind::TimeCounter:
        return timeCounter;
    case BehaviourKind::PortPowerStatus:
        return portPowerStatus;
    case BehaviourKind::Core:
        return core.registers();
    }
    return plain;
}

} // namespace orva::sim
