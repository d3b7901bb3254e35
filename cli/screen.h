// Screen: how results are to look, from the options, the environment and the terminal.
//
// Threads: pure functions.
#pragma once

#include <cstddef>
#include <optional>

#include "console.h"
#include "options.h"

namespace ktctl {

struct Screen {
  bool terminal = false;  // long cells may be cut
  bool colours = false;
  bool utf8 = true;                  // more than ASCII is shown
  std::optional<std::size_t> width;  // columns to keep to; nothing: as many as there are
};

// Colours: as --color says; left to ktctl, on a terminal that obeys them, unless NO_COLOR is set or
// TERM is "dumb". Width: on a terminal COLUMNS, else what the terminal says, else 80. UTF-8: where
// LC_ALL, else LC_CTYPE, else LANG names it.
Screen MakeScreen(const Terminal& terminal, const std::string& colour, const Variables& variables);

}  // namespace ktctl
