#include "access/line_reader.h"

#include <algorithm>

#include "access/access_error.h"
#include "base/utf8.h"

namespace ktsvc::access {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool IsContinuation(char unit) {
  return (static_cast<unsigned char>(unit) & 0xC0U) == 0x80U;
}

// The place of the first control character but the tab; the text's size when there is none.
std::size_t FirstControl(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && (text[at] == '\t' || kt::ControlLength(text.substr(at)) == 0)) ++at;
  return at;
}

// Characters before the offset, plus one.
std::size_t ColumnAt(std::string_view line, std::size_t offset) {
  const std::string_view before = line.substr(0, offset);
  return before.size() -
         static_cast<std::size_t>(std::count_if(before.begin(), before.end(), &IsContinuation)) + 1;
}

}  // namespace

std::size_t FirstMalformedByte(std::string_view text) noexcept {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t length = kt::Utf8Length(text.substr(at));
    if (length == 0) {
      return at;
    }
    at += length;
  }
  return at;
}

LineReader::LineReader(std::string_view text, const std::string& file) : rest_(text), file_(file) {
  if (rest_.starts_with(kByteOrderMark)) {
    rest_.remove_prefix(kByteOrderMark.size());
  }
}

void LineReader::Fail(std::string_view line, std::size_t offset, const std::string& reason,
                      const std::string& advice) const {
  throw AccessError(file_, number_, ColumnAt(line, offset), reason, advice);
}

void LineReader::Check(std::string_view line) const {
  if (line.size() > kMaxLineBytes) {
    Fail(line, kMaxLineBytes,
         "the line has " + std::to_string(line.size()) + " bytes, " +
             std::to_string(kMaxLineBytes) + " are allowed",
         "Break it up, or shorten its comment.");
  }
  const std::size_t controlAt = FirstControl(line);
  const std::size_t malformedAt = FirstMalformedByte(line);
  if (controlAt < line.size() && controlAt <= malformedAt) {
    Fail(line, controlAt,
         line[controlAt] == '\0' ? "the line holds a zero byte"
                                 : "the line holds a control character",
         "Save the file as plain UTF-8 text, each line ended by a line feed.");
  }
  if (malformedAt < line.size()) {
    Fail(line, malformedAt, "the line is not UTF-8", "Save the file as plain UTF-8 text.");
  }
}

bool LineReader::Next(Line& line) {
  while (!rest_.empty()) {
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    std::string_view text = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    ++number_;
    if (text.ends_with('\r')) {
      text.remove_suffix(1);
    }
    Check(text);

    line.words.clear();
    std::size_t at = text.find_first_not_of(kBlanks);
    while (at != std::string_view::npos && text[at] != '#') {
      const std::size_t stop = std::min(text.find_first_of(kBlanks, at), text.size());
      line.words.push_back({text.substr(at, stop - at), ColumnAt(text, at)});
      at = text.find_first_not_of(kBlanks, stop);
    }
    if (!line.words.empty()) {
      line.number = number_;
      return true;
    }
  }
  return false;
}

}  // namespace ktsvc::access
