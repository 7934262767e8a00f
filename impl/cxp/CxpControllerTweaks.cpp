#include "impl/cxp/CxpControllerTweaks.h"

#include <string>

#include "impl/core/TweakValue.h"
#include "runtime/logging/LogMessage.h"

namespace orva::cxp {

namespace {

using tools::logging::LevelInfo;

// "Using ORVA_CXP_...   (ms) = value", the names in one column.
std::string KeyLine(const char* variable, bool milliseconds, uint64_t value) {
    return core::TweakLine(variable, milliseconds ? "(ms) = " : "     = ", value);
}

} // namespace

CxpControllerTweaks CxpControllerTweaks::Read(tools::logging::Logger* logger) {
    CxpControllerTweaks tweaks;
    struct Row {
        const char* key;
        const char* variable;
        bool milliseconds;
        uint32_t* field;
    };
    const Row rows[] = {
        {"CXP::WaitAfterLinkResetOnEachPort", "ORVA_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT", true,
         &tweaks.waitAfterLinkResetOnEachPort},
        {"CXP::WaitAfterLinkResetDone", "ORVA_CXP_WAIT_AFTER_LINK_RESET_DONE", true, &tweaks.waitAfterLinkResetDone},
        {"CXP::WaitAfterCameraConfigDone", "ORVA_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED", true,
         &tweaks.waitAfterCameraConfigDone},
        {"CXP::WaitAfterUplinkSpeedReset", "ORVA_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", true,
         &tweaks.waitAfterUplinkSpeedReset},
        {"CXP::WaitAfterPowerup", "ORVA_CXP_WAIT_AFTER_POWERUP", true, &tweaks.waitAfterPowerup},
        {"CXP::WaitAfterPowerdown", "ORVA_CXP_WAIT_AFTER_POWERDOWN", true, &tweaks.waitAfterPowerdown},
        {"CXP::NumResetAttemptsOnPortTrip", "ORVA_CXP_NUM_RESET_ATTEMPTS_ON_PORT_TRIP", false,
         &tweaks.numResetAttemptsOnPortTrip},
        {"CXP::WaitAfterTripReset", "ORVA_CXP_WAIT_AFTER_TRIP_RESET", true, &tweaks.waitAfterTripReset},
        {"CXP::ReadyThreadSleepTimeMs", "ORVA_CXP_READY_THREAD_SLEEP_TIME_MS", true, &tweaks.workerPeriodMs},
    };
    for (const Row& row : rows) {
        *row.field = core::TweakOr<uint32_t>(row.key, *row.field);
        ORVA_LOG(logger, LevelInfo, KeyLine(row.variable, row.milliseconds, *row.field));
    }
    tweaks.disablePowerOverCxp = core::TweakOr<bool>("CXP::DisablePowerOverCxp", false);
    ORVA_LOG(logger, LevelInfo, KeyLine("ORVA_CXP_DISABLE_POWER_OVER_CXP", false, tweaks.disablePowerOverCxp ? 1 : 0));
    // Read for the record only: nothing here depends on them.
    const bool useDefault = core::TweakOr<bool>("CXP::UseConnectionConfigDefault", false);
    ORVA_LOG(logger, LevelInfo, KeyLine("ORVA_CXP_USE_CONNECTION_CONFIG_DEFAULT", false, useDefault ? 1 : 0));
    const bool receiveAck = core::TweakOr<bool>("CXP::ReceiveAckPacketOnLinkConfig", false);
    ORVA_LOG(logger, LevelInfo,
             KeyLine("ORVA_CXP_RECEIVE_ACK_PACKET_AFTER_CAMERA_CONFIG_CHANGED", false, receiveAck ? 1 : 0));
    return tweaks;
}

} // namespace orva::cxp
