#include "access/access_error.h"

#include <utility>

namespace ktsvc::access {
namespace {

constexpr std::size_t kQuotedBytes = 64;

std::string Place(const std::string& file, std::size_t line, std::size_t column) {
  std::string text = file;
  if (line != 0) {
    text += ':' + std::to_string(line);
    if (column != 0) {
      text += ':' + std::to_string(column);
    }
  }
  return text;
}

}  // namespace

AccessError::AccessError(std::string file, std::size_t line, std::size_t column, std::string reason,
                         std::string advice)
    : std::runtime_error(Place(file, line, column) + ": " + reason),
      file_(std::move(file)),
      line_(line),
      column_(column),
      reason_(std::move(reason)),
      advice_(std::move(advice)) {}

std::string QuotedWord(std::string_view word) {
  std::size_t length = word.size();
  if (length > kQuotedBytes) {
    // Not in the middle of a character: its later bytes are 10xxxxxx.
    length = kQuotedBytes;
    while (length > 0 && (static_cast<unsigned char>(word[length]) & 0xC0U) == 0x80U) {
      --length;
    }
  }
  std::string text = "\"";
  for (const char unit : word.substr(0, length)) {
    const auto byte = static_cast<unsigned char>(unit);
    text += byte < 0x20 || byte == 0x7F ? '?' : unit;
  }
  return text + (length < word.size() ? "...\"" : "\"");
}

}  // namespace ktsvc::access
