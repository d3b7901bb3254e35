// StandardConsole: standard output and standard error of the program.
//
// standard_console_posix.cpp and standard_console_win32.cpp say what the system knows of them.
//
// Threads: one.
#pragma once

#include <string>

#include "console.h"
#include "output.h"

namespace ktctl {

// What the system says about standard output.
Terminal StandardTerminal();

// Whether the reader of standard output is known to have gone. Windows tells of it at the next
// writing only.
bool StandardReaderGone() noexcept;

class StandardConsole final : public Console {
 public:
  bool Write(const std::string& text) override;
  [[nodiscard]] bool ReaderGone() const override { return StandardReaderGone(); }
  void Say(const std::string& lines) override;
  [[nodiscard]] Terminal terminal() const override { return StandardTerminal(); }

  // The error that made writing stop, 0 for none (or for a reader that went away).
  [[nodiscard]] int error() const noexcept { return output_.error(); }

 private:
  ktsvc::Output output_;
};

}  // namespace ktctl
