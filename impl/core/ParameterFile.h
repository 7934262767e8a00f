// The camera parameter dump: a text file of a camera's feature values, one
// "name=value" line per feature, comments behind "#". Read-only values stand
// in it as comments, so that a load leaves them alone.
#pragma once

#include <iosfwd>

#include "core/genapi/NodeMap.h"

namespace orva::core {

inline constexpr const char* kParameterDumpHeader = "# --- GenICam parameter dump";

// Writes every feature under "Root". False without a node map or if the
// stream fails; a feature that can't be read becomes a comment line.
bool DumpParameters(std::ostream& out, genapi::NodeMap* map);

// Applies the value lines. With `stopOnError` the first line that can't be
// applied ends the load with false (the lines before it stay applied);
// without it such lines are passed over.
bool LoadParameters(std::istream& in, genapi::NodeMap* map, bool stopOnError);

} // namespace orva::core
