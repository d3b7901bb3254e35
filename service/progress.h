// Progress: what the service says on standard error while it works, one whole line at a time, so
// that lines of the trace and of other threads never cut into it.
//
// Threads: any member from any thread.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "readiness.h"

namespace ktsvc {

class Progress {
 public:
  // A quiet one says failures only. `manager`, when there is one, hears how far the service is,
  // quiet or not; it is lent.
  explicit Progress(bool quiet, const Readiness* manager = nullptr)
      : quiet_(quiet), manager_(manager) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // "ktsvc: text".
  void Say(const std::string& text) const;

  // "ktsvc: error: text", and the advice on a line of its own when there is one.
  void Fail(const std::string& text, const std::string& advice = {}) const;

  // The same for what the service manager is to hear too: that it serves, that it has begun to
  // stop, and what that waits for.
  void SayServing(const std::string& text) const;
  void SayStopping(const std::string& text) const;
  void SayAwaited(const std::string& text) const;

  // What the service waits for from now on ("hostkit to shut down"); empty for nothing.
  void WaitsFor(const std::string& what);

  // Says, quiet or not, that the service is stopping already and what it waits for since when.
  void SayStillStopping() const;

 private:
  const bool quiet_;
  const Readiness* const manager_;
  mutable std::mutex mutex_;
  std::string awaited_;
  std::chrono::steady_clock::time_point since_;
};

}  // namespace ktsvc
