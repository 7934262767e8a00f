#include "PlainDesigns.h"

#include <algorithm>
#include <array>

namespace orva::sim::plain {

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

constexpr std::array kClhs{DesignDef{"clhs", 8, false, false, 0, 0, {}, kClhsRegisters}};
constexpr std::array kCameraLink{
    DesignDef{"cameralink", 4, false, true, 0, 2, kCameraLinkQueues, kCameraLinkRegisters}};
constexpr std::array kGigE{DesignDef{"gige", 8, false, false, 0, 2, kGigEQueues, kGigERegisters}};
constexpr std::array kSelfTest{DesignDef{"diagnostic", 8, true, true, 0, 4, kDiagnosticQueues, kDiagnosticRegisters}};

static_assert(std::all_of(kClhs.begin(), kClhs.end(), fitsLayout));
static_assert(std::all_of(kCameraLink.begin(), kCameraLink.end(), fitsLayout));
static_assert(std::all_of(kGigE.begin(), kGigE.end(), fitsLayout));
static_assert(std::all_of(kSelfTest.begin(), kSelfTest.end(), fitsLayout));

} // namespace

std::span<const DesignDef> clhsDesigns() {
    return kClhs;
}

std::span<const DesignDef> cameraLinkDesigns() {
    return kCameraLink;
}

std::span<const DesignDef> gigeDesigns() {
    return kGigE;
}

std::span<const DesignDef> selfTestDesigns() {
    return kSelfTest;
}

} // namespace orva::sim::plain
