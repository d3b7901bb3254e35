#include "bus_text.h"

namespace ktsvc {
namespace {

constexpr std::size_t kMalformed = static_cast<std::size_t>(-1);

}  // namespace

bool IsUtf8(const std::string& text) {
  return Ktmbstowcs(nullptr, text.c_str(), 0) != kMalformed;
}

std::optional<std::string> ToUtf8(const KtWString& text) {
  const std::size_t size = Ktwcstombs(nullptr, text.c_str(), 0);
  if (size == kMalformed) {
    return std::nullopt;
  }
  std::string narrow(size, '\0');
  Ktwcstombs(narrow.data(), text.c_str(), size);
  return narrow;
}

std::optional<KtWString> ToUtf16(const std::string& text) {
  const std::size_t size = Ktmbstowcs(nullptr, text.c_str(), 0);
  if (size == kMalformed) {
    return std::nullopt;
  }
  KtWString wide(size, KtWchar());
  Ktmbstowcs(wide.data(), text.c_str(), size);
  return wide;
}

std::vector<std::uint8_t> BytesOf(const KtWString& text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() * 2);
  for (const KtWchar unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFFU));
    bytes.push_back(static_cast<std::uint8_t>((static_cast<std::uint32_t>(unit) >> 8U) & 0xFFU));
  }
  return bytes;
}

std::vector<std::uint8_t> BytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

std::string HexText(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

std::string Base64Text(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = bytes.size() - at < 3 ? bytes.size() - at : 3;
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      group = (group << 8U) | (i < count ? bytes[at + i] : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= count ? kAlphabet[(group >> (18U - 6U * i)) & 0x3FU] : '=';
    }
  }
  return text;
}

}  // namespace ktsvc
