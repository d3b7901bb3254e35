// WatchedLife: a life with everything watching: leaks, locks, times, late calls.
//
// Threads: one thread.
#pragma once

#include <functional>

#include "ktcheck/bench.h"
#include "ktcheck/call_gate.h"
#include "ktcheck/call_watch.h"
#include "ktcheck/control_watch.h"
#include "ktcheck/disturbance.h"
#include "ktcheck/leak_watch.h"
#include "ktcheck/life.h"
#include "ktcheck/lock_watch.h"

namespace ktcheck {

class WatchedLife {
 public:
  struct Kind {
    FindingSink sink;
    bool stacks = true;
    Disturbance* disturbance = nullptr;  // functions of the module may then answer that they failed
  };

  WatchedLife(Bench& bench, const Kind& kind);
  ~WatchedLife() = default;
  WatchedLife(const WatchedLife&) = delete;
  WatchedLife& operator=(const WatchedLife&) = delete;

  bool Begin() { return life_.Begin(); }
  // Ends the life and tells what was kept. False when the module cannot be used any more.
  bool End(const std::function<void()>& late = {});

  Life& life() noexcept { return life_; }
  ControlWatch& controls() noexcept { return controls_; }
  [[nodiscard]] std::uint64_t calls() const noexcept { return calls_.calls(); }

 private:
  LeakWatch leaks_;
  LockWatch locks_;
  CallWatch calls_;
  ControlWatch controls_;
  CallGate gate_;
  Disturbance* const disturbance_;
  Life life_;
};

}  // namespace ktcheck
