// Letters of ASCII, compared without regard to case, whatever the locale is.
//
// Threads: pure functions.
#pragma once

#include <algorithm>
#include <string_view>

namespace kt {

constexpr char LowerAscii(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool SameIgnoringCase(std::string_view left, std::string_view right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
}

}  // namespace kt
