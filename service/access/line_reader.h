// LineReader: the lines of a small text file from foreign hands, word by word.
//
// A line ends with LF, CR LF or the end of the file. Words are separated by blanks and tabs. A word
// that begins with '#' begins a comment, which ends with its line; a '#' inside a word is part of
// it. A byte order mark before the first line is passed over.
//
// Failure: AccessError for a line of more than kMaxLineBytes, for bytes that are no UTF-8, and for
//          control characters (a zero byte, a lone CR) anywhere, comments included. It quotes none
//          of the file's text.
// Threads: one thread for one reader.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ktsvc::access {

inline constexpr std::size_t kMaxLineBytes = 1024;

struct Word {
  std::string_view text;
  std::size_t column;  // of its first character, in characters, from 1
};

struct Line {
  std::size_t number = 0;   // from 1
  std::vector<Word> words;  // never empty
};

class LineReader {
 public:
  // Both must outlive the reader and the lines that it gives.
  LineReader(std::string_view text, const std::string& file);

  // The next line that has words; false at the end.
  bool Next(Line& line);

 private:
  [[noreturn]] void Fail(std::string_view line, std::size_t offset, const std::string& reason,
                         const std::string& advice) const;
  void Check(std::string_view line) const;

  std::string_view rest_;
  const std::string& file_;
  std::size_t number_ = 0;
};

// The byte at which the first malformed UTF-8 sequence begins; text.size() when there is none.
// Overlong forms, surrogates and values above 10FFFF are malformed.
std::size_t FirstMalformedByte(std::string_view text) noexcept;

}  // namespace ktsvc::access
