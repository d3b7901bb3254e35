#include "guid.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace ktsvc {
namespace {

constexpr std::string_view kGuidShape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";

std::optional<std::uint32_t> HexDigit(char digit) {
  constexpr std::string_view kDigits = "0123456789abcdef0123456789ABCDEF";
  const std::size_t place = kDigits.find(digit);
  return place == std::string_view::npos ? std::nullopt
                                         : std::optional(static_cast<std::uint32_t>(place % 16));
}

}  // namespace

std::string GuidText(const KtGuid& guid) {
  std::string text = "{";
  const auto append = [&text](std::uint32_t value, unsigned digits) {
    for (unsigned shift = digits * 4; shift != 0; shift -= 4) {
      text += "0123456789ABCDEF"[(value >> (shift - 4)) & 0xFU];
    }
  };
  append(guid.Data1, 8);
  text += '-';
  append(guid.Data2, 4);
  text += '-';
  append(guid.Data3, 4);
  text += '-';
  for (std::size_t i = 0; i < std::size(guid.Data4); ++i) {
    if (i == 2) {
      text += '-';
    }
    append(guid.Data4[i], 2);
  }
  return text + '}';
}

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
    const std::optional<std::uint32_t> digit = HexDigit(text[i]);
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

}  // namespace ktsvc
