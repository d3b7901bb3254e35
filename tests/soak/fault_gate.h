// FaultGate: lets one of so many calls of the other providers fail, at random.
//
// Calls that give something back or delete it are spared: what is not taken back nobody could give
// back. So are all calls while somebody holds a Truce.
//
// Threads: everything from any.
#pragma once

#include <atomic>
#include <cstdint>

#include "ktcheck/call_gate.h"

namespace soak {

class FaultGate : public ktcheck::CallListener {
 public:
  // From now on one of so many fails; 0 for none.
  void FailOneIn(std::uint32_t count) { one_in_ = count; }

  // Nothing fails while one lives.
  class Truce {
   public:
    explicit Truce(FaultGate& gate) : gate_(gate) { ++gate_.truces_; }
    ~Truce() { --gate_.truces_; }
    Truce(const Truce&) = delete;
    Truce& operator=(const Truce&) = delete;

   private:
    FaultGate& gate_;
  };

  bool Before(KtBusCall& call) override;
  void After(const KtBusCall& /*call*/) override {}

  // Calls so far that could have failed, and those that did.
  [[nodiscard]] std::uint64_t calls() const { return calls_; }
  [[nodiscard]] std::uint64_t failed() const { return failed_; }

 private:
  std::atomic<std::uint32_t> one_in_{0};
  std::atomic<std::uint32_t> truces_{0};
  std::atomic<std::uint64_t> calls_{0};
  std::atomic<std::uint64_t> failed_{0};
};

}  // namespace soak
