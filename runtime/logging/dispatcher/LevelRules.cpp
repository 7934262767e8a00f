#include "LevelRules.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>
#include <utility>

namespace orva::logging::dispatcher {
namespace {

std::string_view Trim(std::string_view text) {
    const auto isBlank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

std::optional<uint32_t> ParseLevel(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, uint32_t>, 7> kWords{{
        {"trace", kLevelTrace},
        {"debug", kLevelDebug},
        {"info", kLevelInfo},
        {"warning", kLevelWarning},
        {"warn", kLevelWarning},
        {"error", kLevelError},
        {"off", kLevelOff},
    }};
    for (const auto& [word, level] : kWords) {
        if (EqualsIgnoringCase(text, word)) {
            return level;
        }
    }
    uint32_t level = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, level);
    if (text.empty() || error != std::errc{} || stop != end || level < kLevelTrace || level > kLevelOff) {
        return std::nullopt;
    }
    return level;
}

bool IsValidPattern(std::string_view pattern) {
    const size_t star = pattern.find('*');
    return !pattern.empty() && (star == std::string_view::npos || star == pattern.size() - 1);
}

} // namespace

LevelRules::ParseResult LevelRules::Parse(std::string_view text) {
    ParseResult result;
    for (;;) {
        const size_t comma = text.find(',');
        const std::string_view item = Trim(text.substr(0, comma));
        if (!item.empty()) {
            const size_t equals = item.find('=');
            const std::string_view pattern =
                equals == std::string_view::npos ? std::string_view{} : Trim(item.substr(0, equals));
            const std::optional<uint32_t> level =
                equals == std::string_view::npos ? std::nullopt : ParseLevel(Trim(item.substr(equals + 1)));
            if (!level || !IsValidPattern(pattern)) {
                result.malformed.emplace_back(item);
            } else if (pattern.back() == '*') {
                result.rules.prefixes_.insert_or_assign(std::string(pattern.substr(0, pattern.size() - 1)), *level);
            } else {
                result.rules.exact_.insert_or_assign(std::string(pattern), *level);
            }
        }
        if (comma == std::string_view::npos) {
            break;
        }
        text.remove_prefix(comma + 1);
    }
    return result;
}

uint32_t LevelRules::thresholdFor(std::string_view name) const {
    if (const auto exact = exact_.find(name); exact != exact_.end()) {
        return exact->second;
    }
    const std::pair<const std::string, uint32_t>* best = nullptr;
    for (const auto& rule : prefixes_) {
        if (name.starts_with(rule.first) && (best == nullptr || rule.first.size() > best->first.size())) {
            best = &rule;
        }
    }
    return best != nullptr ? best->second : kDefaultThreshold;
}

} // namespace orva::logging::dispatcher
