#include "standard_console.h"

#include <cstdio>

namespace ktctl {

bool StandardConsole::Write(const std::string& text) {
  output_.Write(text);
  return !output_.ended();
}

void StandardConsole::Say(const std::string& lines) {
  // Nobody is left to be told when this cannot be written.
  static_cast<void>(std::fwrite(lines.data(), 1, lines.size(), stderr));
  static_cast<void>(std::fflush(stderr));
}

}  // namespace ktctl
