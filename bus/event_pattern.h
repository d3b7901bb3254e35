// Names of events and the patterns that stand for many of them: parts separated by ".", where "*"
// stands for exactly one part, whole, that is not empty. "ba*" is a part like any other.
#pragma once

#include <string_view>

namespace kt::bus {

// Whether the name matches; a pattern without "*" matches itself alone. Both end with a zero. One
// pass over both, no further than the first difference.
bool MatchesPattern(const char* name, const char* pattern) noexcept;

// Whether one of the parts is "*".
bool IsPattern(std::string_view text) noexcept;

// Takes the first part off; `more` says whether another follows. An empty text has one part, which
// is empty.
std::string_view TakePart(std::string_view& rest, bool& more) noexcept;

}  // namespace kt::bus
