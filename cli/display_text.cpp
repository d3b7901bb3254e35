#include "display_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "base/utf8.h"
#include "bus_text.h"

namespace ktctl {
namespace {

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

// Blocks rather than single characters: which of them are assigned changes from year to year.
// Source: The Unicode Standard, general categories Mn, Me and Cf.
constexpr std::array kNarrowest{
    Range{0x0300, 0x036F}, Range{0x0483, 0x0489}, Range{0x0591, 0x05BD},  Range{0x0610, 0x061A},
    Range{0x064B, 0x065F}, Range{0x06D6, 0x06DC}, Range{0x0E31, 0x0E31},  Range{0x0E34, 0x0E3A},
    Range{0x0E47, 0x0E4E}, Range{0x1AB0, 0x1AFF}, Range{0x1DC0, 0x1DFF},  Range{0x200B, 0x200F},
    Range{0x202A, 0x202E}, Range{0x2060, 0x206F}, Range{0x20D0, 0x20FF},  Range{0xFE00, 0xFE0F},
    Range{0xFE20, 0xFE2F}, Range{0xFEFF, 0xFEFF}, Range{0xE0100, 0xE01EF}};
// Source: Unicode Standard Annex 11, "East Asian Width", W and F.
constexpr std::array kWide{
    Range{0x1100, 0x115F},   Range{0x2E80, 0x303E},   Range{0x3041, 0x33FF},
    Range{0x3400, 0x4DBF},   Range{0x4E00, 0x9FFF},   Range{0xA000, 0xA4CF},
    Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},   Range{0xFE30, 0xFE6F},
    Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},   Range{0x1F300, 0x1F64F},
    Range{0x1F680, 0x1F6FF}, Range{0x1F900, 0x1F9FF}, Range{0x20000, 0x3FFFD}};

template <typename Table>
bool IsIn(const Table& table, std::uint32_t character) {
  const auto* const behind =
      std::upper_bound(table.begin(), table.end(), character,
                       [](std::uint32_t value, const Range& range) { return value < range.first; });
  return behind != table.begin() && character <= std::prev(behind)->last;
}

// The next character, or the next byte where there is none.
std::string_view NextOf(std::string_view text) {
  return text.substr(0, std::max<std::size_t>(kt::Utf8Length(text), 1));
}

std::size_t WidthOf(std::string_view sequence) {
  const std::uint32_t character = ktsvc::CharacterOf(sequence);
  if (sequence.size() == 1) {
    return 1;
  }
  if (IsIn(kNarrowest, character)) {
    return 0;
  }
  return IsIn(kWide, character) ? 2 : 1;
}

}  // namespace

std::size_t DisplayWidth(std::string_view text) noexcept {
  std::size_t width = 0;
  while (!text.empty()) {
    const std::string_view next = NextOf(text);
    width += WidthOf(next);
    text.remove_prefix(next.size());
  }
  return width;
}

std::string CutToWidth(const std::string& text, std::size_t width, std::string_view mark) {
  if (DisplayWidth(text) <= width) {
    return text;
  }
  const std::size_t markWidth = DisplayWidth(mark);
  const bool marked = markWidth <= width;
  const std::size_t room = marked ? width - markWidth : width;
  std::string_view rest = text;
  std::size_t used = 0;
  while (!rest.empty()) {
    const std::string_view next = NextOf(rest);
    if (used + WidthOf(next) > room) {
      break;
    }
    used += WidthOf(next);
    rest.remove_prefix(next.size());
  }
  return text.substr(0, text.size() - rest.size()).append(marked ? mark : "");
}

}  // namespace ktctl
