// The checks in which framework calls fail.

#include <algorithm>
#include <utility>
#include <vector>

#include "ktcheck/call_failer.h"
#include "ktcheck/checks.h"
#include "ktcheck/failing_statuses.h"
#include "ktcheck/walker.h"
#include "ktcheck/watched_life.h"
#include "status_text.h"

namespace ktcheck {
namespace {

// Of the controls that the module knows, so many are sent in each life.
constexpr std::size_t kMostControls = 24;

class FailingLives {
 public:
  explicit FailingLives(Bench& bench) : bench_(bench) {}

  // Learns what there is to do in a life, and how many calls that takes. False when the module does
  // not live even undisturbed, which other checks tell.
  bool Learn() {
    bench_.Trying("an undisturbed life, to learn what there is to do");
    WatchedLife watched(bench_, {[](const Finding&) {}});
    if (!watched.Begin()) return false;
    Walker walker(watched.life(), watched.controls(), bench_.options().walk,
                  [](const std::string&) {});
    walker.Walk();
    known_ = walker.known();
    if (known_.size() > kMostControls) known_.resize(kMostControls);
    if (!watched.End()) return false;
    CallFailer counter(bench_.options().subject.name);
    std::vector<Finding> ignored;
    if (!Live(counter, false, ignored)) return false;
    calls_ = counter.calls();
    return true;
  }

  [[nodiscard]] std::uint64_t calls() const noexcept { return calls_; }

  // One life in which the failer has its way. What is found is found again with call stacks, where
  // it can be.
  void Try(const std::function<void(CallFailer&)>& arm, bool one) {
    std::vector<Finding> found;
    CallFailer failer(bench_.options().subject.name);
    arm(failer);
    const bool usable = Live(failer, false, found);
    bench_.Count("calls failed", failer.failed());
    if (usable && !found.empty()) {
      std::vector<Finding> again;
      CallFailer second(bench_.options().subject.name);
      arm(second);
      const bool still_usable = Live(second, true, again);
      Tell(again.empty() ? found : again, second, one);
      if (!still_usable) bench_.EndHere();
      return;
    }
    Tell(found, failer, one);
    if (!usable) bench_.EndHere();
  }

  // After all that the module must live as if nothing had been.
  void LiveUndisturbed() {
    bench_.Trying("an undisturbed life after all the failures");
    WatchedLife watched(bench_, {bench_.Sink()});
    if (!watched.Begin()) {
      bench_.Found({"unsteady", "the module does not come up again", {}, {}, 1});
    }
    watched.End();
  }

 private:
  // False when the module cannot be used any more.
  bool Live(CallFailer& failer, bool stacks, std::vector<Finding>& found) {
    std::mutex mutex;
    const FindingSink sink = [&](Finding finding) {
      const std::lock_guard lock(mutex);
      found.push_back(std::move(finding));
    };
    WatchedLife watched(bench_, {sink, stacks, &failer});
    if (watched.Begin()) {
      Walker(watched.life(), watched.controls(), bench_.options().walk, [](const std::string&) {
      }).Repeat(known_);
    }
    return watched.End();
  }

  void Tell(std::vector<Finding>& found, const CallFailer& failer, bool one) {
    for (Finding& finding : found) {
      if (one && !failer.function().empty()) {
        finding.trails.push_back({"the call of " + failer.function() + " that was made to fail",
                                  ModuleFrames(failer.stack()), true});
      }
      bench_.Found(std::move(finding));
    }
  }

  Bench& bench_;
  std::vector<KnownControl> known_;
  std::uint64_t calls_ = 0;
};

}  // namespace

void CheckFailures(Bench& bench) {
  FailingLives lives(bench);
  if (!lives.Learn()) return;
  const std::uint64_t calls = lives.calls();
  bench.Count("calls in a life", bench.options().from == 0 ? calls : 0);
  std::uint64_t step = 0;
  for (const KtStatus status : kFailingStatuses) {
    for (std::uint64_t number = 1; number <= calls; ++number) {
      if (++step < bench.options().from) continue;
      bench.Trying("framework call " + std::to_string(number) + " of " + std::to_string(calls) +
                       " in a life fails with " + ktsvc::StatusText(status),
                   step);
      lives.Try([&](CallFailer& failer) { failer.FailOne(number, status); }, true);
    }
  }
  lives.LiveUndisturbed();
}

void CheckRandomFailures(Bench& bench) {
  FailingLives lives(bench);
  if (!lives.Learn()) return;
  for (std::uint64_t round = 1; round <= bench.options().rounds; ++round) {
    if (round < bench.options().from) continue;
    const std::uint64_t seed = bench.options().walk.seed + round - 1;
    bench.Trying("every second framework call fails at random, with --seed " +
                     std::to_string(seed) + " --rounds 1",
                 round);
    lives.Try([&](CallFailer& failer) { failer.FailAtRandom(seed); }, false);
  }
  lives.LiveUndisturbed();
}

}  // namespace ktcheck
