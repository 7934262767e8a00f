#pragma once

#include "BoardAccess.h"
#include "BoardCore.h"
#include "Design.h"
#include "SharedLayout.h"
#include "SharedLock.h"
#include "SharedMemory.h"
#include "orva_sim.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace orva::sim {

class Device;
struct BoardSetup;

// A process's handle on one simulated board: a mapping of the board's shared
// memory, and the core and camera models of the loaded scenario. Operations
// throw SimError; one handle may be used from many threads.
class Board {
public:
    // Opens a board of the current namespace, loading the namespace's
    // scenario first if it has none.
    static std::shared_ptr<Board> open(uint32_t index);
    // Takes over a mapped board object (the scenario loader's way in).
    static std::shared_ptr<Board> adopt(std::unique_ptr<SharedMemory> memory);

    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;
    ~Board();

    uint32_t index() const { return index_; }

    // Runs f(BoardAccess&) with the board's lock held.
    template <class F> decltype(auto) withAccess(F&& f) {
        SharedLock lock(block_->sync);
        BoardAccess access(*this, lock);
        enter(access);
        return f(access);
    }

    // Scenario load: the board starts anew as `setup` says.
    void load(const BoardSetup& setup);
    // Marks the board gone: handles of all processes fail from now on.
    void markRemoved();

    // Registers.
    int32_t registerNumber(std::string_view name);
    uint64_t readRegister(uint32_t number);
    void writeRegister(uint32_t number, uint64_t value);
    int64_t boardInfo(std::string_view key);

    // Data queues.
    uint32_t readQueue(uint32_t queue, std::span<uint8_t> buffer, uint32_t timeoutMs);
    uint32_t writeQueue(uint32_t queue, std::span<const uint8_t> bytes);
    uint32_t queueWords(uint32_t queue);
    void clearQueue(uint32_t queue);
    void flushQueue(uint32_t queue);
    void acquireQueue(uint32_t queue);
    void releaseQueue(uint32_t queue);

    // Camera Link serial ports: gives the receive and transmit queue.
    std::pair<uint32_t, uint32_t> openSerial(uint32_t port, uint32_t baudRate);
    void setSerialBaudRate(uint32_t port, uint32_t baudRate);
    uint32_t cameraStatus(uint32_t port);

    // Camera control interface.
    bool hasCameraControl();
    void resetCameraControl();
    void setPortMap(uint64_t map);
    void setPortPower(uint32_t port, bool on);
    using PortSetting = sim::PortSetting;
    void setPortSetting(uint32_t port, PortSetting setting, uint32_t value);

    void readFirmware(uint32_t address, std::span<uint8_t> buffer);

    // Control interface.
    orva_sim_board_info info();
    orva_sim_port_info portInfo(uint32_t port);
    void setPlugged(uint32_t port, bool plugged);
    void setPowerState(uint32_t port, uint32_t state);
    uint32_t powerState(uint32_t port);
    void injectFault(uint32_t port, std::string_view name, uint32_t count);
    uint32_t pendingFault(uint32_t port, std::string_view name);
    uint32_t readCameraMemory(uint32_t port, uint32_t offset, std::span<uint8_t> buffer);

private:
    friend class BoardAccess;
    explicit Board(std::unique_ptr<SharedMemory> memory);
    // Checks that the board is still there and brings the process-local
    // core and camera models up to the loaded scenario.
    void enter(BoardAccess& access);

    std::unique_ptr<SharedMemory> memory_;
    layout::BoardBlock* block_;
    uint32_t index_;
    // Guarded by the board's shared lock.
    uint64_t generation_ = 0;
    const BoardCore* core_ = nullptr; // of the loaded design
    std::vector<std::unique_ptr<Device>> devices_;
};

} // namespace orva::sim
