// Thresholds per logger name, from a text such as "orva.genicam.lib=1,orva.*=debug,*=4".
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orva::logging::dispatcher {

inline constexpr uint32_t kLevelTrace = 1;
inline constexpr uint32_t kLevelDebug = 2;
inline constexpr uint32_t kLevelInfo = 3;
inline constexpr uint32_t kLevelWarning = 4;
inline constexpr uint32_t kLevelError = 5;
inline constexpr uint32_t kLevelCritical = 6;
inline constexpr uint32_t kLevelOff = 7;

// The library runs inside someone else's application: unless the user asks
// for more, only errors reach the output.
inline constexpr uint32_t kDefaultThreshold = kLevelError;

class LevelRules {
public:
    struct ParseResult;

    // Items are separated by commas; each is `pattern=level`. A pattern is an
    // exact name, a prefix followed by '*', or '*' alone. Levels are 1..7 or
    // trace, debug, info, warning (warn), error, off, in any case. Blanks
    // around items, patterns and levels are ignored, and so are empty items.
    // Malformed items are skipped and reported in ParseResult::malformed.
    static ParseResult Parse(std::string_view text);

    // An exact name beats every prefix; among prefixes the longest one wins;
    // '*' is the empty prefix. Without a match: kDefaultThreshold.
    uint32_t thresholdFor(std::string_view name) const;

private:
    std::map<std::string, uint32_t, std::less<>> exact_;
    std::map<std::string, uint32_t, std::less<>> prefixes_;
};

struct LevelRules::ParseResult {
    LevelRules rules;
    std::vector<std::string> malformed;
};

} // namespace orva::logging::dispatcher
