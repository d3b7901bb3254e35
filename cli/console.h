// Console: where ktctl writes, and what is known of it. The program's own is StandardConsole; tests
// have one in memory.
//
// Threads: one.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace ktctl {

// What the system says about standard output.
struct Terminal {
  bool present = false;              // it is a terminal: a person looks on
  bool colours = false;              // it obeys the sequences for colours
  bool utf8 = false;                 // it shows UTF-8 whatever the locale says
  std::optional<std::size_t> width;  // its columns, where they are known
};

class Console {
 public:
  Console() = default;
  virtual ~Console() = default;
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  // Writes results, and pushes them out. False when nobody reads them any more.
  virtual bool Write(const std::string& text) = 0;

  // True when whoever read the results has gone, as far as the system tells before the next
  // writing.
  [[nodiscard]] virtual bool ReaderGone() const = 0;

  // Messages, to standard error: whole lines.
  virtual void Say(const std::string& lines) = 0;

  [[nodiscard]] virtual Terminal terminal() const = 0;
};

}  // namespace ktctl
