#include "shell_word.h"

#include <string_view>

namespace ktsvc {

std::string ShellWord(const std::string& text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:@%,=";
  if (!text.empty() && text.front() != '-' && text.find_first_not_of(kPlain) == std::string::npos) {
    return text;
  }
  // A leading '-' would be an option to the command.
  std::string word = text.starts_with('-') ? "'./" : "'";
  for (const char unit : text) {
    word += unit == '\'' ? std::string("'\\''") : std::string(1, unit);
  }
  return word + "'";
}

std::string ModeText(std::uint32_t mode) {
  std::string text;
  for (unsigned shift = 12; shift != 0; shift -= 3) {
    text += static_cast<char>('0' + ((mode >> (shift - 3)) & 7U));
  }
  return text;
}

}  // namespace ktsvc
