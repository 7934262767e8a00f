#pragma once

// What the tests of the simulated CoaXPress boards and cameras share: a host
// that drives a board through the board libraries, with the packets of both
// control paths built and checked here, independently of the simulator.

#include "support/SimTestSupport.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace orva::cxpsimtest {

using simtest::BoardLibraries;

// CRC of a control packet over 32-bit words, low byte of each first.
uint32_t packetCrc(std::span<const uint32_t> words);
uint32_t swap32(uint32_t value);

// A row of the command register: low word, high word.
using Row = std::pair<uint32_t, uint32_t>;

constexpr uint32_t kStartOfPacket = 0xFBFBFBFB;
constexpr uint32_t kEndOfPacket = 0xFDFDFDFD;
constexpr uint32_t kCommandType = 0x02020202;
constexpr uint32_t kTaggedCommandType = 0x05050505;
constexpr uint32_t kQueueTagFlag = 1u << 21;

// Acknowledge status words.
constexpr uint32_t kAckWithData = 0x00000000;
constexpr uint32_t kAckFinal = 0x01010101;
constexpr uint32_t kAckTentative = 0x02020202;
constexpr uint32_t kAckWait = 0x04040404;
constexpr uint32_t kAckInvalidAddress = 0x40404040;
constexpr uint32_t kAckInvalidData = 0x41414141;
constexpr uint32_t kAckWriteReadOnly = 0x43434343;
constexpr uint32_t kAckReadWriteOnly = 0x44444444;
constexpr uint32_t kAckSizeTooLarge = 0x45454545;
constexpr uint32_t kAckBadCrc = 0x80808080;

// The words of a command after its type word: [tag], size and operation,
// address, payload. Numbers are host values; they are byte-swapped here.
std::vector<uint32_t> commandBody(bool write, uint32_t address, uint32_t bytes, std::span<const uint32_t> payload = {},
                                  std::optional<uint8_t> tag = std::nullopt);
// The rows of a command on the register path, CRC computed over `body`.
std::vector<Row> registerRows(std::span<const uint32_t> body, bool tagged = false);
// The words a host queues on the queue path: header, then `body`.
std::vector<uint32_t> queueCommand(std::span<const uint32_t> body, bool tagged = false);

// The camera's magic value, read at 0x0000.
constexpr uint32_t kMagic = 0xC0A79AE5;

// The acknowledge of a 4-byte read of `value`: on the register path with
// its CRC, on the queue path behind its header.
std::vector<uint32_t> dataAck(uint32_t value);
std::vector<uint32_t> queueDataAck(uint32_t value);

// Connection configuration word.
uint32_t connectionConfig(uint32_t links, uint32_t speedMbps);

class CxpTest : public simtest::SimTest {
protected:
    int32_t number(OHalDevice* device, const std::string& name);
    bool has(OHalDevice* device, const std::string& name) { return number(device, name) > 0; }
    uint64_t get(OHalDevice* device, const std::string& name);
    void set(OHalDevice* device, const std::string& name, uint64_t value);

    // Register path: writes the rows of a command into CxpTxCmdWriteData_<port>.
    void sendRows(OHalDevice* device, uint32_t designPort, std::span<const Row> rows);
    // The words of the next acknowledge from CxpRxCmdAckPacketData_<port>,
    // without its end word; empty if none came within `timeoutMs`.
    std::vector<uint32_t> receiveByRegisters(OHalDevice* device, uint32_t designPort, uint32_t timeoutMs = 1000);
    // A command on the register path and its acknowledge.
    std::vector<uint32_t> exchangeByRegisters(OHalDevice* device, uint32_t designPort, std::span<const uint32_t> body,
                                              bool tagged = false);
    // Words waiting in the acknowledge FIFO, read until it says empty.
    size_t drainRegisters(OHalDevice* device, uint32_t designPort);

    // Queue path: queue 4p + 3 takes commands, queue 4p gives acknowledges.
    void sendQueue(OHalDevice* device, uint32_t port, std::span<const uint32_t> words);
    // The next acknowledge: its header word and the words behind it; empty
    // if none came within `timeoutMs`.
    std::vector<uint32_t> receiveQueue(OHalDevice* device, uint32_t port, uint32_t timeoutMs = 1000);
    std::vector<uint32_t> exchangeByQueue(OHalDevice* device, uint32_t port, std::span<const uint32_t> body,
                                          bool tagged = false);

    // Powers port p of a queue-path board and runs its data path at `speed`.
    void startQueuePort(OHalDevice* device, uint32_t port, uint32_t speedMbps = 3125);

    // Polls `condition` until it holds or `timeoutMs` pass.
    static bool eventually(const std::function<bool()>& condition, uint32_t timeoutMs = 2000);

    // A camera's 32-bit counter from its persistent memory.
    uint32_t cameraCounter(uint32_t board, uint32_t port, uint32_t offset);
};

} // namespace orva::cxpsimtest
