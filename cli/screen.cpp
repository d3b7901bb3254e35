#include "screen.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace ktctl {
namespace {

constexpr std::size_t kUsualWidth = 80;

std::optional<std::size_t> NumberFrom(const std::optional<std::string>& text) {
  std::size_t number = 0;
  if (!text) {
    return std::nullopt;
  }
  const char* const end = text->data() + text->size();
  const auto read = std::from_chars(text->data(), end, number);
  return read.ec == std::errc() && read.ptr == end && number > 0 ? std::optional(number)
                                                                 : std::nullopt;
}

bool NamesUtf8(const Variables& variables) {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    if (std::optional<std::string> value = variables(name)) {
      std::string letters;
      for (const char unit : *value) {
        if (unit != '-') {
          letters += static_cast<char>(unit >= 'A' && unit <= 'Z' ? unit - 'A' + 'a' : unit);
        }
      }
      return letters.find("utf8") != std::string::npos;
    }
  }
  return false;
}

}  // namespace

Screen MakeScreen(const Terminal& terminal, const std::string& colour, const Variables& variables) {
  Screen screen;
  screen.terminal = terminal.present;
  screen.colours =
      colour == "always" || (colour == "auto" && terminal.present && terminal.colours &&
                             !variables("NO_COLOR") && variables("TERM").value_or("") != "dumb");
  screen.utf8 = terminal.utf8 || NamesUtf8(variables);
  if (terminal.present) {
    screen.width = NumberFrom(variables("COLUMNS"));
    if (!screen.width) {
      screen.width = terminal.width.value_or(kUsualWidth);
    }
  }
  return screen;
}

}  // namespace ktctl
