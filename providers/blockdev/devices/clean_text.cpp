#include "blockdev/devices/clean_text.h"

#include "base/utf8.h"

namespace kt::blockdev {
std::string ValidUtf8(std::string_view text) {
  return WellFormed(text.substr(0, text.find('\0')));
}

std::string CleanText(std::string_view text) {
  const std::string valid = ValidUtf8(text);
  std::string result;
  for (std::size_t at = 0; at < valid.size();) {
    const std::size_t control = ControlLength(std::string_view(valid).substr(at));
    result += control == 0 ? valid[at] : ' ';
    at += control == 0 ? 1 : control;
  }
  const std::size_t first = result.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return result.substr(first, result.find_last_not_of(' ') - first + 1);
}

}  // namespace kt::blockdev
