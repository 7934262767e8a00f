#include "impl/cxp/CxpTopology.h"

#include <algorithm>
#include <array>
#include <bit>
#include <set>
#include <vector>

#include "impl/core/DiscoverySelector.h"
#include "impl/cxp/CxpLinkSpeeds.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/templates/InterProcessLockGuard.h"

namespace orva::cxp {

namespace {

using tools::logging::LevelDebug;
using tools::logging::LevelError;
using tools::logging::LevelInfo;
using tools::logging::LevelTrace;
using tools::logging::LevelWarning;

} // namespace

CxpTopology::CxpTopology(CxpBoard& board, CxpWorkerThread& worker) : board_(board), worker_(worker) {
    const int32_t regAppletMasterId = board_.LookUp("DiscoveryAppletMasterID");
    const int32_t regAppletExtensionId = board_.LookUp("DiscoveryAppletExtensionID");
    regDiscoverySelectWrite_ = board_.LookUp("wDiscoverySelect");
    regDiscoverySelectRead_ = board_.LookUp("rDiscoverySelect");
    regDiscoveryConfig_ = board_.LookUp("CxpDiscoveryConfig");

    // A design that doesn't say how its ports are laid out expects one
    // camera of one link on port 0.
    uint64_t masterValue = 1;
    uint64_t extensionValue = 0;
    if (regAppletMasterId > 0) {
        masterValue = 0;
        board::OHalRegisterRead(board_.Device(), static_cast<uint32_t>(regAppletMasterId), &masterValue);
        if (regAppletExtensionId > 0) {
            board::OHalRegisterRead(board_.Device(), static_cast<uint32_t>(regAppletExtensionId), &extensionValue);
        }
    }
    layout_ = BuildDesignLayout(masterValue, extensionValue, board_.NrPorts());
}

// ---------------------------------------------------------------------------
// Steps of the discovery pipeline
// ---------------------------------------------------------------------------

int32_t CxpTopology::ScanTopology(uint32_t kept, uint32_t& nextMasterIndex) {
    tools::logging::Logger* logger = board_.GetLogger();
    ORVA_LOG(logger, LevelTrace, "Starting ScanTopology");
    const uint32_t nrPorts = board_.NrPorts();
    // Master ids in use by the cameras that keep their links.
    std::set<uint32_t> usedIds;
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((kept & PortBit(port)) != 0) {
            usedIds.insert(CameraIdOf(board_.Port(port).GetMasterId()));
        }
    }

    std::array<uint32_t, 32> connectionIds{};
    for (uint32_t port = 0; port < nrPorts; ++port) {
        CCxpPort& link = board_.Port(port);
        if ((kept & PortBit(port)) != 0 || !link.IsConnected()) {
            continue;
        }
        uint32_t id = 0;
        int32_t status = board_.ReadCameraWord(port, kDeviceConnectionId, id);
        if (status == TGX_OK && id == 0) {
            // A master link: give its camera the next free master id.
            while (nextMasterIndex < kMasterIdCount && usedIds.count(layout_.masterIds[nextMasterIndex] & 0xFF) != 0) {
                ++nextMasterIndex;
            }
            if (nextMasterIndex >= kMasterIdCount) {
                status = TGX_ERR_INTERNAL;
            } else {
                const uint32_t masterId = layout_.masterIds[nextMasterIndex++] & 0xFF;
                usedIds.insert(masterId);
                status = board_.WriteCameraWord(port, kMasterHostConnectionId,
                                                ((board_.BoardIndex() & 0xFF) << 8) | masterId);
            }
        }
        if (status != TGX_OK) {
            ORVA_LOG(logger, LevelError,
                     "Failed to set camera master id - Port: " << port << " Speed: " << link.GetLinkSpeed());
            link.ResetPortState();
            continue;
        }
        connectionIds[port] = id;
    }

    // Every link shows the value of its camera's master link: that is how
    // extension links find their master.
    for (uint32_t port = 0; port < nrPorts; ++port) {
        CCxpPort& link = board_.Port(port);
        if ((kept & PortBit(port)) != 0 || !link.IsConnected()) {
            continue;
        }
        uint32_t value = 0;
        if (board_.ReadCameraWord(port, kMasterHostConnectionId, value) == TGX_OK) {
            const uint32_t id = connectionIds[port];
            link.SetLinkRole(id != 0 ? core::kLinkIndexExtension : core::kLinkIndexMaster, ((value & 0xFF) << 16) + id);
        }
    }
    ORVA_LOG(logger, LevelTrace, "Ending ScanTopology");
    return TGX_OK;
}

