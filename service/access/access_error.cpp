#include "access/access_error.h"

#include <utility>

#include "base/utf8.h"

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
  for (std::size_t at = 0; at < length;) {
    const std::size_t control = kt::ControlLength(word.substr(at));
    text += control == 0 ? word[at] : '?';
    at += control == 0 ? 1 : control;
  }
  return text + (length < word.size() ? "...\"" : "\"");
}

}  // namespace ktsvc::access
