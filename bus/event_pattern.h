// Names of events and the patterns that stand for many of them: parts separated by ".", where "*"
// stands for exactly one part, whole. "ba*" is a part like any other.
#pragma once

#include <cstddef>
#include <string_view>

namespace kt::bus {

// Whether the name matches; a pattern without "*" matches itself alone.
bool MatchesPattern(std::string_view name, std::string_view pattern) noexcept;

// Whether one of the parts is "*".
bool IsPattern(std::string_view text) noexcept;

// Number of parts; an empty text has one, which is empty.
std::size_t CountParts(std::string_view text) noexcept;

}  // namespace kt::bus
