#include "bus/text.h"
#include "bus/gate.h"

#include <cstring>
#include <limits>

namespace kt::bus {
namespace {

constexpr char32_t kLast = 0x10FFFF;

constexpr bool IsSurrogate(char32_t unit) noexcept {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

// Converts a whole text. The first pass finds malformed input before anything is written; the
// second stops before a character that does not fit.
template <typename To, std::size_t kMost, typename From>
std::size_t Convert(To* to, std::basic_string_view<From> from, std::size_t count,
                    char32_t (*next)(std::basic_string_view<From>, std::size_t&),
                    std::size_t (*write)(char32_t, To*)) noexcept {
  To units[kMost];
  std::size_t needed = 0;
  for (std::size_t place = 0; place < from.size();) {
    const char32_t character = next(from, place);
    if (character == kMalformed) return static_cast<std::size_t>(-1);
    needed += write(character, units);
  }
  if (to == nullptr) return needed;
  std::size_t written = 0;
  for (std::size_t place = 0; place < from.size();) {
    const std::size_t size = write(next(from, place), units);
    if (size > count - written) break;
    std::memcpy(to + written, units, size * sizeof(To));
    written += size;
  }
  if (written < count) to[written] = 0;
  return written;
}

}  // namespace

char32_t NextFromUtf8(std::string_view text, std::size_t& place) noexcept {
  const auto byte = [&](std::size_t at) -> std::uint32_t {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
  };
  const std::uint32_t first = byte(place);
  const std::size_t start = place++;
  if (first < 0x80) return first;
  std::size_t length = 0;
  char32_t character = 0;
  char32_t smallest = 0;
  if ((first & 0xE0U) == 0xC0) {
    length = 2;
    character = first & 0x1FU;
    smallest = 0x80;
  } else if ((first & 0xF0U) == 0xE0) {
    length = 3;
    character = first & 0x0FU;
    smallest = 0x800;
  } else if ((first & 0xF8U) == 0xF0) {
    length = 4;
    character = first & 0x07U;
    smallest = 0x10000;
  } else {
    return kMalformed;
  }
  for (std::size_t i = 1; i < length; ++i) {
    const std::uint32_t next = byte(start + i);
    if ((next & 0xC0U) != 0x80) return kMalformed;
    character = (character << 6U) | (next & 0x3FU);
  }
  if (character < smallest || character > kLast || IsSurrogate(character)) return kMalformed;
  place = start + length;
  return character;
}

char32_t NextFromUtf16(std::basic_string_view<KtWchar> text, std::size_t& place) noexcept {
  const char32_t first = static_cast<std::uint16_t>(text[place++]);
  if (!IsSurrogate(first)) return first;
  if (first >= 0xDC00 || place == text.size()) return kMalformed;
  const char32_t second = static_cast<std::uint16_t>(text[place]);
  if (second < 0xDC00 || second > 0xDFFF) return kMalformed;
  ++place;
  return 0x10000 + ((first - 0xD800) << 10U) + (second - 0xDC00);
}

std::size_t ToUtf8(char32_t character, char* units) noexcept {
  const auto put = [&](std::size_t at, char32_t bits) { units[at] = static_cast<char>(bits); };
  if (character < 0x80) {
    put(0, character);
    return 1;
  }
  if (character < 0x800) {
    put(0, 0xC0U | (character >> 6U));
    put(1, 0x80U | (character & 0x3FU));
    return 2;
  }
  if (character < 0x10000) {
    put(0, 0xE0U | (character >> 12U));
    put(1, 0x80U | ((character >> 6U) & 0x3FU));
    put(2, 0x80U | (character & 0x3FU));
    return 3;
  }
  put(0, 0xF0U | (character >> 18U));
  put(1, 0x80U | ((character >> 12U) & 0x3FU));
  put(2, 0x80U | ((character >> 6U) & 0x3FU));
  put(3, 0x80U | (character & 0x3FU));
  return 4;
}

std::size_t ToUtf16(char32_t character, KtWchar* units) noexcept {
  if (character < 0x10000) {
    units[0] = static_cast<KtWchar>(character);
    return 1;
  }
  const char32_t rest = character - 0x10000;
  units[0] = static_cast<KtWchar>(0xD800 + (rest >> 10U));
  units[1] = static_cast<KtWchar>(0xDC00 + (rest & 0x3FFU));
  return 2;
}

void AppendReadableUtf8(std::basic_string_view<KtWchar> text, std::string& out) {
  constexpr KtWchar kFirstBeyondAscii = 0x80;
  char units[4];
  for (std::size_t place = 0; place < text.size();) {
    // Most text is ASCII.
    if (text[place] < kFirstBeyondAscii) {
      out.push_back(static_cast<char>(text[place++]));
      continue;
    }
    const char32_t character = NextFromUtf16(text, place);
    out.append(units, ToUtf8(character == kMalformed ? 0xFFFD : character, units));
  }
}

std::string ReadableUtf8(std::basic_string_view<KtWchar> text) {
  std::string out;
  out.reserve(text.size());
  AppendReadableUtf8(text, out);
  return out;
}

}  // namespace kt::bus

size_t Ktmbstowcs(KtWchar* to, const char* from, size_t count) {
  KT_GATE(Ktmbstowcs, to, from, count);
  if (from == nullptr) return static_cast<size_t>(-1);
  return kt::bus::Convert<KtWchar, 2, char>(to, from, count, &kt::bus::NextFromUtf8,
                                            &kt::bus::ToUtf16);
}

size_t Ktwcstombs(char* to, const KtWchar* from, size_t count) {
  KT_GATE(Ktwcstombs, to, from, count);
  if (from == nullptr) return static_cast<size_t>(-1);
  return kt::bus::Convert<char, 4, KtWchar>(to, from, count, &kt::bus::NextFromUtf16,
                                            &kt::bus::ToUtf8);
}

int KtlstrlenA(const char* text) {
  KT_GATE(KtlstrlenA, text);
  if (text == nullptr) return 0;
  const size_t length = std::strlen(text);
  constexpr auto kMost = static_cast<size_t>(std::numeric_limits<int>::max());
  return static_cast<int>(length < kMost ? length : kMost);
}
