// The camera properties, one row each: the names that appear in messages,
// and the tables CCameraInterface answers from. All values are unsigned
// 32-bit.
#pragma once

#include <cstdint>
#include <span>

namespace orva::core {

class CCameraInterface;

inline constexpr const char* CAM_PROP_ISCONNECTED_S = "CONNECTED";
inline constexpr const char* CAM_PROP_STREAMPACKET_SIZE_S = "STREAMPACKETSIZE";
inline constexpr const char* CAM_PROP_LINKSPEED_S = "LINKSPEED";
inline constexpr const char* CAM_PROP_NROFLINKS_S = "NROFLINKS";
inline constexpr const char* CAM_PROP_MASTERID_S = "MASTERID";
inline constexpr const char* CAM_PROP_FGPORT_S = "FGPORT";
inline constexpr const char* CAM_PROP_APPLETPORT_S = "APPLETPORT";
inline constexpr const char* CAM_PROP_MASTERLINK_S = "MASTERLINK";

// A property to get: whether it reads the link record that `extra` names,
// and how. The camera has a port when `read` is called.
struct CameraGetRow {
    const char* name;
    bool perLink;
    uint32_t (*read)(CCameraInterface& camera, uint32_t link);
};

// A property to set. All end in the controller's "LinkConfig" for the
// camera's port; `toLinkConfig` makes its value from the caller's.
struct CameraSetRow {
    const char* name;
    uint32_t (*toLinkConfig)(uint32_t value);
};

std::span<const CameraGetRow> CameraGetProperties();
std::span<const CameraSetRow> CameraSetProperties();

} // namespace orva::core
