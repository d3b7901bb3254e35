#include "bus_text.h"

#include <utility>

#include "base/utf8.h"

namespace ktsvc {
namespace {

constexpr std::uint32_t kFirstBeyondBasic = 0x10000;
constexpr std::uint32_t kHighSurrogate = 0xD800;
constexpr std::uint32_t kLowSurrogate = 0xDC00;
constexpr std::uint32_t kBehindSurrogates = 0xE000;

bool IsBetween(std::uint32_t unit, std::uint32_t first, std::uint32_t behind) {
  return unit >= first && unit < behind;
}

void AppendUtf8(std::uint32_t character, std::string& text) {
  const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  const auto continuation = [&](unsigned shift) { append(0x80U | ((character >> shift) & 0x3FU)); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0U | (character >> 6U));
    continuation(0);
  } else if (character < kFirstBeyondBasic) {
    append(0xE0U | (character >> 12U));
    continuation(6);
    continuation(0);
  } else {
    append(0xF0U | (character >> 18U));
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

void AppendUtf16(std::uint32_t character, KtWString& text) {
  if (character < kFirstBeyondBasic) {
    text += static_cast<KtWchar>(character);
    return;
  }
  const std::uint32_t beyond = character - kFirstBeyondBasic;
  text += static_cast<KtWchar>(kHighSurrogate + (beyond >> 10U));
  text += static_cast<KtWchar>(kLowSurrogate + (beyond & 0x3FFU));
}

}  // namespace

std::uint32_t CharacterOf(std::string_view sequence) noexcept {
  const auto first = static_cast<unsigned char>(sequence[0]);
  std::uint32_t character = first;
  if (sequence.size() > 1) {
    character = first & (0x7FU >> sequence.size());
  }
  for (std::size_t i = 1; i < sequence.size(); ++i) {
    character = (character << 6U) | (static_cast<unsigned char>(sequence[i]) & 0x3FU);
  }
  return character;
}

bool IsUtf8(const std::string& text) {
  std::string_view rest = text;
  while (const std::size_t length = kt::Utf8Length(rest)) {
    rest.remove_prefix(length);
  }
  return rest.empty();
}

std::optional<std::string> ToUtf8(const KtWString& text) {
  std::string narrow;
  narrow.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto unit = static_cast<std::uint32_t>(text[at]);
    if (!IsBetween(unit, kHighSurrogate, kBehindSurrogates)) {
      AppendUtf8(unit, narrow);
      continue;
    }
    const std::uint32_t low = at + 1 < text.size() ? static_cast<std::uint32_t>(text[at + 1]) : 0;
    if (unit >= kLowSurrogate || !IsBetween(low, kLowSurrogate, kBehindSurrogates)) {
      return std::nullopt;
    }
    AppendUtf8(kFirstBeyondBasic + ((unit - kHighSurrogate) << 10U) + (low - kLowSurrogate),
               narrow);
    ++at;
  }
  return narrow;
}

std::optional<KtWString> ToUtf16(const std::string& text) {
  KtWString wide;
  wide.reserve(text.size());
  std::string_view rest = text;
  while (const std::size_t length = kt::Utf8Length(rest)) {
    AppendUtf16(CharacterOf(rest.substr(0, length)), wide);
    rest.remove_prefix(length);
  }
  return rest.empty() ? std::optional(std::move(wide)) : std::nullopt;
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
