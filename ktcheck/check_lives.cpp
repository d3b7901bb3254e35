// The checks of lives in which nothing is made to fail.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ktcheck/checks.h"
#include "ktcheck/memory_level.h"
#include "ktcheck/walker.h"
#include "ktcheck/watched_life.h"

namespace ktcheck {
namespace {

// Bytes that a life may keep on the average: less than any allocation.
constexpr std::int64_t kBytesALife = 8;

constexpr std::size_t kBlocksOfALife = 16384;
constexpr std::size_t kFewLives = 5;
constexpr std::size_t kFewestRises = 4;

// What a service does with a provider at the least.
void Work(Bench& bench, Life& life, ControlWatch& watch) {
  Walker(life, watch, bench.options().walk, [](const std::string&) {}).Repeat({});
}

// Makes the framework's tables of memory as large as a life needs them at the most, so that they do
// not grow while the level is watched.
void FillTables() {
  std::vector<void*> blocks(kBlocksOfALife);
  for (void*& block : blocks) block = _KtAlloc(1);
  for (void* const block : blocks) _KtFree(block);
}

// How many bytes each life keeps. Tables of the framework's grow now and then and stay as large as
// they are, and threads that are just ending still have memory, so that the level as a whole says
// little; what a life keeps shows in nearly every few lives.
std::int64_t BytesALife(const std::vector<std::uint64_t>& levels) {
  std::vector<std::int64_t> rises;  // over a few lives each, without the first ones
  for (std::size_t i = levels.size() / 4; i + kFewLives < levels.size(); i += kFewLives) {
    rises.push_back(static_cast<std::int64_t>(levels[i + kFewLives] - levels[i]));
  }
  if (rises.size() < kFewestRises) return 0;
  std::sort(rises.begin(), rises.end());
  return std::max<std::int64_t>(rises[rises.size() / 4] / static_cast<std::int64_t>(kFewLives), 0);
}

// Lives through all lives, and answers how many bytes each has kept; nothing when the module does
// not live, which is told.
std::optional<std::int64_t> LiveThrough(Bench& bench) {
  std::vector<std::uint64_t> levels;
  levels.reserve(bench.options().lives);
  ControlWatch nobody(bench.options().subject.name);
  for (std::uint64_t i = 1; i <= bench.options().lives; ++i) {
    bench.Trying("life " + std::to_string(i));
    bool tainted = false;
    bool begun = false;
    {
      Life life({bench.options().subject, bench.clock(), bench.Sink(), nullptr, false});
      begun = life.Begin();
      if (begun) Work(bench, life, nobody);
      life.End();
      tainted = life.tainted();
    }
    bench.Count("lives", 1);
    if (tainted) bench.EndHere();
    if (!begun) return std::nullopt;
    if (const auto level = MemoryInUse()) levels.push_back(*level);
  }
  bench.Trying("");
  return BytesALife(levels);
}

}  // namespace

void CheckLife(Bench& bench) {
  WatchedLife watched(bench, {bench.Sink()});
  if (watched.Begin()) Work(bench, watched.life(), watched.controls());
  const bool usable = watched.End();
  bench.Count("framework calls", watched.calls());
  if (!usable) bench.EndHere();
}

void CheckWalk(Bench& bench) {
  WatchedLife watched(bench, {bench.Sink()});
  if (watched.Begin()) {
    Walker walker(watched.life(), watched.controls(), bench.options().walk,
                  [&](const std::string& what) { bench.Trying(what); });
    walker.Walk();
    bench.Count("controls sent", walker.controls());
    bench.Count("controls known", walker.known().size());
    bench.Count("events raised", walker.events());
  }
  bench.Trying("the end of the life");
  if (!watched.End()) bench.EndHere();
}

void CheckLate(Bench& bench) {
  WatchedLife watched(bench, {bench.Sink()});
  if (!watched.Begin()) {
    watched.End();
    return;
  }
  Work(bench, watched.life(), watched.controls());
  WalkOptions few = bench.options().walk;
  few.codes = {{0, 1}, {11002, 11005}};
  const bool usable = watched.End([&] {
    Walker walker(watched.life(), watched.controls(), few,
                  [&](const std::string& what) { bench.Trying("after Shutdown: " + what); });
    walker.Walk();
    bench.Count("late calls", walker.controls() + walker.events());
    bench.Trying("the end of the life");
  });
  if (!usable) bench.EndHere();
}

void CheckLives(Bench& bench) {
  FillTables();
  std::optional<std::int64_t> kept = LiveThrough(bench);
  // What grows once may have been growing to its size; what a module keeps it keeps again.
  if (kept && *kept >= kBytesALife) kept = LiveThrough(bench);
  if (!kept) return;
  bench.Count("bytes kept by a life", static_cast<std::uint64_t>(*kept));
  if (*kept >= kBytesALife) {
    bench.Found({"memory-grows",
                 "memory in use grows by about " + std::to_string(*kept) + " bytes with each life",
                 {},
                 {},
                 1});
  }
}

}  // namespace ktcheck
