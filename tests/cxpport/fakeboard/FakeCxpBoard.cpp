// The scripted board of FakeCxpBoard.h: liborva_hal.so of the fake.
#include "FakeCxpBoard.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "runtime/board/OrvaBoardApi.h"

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr uint32_t kPorts = 4;
constexpr uint64_t kFifoEmpty = uint64_t{2} << 32;
constexpr uint32_t kQueueTagFlag = 1u << 21;

uint32_t Swap(uint32_t v) {
    return __builtin_bswap32(v);
}

// Bitwise on purpose: an implementation of its own, not the port's table.
uint32_t Crc(const std::vector<uint32_t>& words, size_t begin, size_t end) {
    uint32_t crc = 0xFFFFFFFF;
    for (size_t i = begin; i < end; ++i) {
        for (int shift = 0; shift < 32; shift += 8) {
            crc ^= (words[i] >> shift) & 0xFF;
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
            }
        }
    }
    return crc;
}

struct Port {
    std::vector<uint64_t> rows;                  // command being written
    std::vector<std::vector<uint64_t>> commands; // finished commands
    std::deque<std::vector<std::vector<uint32_t>>> answers;
    std::vector<std::vector<uint32_t>> building;
    std::deque<uint64_t> ackFifo;             // register path
    std::deque<uint8_t> rxQueue;              // queue path
    std::map<uint32_t, uint32_t> memory;      // wire words
    std::map<uint32_t, uint32_t> failedReads; // address -> status word
    std::vector<uint64_t> nit{0};
    size_t nitAt = 0;
    uint32_t nitReads = 0;
    std::vector<uint32_t> readTimeouts;
};

struct Board {
    std::map<std::string, int32_t> numbers;
    std::map<int32_t, std::string> names;
    std::map<std::string, uint64_t> values;
    std::map<std::string, std::map<uint32_t, std::vector<uint32_t>>> control;
    std::map<std::string, int32_t> controlStatus;
    Port ports[kPorts];
};

std::mutex gMutex;
Board* gBoard = nullptr;

void AddRegister(Board& b, const std::string& name) {
    const auto number = static_cast<int32_t>(b.numbers.size() + 1);
    b.numbers[name] = number;
    b.names[number] = name;
}

Board& State() {
    if (gBoard == nullptr) {
        gBoard = new Board;
        for (const char* name : {"CxpTransceiverGtxRxReset", "CxpTransceiverRxPlllDet", "CxpTransceiverRxResetDone",
                                 "CxpTransceiverGtxDrpReady", "CxpTransceiverGtxSetBitRateDone",
                                 "CxpTransceiverRxStatus", "CxpTxCmdPacketSent", "StreamPacketSize"}) {
            AddRegister(*gBoard, name);
        }
        for (uint32_t n = 0; n < kPorts; ++n) {
            for (const char* prefix :
                 {"CxpTxCmdWriteData_", "CxpRxCmdAckPacketData_", "CxpControlCoreReset_", "CxpReset_",
                  "CxpLedModeSelectWrite_", "CxpLedModeSelectRead_", "CxpTransceiverNotInTable_",
                  "CxpTransceiverGtxDrpAddress_", "CxpTransceiverGtxDrpWriteData_", "CxpTransceiverGtxSetBitRate_",
                  "CxpTransceiverStatus_", "CxpTransceiverDownLinkBitRate_", "CxpTransceiverUpLinkBitRate_"}) {
                AddRegister(*gBoard, prefix + std::to_string(n));
            }
        }
        gBoard->values["StreamPacketSize"] = 0x800;
    }
    return *gBoard;
}

// "Name_3" -> port 3 of a per-port register of that prefix.
bool PortOf(const std::string& name, const char* prefix, uint32_t& port) {
    const size_t length = std::strlen(prefix);
    if (name.compare(0, length, prefix) != 0 || name.size() != length + 1) {
        return false;
    }
    port = static_cast<uint32_t>(name[length] - '0');
    return port < kPorts;
}

uint64_t NextNit(Port& p) {
    ++p.nitReads;
    const uint64_t value = p.nit[p.nitAt];
    if (p.nitAt + 1 < p.nit.size()) {
        ++p.nitAt;
    }
    return value;
}

