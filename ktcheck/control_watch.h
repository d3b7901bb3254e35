// ControlWatch: what the module does with a control that is sent to it: how often it calls the
// framework, and which properties it looks for in the input. That tells a control that it knows
// from one that it does not, and what to put into it.
//
// Threads: a control is sent, and its figures read, on one thread; others may call meanwhile.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>

#include "ktcheck/call_gate.h"

namespace ktcheck {

class ControlWatch : public CallListener {
 public:
  explicit ControlWatch(std::string module) : module_(std::move(module)) {}

  bool Before(KtBusCall& call) override;
  void After(const KtBusCall& call) override;

  // A control begins on this thread, with this input.
  void Begin(KtPropset input);

  // Since then: calls of the framework on that thread (traces left out), names looked for.
  [[nodiscard]] std::uint64_t calls() const;
  [[nodiscard]] std::set<std::string> names() const;

 private:
  const std::string module_;
  mutable std::mutex mutex_;
  bool runs_ = false;
  std::uint64_t thread_ = 0;
  KtPropset input_ = nullptr;
  std::uint64_t calls_ = 0;
  std::set<std::string> names_;
};

}  // namespace ktcheck
