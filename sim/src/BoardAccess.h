#pragma once

#include "Design.h"
#include "SharedLayout.h"
#include "SharedLock.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace orva::sim {

class Board;
class BoardCore;
class DataQueue;
class Device;

// A board with its lock held: what the board's operations, its core,
// register behaviours and camera models work on. Lives for one operation.
class BoardAccess {
public:
    BoardAccess(const BoardAccess&) = delete;
    BoardAccess& operator=(const BoardAccess&) = delete;

    layout::BoardBlock& block() { return block_; }
    uint64_t nowNs() const;
    // When the call that holds this access came in: what the host did in
    // it happened then, however long the model takes to play it out.
    uint64_t enteredNs() const { return enteredNs_; }
    SharedLock& lock() { return lock_; }
    // The core of the board's design.
    const BoardCore& core() const;
    // "board <index>", for messages.
    std::string boardText() const;

    // Port slot of a port of this board; throws ORVA_SIM_ERR_NO_SUCH_PORT.
    layout::PortSlot& port(uint32_t port);
    // The queue of a port for a channel and direction; null if the design
    // gives the port none.
    layout::QueueSlot* findQueue(uint32_t port, Channel channel, Direction direction);
    // A queue the host's queue functions reach; throws
    // ORVA_SIM_ERR_NO_SUCH_QUEUE, or ORVA_SIM_ERR_WRONG_DIRECTION if it
    // carries data the other way.
    layout::QueueSlot& hostQueue(uint32_t queue);
    DataQueue hostQueue(uint32_t queue, Direction direction);
    // A register of the board's design; throws ORVA_SIM_ERR_NO_SUCH_REGISTER.
    layout::RegisterSlot& designRegister(uint32_t number);
    // Throw ORVA_SIM_ERR_NOT_SUPPORTED if the design lacks the interface.
    void requireCameraControl();
    void requireSerialPorts();

    // The camera cabled to a port and its link there; null if none.
    Device* cameraAt(uint32_t port, uint32_t& camera, uint32_t& link);
    Device* device(uint32_t camera);

    // Bytes a camera sends up a port, through the core; lost if its cable
    // is out.
    bool deliverToHost(uint32_t port, Channel channel, std::span<const uint8_t> bytes, uint64_t readyNs);
    // Hands bytes to the camera on the port, if its cable is in.
    void deliverToCamera(uint32_t port, Channel channel, std::span<const uint8_t> bytes);
    // Consumes one armed occurrence of a fault at a port.
    bool takeFault(uint32_t port, std::string_view name);

    // Tell the camera on a port what changed.
    void powerChanged(uint32_t port);
    void cableChanged(uint32_t port);
    // The host set the port's camera control or serial settings: the core
    // hears of it first, then the camera.
    void portSettingsChanged(uint32_t port);

private:
    friend class Board;
    BoardAccess(Board& board, SharedLock& lock);

    Board& board_;
    SharedLock& lock_;
    layout::BoardBlock& block_;
    uint64_t enteredNs_;
};

} // namespace orva::sim
