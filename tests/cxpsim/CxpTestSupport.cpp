#include "CxpTestSupport.h"

#include <chrono>

namespace orva::cxpsimtest {

uint32_t swap32(uint32_t value) {
    return (value >> 24) | ((value >> 8) & 0xFF00u) | ((value << 8) & 0xFF0000u) | (value << 24);
}

uint32_t packetCrc(std::span<const uint32_t> words) {
    uint32_t crc = 0xFFFFFFFFu;
    for (const uint32_t word : words) {
        for (int i = 0; i < 4; ++i) {
            crc ^= (word >> (8 * i)) & 0xFFu;
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
            }
        }
    }
    return crc;
}

std::vector<uint32_t> commandBody(bool write, uint32_t address, uint32_t bytes, std::span<const uint32_t> payload,
                                  std::optional<uint8_t> tag) {
    std::vector<uint32_t> body;
    if (tag) {
        body.push_back(*tag * 0x01010101u);
    }
    body.push_back(swap32(bytes) | (write ? 1u : 0u));
    body.push_back(swap32(address));
    body.insert(body.end(), payload.begin(), payload.end());
    return body;
}

std::vector<Row> registerRows(std::span<const uint32_t> body, bool tagged) {
    std::vector<Row> rows;
    rows.emplace_back(kStartOfPacket, 1);
    rows.emplace_back(tagged ? kTaggedCommandType : kCommandType, 0);
    for (const uint32_t word : body) {
        rows.emplace_back(word, 0);
    }
    rows.emplace_back(packetCrc(body), 0);
    rows.emplace_back(kEndOfPacket, 3);
    return rows;
}

std::vector<uint32_t> queueCommand(std::span<const uint32_t> body, bool tagged) {
    std::vector<uint32_t> words;
    words.push_back(static_cast<uint32_t>(body.size()) | (tagged ? kQueueTagFlag : 0));
    words.insert(words.end(), body.begin(), body.end());
    return words;
}

std::vector<uint32_t> dataAck(uint32_t value) {
    std::vector<uint32_t> ack{kAckWithData, swap32(4), swap32(value)};
    ack.push_back(packetCrc(ack));
    return ack;
}

std::vector<uint32_t> queueDataAck(uint32_t value) {
    return {3, kAckWithData, swap32(4), swap32(value)};
}

uint32_t connectionConfig(uint32_t links, uint32_t speedMbps) {
    const uint32_t speeds[] = {1250, 2500, 3125, 5000, 6250, 10000, 12500};
    for (uint32_t i = 0; i < 7; ++i) {
        if (speeds[i] == speedMbps) {
            return (links << 16) | (0x28 + 8 * i);
        }
    }
    return links << 16;
}

int32_t CxpTest::number(OHalDevice* device, const std::string& name) {
    return registerNumber(device, name.c_str());
}

uint64_t CxpTest::get(OHalDevice* device, const std::string& name) {
    return readRegister(device, name.c_str());
}

void CxpTest::set(OHalDevice* device, const std::string& name, uint64_t value) {
    writeRegister(device, name.c_str(), value);
}

void CxpTest::sendRows(OHalDevice* device, uint32_t designPort, std::span<const Row> rows) {
    const int32_t reg = number(device, "CxpTxCmdWriteData_" + std::to_string(designPort));
    ASSERT_GT(reg, 0);
    for (const auto& [low, high] : rows) {
        ASSERT_EQ(hal.OHalRegisterWrite(device, static_cast<uint32_t>(reg), low, high), ORVA_SIM_OK)
            << orva_sim_last_error();
    }
}

