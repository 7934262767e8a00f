#include "CxpCamera.h"

#include "Clock.h"
#include "CxpCameraRegisters.h"
#include "CxpCameraState.h"
#include "CxpWire.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <vector>

namespace orva::sim::cxp {

namespace {

constexpr std::string_view kDropNextAck = "drop-next-ack";
constexpr std::string_view kLateNextAck = "late-next-ack";
constexpr std::string_view kCorruptNextAck = "corrupt-next-ack";
constexpr std::string_view kWaitNextAck = "wait-next-ack";
constexpr std::string_view kTentativeNextAck = "tentative-next-ack";
constexpr std::string_view kCorruptNextCommand = "corrupt-next-command";
// Taken by the board's receiver: the camera's signal is disturbed.
constexpr std::string_view kNitBurst = "nit-burst";
constexpr std::array<std::string_view, 7> kFaults{kDropNextAck,      kLateNextAck,        kCorruptNextAck, kWaitNextAck,
                                                  kTentativeNextAck, kCorruptNextCommand, kNitBurst};

constexpr uint32_t kStateMagic = 0x43585043; // "CPXC"
// The final acknowledge after a tentative one.
constexpr uint64_t kTentativeGapNs = 200 * kNsPerUs;
constexpr uint64_t kBitsPerCharacter = 10;

constexpr std::array kModels{
    DeviceModel{"cxp-camera", "a CoaXPress camera with one to four links", &CxpCamera::create},
};

std::vector<uint8_t> ackBody(bool tagged, uint8_t tag, AckCode code) {
    std::vector<uint8_t> body;
    if (tagged) {
        body.insert(body.end(), 4, tag);
    }
    body.insert(body.end(), 4, static_cast<uint8_t>(code));
    return body;
}

void appendBe32(std::vector<uint8_t>& bytes, uint32_t value) {
    const size_t at = bytes.size();
    bytes.resize(at + 4);
    storeBe32(bytes.data() + at, value);
}

uint64_t wireTimeNs(size_t wireBytes, uint32_t speedMbps) {
    if (speedMbps == 0) {
        return 0;
    }
    // Two bytes a character on the simulated cable, ten bits a character on a real one.
    return (wireBytes / 2) * kBitsPerCharacter * 1000 / speedMbps;
}

} // namespace

std::span<const DeviceModel> cameraModels() {
    return kModels;
}

std::unique_ptr<Device> CxpCamera::create(const nlohmann::json& params, uint32_t links) {
    return std::make_unique<CxpCamera>(parseCameraConfig(params, links));
}

std::span<const std::string_view> CxpCamera::faultNames() const {
    return kFaults;
}

void CxpCamera::onLoad(DeviceContext& ctx) {
    CxpCameraState s{};
    s.magic = kStateMagic;
    auto userId = ctx.memory().subspan(kUserIdOffset, kUserIdBytes);
    std::copy(config_.userId.begin(), config_.userId.end(), userId.begin());
    const uint64_t now = ctx.nowNs();
    if (poweredNow(config_, ctx)) {
        // Powered since before the load: up at once.
        powerUp(config_, ctx, s, now, now);
    } else {
        s.unpoweredAtNs = now;
    }
    storeState(ctx, s);
    for (uint32_t link = 0; link < ctx.linkCount(); ++link) {
        tripIfOverCurrent(config_, ctx, link);
    }
}

void CxpCamera::onPowerChanged(DeviceContext& ctx, uint32_t link) {
    CxpCameraState s = loadState(ctx);
    syncPower(config_, ctx, s);
    storeState(ctx, s);
    tripIfOverCurrent(config_, ctx, link);
}

void CxpCamera::onCableChanged(DeviceContext& ctx, uint32_t link) {
    CxpCameraState s = loadState(ctx);
    if (link < kMaxLinks) {
        s.cableChangedNs[link] = ctx.nowNs();
    }
    syncPower(config_, ctx, s);
    storeState(ctx, s);
    tripIfOverCurrent(config_, ctx, link);
}

bool CxpCamera::present(DeviceContext& ctx, uint32_t link) const {
    return poweredNow(config_, ctx);
}

LinkSignal CxpCamera::signal(DeviceContext& ctx, uint32_t link) const {
    CxpCameraState s = loadState(ctx);
    syncPower(config_, ctx, s);
    storeState(ctx, s);
    const Connection c = connectionAt(s, ctx.nowNs());
    LinkSignal signal;
    signal.present = link < c.links;
    signal.rateMbps = c.speed;
    signal.sinceNs = std::max(c.sinceNs, link < kMaxLinks ? s.cableChangedNs[link] : 0);
    return signal;
}

uint32_t CxpCamera::currentDrawMa(DeviceContext& ctx, uint32_t link) const {
    if (config_.externalPower) {
        return 0;
    }
    // The camera draws from the first of its links whose port feeds it.
    for (uint32_t l = 0; l < ctx.linkCount(); ++l) {
        if (ctx.portPowered(l) && ctx.plugged(l)) {
            return l == link ? config_.currentMa : 0;
        }
    }
    return 0;
}

void CxpCamera::onHostData(DeviceContext& ctx, uint32_t link, Channel channel, std::span<const uint8_t> bytes) {
    if (channel != Channel::Control) {
        return;
    }
    CxpCameraState s = loadState(ctx);
    syncPower(config_, ctx, s);
    const uint64_t now = ctx.nowNs();
    const Connection connection = connectionAt(s, now);
    if (s.powered == 0 || link >= connection.links) {
        // Booting, in a link reset, or a link it doesn't use now.
        ++s.ignored;
        storeState(ctx, s);
        return;
    }
    const auto packet = parsePacket(bytes);
    if (!packet) {
        ++s.unframed;
        storeState(ctx, s);
        return;
    }
    const bool tagged = packet->type == static_cast<uint8_t>(PacketType::TaggedCommand);
    // Tags are part of version 2.0 only; an older camera, or one that runs
    // an older version, doesn't know the packet type.
    if ((packet->type != static_cast<uint8_t>(PacketType::Command) && !tagged) ||
        (tagged && s.versionUsed != kVersion20)) {
        ++s.ignored;
        storeState(ctx, s);
        return;
    }
    ++s.commands;

    const std::vector<uint8_t>& body = packet->body;
    const size_t head = tagged ? 4 : 0;
    const uint8_t tag = tagged && !body.empty() ? body[0] : 0;
    CxpCameraRegisters::Reply reply;
    // A command too short to hold a CRC can't be checked at all.
    const bool checkable = body.size() >= head + 4;
    const bool crcOk = checkable && crcMatches(body) && !ctx.takeFault(link, kCorruptNextCommand);
    const bool tagMismatch =
        tagged && checkable && !std::all_of(body.begin(), body.begin() + 4, [&](uint8_t b) { return b == tag; });
    if (checkable && !crcOk) {
        ++s.crcErrors;
        reply.code = AckCode::BadCrc;
    } else if (!checkable || tagMismatch || body.size() < head + 8 + 4) {
        reply.code = AckCode::Malformed;
    } else {
        const uint8_t opcode = body[head];
        const uint32_t size = loadBe24(body.data() + head + 1);
        const uint32_t at = loadBe32(body.data() + head + 4);
        const auto payload = std::span(body).subspan(head + 8, body.size() - head - 8 - 4);
        CxpCameraRegisters registers(config_, ctx, s, link);
        if (opcode == static_cast<uint8_t>(Opcode::Read)) {
            reply = payload.empty() ? registers.read(at, size) : CxpCameraRegisters::error(AckCode::SizeInconsistent);
        } else if (opcode == static_cast<uint8_t>(Opcode::Write)) {
            reply = payload.size() == size ? registers.write(at, payload)
                                           : CxpCameraRegisters::error(AckCode::SizeInconsistent);
        } else {
            reply.code = AckCode::InvalidOpcode;
        }
    }

    // An answer's time counts from the host's sending of the command: the
    // camera's own work is part of its answer time, and the time the board
    // and camera models take to play that work out on the host's processor
    // must not add to it.
    const uint64_t arrivedNs = ctx.hostCallNs();
    const auto send = [&](std::vector<uint8_t> ackBytes, uint64_t delayNs) {
        const auto wire = framePacket(tagged ? PacketType::TaggedAck : PacketType::Ack, ackBytes);
        const uint64_t readyNs = arrivedNs + delayNs + wireTimeNs(wire.size(), connection.speed);
        const uint64_t sentNs = ctx.nowNs();
        ctx.sendToHost(link, Channel::Control, wire, readyNs > sentNs ? readyNs - sentNs : 0);
        ++s.acks;
    };

    uint64_t finalAt = config_.latencyNs;
    if (!reply.silent) {
        const bool isWrite = body.size() > head && body[head] == static_cast<uint8_t>(Opcode::Write);
        if (config_.tentativeAcks || ctx.takeFault(link, kTentativeNextAck)) {
            send(ackBody(tagged, tag, AckCode::Tentative), finalAt);
            finalAt += kTentativeGapNs;
        }
        const bool waitFault = ctx.takeFault(link, kWaitNextAck);
        if ((config_.waitAckMs > 0 && isWrite) || waitFault) {
            const uint32_t waitMs = config_.waitAckMs > 0 ? config_.waitAckMs : 100;
            // Status, then the size of what follows (the delay word), then the delay.
            auto wait = ackBody(tagged, tag, AckCode::Wait);
            appendBe32(wait, 4);
            appendBe32(wait, waitMs);
            appendCrc(wait);
            send(std::move(wait), finalAt);
            finalAt += uint64_t{waitMs} * kNsPerMs / 2;
        }
        if (ctx.takeFault(link, kLateNextAck)) {
            finalAt += uint64_t{config_.lateAckMs} * kNsPerMs;
        }
        auto ack = ackBody(tagged, tag, reply.code);
        const bool withCrc = reply.code == AckCode::FinalWithData;
        if (withCrc) {
            appendBe32(ack, static_cast<uint32_t>(reply.data.size()));
            ack.insert(ack.end(), reply.data.begin(), reply.data.end());
            appendCrc(ack);
        }
        if (ctx.takeFault(link, kCorruptNextAck)) {
            // A bit error on the cable, after the CRC was made.
            ack[withCrc ? ack.size() - 5 : head] ^= 0x01;
        }
        if (ctx.takeFault(link, kDropNextAck)) {
            ++s.acksDropped;
        } else {
            send(std::move(ack), finalAt);
        }
    }

    if (reply.linkReset) {
        resetConnection(config_, s, now, now + config_.resetNs);
    } else if (reply.connectionConfig) {
        // The acknowledge leaves at the old speed; then the links change.
        const Connection current = connectionAt(s, now);
        s.prevLinks = current.links;
        s.prevSpeed = current.speed;
        s.prevAtNs = current.sinceNs;
        s.links = configLinks(*reply.connectionConfig);
        s.speed = configSpeed(*reply.connectionConfig);
        s.configAtNs = now + finalAt + config_.configSwitchNs;
    }
    storeState(ctx, s);
}

} // namespace orva::sim::cxp
