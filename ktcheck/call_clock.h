// CallClock: sees to it that a call which does not come back does not end the run: it tells where
// all threads stand, and ends this process.
//
// Threads:   everything from any thread; it watches on a thread of its own.
// Ownership: findings go to the sink on that thread; then `give_up` is called, which ends the
//            process.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "ktcheck/leak_watch.h"

namespace ktcheck {

class CallClock {
 public:
  // A call is slow after `slow`, and given up after `patience`.
  CallClock(std::chrono::milliseconds slow, std::chrono::milliseconds patience, FindingSink sink,
            std::function<void()> give_up);
  ~CallClock();
  CallClock(const CallClock&) = delete;
  CallClock& operator=(const CallClock&) = delete;

  // A call begins, and ends. `what` is told: "Shutdown".
  std::uint64_t Begin(const std::string& what);
  void End(std::uint64_t call);

  [[nodiscard]] std::chrono::milliseconds patience() const noexcept { return patience_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Call {
    std::string what;
    std::uint64_t thread;
    Clock::time_point begun;
  };

  void Run();
  void TellStuck(const Call& call);

  const std::chrono::milliseconds slow_;
  const std::chrono::milliseconds patience_;
  const FindingSink sink_;
  const std::function<void()> give_up_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool over_ = false;
  std::uint64_t last_ = 0;
  std::map<std::uint64_t, Call> calls_;
  std::thread thread_;
};

// One call on the clock, for its life.
class Timed {
 public:
  Timed(CallClock& clock, const std::string& what) : clock_(clock), call_(clock.Begin(what)) {}
  ~Timed() { clock_.End(call_); }
  Timed(const Timed&) = delete;
  Timed& operator=(const Timed&) = delete;

 private:
  CallClock& clock_;
  const std::uint64_t call_;
};

}  // namespace ktcheck
