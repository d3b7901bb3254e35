#include "bus/event_pattern.h"

#include <algorithm>

#include "ktbus3/ktbus3.h"

namespace kt::bus {
namespace {

// Takes the first part off; `more` says whether another follows.
std::string_view TakePart(std::string_view& rest, bool& more) noexcept {
  const std::size_t dot = rest.find('.');
  more = dot != std::string_view::npos;
  const std::string_view part = rest.substr(0, dot);
  rest = more ? rest.substr(dot + 1) : std::string_view();
  return part;
}

}  // namespace

bool MatchesPattern(std::string_view name, std::string_view pattern) noexcept {
  bool more_name = true;
  bool more_pattern = true;
  while (more_name && more_pattern) {
    const std::string_view part = TakePart(name, more_name);
    const std::string_view wanted = TakePart(pattern, more_pattern);
    if (wanted == "*" ? part.empty() : part != wanted) return false;
  }
  return more_name == more_pattern;
}

bool IsPattern(std::string_view text) noexcept {
  bool more = true;
  while (more) {
    if (TakePart(text, more) == "*") return true;
  }
  return false;
}

std::size_t CountParts(std::string_view text) noexcept {
  return 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '.'));
}

}  // namespace kt::bus
