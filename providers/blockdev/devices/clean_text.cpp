#include "blockdev/devices/clean_text.h"

#include <cstddef>

namespace kt::blockdev {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

unsigned ByteAt(std::string_view text, std::size_t at) {
  return at < text.size() ? static_cast<unsigned char>(text[at]) : 0u;
}

// Bytes of the UTF-8 sequence that begins at `at`; 0 when none does.
std::size_t SequenceLength(std::string_view text, std::size_t at) {
  const unsigned first = ByteAt(text, at);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xC2 && first <= 0xDF   ? 2
                             : first >= 0xE0 && first <= 0xEF ? 3
                             : first >= 0xF0 && first <= 0xF4 ? 4
                                                              : 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((ByteAt(text, at + i) & 0xC0) != 0x80) return 0;
  }
  const unsigned second = ByteAt(text, at + 1);
  const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const bool beyond = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
  return overlong || beyond ? 0 : length;
}

}  // namespace

std::string ValidUtf8(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = SequenceLength(text, at);
    result.append(length == 0 ? kReplacement : text.substr(at, length));
    at += length == 0 ? 1 : length;
  }
  return result;
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
