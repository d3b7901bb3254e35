#include "bus/event_pattern.h"

namespace kt::bus {
namespace {

constexpr bool EndsPart(char character) noexcept {
  return character == '.' || character == '\0';
}

// Whether the character, of a text that begins there, is a part that is "*".
constexpr bool IsStar(const char* character, const char* begin) noexcept {
  return *character == '*' && EndsPart(character[1]) &&
         (character == begin || character[-1] == '.');
}

}  // namespace

bool MatchesPattern(const char* name, const char* pattern) noexcept {
  const char* const begin = pattern;
  for (;;) {
    while (*name == *pattern) {
      if (*name == '\0') return true;
      ++name;
      ++pattern;
    }
    // They differ here. A "*" may stand for what does: one that is here, and then for something, or
    // one that has just been equal to the first character of a longer part.
    if (IsStar(pattern, begin)) {
      if (EndsPart(*name)) return false;
      ++pattern;
    } else if (pattern == begin || !IsStar(pattern - 1, begin)) {
      return false;
    }
    while (!EndsPart(*name)) ++name;
    if (*name != *pattern) return false;
  }
}

bool IsPattern(std::string_view text) noexcept {
  bool more = true;
  while (more) {
    if (TakePart(text, more) == "*") return true;
  }
  return false;
}

std::string_view TakePart(std::string_view& rest, bool& more) noexcept {
  const std::size_t dot = rest.find('.');
  more = dot != std::string_view::npos;
  const std::string_view part = rest.substr(0, dot);
  rest = more ? rest.substr(dot + 1) : std::string_view();
  return part;
}

}  // namespace kt::bus
