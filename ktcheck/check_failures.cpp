// The checks in which framework calls fail, or allocations.

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ktcheck/allocation_watch.h"
#include "ktcheck/call_stack.h"
#include "ktcheck/checks.h"
#include "ktcheck/disturbance.h"
#include "ktcheck/failing_statuses.h"
#include "ktcheck/learning.h"
#include "ktcheck/walker.h"
#include "ktcheck/watched_life.h"
#include "status_text.h"

namespace ktcheck {
namespace {

constexpr const char* kMemoryKept = "memory-kept";

// Of so many, each that is to be tried: all of them, or about as many as are asked for.
class Chosen {
 public:
  Chosen(std::uint64_t count, const CheckOptions& options)
      : stride_(options.failures == 0 ? 1 : std::max<std::uint64_t>(count / options.failures, 1)),
        first_(options.walk.seed % stride_),
        from_(options.from) {}

  [[nodiscard]] bool Has(std::uint64_t step) const {
    return step >= from_ && step % stride_ == first_;
  }

 private:
  std::uint64_t stride_;
  std::uint64_t first_;
  std::uint64_t from_;
};

// Makes one disturbance anew; each life has its own.
using MakeDisturbance = std::function<std::unique_ptr<Disturbance>()>;

class FailingLives {
 public:
  // `figure` is what each failure is counted as.
  FailingLives(Bench& bench, const Figure& figure) : bench_(bench), figure_(figure) {}

  // Learns what there is to do in a life, and how much could fail in it. Nothing when the module
  // does not live even undisturbed, which is told.
  std::optional<std::uint64_t> Learn(const MakeDisturbance& make) {
    auto known = LearnControls(bench_);
    if (!known) return std::nullopt;
    known_ = std::move(*known);
    RememberAllocations();
    return CountChances(make);
  }

