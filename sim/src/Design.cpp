#include "Design.h"

#include "SharedLayout.h"
#include "cxp/CxpDesigns.h"

#include <algorithm>
#include <array>

namespace orva::sim {

namespace {

using K = BehaviourKind;

constexpr uint64_t kMicrosecondTicks = 1000000;

constexpr std::array kClhsRegisters{
    RegisterDef{"ClhsDesignVersion", K::ReadOnly, 0x00010000},
    RegisterDef{"Scratch", K::Plain},
    RegisterDef{"Timestamp", K::TimeCounter, 0, kMicrosecondTicks},
};

constexpr std::array kCameraLinkRegisters{
    RegisterDef{"ClDesignVersion", K::ReadOnly, 0x00010000},
    RegisterDef{"Scratch", K::Plain},
    RegisterDef{"Timestamp", K::TimeCounter, 0, kMicrosecondTicks},
};
constexpr std::array kCameraLinkQueues{
    QueueDef{Channel::Serial, Direction::ToCamera, 0, false},
    QueueDef{Channel::Serial, Direction::ToHost, 1, false},
};

constexpr std::array kGigERegisters{
    RegisterDef{"GbeDesignVersion", K::ReadOnly, 0x00010000},
    RegisterDef{"Scratch", K::Plain},
    RegisterDef{"Timestamp", K::TimeCounter, 0, kMicrosecondTicks},
};
constexpr std::array kGigEQueues{
    QueueDef{Channel::Network, Direction::ToCamera, 0, true},
    QueueDef{Channel::Network, Direction::ToHost, 1, true},
};

// Board self-test design: one register of every behaviour and every kind of
// queue, to try out cameras and tools on one board.
constexpr std::array kDiagnosticRegisters{
    RegisterDef{"DiagDesignVersion", K::ReadOnly, 0x00010000},
    RegisterDef{"Scratch", K::Plain},
    RegisterDef{"Control", K::SelfClearing, 0, 0x1},
    RegisterDef{"ResetStatus", K::WriteOneToClear, 0x3, 0xFFFFFFFF},
    RegisterDef{"EventFifo", K::FifoData},
    RegisterDef{"EventFifoLevel", K::FifoLevel, 0, 0, "EventFifo"},
    RegisterDef{"Timestamp", K::TimeCounter, 0, kMicrosecondTicks},
    RegisterDef{"PortPowerStatus", K::PortPowerStatus},
};
constexpr std::array kDiagnosticQueues{
    QueueDef{Channel::Control, Direction::ToCamera, 0, false},
    QueueDef{Channel::Control, Direction::ToHost, 1, false},
    QueueDef{Channel::Serial, Direction::ToCamera, 2, false},
    QueueDef{Channel::Serial, Direction::ToHost, 3, false},
};

constexpr std::array kOtherDesigns{
    cxpdesign::kCoaXPress,
    DesignDef{"clhs", "Camera Link HS", 8, false, false, 0, 0, {}, kClhsRegisters},
    DesignDef{"cameralink", "Camera Link", 4, false, true, 0, 2, kCameraLinkQueues, kCameraLinkRegisters},
    DesignDef{"gige", "GigE Vision", 8, false, false, 0, 2, kGigEQueues, kGigERegisters},
    DesignDef{"diagnostic", "diagnostic", 8, true, true, 0, 4, kDiagnosticQueues, kDiagnosticRegisters},
};

template <size_t A, size_t B>
constexpr std::array<DesignDef, A + B> join(const std::array<DesignDef, A>& a, const std::array<DesignDef, B>& b) {
    std::array<DesignDef, A + B> out{};
    std::copy(a.begin(), a.end(), out.begin());
    std::copy(b.begin(), b.end(), out.begin() + A);
    return out;
}

// The first CoaXPress design and the designs of the other technologies keep
// their places; the other CoaXPress designs follow.
constexpr auto kDesigns = join(kOtherDesigns, cxpdesign::kDesigns);

// Every design must fit the board's shared layout, and the queues of one port
// must not run into those of the next.
constexpr bool fitsLayout(const DesignDef& d) {
    if (d.registers.size() > layout::kMaxRegisters || d.maxPorts > layout::kMaxPorts) {
        return false;
    }
    return std::all_of(d.queues.begin(), d.queues.end(), [&](const QueueDef& q) {
        return q.offset < d.queueStride &&
               d.queueBase + (d.maxPorts - 1) * d.queueStride + q.offset < layout::kMaxQueues;
    });
}
static_assert(std::all_of(kDesigns.begin(), kDesigns.end(), fitsLayout));

} // namespace

std::span<const DesignDef> designTable() {
    return kDesigns;
}

const DesignDef* findDesign(std::string_view name) {
    for (const auto& design : kDesigns) {
        if (design.name == name) {
            return &design;
        }
    }
    return nullptr;
}

std::string_view channelName(Channel channel) {
    switch (channel) {
    case Channel::Control:
        return "control";
    case Channel::Serial:
        return "serial";
    case Channel::Network:
        return "network";
    }
    return "unknown";
}

} // namespace orva::sim
