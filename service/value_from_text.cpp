#include "value_from_text.h"

#include <cstddef>

namespace ktsvc {
namespace {

constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::optional<std::uint32_t> DigitOf(char digit) {
  const std::size_t place = kBase64Alphabet.find(digit);
  return place == std::string_view::npos ? std::nullopt
                                         : std::optional(static_cast<std::uint32_t>(place));
}

}  // namespace

std::optional<std::vector<std::uint8_t>> BytesFromBase64(std::string_view text) {
  if (text.size() % 4 != 0) {
    return std::nullopt;
  }
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') {
    ++padding;
  }
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t at = 0; at < text.size(); at += 4) {
    const std::size_t padded = at + 4 == text.size() ? padding : 0;
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      const std::optional<std::uint32_t> digit = i + padded < 4 ? DigitOf(text[at + i]) : 0U;
      if (!digit) {
        return std::nullopt;
      }
      group = (group << 6U) | *digit;
    }
    for (std::size_t i = 0; i < 3; ++i) {
      const auto byte = static_cast<std::uint8_t>((group >> (16U - 8U * i)) & 0xFFU);
      if (i + padded < 3) {
        bytes.push_back(byte);
      } else if (byte != 0) {
        return std::nullopt;
      }
    }
  }
  return bytes;
}

}  // namespace ktsvc
