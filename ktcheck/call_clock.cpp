#include "ktcheck/call_clock.h"

#include <optional>
#include <utility>

#include "ktcheck/thread_stacks.h"

namespace ktcheck {
namespace {

constexpr std::chrono::milliseconds kLook{50};

}  // namespace

CallClock::CallClock(std::chrono::milliseconds slow, std::chrono::milliseconds patience,
                     FindingSink sink, std::function<void()> give_up)
    : slow_(slow),
      patience_(patience),
      sink_(std::move(sink)),
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

std::uint64_t CallClock::Begin(const std::string& what) {
  const std::lock_guard lock(mutex_);
  calls_[++last_] = {what, ThisThread(), Clock::now()};
  return last_;
}

void CallClock::End(std::uint64_t call) {
  std::optional<Call> slow;
  {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(call);
    if (found == calls_.end()) return;
    if (Clock::now() - found->second.begun > slow_) slow = found->second;
    calls_.erase(found);
  }
  if (slow) {
    sink_({"slow",
           slow->what + " took more than " +
               std::to_string(std::chrono::duration_cast<std::chrono::seconds>(slow_).count()) +
               " seconds",
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