// What the plain camera answers: acknowledge words, without CRC.
std::vector<std::vector<uint32_t>> CameraAnswer(Port& p, bool tagged, uint32_t tagWord, uint32_t sizeOp,
                                                uint32_t address, const uint32_t* payload, size_t payloadWords) {
    const bool write = (sizeOp & 1) != 0;
    const uint32_t bytes = Swap(sizeOp & ~1u);
    std::vector<uint32_t> ack;
    if (tagged) {
        ack.push_back(tagWord);
    }
    if (write) {
        if (address == 0x4000) {
            return {};
        }
        for (size_t i = 0; i < payloadWords; ++i) {
            p.memory[address + 4 * static_cast<uint32_t>(i)] = payload[i];
        }
        ack.push_back(0x01010101);
        return {ack};
    }
    const auto failed = p.failedReads.find(address);
    if (failed != p.failedReads.end()) {
        ack.push_back(failed->second);
        return {ack};
    }
    ack.push_back(0);
    ack.push_back(Swap(bytes));
    for (uint32_t i = 0; i < bytes / 4; ++i) {
        const auto it = p.memory.find(address + 4 * i);
        ack.push_back(it == p.memory.end() ? 0 : it->second);
    }
    return {ack};
}

// Register path: acknowledges carry a CRC when they have data or a wait.
void DeliverByRegisters(Port& p, const std::vector<std::vector<uint32_t>>& packets, bool addCrc) {
    for (auto packet : packets) {
        if (addCrc) {
            packet.push_back(Crc(packet, 0, packet.size()));
        }
        for (uint32_t w : packet) {
            p.ackFifo.push_back(w);
        }
        p.ackFifo.push_back((uint64_t{1} << 32) | 0xFDFDFDFD);
    }
}

void DeliverByQueue(Port& p, const std::vector<std::vector<uint32_t>>& packets, bool tagged) {
    for (const auto& packet : packets) {
        const uint32_t header = static_cast<uint32_t>(packet.size()) | (tagged ? kQueueTagFlag : 0);
        const auto* h = reinterpret_cast<const uint8_t*>(&header);
        p.rxQueue.insert(p.rxQueue.end(), h, h + 4);
        const auto* bytes = reinterpret_cast<const uint8_t*>(packet.data());
        p.rxQueue.insert(p.rxQueue.end(), bytes, bytes + packet.size() * 4);
    }
}

void CommandByRegisters(Port& p) {
    p.commands.push_back(p.rows);
    std::vector<uint32_t> body;
    for (size_t i = 1; i + 1 < p.rows.size(); ++i) {
        body.push_back(static_cast<uint32_t>(p.rows[i]));
    }
    p.rows.clear();
    if (!p.answers.empty()) {
        DeliverByRegisters(p, p.answers.front(), false);
        p.answers.pop_front();
        return;
    }
    // type, [tag], size and operation, address, payload..., CRC
    const bool tagged = !body.empty() && body[0] == 0x05050505;
    const size_t head = tagged ? 2 : 1;
    if (body.size() < head + 3) {
        return;
    }
    if (Crc(body, 1, body.size() - 1) != body.back()) {
        DeliverByRegisters(p, {{0x80808080}}, false);
        return;
    }
    const auto answer = CameraAnswer(p, tagged, tagged ? body[1] : 0, body[head], Swap(body[head + 1]),
                                     body.data() + head + 2, body.size() - head - 3);
    for (const auto& packet : answer) {
        DeliverByRegisters(p, {packet}, packet[tagged ? 1 : 0] == 0);
    }
}

void CommandByQueue(Port& p, const uint32_t* words, size_t count) {
    p.commands.emplace_back(words, words + count);
    if (!p.answers.empty()) {
        DeliverByQueue(p, p.answers.front(), false);
        p.answers.pop_front();
        return;
    }
    if (count < 3 || (words[0] & 0xFFFF) != count - 1) {
        return;
    }
    const bool tagged = (words[0] & kQueueTagFlag) != 0;
    const size_t head = tagged ? 2 : 1;
    DeliverByQueue(p,
                   CameraAnswer(p, tagged, tagged ? words[1] : 0, words[head], Swap(words[head + 1]), words + head + 2,
                                count - head - 2),
                   tagged);
}

bool FlagRegister(const std::string& name) {
    return name == "CxpTransceiverRxPlllDet" || name == "CxpTransceiverRxResetDone" ||
           name == "CxpTransceiverGtxDrpReady" || name == "CxpTransceiverGtxSetBitRateDone" ||
           name == "CxpTransceiverRxStatus" || name == "CxpTxCmdPacketSent";
}

int32_t Control(const char* name, uint32_t port, uint32_t value) {
    std::lock_guard<std::mutex> lock(gMutex);
    Board& b = State();
    b.control[name][port].push_back(value);
    const auto it = b.controlStatus.find(name);
    return it == b.controlStatus.end() ? 0 : it->second;
}

} // namespace

// ---- orva_hal ----

FAKE_EXPORT int32_t OHalInitDevice(uint32_t, OHalDevice** device) {
    *device = nullptr;
    return 0;
}

FAKE_EXPORT int32_t OHalGetBoardIndex(OHalDevice*, int32_t) {
    return 0;
}

