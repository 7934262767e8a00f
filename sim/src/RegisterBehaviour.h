#pragma once

#include "Design.h"
#include "SharedLayout.h"

#include <cstdint>

namespace orva::sim {

class BoardAccess;
class BoardCore;

// What the hardware does on an access to a register. Stateless: whatever a
// behaviour keeps lives in the register's slot in shared memory, so every
// process sees the same register.
class RegisterBehaviour {
public:
    virtual ~RegisterBehaviour() = default;
    // Scenario load: the slot is zero-filled and named before.
    virtual void load(BoardAccess& board, layout::RegisterSlot& slot, const RegisterDef& def) const;
    virtual uint64_t read(BoardAccess& board, layout::RegisterSlot& slot) const;
    virtual void write(BoardAccess& board, layout::RegisterSlot& slot, uint64_t value) const;
};

// The behaviour of a kind; registers of kind Core are the board core's.
const RegisterBehaviour& behaviourOf(BehaviourKind kind, const BoardCore& core);

// Depth of the FIFO behind a FifoData register.
constexpr uint32_t kRegisterFifoDepth = layout::kRegisterStateWords - 2;

} // namespace orva::sim
