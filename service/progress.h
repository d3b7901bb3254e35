// Progress: what the service says on standard error while it works, one whole line at a time, so
// that lines of the trace and of other threads never cut into it.
//
// Threads: any member from any thread.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace ktsvc {

class Progress {
 public:
  // A quiet one says failures only.
  explicit Progress(bool quiet) : quiet_(quiet) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // "ktsvc: text".
  void Say(const std::string& text) const;

  // "ktsvc: error: text", and the advice on a line of its own when there is one.
  void Fail(const std::string& text, const std::string& advice = {}) const;

  // What the service waits for from now on ("hostkit to shut down"); empty for nothing.
  void WaitsFor(const std::string& what);

  // Says, quiet or not, that the service is stopping already and what it waits for since when.
  void SayStillStopping() const;

 private:
  const bool quiet_;
  mutable std::mutex mutex_;
  std::string awaited_;
  std::chrono::steady_clock::time_point since_;
};

}  // namespace ktsvc
