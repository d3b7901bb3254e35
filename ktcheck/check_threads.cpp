// The check of clients on several threads at once.

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "ktcheck/checks.h"
#include "ktcheck/learning.h"
#include "ktcheck/walker.h"
#include "ktcheck/watched_life.h"

namespace ktcheck {
namespace {

constexpr std::size_t kClients = 4;
constexpr std::uint64_t kRounds = 20;  // of each, before Shutdown

// Clients that send the same over and over, each on a thread of its own.
class Clients {
 public:
  Clients(WatchedLife& watched, const WalkOptions& options, const std::vector<KnownControl>& known)
      : watched_(watched), options_(options), known_(known) {
    for (std::size_t i = 0; i < kClients; ++i) {
      threads_.emplace_back([this, i] { Live(rounds_[i]); });
    }
  }
  ~Clients() { End(); }
  Clients(const Clients&) = delete;
  Clients& operator=(const Clients&) = delete;

  // Waits until each has done its rounds. They go on meanwhile and afterwards.
  void WaitForRounds() {
    for (const std::atomic<std::uint64_t>& rounds : rounds_) {
      for (std::uint64_t done = rounds.load(); done < kRounds; done = rounds.load()) {
        rounds.wait(done);
      }
    }
  }

  // Waits for each to end its round, and to go.
  void End() {
    over_.store(true);
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
  }

 private:
  void Live(std::atomic<std::uint64_t>& rounds) {
    while (!over_.load()) {
      Walker(watched_.life(), watched_.controls(), options_, [](const std::string&) {
      }).Repeat(known_);
      rounds.fetch_add(1);
      rounds.notify_all();
    }
  }

  WatchedLife& watched_;
  const WalkOptions& options_;
  const std::vector<KnownControl>& known_;
  std::atomic<bool> over_{false};
  std::array<std::atomic<std::uint64_t>, kClients> rounds_{};
  std::vector<std::thread> threads_;
};

}  // namespace

void CheckThreads(Bench& bench) {
  const auto known = LearnControls(bench);
  if (!known) return;
  WatchedLife watched(bench, {bench.Sink()});
  if (!watched.Begin()) {
    if (!watched.End()) bench.EndHere();
    return;
  }
  bench.Count(kThreads, kClients);
  bench.Trying(std::to_string(kClients) + " clients at once");
  Clients clients(watched, bench.options().walk, *known);
  clients.WaitForRounds();
  bench.Trying("Shutdown while " + std::to_string(kClients) + " clients go on");
  const bool usable = watched.End([&] {
    clients.End();
    watched.life().WaitForDelivery();
    bench.Trying("the end of the life");
  });
  if (!usable) bench.EndHere();
}

}  // namespace ktcheck