  // One life with that disturbance. What is found is found again with call stacks, where it can be.
  void Try(const MakeDisturbance& make) {
    std::vector<Finding> found;
    const auto first = make();
    const bool usable = Live(*first, false, found);
    bench_.Count(figure_, first->failed());
    if (usable && !found.empty()) {
      std::vector<Finding> again;
      const auto second = make();
      const bool still_usable = Live(*second, true, again);
      LeaveKeptTwice(found, again);
      Tell(again.empty() ? found : again, *second);
      if (!still_usable) bench_.EndHere();
      return;
    }
    Tell(found, *first);
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
  std::uint64_t CountChances(const MakeDisturbance& make) {
    // The first life of its kind may have more to do than those after it.
    std::uint64_t chances = 0;
    for (int i = 0; i < 2; ++i) {
      std::vector<Finding> found;
      const auto counting = make();
      if (!Live(*counting, false, found)) {
        // What else is wrong in such a life the other checks tell.
        std::erase_if(found, [](const Finding& finding) { return !EndsTheCheck(finding); });
        Tell(found, *counting);
        bench_.EndHere();
      }
      chances = counting->chances();
      for (const KeptMemory& kept : MostKept()) kept_always_.insert(ModuleFrames(kept.stack));
    }
    return chances;
  }

  // What the module has allocated in the last life and not freed, though it does in a life in
  // which nothing fails. What it never frees the check "lives" tells.
  void LookForKept(std::vector<Finding>& found) const {
    for (const KeptMemory& kept : MostKept()) {
      std::vector<std::string> frames = ModuleFrames(kept.stack);
      if (!kept.by_module || kept_always_.contains(frames)) continue;
      found.push_back({kMemoryKept,
                       "memory that the module has allocated is not freed when something fails",
                       {},
                       {{"allocated here and never freed: " + std::to_string(kept.bytes) +
                             " bytes in " + std::to_string(kept.blocks) + " blocks",
                         std::move(frames)}},
                       1});
    }
  }

  // Of two lives alike: memory that is kept in one of them alone may be a cache's.
  static void LeaveKeptTwice(std::vector<Finding>& found, std::vector<Finding>& again) {
    std::erase_if(again, [&](const Finding& finding) {
      return finding.kind == kMemoryKept &&
             std::none_of(found.begin(), found.end(),
                          [&](const Finding& first) { return SameThing(first, finding); });
    });
    std::erase_if(found, [](const Finding& finding) { return finding.kind == kMemoryKept; });
  }

  // False when the module cannot be used any more.
  bool Live(Disturbance& disturbance, bool stacks, std::vector<Finding>& found) {
    std::mutex mutex;
    const FindingSink sink = [&](Finding finding) {
      const std::lock_guard lock(mutex);
      found.push_back(std::move(finding));
    };
    ForgetAllocations();
    WatchedLife watched(bench_, {sink, stacks, &disturbance});
    if (watched.Begin()) {
      Walker(watched.life(), watched.controls(), bench_.options().walk, [](const std::string&) {
      }).Repeat(known_);
    }
    const bool usable = watched.End();
    if (usable) LookForKept(found);
    return usable;
  }

  void Tell(std::vector<Finding>& found, const Disturbance& disturbance) {
    const std::optional<Trail> failed = disturbance.Failed();
    for (Finding& finding : found) {
      if (failed) finding.trails.push_back(*failed);
      bench_.Found(std::move(finding));
    }
  }

  Bench& bench_;
  const Figure figure_;
  std::vector<KnownControl> known_;
  std::set<std::vector<std::string>> kept_always_;  // the places where that was allocated
};

}  // namespace

void CheckFailures(Bench& bench) {
  const std::string& module = bench.options().subject.name;
  FailingLives lives(bench, kCallsFailed);
  const auto calls =
      lives.Learn([&] { return std::make_unique<FailingCall>(module, 0, KtStatus{0}); });
  if (!calls) return;
  if (*calls == 0) bench.NotTried("the module makes no call in a life that could fail");
  bench.Count(kCallsInALife, bench.options().from == 0 ? *calls : 0);
  const Chosen chosen(*calls * kFailingStatuses.size(), bench.options());
  std::uint64_t step = 0;
  for (const KtStatus status : kFailingStatuses) {
    for (std::uint64_t number = 1; number <= *calls; ++number) {
      if (!chosen.Has(++step)) continue;
      bench.Trying("framework call " + std::to_string(number) + " of " + std::to_string(*calls) +
                       " in a life fails with " + ktsvc::StatusText(status),
                   step, kCallsFailed);
      lives.Try([&] { return std::make_unique<FailingCall>(module, number, status); });
    }
  }
  lives.LiveUndisturbed();
}

void CheckRandomFailures(Bench& bench) {
  const std::string& module = bench.options().subject.name;
  FailingLives lives(bench, kCallsFailed);
  const auto calls =
      lives.Learn([&] { return std::make_unique<FailingCall>(module, 0, KtStatus{0}); });
  if (!calls) return;
  if (*calls == 0) bench.NotTried("the module makes no call in a life that could fail");
  for (std::uint64_t round = 1; round <= bench.options().rounds; ++round) {
    if (round < bench.options().from) continue;
    const std::uint64_t seed = bench.options().walk.seed + round - 1;
    // Half the rounds let Initialize be: with every second call failing it hardly ever succeeds.
    const bool from_the_beginning = seed % 2 == 0;
    bench.Trying(std::string("every second framework call ") +
                     (from_the_beginning ? "" : "after Initialize ") +
                     "fails at random, with --seed " + std::to_string(seed) + " --rounds 1",
                 round, kCallsFailed);
    lives.Try(
        [&] { return std::make_unique<RandomlyFailingCalls>(module, seed, from_the_beginning); });
  }
  lives.LiveUndisturbed();
}

void CheckMemory(Bench& bench) {
  FailingLives lives(bench, kAllocationsFailed);
  const auto allocations = lives.Learn([] { return std::make_unique<FailingAllocation>(0); });
  if (!allocations) return;
  if (*allocations == 0) bench.NotTried("the module allocates nothing in a life");
  bench.Count(kAllocationsInALife, bench.options().from == 0 ? *allocations : 0);
  const Chosen chosen(*allocations, bench.options());
  for (std::uint64_t number = 1; number <= *allocations; ++number) {
    if (!chosen.Has(number)) continue;
    bench.Trying("allocation " + std::to_string(number) + " of " + std::to_string(*allocations) +
                     " that the module makes in a life fails",
                 number, kAllocationsFailed);
    lives.Try([&] { return std::make_unique<FailingAllocation>(number); });
  }
  lives.LiveUndisturbed();
}

}  // namespace ktcheck