int32_t CxpTopology::SaveCameraInfo(bool remap, uint32_t kept, uint32_t candidates, uint32_t& found) {
    ORVA_LOG(board_.GetLogger(), LevelTrace, "Starting SaveCameraInfo");
    const int32_t status = ConnectUnconnectedPorts(kept, candidates, found);
    if (status != TGX_OK) {
        return status;
    }
    if (remap) {
        MapPorts(kept);
    }
    const uint32_t nrPorts = board_.NrPorts();
    if (nrPorts > 1) {
        worker_.Pause(kWaitBeforeCameraInfoMs);
    }
    for (uint32_t port = 0; port < nrPorts; ++port) {
        CCxpPort& link = board_.Port(port);
        if ((kept & PortBit(port)) == 0 && link.IsConnected() && link.GetLinkIndex() == core::kLinkIndexMaster) {
            link.SaveCameraInfo();
        }
    }
    return TGX_OK;
}

int32_t CxpTopology::ConnectUnconnectedPorts(uint32_t kept, uint32_t candidates, uint32_t& found) {
    tools::logging::Logger* logger = board_.GetLogger();
    const uint32_t nrPorts = board_.NrPorts();
    const uint32_t waitAfterCameraConfigDone = board_.Tweaks().waitAfterCameraConfigDone;
    for (uint32_t port = 0; port < nrPorts; ++port) {
        CCxpPort& master = board_.Port(port);
        if ((kept & PortBit(port)) != 0 || !master.IsConnected() || master.GetLinkIndex() != core::kLinkIndexMaster) {
            continue;
        }
        const uint32_t cameraId = CameraIdOf(master.GetMasterId());
        const auto designMax = static_cast<uint32_t>(
            std::count_if(layout_.designPorts.begin(), layout_.designPorts.end(),
                          [cameraId](const DesignPort& entry) { return CameraIdOf(entry.key) == cameraId; }));
        const auto portMax = static_cast<uint32_t>(std::popcount(CameraGroup(port)));
        ORVA_LOG(logger, LevelTrace,
                 "ConnectUnconnectedPorts check Max DL conn: " << designMax << " Port Max conn: " << portMax);
        if (designMax <= portMax) {
            continue;
        }
        ORVA_LOG(logger, LevelInfo, "ConnectUnconnectedPorts Detect open port on: " << port);
        uint32_t word = 0;
        if (board_.ReadCameraWord(port, kConnectionConfigDefault, word) != TGX_OK) {
            continue;
        }
        const uint32_t cameraMax = DecodeConnectionConfigWord(word).links;
        ORVA_LOG(logger, LevelTrace,
                 "ConnectUnconnectedPorts camera allow more conn : " << designMax << " " << portMax << " "
                                                                     << cameraMax);
        if (cameraMax > designMax || cameraMax <= portMax) {
            continue;
        }
        ORVA_LOG(logger, LevelTrace, "ConnectUnconnectedPorts detect free conn : " << port);
        const uint32_t links = std::min(designMax, cameraMax);
        const uint32_t speed = master.GetLinkSpeed();
        const int32_t written = board_.WriteCameraWord(port, kConnectionConfig, ConnectionConfigWord(links, speed));
        ORVA_LOG(logger, LevelTrace, "ConnectUnconnectedPorts activate conn on : " << port << " status " << written);
        ORVA_LOG(logger, LevelDebug, "Wait " << waitAfterCameraConfigDone << " milliseconds");
        if (!worker_.Pause(waitAfterCameraConfigDone)) {
            break;
        }

        // The camera now drives more links: find them among the ports that
        // didn't lock, and take the ones that show this camera's master id.
        uint32_t hostId = 0;
        if (board_.ReadCameraWord(port, kMasterHostConnectionId, hostId) != TGX_OK) {
            continue;
        }
        for (uint32_t added = portMax; added < links; ++added) {
            bool joined = false;
            for (uint32_t other = 0; other < nrPorts && !joined; ++other) {
                CCxpPort& link = board_.Port(other);
                if ((candidates & PortBit(other)) == 0 || link.IsConnected()) {
                    continue;
                }
                bool changed = false;
                link.SetUplinkSpeed(speed, changed);
                if (link.LockLinksAtSpeed(speed) != TGX_OK) {
                    continue;
                }
                candidates &= ~PortBit(other);
                uint32_t id = 0;
                uint32_t value = 0;
                if (board_.ReadCameraWord(other, kDeviceConnectionId, id) == TGX_OK && id != 0 &&
                    board_.ReadCameraWord(other, kMasterHostConnectionId, value) == TGX_OK && value == hostId) {
                    link.SetLinkRole(core::kLinkIndexExtension, (cameraId << 16) + id);
                    found |= PortBit(other);
                    joined = true;
                } else {
                    // Another camera's link: it is found by the next scan.
                    link.ResetPortState();
                }
            }
            if (!joined) {
                break;
            }
        }
    }
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if (board_.Port(port).IsConnected()) {
            return TGX_OK;
        }
    }
    return TGX_ERR_INVALID_PORT;
}