FAKE_EXPORT int32_t OHalRegisterRead(OHalDevice*, uint32_t reg, uint64_t* value) {
    std::lock_guard<std::mutex> lock(gMutex);
    Board& b = State();
    const auto it = b.names.find(static_cast<int32_t>(reg));
    if (it == b.names.end()) {
        return -5;
    }
    const std::string& name = it->second;
    uint32_t port = 0;
    if (PortOf(name, "CxpRxCmdAckPacketData_", port)) {
        Port& p = b.ports[port];
        if (p.ackFifo.empty()) {
            *value = kFifoEmpty;
        } else {
            *value = p.ackFifo.front();
            p.ackFifo.pop_front();
        }
        return 0;
    }
    if (PortOf(name, "CxpTransceiverNotInTable_", port)) {
        *value = NextNit(b.ports[port]);
        return 0;
    }
    if (PortOf(name, "CxpTransceiverStatus_", port)) {
        *value = (uint64_t{3} << 48) | (NextNit(b.ports[port]) & 0xFFFFFF);
        return 0;
    }
    if (name == "CxpTransceiverRxResetDone") {
        // A receiver's reset is done while it isn't held in reset.
        *value = ~b.values["CxpTransceiverGtxRxReset"];
        return 0;
    }
    if (FlagRegister(name)) {
        *value = ~uint64_t{0};
        return 0;
    }
    *value = b.values[name];
    return 0;
}

FAKE_EXPORT int32_t OHalRegisterWrite(OHalDevice*, uint32_t reg, uint32_t low, uint32_t high) {
    std::lock_guard<std::mutex> lock(gMutex);
    Board& b = State();
    const auto it = b.names.find(static_cast<int32_t>(reg));
    if (it == b.names.end()) {
        return -5;
    }
    const std::string& name = it->second;
    const uint64_t value = (uint64_t{high} << 32) | low;
    uint32_t port = 0;
    if (PortOf(name, "CxpTxCmdWriteData_", port)) {
        Port& p = b.ports[port];
        p.rows.push_back(value);
        if ((high & 2) != 0) {
            CommandByRegisters(p);
        }
        return 0;
    }
    b.values[name] = value;
    return 0;
}

FAKE_EXPORT int64_t OHalGetBoardInfoInt(OHalDevice*, const char*) {
    return -1;
}

FAKE_EXPORT int32_t OHalDataQueueWriteBufferLong(OHalDevice*, uint32_t queue, const void* buffer, uint32_t bytes,
                                                 uint32_t) {
    std::lock_guard<std::mutex> lock(gMutex);
    Board& b = State();
    if (queue % 4 != 3 || queue / 4 >= kPorts || bytes % 4 != 0) {
        return -8;
    }
    std::vector<uint32_t> words(bytes / 4);
    std::memcpy(words.data(), buffer, bytes);
    CommandByQueue(b.ports[queue / 4], words.data(), words.size());
    return static_cast<int32_t>(bytes);
}

FAKE_EXPORT int32_t OHalDataQueueReadBufferLong(OHalDevice*, uint32_t queue, void* buffer, uint32_t bytes,
                                                uint32_t timeoutMs) {
    std::lock_guard<std::mutex> lock(gMutex);
    Board& b = State();
    if (queue % 4 != 0 || queue / 4 >= kPorts) {
        return -8;
    }
    Port& p = b.ports[queue / 4];
    p.readTimeouts.push_back(timeoutMs);
    const size_t n = std::min<size_t>(bytes, p.rxQueue.size());
    std::copy_n(p.rxQueue.begin(), n, static_cast<uint8_t*>(buffer));
    p.rxQueue.erase(p.rxQueue.begin(), p.rxQueue.begin() + static_cast<std::ptrdiff_t>(n));
    return static_cast<int32_t>(n);
}

FAKE_EXPORT int32_t OHalDataQueueGetNrOfWords(OHalDevice*, uint32_t queue) {
    std::lock_guard<std::mutex> lock(gMutex);
    Board& b = State();
    if (queue % 4 != 0 || queue / 4 >= kPorts) {
        return -6;
    }
    return static_cast<int32_t>((b.ports[queue / 4].rxQueue.size() + 3) / 4);
}

FAKE_EXPORT int32_t OHalDataQueueClear(OHalDevice*, uint32_t queue) {
    std::lock_guard<std::mutex> lock(gMutex);
    Board& b = State();
    if (queue % 4 != 0 || queue / 4 >= kPorts) {
        return -6;
    }
    b.ports[queue / 4].rxQueue.clear();
    return 0;
}

// Queue locks are the simulated board's part (tests/sim).
FAKE_EXPORT int32_t OHalDataQueueAcquireLock(OHalDevice*, uint32_t) {
    return 0;
}

FAKE_EXPORT int32_t OHalDataQueueReleaseLock(OHalDevice*, uint32_t) {
    return 0;
}

