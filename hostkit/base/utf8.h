// UTF-8 from outside, checked and mended.
//
// Threads: pure functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kt {

// The bytes of the character that the text begins with, or 0 when it begins with none. Overlong
// forms, surrogates and values beyond the last character are none. Source: The Unicode Standard,
// table 3-7, "Well-Formed UTF-8 Byte Sequences".
constexpr std::size_t Utf8Length(std::string_view text) noexcept {
  const auto byte = [text](std::size_t i) -> std::uint32_t {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
  };
  const std::uint32_t first = byte(0);
  if (first < 0x80) return text.empty() ? 0 : 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0u) != 0x80u) return 0;
  }
  const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
  const bool surrogate = first == 0xED && byte(1) > 0x9F;
  const bool beyond = first == 0xF4 && byte(1) > 0x8F;
  return overlong || surrogate || beyond ? 0 : length;
}

// The bytes of the control character that the text begins with, or 0 when it begins with none: 1
// for those below the blank and for the one at 7F, 2 for the upper ones, U+0080 to U+009F, which a
// terminal obeys as well.
constexpr std::size_t ControlLength(std::string_view text) noexcept {
  if (text.empty()) return 0;
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x20 || first == 0x7F) return 1;
  if (first != 0xC2 || text.size() < 2) return 0;
  const auto second = static_cast<unsigned char>(text[1]);
  return second >= 0x80 && second < 0xA0 ? 2 : 0;
}

// The text with U+FFFD for each byte that belongs to no character.
inline std::string WellFormed(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = Utf8Length(text);
    result += length == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

}  // namespace kt
