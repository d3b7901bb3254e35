// The part of StopSignal that listens to the operating system; stop_signal_posix.cpp and
// stop_signal_win32.cpp hold it.
#pragma once

#include "stop_signal.h"

namespace ktsvc {

class StopSignal::Source {
 public:
  // Listens from here on and hands every wish to `target`.
  static std::unique_ptr<Source> Listen(StopSignal& target);

  // Ends the listening; no call into the target runs afterwards.
  virtual ~Source() = default;
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
};

}  // namespace ktsvc
