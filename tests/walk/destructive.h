// The list of what changes the machine. It stands here and nowhere else; docs/reliability.md shows
// it.
//
// A request with such a text anywhere in its body is not sent unless somebody says --destructive:
// by its text, so that neither a spelling nor a chance of the generator gets one through.
//
// Threads: a constant table.
#pragma once

#include <array>
#include <string_view>

namespace walk {

struct Destructive {
  std::string_view text;
  std::string_view what;
};

inline constexpr std::array kDestructive{
    Destructive{"11001", "control 11001: restarts the machine"},
    Destructive{"event.qelm.dom.initialization",
                "events of a domain's initialisation: start and stop a service of the machine"},
};

// The row that the body falls under; null for none.
constexpr const Destructive* FindDestructive(std::string_view body) noexcept {
  for (const Destructive& row : kDestructive) {
    if (body.find(row.text) != std::string_view::npos) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace walk