FAKE_EXPORT int32_t OHalCameraCtrlSetPortDataPathState(OHalDevice*, uint32_t port, uint32_t state) {
    return Control("DataPathState", port, state);
}
FAKE_EXPORT int32_t OHalCameraCtrlSetPortDataPathSpeed(OHalDevice*, uint32_t port, uint32_t speed) {
    return Control("DataPathSpeed", port, speed);
}
FAKE_EXPORT int32_t OHalCameraCtrlSetPortCxpStandardVersion(OHalDevice*, uint32_t port, uint32_t version) {
    return Control("Version", port, version);
}
FAKE_EXPORT int32_t OHalCameraCtrlSetPortCxpLedState(OHalDevice*, uint32_t port, uint32_t state) {
    return Control("Led", port, state);
}

// ---- control ----

FAKE_EXPORT void FakeCxp_Reset(void) {
    std::lock_guard<std::mutex> lock(gMutex);
    delete gBoard;
    gBoard = nullptr;
    State();
}

FAKE_EXPORT void FakeCxp_AddAck(uint32_t port, const uint32_t* words, uint32_t count) {
    std::lock_guard<std::mutex> lock(gMutex);
    State().ports[port].building.emplace_back(words, words + count);
}

FAKE_EXPORT void FakeCxp_EndAnswer(uint32_t port) {
    std::lock_guard<std::mutex> lock(gMutex);
    Port& p = State().ports[port];
    p.answers.push_back(std::move(p.building));
    p.building.clear();
}

FAKE_EXPORT uint32_t FakeCxp_CommandCount(uint32_t port) {
    std::lock_guard<std::mutex> lock(gMutex);
    return static_cast<uint32_t>(State().ports[port].commands.size());
}

FAKE_EXPORT uint32_t FakeCxp_Command(uint32_t port, uint32_t index, uint64_t* out, uint32_t max) {
    std::lock_guard<std::mutex> lock(gMutex);
    const auto& commands = State().ports[port].commands;
    if (index >= commands.size()) {
        return 0;
    }
    const auto& command = commands[index];
    std::copy_n(command.begin(), std::min<size_t>(max, command.size()), out);
    return static_cast<uint32_t>(command.size());
}

FAKE_EXPORT void FakeCxp_SetMemory(uint32_t port, uint32_t address, uint32_t value) {
    std::lock_guard<std::mutex> lock(gMutex);
    State().ports[port].memory[address] = Swap(value);
}

FAKE_EXPORT uint32_t FakeCxp_GetMemory(uint32_t port, uint32_t address) {
    std::lock_guard<std::mutex> lock(gMutex);
    return Swap(State().ports[port].memory[address]);
}

FAKE_EXPORT void FakeCxp_FailReads(uint32_t port, uint32_t address, uint32_t statusWord) {
    std::lock_guard<std::mutex> lock(gMutex);
    State().ports[port].failedReads[address] = statusWord;
}

FAKE_EXPORT void FakeCxp_SetNitScript(uint32_t port, const uint64_t* values, uint32_t count) {
    std::lock_guard<std::mutex> lock(gMutex);
    Port& p = State().ports[port];
    p.nit.assign(values, values + count);
    if (p.nit.empty()) {
        p.nit.push_back(0);
    }
    p.nitAt = 0;
    p.nitReads = 0;
}

FAKE_EXPORT uint32_t FakeCxp_NitReads(uint32_t port) {
    std::lock_guard<std::mutex> lock(gMutex);
    return State().ports[port].nitReads;
}

FAKE_EXPORT uint32_t FakeCxp_ControlCalls(const char* name, uint32_t port, uint32_t* out, uint32_t max) {
    std::lock_guard<std::mutex> lock(gMutex);
    const auto& calls = State().control[name][port];
    if (out != nullptr) {
        std::copy_n(calls.begin(), std::min<size_t>(max, calls.size()), out);
    }
    return static_cast<uint32_t>(calls.size());
}

FAKE_EXPORT void FakeCxp_SetControlStatus(const char* name, int32_t status) {
    std::lock_guard<std::mutex> lock(gMutex);
    State().controlStatus[name] = status;
}

FAKE_EXPORT uint32_t FakeCxp_QueueReadTimeouts(uint32_t port, uint32_t* out, uint32_t max) {
    std::lock_guard<std::mutex> lock(gMutex);
    const auto& timeouts = State().ports[port].readTimeouts;
    if (out != nullptr) {
        std::copy_n(timeouts.begin(), std::min<size_t>(max, timeouts.size()), out);
    }
    return static_cast<uint32_t>(timeouts.size());
}

// ---- dsgrt (built into libdsgrt.so, which links this library) ----

FAKE_EXPORT int32_t FakeCxp_RegisterByName(const char* name) {
    std::lock_guard<std::mutex> lock(gMutex);
    Board& b = State();
    const auto it = b.numbers.find(name);
    return it == b.numbers.end() ? 0 : it->second;
}