int32_t CxpTopology::MapPorts(uint32_t kept) {
    tools::logging::Logger* logger = board_.GetLogger();
    const uint32_t nrPorts = board_.NrPorts();
    std::vector<core::SelectorPair> pairs;
    std::vector<bool> taken(layout_.designPorts.size(), false);
    // The kept links stay where they are.
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((kept & PortBit(port)) != 0) {
            const uint32_t designPort = board_.Port(port).GetAppletPort();
            pairs.push_back({designPort, port});
            if (designPort < taken.size()) {
                taken[designPort] = true;
            }
        }
    }
    for (uint32_t port = 0; port < nrPorts; ++port) {
        CCxpPort& link = board_.Port(port);
        if ((kept & PortBit(port)) != 0 || !link.IsConnected()) {
            continue;
        }
        const uint32_t key = link.GetMasterId();
        bool mapped = false;
        for (const DesignPort& entry : layout_.designPorts) {
            if (entry.key == key && !taken[entry.designPort]) {
                taken[entry.designPort] = true;
                pairs.push_back({entry.designPort, port});
                link.SetAppletMasterId(entry.key);
                ORVA_LOG(logger, LevelTrace, "Found map port: " << port << " To DL Port " << entry.designPort);
                mapped = true;
                break;
            }
        }
        if (!mapped) {
            // The design has no place for this link.
            ORVA_LOG(logger, LevelTrace, "Found map port notconnected: " << port << " Logical port ID: " << Hex(key));
            link.ResetPortState();
        }
    }
    const uint64_t selector = core::ComputeSelector(pairs);
    ORVA_LOG(logger, LevelTrace, "New Selector: " << Hex(selector));
    ApplySelector(selector, kept);
    return TGX_OK;
}

void CxpTopology::ApplySelector(uint64_t selector, uint32_t kept) {
    const uint32_t nrPorts = board_.NrPorts();
    const uint32_t held = board_.AllPortsMask() & ~kept;
    // Bound to their new design ports first, the held ports can't hold the
    // acknowledge receiver of a design port that a kept link uses.
    RebindPorts(held, selector);
    std::array<uint32_t, 32> saved{};
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((held & PortBit(port)) != 0) {
            saved[port] = board_.Port(port).GetCoreResetValue();
            board_.Port(port).SetCoreReset(kCoreResetHold);
        }
    }
    SetDiscoverySelector(selector);
    // A design that can't be told a selector keeps its own: bind by that.
    const uint64_t inForce = GetDiscoverySelector();
    if (inForce != selector && inForce != core::kUnknownSelector) {
        RebindPorts(held, inForce);
    }
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((held & PortBit(port)) != 0) {
            board_.Port(port).SetCoreReset(saved[port]);
        }
    }
}

void CxpTopology::RebindPorts(uint32_t mask, uint64_t selector) {
    const uint32_t nrPorts = board_.NrPorts();
    for (uint32_t port = 0; port < nrPorts; ++port) {
        if ((mask & PortBit(port)) == 0) {
            continue;
        }
        uint32_t designPort = core::DesignPortOfPhysical(selector, port);
        if (designPort >= nrPorts) {
            designPort = port;
        }
        CCxpPort& link = board_.Port(port);
        if (designPort != link.GetAppletPort()) {
            link.SetAppletPort(designPort);
            link.BindPortRegisters(designPort);
        }
    }
}

