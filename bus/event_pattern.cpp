#include "bus/event_pattern.h"

namespace kt::bus {
namespace {

constexpr bool EndsPart(char character) noexcept {
  return character == '.' || character == '\0';
}

}  // namespace

bool MatchesPattern(const char* name, const char* pattern) noexcept {
  for (;;) {
    // At the beginning of a part of each.
    if (*pattern == '*' && EndsPart(pattern[1])) {
      if (EndsPart(*name)) return false;
      while (!EndsPart(*name)) ++name;
      ++pattern;
    } else {
      while (*name == *pattern && !EndsPart(*name)) {
        ++name;
        ++pattern;
      }
    }
    if (*name != *pattern) return false;
    if (*name == '\0') return true;
    ++name;
    ++pattern;
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
