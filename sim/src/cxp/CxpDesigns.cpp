#include "CxpDesigns.h"

#include "CxpCore.h"
#include "CxpCoreRegisters.h"
#include "CxpLinkSlot.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orva::sim::cxp {

namespace {

enum class Selector : uint32_t {
    Registers, // wDiscoverySelect and rDiscoverySelect
    Table,     // CxpDiscoveryConfig picks one of a fixed list
    PortMap,   // the camera control's port map, shown in rDiscoverySelect
};

struct Layout {
    uint32_t gtxIf;
    uint32_t ports;
    Selector selector;
    bool olderResetName; // "CxpReset_<n>" instead of "CxpControlCoreReset_<n>"
    bool boardRegisters; // the general registers of the first CoaXPress design, in its order
    // Links of each camera the design's ports are laid out for: 2 puts two
    // cameras of two links on 4 ports (one camera on 1 or 2 ports), 4 one
    // camera of four links.
    uint32_t cameraLinks = 2;
};

#define ORVA_CXP_PORT_NAMES(base)                                                                                      \
    std::array<std::string_view, 4> {                                                                                  \
        base "0", base "1", base "2", base "3"                                                                         \
    }

constexpr auto kTxCmdWriteData = ORVA_CXP_PORT_NAMES("CxpTxCmdWriteData_");
constexpr auto kRxCmdAckPacketData = ORVA_CXP_PORT_NAMES("CxpRxCmdAckPacketData_");
constexpr auto kControlCoreReset = ORVA_CXP_PORT_NAMES("CxpControlCoreReset_");
constexpr auto kReset = ORVA_CXP_PORT_NAMES("CxpReset_");
constexpr auto kLedModeSelectWrite = ORVA_CXP_PORT_NAMES("CxpLedModeSelectWrite_");
constexpr auto kLedModeSelectRead = ORVA_CXP_PORT_NAMES("CxpLedModeSelectRead_");
constexpr auto kNotInTable = ORVA_CXP_PORT_NAMES("CxpTransceiverNotInTable_");
constexpr auto kDisparityError = ORVA_CXP_PORT_NAMES("CxpTransceiverDisparityError_");
constexpr auto kDrpAddress = ORVA_CXP_PORT_NAMES("CxpTransceiverGtxDrpAddress_");
constexpr auto kDrpWriteData = ORVA_CXP_PORT_NAMES("CxpTransceiverGtxDrpWriteData_");
constexpr auto kSetBitRate = ORVA_CXP_PORT_NAMES("CxpTransceiverGtxSetBitRate_");
constexpr auto kTransceiverStatus = ORVA_CXP_PORT_NAMES("CxpTransceiverStatus_");
constexpr auto kDownLinkBitRate = ORVA_CXP_PORT_NAMES("CxpTransceiverDownLinkBitRate_");
constexpr auto kUpLinkBitRate = ORVA_CXP_PORT_NAMES("CxpTransceiverUpLinkBitRate_");
constexpr auto kPowerStatus = ORVA_CXP_PORT_NAMES("CxpPowerStatus_");
constexpr auto kPowerSense = ORVA_CXP_PORT_NAMES("CxpPowerSense_");
constexpr auto kPowerVin = ORVA_CXP_PORT_NAMES("CxpPowerVin_");
constexpr auto kPowerAdIn = ORVA_CXP_PORT_NAMES("CxpPowerAdIn_");
constexpr auto kPowerShuntVoltage = ORVA_CXP_PORT_NAMES("CxpPowerShuntVoltage_");
constexpr auto kPowerBusVoltage = ORVA_CXP_PORT_NAMES("CxpPowerBusVoltage_");

#undef ORVA_CXP_PORT_NAMES

constexpr uint64_t kMicrosecondTicks = 1000000;
constexpr uint64_t kStreamPacketSize = 0x800;

// Which design port serves which camera link. Nibble d: master id of the
// camera that design port d serves, and the link it takes. Consecutive design
// ports make up one camera of `cameraLinks` links. Cameras are numbered from
// 1: a saved link configuration reads a master id of 0 as "none given".
constexpr uint64_t appletMasterIds(const Layout& l) {
    uint64_t value = 0;
    for (uint32_t d = 0; d < l.ports; ++d) {
        value |= uint64_t{d / l.cameraLinks + 1} << (4 * d);
    }
    return value;
}
constexpr uint64_t appletExtensionIds(const Layout& l) {
    uint64_t value = 0;
    for (uint32_t d = 0; d < l.ports; ++d) {
        value |= uint64_t{d % l.cameraLinks} << (4 * d);
    }
    return value;
}

constexpr bool registerPath(const Layout& l) {
    return l.gtxIf != kQueuePathGtxIf;
}

// Calls add(RegisterDef) for each register of a layout, in table order.
template <class Add> constexpr void emitRegisters(const Layout& l, Add&& add) {
    using K = BehaviourKind;
    const auto core = [&](std::string_view name, Fn fn, uint32_t port = 0) {
        add(RegisterDef{name, K::Core, 0, registerParam(fn, port)});
    };
    const auto perPort = [&](const std::array<std::string_view, 4>& names, Fn fn) {
        for (uint32_t p = 0; p < l.ports; ++p) {
            core(names[p], fn, p);
        }
    };

    add(RegisterDef{"CxpDesignVersion", K::ReadOnly, 0x00010000 | l.gtxIf});
    add(RegisterDef{"Scratch", K::Plain});
    add(RegisterDef{"Timestamp", K::TimeCounter, 0, kMicrosecondTicks});
    if (l.boardRegisters) {
        add(RegisterDef{"PortPowerStatus", K::PortPowerStatus});
    }
    add(RegisterDef{"StreamPacketSize", K::Plain, kStreamPacketSize});

    // Discovery: the layout of the design's ports, and the selector.
    add(RegisterDef{"DiscoveryAppletMasterID", K::ReadOnly, appletMasterIds(l)});
    add(RegisterDef{"DiscoveryAppletExtensionID", K::ReadOnly, appletExtensionIds(l)});
    switch (l.selector) {
    case Selector::Registers:
        core("wDiscoverySelect", Fn::SelectWrite);
        core("rDiscoverySelect", Fn::SelectRead);
        break;
    case Selector::Table:
        core("CxpDiscoveryConfig", Fn::DiscoveryConfig, l.ports);
        break;
    case Selector::PortMap:
        core("rDiscoverySelect", Fn::SelectRead);
        break;
    }

    // Control packet engines.
    if (registerPath(l)) {
        core("CxpTxCmdPacketSent", Fn::TxCmdPacketSent);
        perPort(kTxCmdWriteData, Fn::TxCmdWriteData);
        perPort(kRxCmdAckPacketData, Fn::RxCmdAckPacketData);
        perPort(l.olderResetName ? kReset : kControlCoreReset, Fn::ControlCoreReset);
        perPort(kLedModeSelectWrite, Fn::LedModeWrite);
        perPort(kLedModeSelectRead, Fn::LedModeRead);
    }

    // Transceivers.
    switch (l.gtxIf) {
    case 1:
    case 2:
        core("CxpTransceiverGtxRxReset", Fn::GtxRxReset);
        core("CxpTransceiverRxResetDone", Fn::RxResetDone);
        if (l.gtxIf == 1) {
            core("CxpTransceiverRxPlllDet", Fn::RxPllLock);
        } else {
            core("CxpTransceiverGtxDrpReady", Fn::DrpReady);
        }
        perPort(kDrpAddress, Fn::DrpAddress);
        perPort(kDrpWriteData, Fn::DrpWriteData);
        break;
    case 3:
    case 6:
        core("CxpTransceiverGtxSetBitRateDone", Fn::SetBitRateDone);
        if (l.gtxIf == 6) {
            core("CxpTransceiverGtxRxReset", Fn::GtxRxReset);
            core("CxpTransceiverRxStatus", Fn::RxStatus);
        }
        perPort(kSetBitRate, Fn::SetBitRate);
        break;
    case 10:
        perPort(kTransceiverStatus, Fn::TransceiverStatus);
        perPort(kDownLinkBitRate, Fn::DownLinkBitRate);
        perPort(kUpLinkBitRate, Fn::UpLinkBitRate);
        break;
    default:
        perPort(kTransceiverStatus, Fn::TransceiverStatus);
        break;
    }
    perPort(kNotInTable, Fn::NotInTable);
    perPort(kDisparityError, Fn::DisparityError);

    // Power over the cable. The camera control interface switches it on the
    // queue path; the register path has enable registers. Sensors follow the
    // board generation of the transceiver interface.
    if (registerPath(l)) {
        core("rCxpPowerEnablePower", Fn::PowerEnableRead);
        core("wCxpPowerEnablePower", Fn::PowerEnableWrite);
    }
    perPort(kPowerStatus, Fn::PowerStatus);
    if (l.gtxIf == 1) {
        perPort(kPowerSense, Fn::PowerSense);
        perPort(kPowerVin, Fn::PowerVin);
        perPort(kPowerAdIn, Fn::PowerAdIn);
    } else if (l.gtxIf == 2 || l.gtxIf == 3 || l.gtxIf == 6) {
        perPort(kPowerShuntVoltage, Fn::PowerShuntVoltage);
        perPort(kPowerBusVoltage, Fn::PowerBusVoltage);
    }
}

constexpr size_t registerCount(const Layout& l) {
    size_t n = 0;
    emitRegisters(l, [&](const RegisterDef&) { ++n; });
    return n;
}

template <Layout L> constexpr auto makeRegisters() {
    std::array<RegisterDef, registerCount(L)> out{};
    size_t i = 0;
    emitRegisters(L, [&](const RegisterDef& r) { out[i++] = r; });
    return out;
}

template <Layout L> constexpr auto kRegisters = makeRegisters<L>();

// Register path: a command FIFO and an acknowledge FIFO per design port,
// both the core's own. Queue path: acknowledges from the camera in queue
// 4p, commands to it in queue 4p + 3.
constexpr std::array kRegisterPathQueues{
    QueueDef{Channel::Control, Direction::ToCamera, 0, false, true},
    QueueDef{Channel::Control, Direction::ToHost, 1, false, true},
};
constexpr std::array kQueuePathQueues{
    QueueDef{Channel::Control, Direction::ToHost, 0, false},
    QueueDef{Channel::Control, Direction::ToCamera, 3, false},
};

template <Layout L> constexpr DesignDef design(std::string_view name) {
    if constexpr (registerPath(L)) {
        return DesignDef{name, L.ports, false, false, 0, 2, kRegisterPathQueues, kRegisters<L>, &boardCore, L.gtxIf};
    } else {
        return DesignDef{name, L.ports, true, false, 0, 4, kQueuePathQueues, kRegisters<L>, &boardCore, L.gtxIf};
    }
}

using S = Selector;

constexpr std::array kDesigns{
    // The built-in design of the default set-up: four ports, queue path.
    design<Layout{16, 4, S::PortMap, false, true}>("coaxpress"),
    design<Layout{16, 1, S::PortMap, false, false}>("cxp-queue-1"),
    design<Layout{16, 2, S::PortMap, false, false}>("cxp-queue-2"),
    design<Layout{1, 4, S::Registers, true, false}>("cxp-drp"),
    design<Layout{1, 4, S::Table, true, false}>("cxp-drp-cfg"),
    design<Layout{2, 4, S::Registers, false, false}>("cxp-drp-ready"),
    design<Layout{2, 4, S::Table, false, false}>("cxp-drp-ready-cfg"),
    design<Layout{3, 1, S::Registers, false, false}>("cxp-rate-1"),
    design<Layout{3, 2, S::Registers, false, false}>("cxp-rate-2"),
    design<Layout{3, 2, S::Table, false, false}>("cxp-rate-2-cfg"),
    design<Layout{3, 4, S::Registers, false, false}>("cxp-rate-4"),
    design<Layout{3, 4, S::Table, false, false}>("cxp-rate-4-cfg"),
    design<Layout{6, 1, S::Registers, false, false}>("cxp-rxstatus-1"),
    design<Layout{6, 2, S::Registers, false, false}>("cxp-rxstatus-2"),
    design<Layout{6, 2, S::Table, false, false}>("cxp-rxstatus-2-cfg"),
    design<Layout{6, 4, S::Registers, false, false}>("cxp-rxstatus-4"),
    design<Layout{6, 4, S::Table, false, false}>("cxp-rxstatus-4-cfg"),
    design<Layout{10, 1, S::Registers, false, false}>("cxp-dual-1"),
    design<Layout{10, 2, S::Registers, false, false}>("cxp-dual-2"),
    design<Layout{10, 2, S::Table, false, false}>("cxp-dual-2-cfg"),
    design<Layout{10, 4, S::Registers, false, false}>("cxp-dual-4"),
    design<Layout{10, 4, S::Table, false, false}>("cxp-dual-4-cfg"),
    // One camera of four links on four ports, on either path.
    design<Layout{16, 4, S::PortMap, false, true, 4}>("coaxpress-x4"),
    design<Layout{10, 4, S::Registers, false, false, 4}>("cxp-dual-4-x4"),
};

// The layouts the designs state: the default one and the four-link group.
static_assert(appletMasterIds(Layout{16, 4, S::PortMap, false, true}) == 0x2211);
static_assert(appletExtensionIds(Layout{16, 4, S::PortMap, false, true}) == 0x1010);
static_assert(appletExtensionIds(Layout{10, 2, S::Registers, false, false}) == 0x10);
static_assert(appletMasterIds(Layout{16, 4, S::PortMap, false, true, 4}) == 0x1111);
static_assert(appletExtensionIds(Layout{16, 4, S::PortMap, false, true, 4}) == 0x3210);

// Every row carries the CoaXPress core (see the row makers above); a function's
// address isn't a constant expression under UBSan, so only the queues are
// checked here.
static_assert(std::all_of(kDesigns.begin(), kDesigns.end(), queuesFitLayout));

} // namespace

std::span<const DesignDef> designs() {
    return kDesigns;
}

} // namespace orva::sim::cxp
