#pragma once

#include <string>

namespace orva::templates::platform {

// The runtime's installation directory: the directory that holds the "bin",
// "lib", "lib64", "dll" or "Hardware Applets" directory this library was
// loaded from (nearest to the file wins, compared without regard to case),
// else the variable ORVADIR5_32, else ORVADIR5, without trailing '/'.
//
// Returns a process-wide text that lives until the process ends, or null if
// no directory is found; in that case the next call looks again. Thread-safe.
const char* FindInstallationDirectory();

// The directory-name walk of FindInstallationDirectory on a module path
// ('/' separators, runs of them count as one). "" if no directory matches;
// "/" if the match sits directly below the root.
std::string InstallationDirectoryFromModulePath(const std::string& modulePath);

} // namespace orva::templates::platform
