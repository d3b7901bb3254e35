// Readiness: tells the service manager that started this process how far the service is, where
// there is one that wants to know (systemd, for a unit of Type=notify). Otherwise nothing happens.
// readiness_posix.cpp and readiness_win32.cpp hold it.
//
// Threads: any.
// Failure: what cannot be told is not told; the service goes on.
#pragma once

#include <string>

namespace ktsvc {

class Readiness {
 public:
  // The service answers from now on. The texts are one line for whoever asks for the state; control
  // characters in them become blanks.
  void Serving(const std::string& text) const noexcept;

  // It has begun to stop.
  void Stopping(const std::string& text) const noexcept;

  // What it does or waits for.
  void Doing(const std::string& text) const noexcept;
};

}  // namespace ktsvc