int32_t CxpTopology::SetFinalLinkConfig(uint32_t kept) {
    tools::logging::Logger* logger = board_.GetLogger();
    ORVA_LOG(logger, LevelTrace, "Starting SetFinalLinkConfig");
    const uint32_t nrPorts = board_.NrPorts();
    const CxpControllerTweaks& tweaks = board_.Tweaks();
    for (uint32_t port = 0; port < nrPorts && !worker_.StopRequested(); ++port) {
        CCxpPort& master = board_.Port(port);
        if ((kept & PortBit(port)) != 0 || !master.IsConnected() || master.GetLinkIndex() != core::kLinkIndexMaster) {
            continue;
        }
        uint32_t word = 0;
        if (board_.ReadCameraWord(port, kConnectionConfigDefault, word) != TGX_OK) {
            continue;
        }
        const ConnectionConfig defaults = DecodeConnectionConfigWord(word);
        const uint32_t current = master.GetLinkSpeed();
        // A default speed the table doesn't know counts as the one found.
        const uint32_t defaultSpeed = defaults.speed != 0 ? defaults.speed : current;
        const uint32_t target = std::max(current, defaultSpeed);
        const uint32_t group = CameraGroup(port);
        const auto count = static_cast<uint32_t>(std::popcount(group));
        if (current == defaultSpeed && defaults.links == count) {
            continue;
        }
        board_.WriteCameraWord(port, kConnectionConfig, ConnectionConfigWord(count, target));
        SetUplinkSpeedOnMask(group, target, nullptr);
        ORVA_LOG(logger, LevelDebug, "Wait " << tweaks.waitAfterCameraConfigDone << " milliseconds");
        worker_.Pause(tweaks.waitAfterCameraConfigDone);
        uint32_t locked = 0;
        LockGroupAtSpeed(group, target, locked);
        if (locked == group) {
            continue;
        }
        // Back to the lower of the two; the camera keeps the word it got.
        const uint32_t low = std::min(current, defaultSpeed);
        uint32_t changed = 0;
        SetUplinkSpeedOnMask(group, low, &changed);
        if (changed != 0) {
            ORVA_LOG(logger, LevelDebug, "Waiting " << tweaks.waitAfterUplinkSpeedReset << " milliseconds");
            worker_.Pause(tweaks.waitAfterUplinkSpeedReset);
        }
        locked = 0;
        LockGroupAtSpeed(group, low, locked);
        // The camera stays with the links that locked; the others have no
        // link to offer and are tried again at the next scan.
        for (uint32_t other = 0; other < nrPorts; ++other) {
            if ((group & ~locked & PortBit(other)) != 0) {
                ORVA_LOG(logger, LevelWarning,
                         "Port " << other << " locked neither at " << target << " nor at " << low);
                board_.Port(other).ResetPortState();
            }
        }
    }
    ORVA_LOG(logger, LevelTrace, "Ending SetFinalLinkConfig");
    return TGX_OK;
}

// ---------------------------------------------------------------------------
// Link groups
// ---------------------------------------------------------------------------

uint32_t CxpTopology::CameraGroup(uint32_t port) {
    const uint32_t cameraId = CameraIdOf(board_.Port(port).GetMasterId());
    uint32_t group = 0;
    for (uint32_t other = 0; other < board_.NrPorts(); ++other) {
        CCxpPort& link = board_.Port(other);
        if (link.IsConnected() && link.GetMasterId() != CCxpPort::kUnknown &&
            CameraIdOf(link.GetMasterId()) == cameraId) {
            group |= PortBit(other);
        }
    }
    return group;
}

void CxpTopology::SetUplinkSpeedOnMask(uint32_t portMask, uint32_t speed, uint32_t* changedMask) {
    for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
        if ((portMask & PortBit(port)) == 0) {
            continue;
        }
        bool changed = false;
        board_.Port(port).SetUplinkSpeed(speed, changed);
        if (changed && changedMask != nullptr) {
            *changedMask |= PortBit(port);
        }
    }
}

