// CallClock: how long calls take, each measured against a budget of its own: a part of the patience
// with a call. It sees to it that one which does not come back does not end the run: it tells where
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

#include "ktcheck/finding.h"

namespace ktcheck {

class CallClock {
 public:
  // Told of a call that took longer than all of its name before.
  using Longest = std::function<void(const std::string& what, std::chrono::milliseconds time)>;

  // A call is given up after `patience`.
  CallClock(std::chrono::milliseconds patience, FindingSink sink, Longest longest,
            std::function<void()> give_up);
  ~CallClock();
  CallClock(const CallClock&) = delete;
  CallClock& operator=(const CallClock&) = delete;

  // What a call of that name may take before it is slow.
  [[nodiscard]] std::chrono::milliseconds Budget(const std::string& what) const;

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

  const std::chrono::milliseconds patience_;
  const FindingSink sink_;
  const Longest longest_;
  const std::function<void()> give_up_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool over_ = false;
  std::uint64_t last_ = 0;
  std::map<std::uint64_t, Call> calls_;
  std::map<std::string, std::chrono::milliseconds> longest_times_;  // by names
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
