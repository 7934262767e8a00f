// Names of the camera properties that appear in messages.
#pragma once

namespace orva::core {

inline constexpr const char* CAM_PROP_ISCONNECTED_S = "CONNECTED";
inline constexpr const char* CAM_PROP_STREAMPACKET_SIZE_S = "STREAMPACKETSIZE";
inline constexpr const char* CAM_PROP_LINKSPEED_S = "LINKSPEED";
inline constexpr const char* CAM_PROP_NROFLINKS_S = "NROFLINKS";
inline constexpr const char* CAM_PROP_MASTERID_S = "MASTERID";
inline constexpr const char* CAM_PROP_FGPORT_S = "FGPORT";
inline constexpr const char* CAM_PROP_APPLETPORT_S = "APPLETPORT";
inline constexpr const char* CAM_PROP_MASTERLINK_S = "MASTERLINK";

// The controller's board property that takes a camera's link configuration:
// speed in the low 24 bits, number of links in bits 24 to 27.
inline constexpr const char* kLinkConfigProperty = "LinkConfig";

} // namespace orva::core
