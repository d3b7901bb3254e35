// Disturbance: what is made to fail in a life: calls of the framework, or allocations.
//
// Threads: told of a life by the thread that runs it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ktcheck/allocation_watch.h"
#include "ktcheck/call_failer.h"
#include "ktcheck/finding.h"

namespace ktcheck {

class Disturbance {
 public:
  Disturbance() = default;
  virtual ~Disturbance() = default;
  Disturbance(const Disturbance&) = delete;
  Disturbance& operator=(const Disturbance&) = delete;

  // Sees the calls of the module, if it wants to; lent.
  virtual CallListener* listener() { return nullptr; }

  // The module is loaded and not yet initialised; it is initialised; it is unloaded.
  virtual void Loaded() {}
  virtual void Initialized() {}
  virtual void Over() {}

  // How much could fail, and how much did.
  [[nodiscard]] virtual std::uint64_t chances() const = 0;
  [[nodiscard]] virtual std::uint64_t failed() const = 0;

  // What failed, and where it was asked for; nothing where that is not one thing.
  [[nodiscard]] virtual std::optional<Trail> Failed() const = 0;
};

// One call of the framework fails (number 0: none does).
class FailingCall : public Disturbance {
 public:
  FailingCall(const std::string& module, std::uint64_t number, KtStatus status);

  CallListener* listener() override { return &failer_; }
  [[nodiscard]] std::uint64_t chances() const override { return failer_.calls(); }
  [[nodiscard]] std::uint64_t failed() const override { return failer_.failed(); }
  [[nodiscard]] std::optional<Trail> Failed() const override;

 private:
  CallFailer failer_;
};

// Every second call fails at random, from the beginning or once the module is initialised.
class RandomlyFailingCalls : public Disturbance {
 public:
  RandomlyFailingCalls(const std::string& module, std::uint64_t seed, bool from_the_beginning);

  CallListener* listener() override { return &failer_; }
  void Loaded() override;
  void Initialized() override;
  [[nodiscard]] std::uint64_t chances() const override { return failer_.calls(); }
  [[nodiscard]] std::uint64_t failed() const override { return failer_.failed(); }
  [[nodiscard]] std::optional<Trail> Failed() const override { return std::nullopt; }

 private:
  const std::uint64_t seed_;
  const bool from_the_beginning_;
  CallFailer failer_;
};

// One allocation of the module's fails (number 0: none does), from Initialize on: what an
// allocation of a static object does that fails no module can say.
class FailingAllocation final : public Disturbance {
 public:
  explicit FailingAllocation(std::uint64_t number) : number_(number) {}
  ~FailingAllocation() override { Over(); }

  void Loaded() override;
  void Over() override;
  [[nodiscard]] std::uint64_t chances() const override { return count_.made; }
  [[nodiscard]] std::uint64_t failed() const override { return count_.failed; }
  [[nodiscard]] std::optional<Trail> Failed() const override;

 private:
  const std::uint64_t number_;
  bool counts_ = false;
  AllocationCount count_;
};

}  // namespace ktcheck
