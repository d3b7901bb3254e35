// CallFailer: makes calls of the module fail, one of them or every second at random.
//
// A call that gives something back is made all the same, and then answered as if it had failed:
// what the framework does not take back nobody could give back.
//
// Threads: everything from any thread.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <string>

#include "ktcheck/call_gate.h"
#include "ktcheck/call_stack.h"

namespace ktcheck {

class CallFailer : public CallListener {
 public:
  // Lets all pass, and counts.
  explicit CallFailer(std::string module);

  // Only the call of that number fails, from 1 on, in this way.
  void FailOne(std::uint64_t number, KtStatus status);
  // Every second call fails, at random.
  void FailAtRandom(std::uint64_t seed);
  // Nothing fails any more.
  void Pass();

  bool Before(KtBusCall& call) override;
  void After(const KtBusCall& call) override;

  // Calls so far that can fail, and those that were made to.
  [[nodiscard]] std::uint64_t calls() const;
  [[nodiscard]] std::uint64_t failed() const;

  // The last one that was made to fail, as "PsCreatePropset", and from where; "" for none.
  [[nodiscard]] std::string function() const;
  [[nodiscard]] CallStack stack() const;

 private:
  // The status of the call that is to fail (0 for those that answer with null), if it is to.
  std::optional<KtStatus> Chosen(const KtBusCall& call);

  const std::string module_;
  mutable std::mutex mutex_;
  std::uint64_t calls_ = 0;
  std::uint64_t failed_ = 0;
  std::uint64_t number_ = 0;
  KtStatus status_ = 0;
  std::optional<std::mt19937_64> dice_;
  std::string function_;
  CallStack stack_;
};

}  // namespace ktcheck
