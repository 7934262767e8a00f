#include "ProcessIdentity.h"

#include <fstream>
#include <sstream>
#include <string>

namespace orva::sim {

uint64_t processStartTime(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!in || !std::getline(in, line)) {
        return 0;
    }
    // The command name in parentheses may hold blanks and parentheses itself.
    const auto close = line.rfind(')');
    if (close == std::string::npos) {
        return 0;
    }
    std::istringstream fields(line.substr(close + 1));
    std::string state;
    fields >> state;
    if (state == "Z" || state == "X" || state == "x") {
        return 0;
    }
    // After the state come 18 fields before the start time (field 22).
    std::string skipped;
    for (int i = 0; i < 18; ++i) {
        fields >> skipped;
    }
    uint64_t start = 0;
    fields >> start;
    return fields ? start : 0;
}

} // namespace orva::sim
