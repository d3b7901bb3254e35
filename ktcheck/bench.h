// Bench: what a check works with: the module, the options, the clock, and the report.
//
// Threads: a check runs on one thread; findings come from any.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "ktcheck/call_clock.h"
#include "ktcheck/figures.h"
#include "ktcheck/life.h"
#include "ktcheck/report.h"
#include "ktcheck/walk_options.h"

namespace ktcheck {

struct CheckOptions {
  Subject subject;
  std::uint64_t lives = 100;
  std::uint64_t rounds = 100;         // of random failures
  std::uint64_t failures = 0;         // of calls, and of allocations; 0: of each in a life
  std::chrono::seconds patience{30};  // for one call
  WalkOptions walk;                   // with the seed of everything
  std::uint64_t from = 0;             // the step to begin with
};

class Bench {
 public:
  Bench(const CheckOptions& options, Report& report);
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;
  ~Bench() = default;

  [[nodiscard]] const CheckOptions& options() const noexcept { return options_; }
  [[nodiscard]] CallClock& clock() noexcept { return clock_; }

  // What is tried from now on ("" for nothing in particular), its number, and what it is counted as
  // when the process ends in it.
  void Trying(const std::string& what, std::uint64_t step = 0, const Figure& figure = {});
  [[nodiscard]] std::string trying() const;
  // A finding, under the circumstances that are tried.
  void Found(Finding finding);
  void Count(const Figure& figure, std::uint64_t number) {
    report_.Count(std::string(figure.key), number);
  }
  // A figure of which the largest counts.
  void Most(const Figure& figure, std::int64_t number) {
    report_.Most(std::string(figure.key), static_cast<std::uint64_t>(number));
  }

  // What the check is there for could not be tried: it has not passed then.
  void NotTried(const std::string& why) { report_.NotTried(why); }

  // Findings with that bench behind them.
  FindingSink Sink();

  // The module cannot be used any more in this process: it ends, and the check goes on with the
  // next step in another one. A check without steps is over.
  [[noreturn]] void EndHere();

 private:
  const CheckOptions& options_;
  Report& report_;
  mutable std::mutex mutex_;
  std::string trying_;
  CallClock clock_;
};

}  // namespace ktcheck
