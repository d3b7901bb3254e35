#include "support/plain_text.h"

#include <array>
#include <cstdio>

namespace kt::fuzz {
namespace {

// Well-formed sequences of UTF-8 by their first byte: what the second may be, how many follow.
// Source: The Unicode Standard, table 3-7.
struct Row {
  unsigned first_low;
  unsigned first_high;
  unsigned second_low;
  unsigned second_high;
  std::size_t length;
};

constexpr std::array kRows{
    Row{0x00, 0x7F, 0, 0, 1},       Row{0xC2, 0xDF, 0x80, 0xBF, 2}, Row{0xE0, 0xE0, 0xA0, 0xBF, 3},
    Row{0xE1, 0xEC, 0x80, 0xBF, 3}, Row{0xED, 0xED, 0x80, 0x9F, 3}, Row{0xEE, 0xEF, 0x80, 0xBF, 3},
    Row{0xF0, 0xF0, 0x90, 0xBF, 4}, Row{0xF1, 0xF3, 0x80, 0xBF, 4}, Row{0xF4, 0xF4, 0x80, 0x8F, 4}};

// The length of the sequence at the place, 0 for none.
std::size_t SequenceAt(std::string_view text, std::size_t place) {
  const auto byte = [&](std::size_t at) -> unsigned {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0x100U;
  };
  for (const Row& row : kRows) {
    if (byte(place) < row.first_low || byte(place) > row.first_high) continue;
    if (row.length > 1 && (byte(place + 1) < row.second_low || byte(place + 1) > row.second_high)) {
      return 0;
    }
    for (std::size_t i = 2; i < row.length; ++i) {
      if (byte(place + i) < 0x80 || byte(place + i) > 0xBF) return 0;
    }
    return row.length;
  }
  return 0;
}

char32_t ValueOf(std::string_view sequence) {
  constexpr std::array<unsigned, 5> kFirstBits{0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t value = static_cast<unsigned char>(sequence[0]) & kFirstBits[sequence.size()];
  for (const char c : sequence.substr(1)) {
    value = value * 64 + (static_cast<unsigned char>(c) - 0x80U);
  }
  return value;
}

bool IsHigh(char32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}

bool IsLow(char32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

}  // namespace

Characters FromUtf8(std::string_view text) {
  Characters result;
  for (std::size_t place = 0; place < text.size();) {
    const std::size_t length = SequenceAt(text, place);
    if (length == 0) result.malformed = true;
    result.list.push_back(length == 0 ? U'\uFFFD' : ValueOf(text.substr(place, length)));
    place += length == 0 ? 1 : length;
  }
  return result;
}

Characters FromUtf16(const WideText& text) {
  Characters result;
  for (std::size_t place = 0; place < text.size(); ++place) {
    const char32_t unit = static_cast<std::uint16_t>(text[place]);
    const char32_t next = place + 1 < text.size() ? static_cast<std::uint16_t>(text[place + 1]) : 0;
    if (IsHigh(unit) && IsLow(next)) {
      result.list.push_back(0x10000 + (unit - 0xD800) * 0x400 + (next - 0xDC00));
      ++place;
    } else if (IsHigh(unit) || IsLow(unit)) {
      result.malformed = true;
      result.list.push_back(U'\uFFFD');
    } else {
      result.list.push_back(unit);
    }
  }
  return result;
}

std::string AsUtf8(const std::vector<char32_t>& characters) {
  std::string text;
  const auto put = [&text](char32_t byte) { text += static_cast<char>(byte); };
  for (const char32_t c : characters) {
    if (c < 0x80) {
      put(c);
    } else if (c < 0x800) {
      put(0xC0 + c / 64);
      put(0x80 + c % 64);
    } else if (c < 0x10000) {
      put(0xE0 + c / 4096);
      put(0x80 + c / 64 % 64);
      put(0x80 + c % 64);
    } else {
      put(0xF0 + c / 262144);
      put(0x80 + c / 4096 % 64);
      put(0x80 + c / 64 % 64);
      put(0x80 + c % 64);
    }
  }
  return text;
}

WideText AsUtf16(const std::vector<char32_t>& characters) {
  WideText text;
  for (const char32_t c : characters) {
    if (c < 0x10000) {
      text += static_cast<KtWchar>(c);
    } else {
      text += static_cast<KtWchar>(0xD800 + (c - 0x10000) / 0x400);
      text += static_cast<KtWchar>(0xDC00 + (c - 0x10000) % 0x400);
    }
  }
  return text;
}

std::string PlainGuid(const KtGuid& guid) {
  std::array<char, 64> text{};
  const std::uint8_t* const d = guid.Data4;
  static_cast<void>(std::snprintf(
      text.data(), text.size(), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1,
      unsigned{guid.Data2}, unsigned{guid.Data3}, unsigned{d[0]}, unsigned{d[1]}, unsigned{d[2]},
      unsigned{d[3]}, unsigned{d[4]}, unsigned{d[5]}, unsigned{d[6]}, unsigned{d[7]}));
  return text.data();
}

std::string UnitBytes(const WideText& text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(KtWchar)};
}

}  // namespace kt::fuzz
