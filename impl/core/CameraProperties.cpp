#include "impl/core/CameraProperties.h"

#include <array>

#include "impl/core/CCameraInterface.h"

namespace orva::core {

namespace {

constexpr uint32_t kLinkSpeedMask = 0xFFFFFF;
constexpr uint32_t kNrOfLinksMask = 0xF;
constexpr uint32_t kNrOfLinksShift = 24;

uint32_t AsUnsigned(int32_t value) {
    return static_cast<uint32_t>(value);
}

uint32_t AsFlag(bool value) {
    return value ? 1U : 0U;
}

IPortInterface& PortOf(CCameraInterface& camera) {
    return *camera.GetPort();
}

constexpr std::array kGetRows = {
    CameraGetRow{CAM_PROP_STREAMPACKET_SIZE_S, false,
                 [](CCameraInterface& c, uint32_t) { return PortOf(c).GetStreamPacketSize(); }},
    CameraGetRow{"CONTROLPACKETSIZE", false,
                 [](CCameraInterface& c, uint32_t) { return PortOf(c).GetControlPacketSize(); }},
    CameraGetRow{CAM_PROP_LINKSPEED_S, false, [](CCameraInterface& c, uint32_t) { return PortOf(c).GetLinkSpeed(); }},
    CameraGetRow{"DISCOVERYSPEED", false, [](CCameraInterface& c, uint32_t) { return c.GetDiscoverySpeed(); }},
    CameraGetRow{CAM_PROP_ISCONNECTED_S, false,
                 [](CCameraInterface& c, uint32_t) { return AsFlag(PortOf(c).IsConnected()); }},
    CameraGetRow{"MASTERPORT", false, [](CCameraInterface& c, uint32_t) { return PortOf(c).GetPortNumber(); }},
    CameraGetRow{CAM_PROP_MASTERID_S, false,
                 [](CCameraInterface& c, uint32_t) { return PortOf(c).GetMasterId() >> 16; }},
    CameraGetRow{"APPLETMASTERID", true,
                 [](CCameraInterface& c, uint32_t l) { return AsUnsigned(c.GetLink(l).appletMasterId); }},
    CameraGetRow{CAM_PROP_NROFLINKS_S, false, [](CCameraInterface& c, uint32_t) { return c.GetNrOfLinks(); }},
    CameraGetRow{"ISGENICAMCONNECTED", false,
                 [](CCameraInterface& c, uint32_t) { return AsFlag(PortOf(c).IsConnected()); }},
    CameraGetRow{CAM_PROP_MASTERLINK_S, true, [](CCameraInterface&, uint32_t l) { return AsFlag(l == 0); }},
    CameraGetRow{"EXTENSIONLINK", true, [](CCameraInterface&, uint32_t l) { return AsFlag(l != 0); }},
    CameraGetRow{CAM_PROP_FGPORT_S, true,
                 [](CCameraInterface& c, uint32_t l) { return AsUnsigned(c.GetLink(l).fgPort); }},
    CameraGetRow{CAM_PROP_APPLETPORT_S, true,
                 [](CCameraInterface& c, uint32_t l) { return AsUnsigned(c.GetLink(l).appletPort); }},
    CameraGetRow{"APPLETLINKORDERINDEX", true,
                 [](CCameraInterface& c, uint32_t l) { return AsUnsigned(c.GetLink(l).appletLinkOrderIndex); }},
    CameraGetRow{"ISTRANSCEIVERLOCKED", false,
                 [](CCameraInterface& c, uint32_t) { return AsFlag(PortOf(c).IsTransceiverLocked()); }},
};

// The speed lies in the low 24 bits of a link configuration word, the
// number of links in bits 24 to 27.
constexpr std::array kSetRows = {
    CameraSetRow{"LINKCONFIG", [](uint32_t v) { return v; }},
    CameraSetRow{CAM_PROP_LINKSPEED_S, [](uint32_t v) { return v & kLinkSpeedMask; }},
    CameraSetRow{CAM_PROP_NROFLINKS_S, [](uint32_t v) { return (v & kNrOfLinksMask) << kNrOfLinksShift; }},
};

} // namespace

std::span<const CameraGetRow> CameraGetProperties() {
    return kGetRows;
}

std::span<const CameraSetRow> CameraSetProperties() {
    return kSetRows;
}

} // namespace orva::core
