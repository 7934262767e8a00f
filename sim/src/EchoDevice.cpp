#include "EchoDevice.h"

#include "Clock.h"

#include <array>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace orva::sim {

namespace {

constexpr std::string_view kDropNextAnswer = "drop-next-answer";
// Flips every bit of the first byte of the next answer.
constexpr std::string_view kCorruptNextAnswer = "corrupt-next-answer";
constexpr std::array<std::string_view, 2> kFaults{kDropNextAnswer, kCorruptNextAnswer};

constexpr uint64_t kDefaultLatencyUs = 50;
constexpr uint64_t kMaxLatencyUs = 10000000;

void countIn(std::span<uint8_t> memory, uint32_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, memory.data() + offset, sizeof(value));
    ++value;
    std::memcpy(memory.data() + offset, &value, sizeof(value));
}

} // namespace

std::unique_ptr<Device> EchoDevice::create(const nlohmann::json& params, uint32_t /*links*/) {
    uint64_t latencyUs = kDefaultLatencyUs;
    bool externalPower = false;
    for (const auto& [key, value] : params.items()) {
        if (key == "latencyUs") {
            if (!value.is_number_unsigned() || value.get<uint64_t>() > kMaxLatencyUs) {
                throw std::invalid_argument("latencyUs: expected a whole number of microseconds from 0 to " +
                                            std::to_string(kMaxLatencyUs));
            }
            latencyUs = value.get<uint64_t>();
        } else if (key == "externalPower") {
            if (!value.is_boolean()) {
                throw std::invalid_argument("externalPower: expected true or false");
            }
            externalPower = value.get<bool>();
        } else {
            throw std::invalid_argument("unknown parameter '" + key + "' (known: latencyUs, externalPower)");
        }
    }
    return std::unique_ptr<Device>(new EchoDevice(latencyUs * kNsPerUs, externalPower));
}

bool EchoDevice::powered(const DeviceContext& ctx, uint32_t link) const {
    return externalPower_ || ctx.portPowered(link);
}

bool EchoDevice::present(DeviceContext& ctx, uint32_t link) const {
    return powered(ctx, link);
}

void EchoDevice::onHostData(DeviceContext& ctx, uint32_t link, Channel channel, std::span<const uint8_t> bytes) {
    if (!powered(ctx, link)) {
        return;
    }
    if (ctx.takeFault(link, kDropNextAnswer)) {
        countIn(ctx.memory(), kDroppedOffset);
        return;
    }
    std::vector<uint8_t> answer(bytes.begin(), bytes.end());
    if (!answer.empty() && ctx.takeFault(link, kCorruptNextAnswer)) {
        answer[0] = static_cast<uint8_t>(~answer[0]);
    }
    if (ctx.sendToHost(link, channel, answer, latencyNs_)) {
        countIn(ctx.memory(), kAnsweredOffset);
    }
}

std::span<const std::string_view> EchoDevice::faultNames() const {
    return kFaults;
}

} // namespace orva::sim
