// Output: the results on standard output.
//
// A reader that goes away (ktsvc ... | head) ends the writing, not the service, and is no failure.
// Any other error is kept for the end.
//
// Threads: one thread.
#pragma once

#include <string>

namespace ktsvc {

class Output {
 public:
  // Writes the text and pushes it out.
  void Write(const std::string& text);

  // True when writing has ended: the reader went away, or there was an error.
  [[nodiscard]] bool ended() const noexcept { return ended_; }

  // The error that made writing stop, 0 for none (or for a reader that went away).
  [[nodiscard]] int error() const noexcept { return error_; }

 private:
  bool ended_ = false;
  int error_ = 0;
};

}  // namespace ktsvc
