#include "blockdev/devices/clean_text.h"

#include "base/utf8.h"

namespace kt::blockdev {
std::string ValidUtf8(std::string_view text) {
  return WellFormed(text.substr(0, text.find('\0')));
}

std::string CleanText(std::string_view text) {
  std::string result = ValidUtf8(text);
  for (char& unit : result) {
    const auto byte = static_cast<unsigned char>(unit);
    if (byte < 0x20 || byte == 0x7F) unit = ' ';
  }
  const std::size_t first = result.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return result.substr(first, result.find_last_not_of(' ') - first + 1);
}

}  // namespace kt::blockdev
