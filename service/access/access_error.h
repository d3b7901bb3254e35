// AccessError: why an access file or a token file cannot be used, in parts: where, what is wrong,
// and what to write or to run instead.
//
// Nothing of a token file's own text ever stands in one.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ktsvc::access {

class AccessError : public std::runtime_error {
 public:
  // `line` and `column` count from 1; 0 where the fault is the file's and not one line's, or the
  // line's and not one word's. `reason` is half a sentence, `advice` a sentence of its own.
  AccessError(std::string file, std::size_t line, std::size_t column, std::string reason,
              std::string advice);

  // what() is "FILE:LINE:COLUMN: REASON", as far as there is a line and a column.
  [[nodiscard]] const std::string& file() const noexcept { return file_; }
  [[nodiscard]] std::size_t line() const noexcept { return line_; }
  [[nodiscard]] std::size_t column() const noexcept { return column_; }
  [[nodiscard]] const std::string& reason() const noexcept { return reason_; }
  [[nodiscard]] const std::string& advice() const noexcept { return advice_; }

 private:
  std::string file_;
  std::size_t line_;
  std::size_t column_;
  std::string reason_;
  std::string advice_;
};

// A word from a file in double quotes, fit for a terminal: what is no printable text is replaced by
// '?', and what is long is cut.
std::string QuotedWord(std::string_view word);

}  // namespace ktsvc::access
