// The GenICam environment of the process around a camera connection.
//
// GenICam libraries take their root, XML cache and log configuration from
// GENICAM_ROOT, GENICAM_CACHE_V3_1 and GENICAM_LOG_CONFIG_V3_1, and must be
// found through PATH. A connect puts ours in place; a disconnect puts the
// application's own values back, so that its GenICam settings survive.
//
// Thread-safe: a whole set or restore runs at a time, and each access to the
// environment takes the library's environment lock (Environment.h). Code
// outside the library that reads or changes the environment at the same time
// isn't covered.
#pragma once

#include <string>
#include <vector>

namespace orva::core::genapi {

inline constexpr const char* kGenICamManagerLoggerName = "orva.core.GenICamManager";

// The folder of this platform's build of the GenICam libraries, below
// "<root>/bin/": "Linux64_x64", "Linux64_ARM", ...
const char* GenICamPlatformFolder();

// set true: on the first call, saves the values of GENICAM_ROOT,
// GENICAM_CACHE_V3_1 and GENICAM_LOG_CONFIG_V3_1 into `savedEnvironment`
// (three entries, empty for an unset variable; a later call keeps them);
// then sets the three variables, each to its ORVA_-prefixed override if that
// is set and else to the default below, and puts the library folder
// "<root>/bin/<GenICamPlatformFolder()>" at the head of PATH unless it stands
// there already. Each step logs a line at level 3.
//
//   GENICAM_ROOT             <installation>/genicam
//   GENICAM_CACHE_V3_1       <user's cache folder>/GenICam/xml/cache, that is
//                            $XDG_CACHE_HOME or $HOME/.cache; without either
//                            <installation>/genicam
//   GENICAM_LOG_CONFIG_V3_1  <installation>/genicam/log/config/OrvaLogging.properties
//
// set false: if `savedEnvironment` holds the three entries, puts back each
// one that isn't empty. A variable that was unset before keeps our value,
// and PATH keeps its head.
void SetGenICamEnvironment(std::vector<std::string>& savedEnvironment, bool set);

} // namespace orva::core::genapi
