#include "ktcheck/call_clock.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "ktcheck/thread_stacks.h"

namespace ktcheck {
namespace {

constexpr std::chrono::milliseconds kLook{50};

// Which part of the patience a call may take. A service and its clients wait for some longer than
// for others: starting may look for hardware, a version is known.
struct Budgeted {
  std::string_view call;
  int part;
};
constexpr std::array<Budgeted, 6> kBudgets{{{"ChangeNotify", 6},
                                            {"GetAttr", 15},
                                            {"Version", 15},
                                            {"ProviderEntry", 15},
                                            {"DllInit", 15},
                                            {"unloading the module", 6}}};
constexpr int kUsualPart = 3;

}  // namespace

CallClock::CallClock(std::chrono::milliseconds patience, FindingSink sink, Longest longest,
                     std::function<void()> give_up)
    : patience_(patience),
      sink_(std::move(sink)),
      longest_(std::move(longest)),
      give_up_(std::move(give_up)),
      thread_([this] { Run(); }) {}

CallClock::~CallClock() {
  {
    const std::lock_guard lock(mutex_);
    over_ = true;
    changed_.notify_all();
  }
  thread_.join();
}

std::chrono::milliseconds CallClock::Budget(const std::string& what) const {
  const auto* const found =
      std::find_if(kBudgets.begin(), kBudgets.end(),
                   [&](const Budgeted& budgeted) { return budgeted.call == what; });
  return patience_ / (found == kBudgets.end() ? kUsualPart : found->part);
}

std::uint64_t CallClock::Begin(const std::string& what) {
  const std::lock_guard lock(mutex_);
  calls_[++last_] = {what, ThisThread(), Clock::now()};
  return last_;
}

void CallClock::End(std::uint64_t call) {
  std::string what;
  std::chrono::milliseconds time{};
  bool longer = false;
  {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    if (found == calls_.end()) return;
    what = found->second.what;
    time = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - found->second.begun);
    calls_.erase(found);
    const auto [longest, first] = longest_times_.emplace(what, time);
    longer = first || time > longest->second;
    if (longer) longest->second = time;
  }
  if (longer) longest_(what, time);
  if (const auto budget = Budget(what); time > budget) {
    sink_({"slow",
           what + " took more than " + std::to_string(budget.count()) + " milliseconds",
           {},
           {},
           1});
  }
}

void CallClock::Run() {
  std::unique_lock lock(mutex_);
  while (!over_) {
    changed_.wait_for(lock, kLook);
    for (const auto& [number, call] : calls_) {
      if (Clock::now() - call.begun <= patience_) continue;
      const Call stuck = call;
      lock.unlock();
      TellStuck(stuck);
      give_up_();
      return;
    }
  }
}

void CallClock::TellStuck(const Call& call) {
  Finding finding{"stuck", call.what + " did not come back", {}, {}, 1};
  for (const ThreadStack& other : OtherThreads()) {
    std::vector<std::string> frames = AllFrames(other.stack);
    if (frames.empty()) frames.emplace_back("(this thread does not say where it stands)");
    const bool itself = other.thread == call.thread;
    // Others that have nothing to do with the module are shown all the same.
    const bool circumstance = !itself && !StandsInModule(other.stack);
    Trail trail{itself ? "the thread that did not come back"
                       : "another thread (" + std::to_string(other.thread) + ")",
                std::move(frames), circumstance};
    finding.trails.insert(itself ? finding.trails.begin() : finding.trails.end(), std::move(trail));
  }
  sink_(std::move(finding));
}

}  // namespace ktcheck