std::vector<uint32_t> CxpTest::receiveByRegisters(OHalDevice* device, uint32_t designPort, uint32_t timeoutMs) {
    const int32_t reg = number(device, "CxpRxCmdAckPacketData_" + std::to_string(designPort));
    EXPECT_GT(reg, 0);
    std::vector<uint32_t> words;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        uint64_t value = 0;
        if (hal.OHalRegisterRead(device, static_cast<uint32_t>(reg), &value) != ORVA_SIM_OK) {
            ADD_FAILURE() << orva_sim_last_error();
            return {};
        }
        const auto flags = static_cast<uint32_t>(value >> 32);
        if ((flags & 2u) != 0) {
            continue; // empty: not here yet
        }
        if ((flags & 1u) != 0) {
            return words;
        }
        words.push_back(static_cast<uint32_t>(value));
    }
    return {};
}

std::vector<uint32_t> CxpTest::exchangeByRegisters(OHalDevice* device, uint32_t designPort,
                                                   std::span<const uint32_t> body, bool tagged) {
    sendRows(device, designPort, registerRows(body, tagged));
    return receiveByRegisters(device, designPort);
}

size_t CxpTest::drainRegisters(OHalDevice* device, uint32_t designPort) {
    const int32_t reg = number(device, "CxpRxCmdAckPacketData_" + std::to_string(designPort));
    size_t words = 0;
    for (;;) {
        uint64_t value = 0;
        if (hal.OHalRegisterRead(device, static_cast<uint32_t>(reg), &value) != ORVA_SIM_OK ||
            ((value >> 32) & 2u) != 0) {
            return words;
        }
        ++words;
    }
}

void CxpTest::sendQueue(OHalDevice* device, uint32_t port, std::span<const uint32_t> words) {
    const auto bytes = static_cast<uint32_t>(words.size() * 4);
    ASSERT_EQ(hal.OHalDataQueueWriteBufferLong(device, 4 * port + 3, words.data(), bytes, 100),
              static_cast<int32_t>(bytes))
        << orva_sim_last_error();
}

std::vector<uint32_t> CxpTest::receiveQueue(OHalDevice* device, uint32_t port, uint32_t timeoutMs) {
    uint32_t header = 0;
    const int32_t got = hal.OHalDataQueueReadBufferLong(device, 4 * port, &header, 4, timeoutMs);
    if (got != 4) {
        EXPECT_EQ(got, 0) << orva_sim_last_error();
        return {};
    }
    std::vector<uint32_t> words(1 + (header & 0xFFFFu));
    words[0] = header;
    const auto rest = static_cast<uint32_t>((words.size() - 1) * 4);
    if (rest > 0) {
        EXPECT_EQ(hal.OHalDataQueueReadBufferLong(device, 4 * port, words.data() + 1, rest, timeoutMs),
                  static_cast<int32_t>(rest));
    }
    return words;
}

std::vector<uint32_t> CxpTest::exchangeByQueue(OHalDevice* device, uint32_t port, std::span<const uint32_t> body,
                                               bool tagged) {
    sendQueue(device, port, queueCommand(body, tagged));
    return receiveQueue(device, port);
}

void CxpTest::startQueuePort(OHalDevice* device, uint32_t port, uint32_t speedMbps) {
    ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(device, port, 2), ORVA_SIM_OK) << orva_sim_last_error();
    ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathSpeed(device, port, speedMbps), ORVA_SIM_OK) << orva_sim_last_error();
    ASSERT_EQ(hal.OHalCameraCtrlSetPortDataPathState(device, port, 5), ORVA_SIM_OK) << orva_sim_last_error();
}

bool CxpTest::eventually(const std::function<bool()>& condition, uint32_t timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    do {
        if (condition()) {
            return true;
        }
    } while (std::chrono::steady_clock::now() < deadline);
    return condition();
}

uint32_t CxpTest::cameraCounter(uint32_t board, uint32_t port, uint32_t offset) {
    uint32_t value = 0;
    EXPECT_EQ(orva_sim_read_camera_memory(board, port, offset, &value, sizeof(value)),
              static_cast<int32_t>(sizeof(value)))
        << orva_sim_last_error();
    return value;
}

} // namespace orva::cxpsimtest