void CxpTopology::LockGroupAtSpeed(uint32_t portMask, uint32_t speed, uint32_t& lockedMask) {
    for (uint32_t port = 0; port < board_.NrPorts(); ++port) {
        if ((portMask & PortBit(port)) != 0 && board_.Port(port).LockLinksAtSpeed(speed) == TGX_OK) {
            lockedMask |= PortBit(port);
        }
    }
}

int32_t CxpTopology::SetPortConnectionConfig(uint32_t portIndex, uint32_t config) {
    if (portIndex >= board_.NrPorts() || board_.Port(portIndex).GetLinkIndex() != core::kLinkIndexMaster) {
        return TGX_ERR_INVALID_PORT;
    }
    ConnectionConfig wanted = DecodeLinkConfigProperty(config);
    const uint32_t group = CameraGroup(portIndex);
    if (wanted.speed == 0 || wanted.links == 0) {
        uint32_t word = 0;
        const int32_t status = board_.ReadCameraWord(portIndex, kConnectionConfig, word);
        if (status != TGX_OK) {
            return status;
        }
        const ConnectionConfig current = DecodeConnectionConfigWord(word);
        if (wanted.speed == 0) {
            wanted.speed = current.speed;
        }
        if (wanted.links == 0) {
            wanted.links = current.links;
        }
    }
    if (SpeedCode(wanted.speed) == 0) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    const int32_t written =
        board_.WriteCameraWord(portIndex, kConnectionConfig, ConnectionConfigWord(wanted.links, wanted.speed));
    if (written != TGX_OK) {
        return written;
    }
    SetUplinkSpeedOnMask(group, wanted.speed, nullptr);
    const uint32_t wait = board_.Tweaks().waitAfterCameraConfigDone;
    ORVA_LOG(board_.GetLogger(), LevelDebug, "Waiting " << wait << " milliseconds");
    worker_.Pause(wait);
    uint32_t locked = 0;
    LockGroupAtSpeed(group, wanted.speed, locked);
    return locked == group ? TGX_OK : TGX_ERR_INVALID_LINK_SPEED;
}

// ---------------------------------------------------------------------------
// The discovery selector
// ---------------------------------------------------------------------------

int32_t CxpTopology::SetDiscoverySelector(uint64_t selector) {
    if (board_.GtxIf() == CCxpPort::kGtxIfQueue) {
        return board::OHalCameraCtrlSetPortMap(board_.Device(), static_cast<uint32_t>(selector),
                                               static_cast<uint32_t>(selector >> 32));
    }
    if (regDiscoverySelectWrite_ <= 0 || regDiscoverySelectRead_ <= 0) {
        ORVA_LOG(board_.GetLogger(), LevelDebug, "No Discovery Select interface");
        return TGX_OK;
    }
    templates::platform::InterProcessLockGuard guard(board_.controllerLock.get());
    if (!board_.Facts().discoverySelectRegisters) {
        ORVA_LOG(board_.GetLogger(), LevelDebug, "Board Type not supported");
        return TGX_ERR_INTERNAL;
    }
    uint64_t current = 0;
    board::OHalRegisterRead(board_.Device(), static_cast<uint32_t>(regDiscoverySelectRead_), &current);
    if (current != selector) {
        board::OHalRegisterWrite(board_.Device(), static_cast<uint32_t>(regDiscoverySelectWrite_), selector);
    }
    return TGX_OK;
}

uint64_t CxpTopology::GetDiscoverySelector() {
    templates::platform::InterProcessLockGuard guard(board_.controllerLock.get());
    uint64_t value = 0;
    if (regDiscoverySelectRead_ > 0) {
        if (board::OHalRegisterRead(board_.Device(), static_cast<uint32_t>(regDiscoverySelectRead_), &value) < 0) {
            return core::kUnknownSelector;
        }
        return value;
    }
    const uint32_t nrPorts = board_.NrPorts();
    if (regDiscoveryConfig_ > 0 && (nrPorts == 2 || nrPorts == 4)) {
        if (board::OHalRegisterRead(board_.Device(), static_cast<uint32_t>(regDiscoveryConfig_), &value) < 0) {
            return core::kUnknownSelector;
        }
        return SelectorOfDiscoveryConfig(nrPorts, value);
    }
    return core::kIdentitySelector;
}

} // namespace orva::cxp
