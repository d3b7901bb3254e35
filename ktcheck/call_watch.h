// CallWatch: the functions of the module that are called: whether they come back in time, and
// without an exception; and which calls the module makes after its Shutdown.
//
// Threads: everything from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "ktcheck/call_clock.h"
#include "ktcheck/call_gate.h"
#include "ktcheck/finding.h"

namespace ktcheck {

class CallWatch : public CallListener {
 public:
  CallWatch(std::string module, FindingSink sink, CallClock& clock);

  bool Before(KtBusCall& call) override;
  void After(const KtBusCall& call) override;

  // Shutdown has come back: from now on the module may ask nothing of the database.
  void ShutdownIsOver() noexcept { over_.store(true); }

  // Calls of the module so far.
  [[nodiscard]] std::uint64_t calls() const noexcept { return calls_.load(); }

 private:
  const std::string module_;
  const FindingSink sink_;
  CallClock& clock_;
  std::atomic<bool> over_{false};
  std::atomic<std::uint64_t> calls_{0};
};

}  // namespace ktcheck
