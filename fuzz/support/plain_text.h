// Text and its conversion once more, written as plainly as possible, for comparison: a character at
// a time, by the rows of a table, with no care for speed.
//
// Threads: pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ktbus3/ktbus3.h"

namespace kt::fuzz {

using WideText = std::basic_string<KtWchar>;

// A text character by character. `malformed` is set where a byte or a unit belongs to none; each
// such byte or unit then stands as one U+FFFD.
struct Characters {
  std::vector<char32_t> list;
  bool malformed = false;
};

Characters FromUtf8(std::string_view text);
Characters FromUtf16(const WideText& text);

std::string AsUtf8(const std::vector<char32_t>& characters);
WideText AsUtf16(const std::vector<char32_t>& characters);

// The narrow text of a wide one and back, as the module shows it: what is malformed is U+FFFD.
inline std::string PlainNarrow(const WideText& text) {
  return AsUtf8(FromUtf16(text).list);
}
inline WideText PlainWiden(std::string_view text) {
  return AsUtf16(FromUtf8(text).list);
}

// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}".
std::string PlainGuid(const KtGuid& guid);

// The bytes of the units in memory, for showing and comparing.
std::string UnitBytes(const WideText& text);

}  // namespace kt::fuzz
