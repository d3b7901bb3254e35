#include "value_from_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

namespace ktsvc {
namespace {

constexpr std::string_view kGuidShape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::optional<std::uint32_t> DigitOf(std::string_view alphabet, char digit) {
  const std::size_t place = alphabet.find(digit);
  return place == std::string_view::npos ? std::nullopt
                                         : std::optional(static_cast<std::uint32_t>(place));
}

char LowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

std::optional<KtGuid> GuidFromText(std::string_view text) {
  if (text.size() == kGuidShape.size() + 2 && text.front() == '{' && text.back() == '}') {
    text = text.substr(1, kGuidShape.size());
  }
  if (text.size() != kGuidShape.size()) {
    return std::nullopt;
  }
  std::array<std::uint32_t, 16> bytes{};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kGuidShape[i] == '-') {
      if (text[i] != '-') {
        return std::nullopt;
      }
      continue;
    }
    const std::optional<std::uint32_t> digit = DigitOf(kHexDigits, LowerCase(text[i]));
    if (!digit) {
      return std::nullopt;
    }
    bytes[digits / 2] = bytes[digits / 2] * 16U + *digit;
    ++digits;
  }
  KtGuid guid{};
  guid.Data1 = (bytes[0] << 24U) | (bytes[1] << 16U) | (bytes[2] << 8U) | bytes[3];
  guid.Data2 = static_cast<std::uint16_t>((bytes[4] << 8U) | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>((bytes[6] << 8U) | bytes[7]);
  std::transform(bytes.begin() + 8, bytes.end(), std::begin(guid.Data4),
                 [](std::uint32_t byte) { return static_cast<std::uint8_t>(byte); });
  return guid;
}

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
      const std::optional<std::uint32_t> digit =
          i + padded < 4 ? DigitOf(kBase64Alphabet, text[at + i]) : 0U;
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
