#include "runtime/templates/TweakTable.h"

namespace orva::templates::platform {

namespace {

// Wait times and timeouts (keys with Wait, Timeout, Delay) are milliseconds.
// Every program of the runtime reads its own rows; the defaults hold for all.
// clang-format off
constexpr TweakRow kRows[] = {
    // Packet capture of the GigE Vision path.
    {"Global::EnablePCAP", "ORVA_ENABLE_PCAP", "pcap", "Off"},
    // Size limit of a capture file.
    {"Global::PCAPFileSizeLimit", "ORVA_PCAP_FILESIZELIMIT", "pcaplimit", "0"},
    {"Global::EnableReconfig", "ORVA_ENABLE_RECONFIGURATION", "", "On"},
    {"Global::OverrideQtLibraryPaths", "ORVA_OVERRIDE_QT_LIBRARYPATHS", "", "On"},
    {"Global::GuiConsoleFont", "ORVA_GUI_CONSOLE_FONT", "", "consolas"},
    {"Global::GuiConsoleFontSize", "ORVA_GUI_CONSOLE_FONT_SIZE", "", "0"},
    {"Global::GsReconfigurationTimeout", "ORVA_GS_RECONFIGURATION_TIMEOUT", "", "7500"},
    {"Global::CheckForUpdates", "ORVA_CHECK_FOR_UPDATES", "", "On"},
    {"Global::ShowUpdateMessageOnStartup", "ORVA_SHOW_UPDATE_MESSAGE", "", "On"},
    {"GB::EnableNUMASupport", "ORVA_ENABLE_NUMA_SUPPORT", "", "Off"},
    {"GB::UnloadFPGAOnFree", "ORVA_UNLOAD_ON_FREE", "", "Off"},
    {"GB::EnableLogging", "ORVA_ENABLE_LOGGING", "", "Off"},
    {"GB::LoadParametersNumRetries", "", "", "3"},
    {"GB::bX4EnableTurboDma", "ORVA_BX4_ENABLE_TURBO_DMA", "", "Off"},
    {"GB::ParamSyncServerAddress", "ORVA_PARAM_SYNC_SERVER_ADDRESS", "", ""},
    {"GB::ParamSyncServerPort", "ORVA_PARAM_SYNC_SERVER_PORT", "", "10000"},
    {"GB::ParamSyncClientAddress", "ORVA_PARAM_SYNC_CLIENT_ADDRESS", "", ""},
    {"GIGE::StreamChannelUdpDestinationPort", "ORVA_GIGE_STREAMCHANNEL_UDP_DESTINATION_PORT", "", "0"},
    {"GIGE::ServiceUdpSourcePort", "ORVA_GIGE_SERVICE_UDP_SOURCE_PORT", "", "0"},
    {"GIGE::CableDiagnosticTimeout", "ORVA_GIGE_CABLEDIAGNOSTIC_TIMEOUT", "", "4000"},
    // Port mask: bit n for port n.
    {"GIGE::DriverClassPortMask", "ORVA_GIGE_DRIVER_CLASS_PORT_MASK", "", "0"},
    {"TGX::SyncMonitorInitialWaitInMs", "ORVA_TGX_SYNC_MONITOR_INITIAL_WAIT_IN_MS", "", "2000"},
    // Wait for the acknowledge of a control packet.
    {"CXP::CommandAckTimeout", "ORVA_CXP_COMMAND_ACK_TIMEOUT", "", "500"},
    {"CXP::WaitAfterLinkResetOnEachPort", "ORVA_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT", "", "0"},
    {"CXP::WaitAfterLinkResetDone", "ORVA_CXP_WAIT_AFTER_LINK_RESET_DONE", "", "200"},
    {"CXP::WaitAfterLinkLockFound", "ORVA_CXP_WAIT_AFTER_LINK_LOCK_FOUND", "", "0"},
    {"CXP::WaitAfterCameraConfigDone", "ORVA_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED", "", "200"},
    {"CXP::WaitAfterUplinkSpeedReset", "ORVA_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", "", "1500"},
    {"CXP::WaitAfterPowerup", "ORVA_CXP_WAIT_AFTER_POWERUP", "", "100"},
    {"CXP::WaitAfterPowerdown", "ORVA_CXP_WAIT_AFTER_POWERDOWN", "", "100"},
    {"CXP::ReceiveAckPacketOnLinkConfig", "ORVA_CXP_RECEIVE_ACK_PACKET_AFTER_CAMERA_CONFIG_CHANGED", "", "Off"},
    {"CXP::SkipRegisterCheckOnLinkConfig", "ORVA_CXP_SKIP_REGISTER_CHECK_AFTER_LINK_LOCK_FOUND", "", "Off"},
    {"CXP::DisablePowerOverCxp", "ORVA_CXP_DISABLE_POWER_OVER_CXP", "disablePoCXP", "Off"},
    {"CXP::InitialPowercycle", "ORVA_CXP_INIT_POWERCYCLE", "cxppower", "Off"},
    {"CXP::UseConnectionConfigDefault", "ORVA_CXP_USE_CONNECTION_CONFIG_DEFAULT", "", "Off"},
    // Bytes per control packet.
    {"CXP::MaxControlPacketSize", "ORVA_CXP_MAX_CONTROL_PACKET_SIZE", "", "512"},
    {"CXP::EnableCxp2Extensions", "ORVA_CXP_ENABLE_CXP2_EXTENSIONS", "", "On"},
    {"CXP::NumResetAttemptsOnPortTrip", "ORVA_CXP_NUM_RESET_ATTEMPTS_ON_PORT_TRIP", "", "3"},
    {"CXP::WaitAfterTripReset", "ORVA_CXP_WAIT_AFTER_TRIP_RESET", "", "1500"},
    {"CXP::ToleratedNITErrorsPerPollingInterval", "ORVA_CXP_TOLERATED_NIT_ERRS_PER_INTERVAL", "", "5"},
    {"CXP::ToleratedPollingIntervalsOverNITErrorThreshold", "ORVA_CXP_TOLERATED_INTERVALS_OVER_NIT_ERR_THRESH", "", "30"},
    // Period of the controller worker.
    {"CXP::ReadyThreadSleepTimeMs", "ORVA_CXP_READY_THREAD_SLEEP_TIME_MS", "", "5"},
    {"AuxPort::LockPorts", "ORVA_AUXPORT_LOCK_PORTS", "", "On"},
    {"AuxPort::EnableJtagMsbBugfix", "ORVA_AUXPORT_ENABLE_JTAG_BUGFIX", "", "On"},
    {"HW::Logging", "ORVA_HW_LOGGING", "", "0"},
    {"HW::EnableSpiCache", "ORVA_ENABLE_SPICACHE", "", "On"},
    {"HW::ReportExtendedBoardType", "ORVA_REPORT_EXTENDED_BOARDTYPE", "", "On"},
    {"DSGRT::RemoveTempDir", "ORVA_REMOVE_TEMP_DSG_DIR", "", "On"},
    {"ViewTool::CxpPowerThreshold", "ORVA_VIEWTOOL_CXP_POWER_THRESHOLD", "", "100"},
    {"DiagTool::LogDir", "ORVA_DIAGTOOL_LOGDIR", "", ""},
    {"GenTL::LastLoadedApplets", "", "", ""},
    {"GenTL::OverwriteInputFormat", "", "", "Off"},
    {"Internal::EnableDRA", "ORVA_ENABLE_DRA", "", "Off"},
    {"Internal::EnableDDLA", "ORVA_ENABLE_DDLA", "", "Off"},
    {"Internal::LogRecursive", "ORVA_LOG_RECURSIVE", "", "Off"},
    {"Internal::LogAppletMessages", "ORVA_LOG_APPLET_MESSAGES", "", "Off"},
    {"Internal::EnableSafetyPartitionAccess", "ORVA_ENABLE_SAFETY_PARTITION_ACCESS", "", "Off"},
    {"Internal::ForceExternalRuntimeModules", "ORVA_FORCE_EXTERNAL_RUNTIMEMODULES", "", "Off"},
    {"Internal::CXPPowercycleTestRuns", "", "", "1"},
    {"Internal::CXPPowercycleTestDelay", "", "", "20"},
    {"Internal::CXPNummberofFrameGrabble", "", "", "10"},
    {"Internal::CXPNoOftimesResetPort", "", "", "1"},
    {"Internal::NumberOfTestPacketsToSend", "", "", "10000"},
    {"Internal::NumberOfTimesToRun", "", "", "10"},
    {"Internal::ArduinoPort", "ORVA_HWTEST_TRIGGERGENERATOR_PORT", "", "COM4"},
    {"Internal::ForceReloadApplet", "ORVA_FORCE_RELOAD_APPLET", "", "Off"},
    {nullptr, "", "", ""},
};
// clang-format on

} // namespace

const TweakRow* TweakTable::Rows() {
    return kRows;
}

std::size_t TweakTable::Count() {
    return sizeof(kRows) / sizeof(kRows[0]) - 1;
}

} // namespace orva::templates::platform
