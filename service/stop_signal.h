// StopSignal: the wish of the operator, or of the system, that the service ends.
//
// While it lives, SIGINT, SIGTERM and SIGHUP (Windows: Ctrl-C, Ctrl-Break, closing the console,
// logging off, shutting down) are such a wish instead of the end of the process. Nothing is done in
// a signal handler but to wake a thread. SIGHUP stays ignored where it was (nohup).
//
// Where the process has no controlling terminal there is nothing to hang up: somebody sent SIGHUP,
// and by custom that tells a service to look at its files anew. Who has said OnHangUp() gets it
// then.
//
// Threads:   any member from any thread; one object at a time in a process.
// Ownership: the destructor gives the signals their former meaning back.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace ktsvc {

class StopSignal {
 public:
  // `again` is called for the second wish and each later one, on a thread of this object's (or of
  // the system's), never in a signal handler; it must not throw.
  explicit StopSignal(std::function<void()> again);
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  // Waits until there is a wish.
  void Wait();

  // Waits for that time at most; true when there is a wish.
  bool WaitFor(std::chrono::milliseconds time);

  [[nodiscard]] bool Requested() const;

  // Where the first wish came from, as in "SIGTERM"; empty before it.
  [[nodiscard]] std::string Reason() const;

  // What to do on SIGHUP, from now on, where the process has no controlling terminal; null for
  // what it does otherwise, to end. It is called on a thread of this object's, one call at a time,
  // and must not throw. After the return the former is not called any more.
  void OnHangUp(std::function<void()> call);

  // Wishes that the service ends. The signals come in here.
  void Request(const std::string& reason);

  // SIGHUP has come without a terminal. False when nobody wants to know.
  bool HangUp();

  class Source;  // what listens to the operating system; stop_signal_source.h

 private:
  const std::function<void()> again_;
  std::mutex hangUpMutex_;  // held while it is called
  std::function<void()> hangUp_;
  mutable std::mutex mutex_;
  std::condition_variable wish_;
  bool requested_ = false;
  std::string reason_;
  std::unique_ptr<Source> source_;
};

}  // namespace ktsvc
