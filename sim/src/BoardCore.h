#pragma once

// The core of a design: what the FPGA does between the host's registers and
// data queues and the cables of the ports. A design names its core (or none);
// the board asks the core whenever bytes pass, a core register is accessed,
// or the camera control interface changes a port.
//
// A core is stateless and shared by all boards that carry it: what it keeps
// lives in the board's shared memory (the slots of its registers, its
// internal FIFOs, and the core area of each port), so every process sees the
// same core. Every call comes with the board's lock held.
//
// BoardCore itself is the core of a design without one of its own: what the
// host writes goes down the cable as written, and what a camera sends lands
// in the port's upstream queue of that channel.

#include "Design.h"
#include "SharedLayout.h"

#include <cstdint>
#include <new>
#include <span>
#include <type_traits>

namespace orva::sim {

class BoardAccess;
class RegisterBehaviour;

// A port setting of the camera control interface.
enum class PortSetting { DataPathState, DataPathSpeed, CxpVersion, LedState };

class BoardCore {
public:
    BoardCore() = default;
    BoardCore(const BoardCore&) = delete;
    BoardCore& operator=(const BoardCore&) = delete;
    virtual ~BoardCore() = default;

    // Scenario load: registers, ports, cameras and queues are in place and
    // the ports' core areas zero-filled; the core starts as after power-up.
    virtual void load(BoardAccess& board) const;
    // What the design's registers of behaviour Core do; each reads its
    // `param` as the core defines it.
    virtual const RegisterBehaviour& registers() const;
    // The host wrote bytes to a port's downstream queue of `channel`.
    virtual void hostWrote(BoardAccess& board, uint32_t port, Channel channel, std::span<const uint8_t> bytes) const;
    // A camera sent bytes up a port whose cable is in, arriving at
    // `readyNs`; false if they are lost.
    virtual bool cameraSent(BoardAccess& board, uint32_t port, Channel channel, std::span<const uint8_t> bytes,
                            uint64_t readyNs) const;
    // The camera control interface is to set a port's setting: throws
    // SimError(ORVA_SIM_ERR_INVALID_ARGUMENT) for a value the core can't run.
    virtual void checkPortSetting(BoardAccess& board, PortSetting setting, uint32_t value) const;
    // The host has set a port's settings, through the camera control
    // interface or the serial port.
    virtual void portSettingsChanged(BoardAccess& board, uint32_t port) const;
};

// The core a design carries.
const BoardCore& coreOf(const DesignDef& design);

// The state a core keeps in a port's core area: a trivially copyable type
// that fits there.
template <class State> State& portCoreState(layout::PortSlot& port) {
    static_assert(std::is_trivially_copyable_v<State> && std::is_standard_layout_v<State>);
    static_assert(sizeof(State) <= sizeof(port.core) && alignof(State) <= 8);
    return *std::launder(reinterpret_cast<State*>(port.core));
}

} // namespace orva::sim
