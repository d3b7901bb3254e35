// The checks of lives in which nothing is made to fail.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ktcheck/allocation_watch.h"
#include "ktcheck/checks.h"
#include "ktcheck/learning.h"
#include "ktcheck/memory_level.h"
#include "ktcheck/walker.h"
#include "ktcheck/watched_life.h"

namespace ktcheck {
namespace {

constexpr std::size_t kBlocksOfALife = 16384;
constexpr std::size_t kWindows = 8;
constexpr std::size_t kFewestLives = 11;  // so that each window has a life in it
constexpr std::size_t kMostPlaces = 3;

// What a service does with a provider at the least, and these controls.
void Work(Bench& bench, Life& life, ControlWatch& watch,
          const std::vector<KnownControl>& known = {}) {
  Walker(life, watch, bench.options().walk, [](const std::string&) {}).Repeat(known);
}

// What is sent after Shutdown: the module's own controls, and one that it does not know.
std::vector<CodeRange> CodesOf(const std::vector<KnownControl>& known) {
  std::vector<CodeRange> codes{{0, 0}};
  for (const KnownControl& control : known) {
    const auto same = [&](const CodeRange& range) { return range.first == control.code; };
    if (std::none_of(codes.begin(), codes.end(), same)) {
      codes.push_back({control.code, control.code});
    }
  }
  return codes;
}

// Makes the framework's tables of memory as large as a life needs them at the most, so that they do
// not grow while the level is watched.
void FillTables() {
  std::vector<void*> blocks(kBlocksOfALife);
  for (void*& block : blocks) block = _KtAlloc(1);
  for (void* const block : blocks) _KtFree(block);
}

// How many bytes each life keeps. The first lives fill caches, and threads that are just ending
// still have memory: so the rest is cut into windows of a few lives each, and unless there is more
// at the end of each of them than at its beginning, nothing is kept. Nothing is answered where the
// lives are too few to tell.
std::optional<std::uint64_t> BytesALife(const std::vector<std::uint64_t>& levels) {
  if (levels.empty()) return std::nullopt;
  const std::size_t first = levels.size() / 4;
  const std::size_t length = (levels.size() - 1 - first) / kWindows;
  if (length == 0) return std::nullopt;
  for (std::size_t i = 0; i < kWindows; ++i) {
    const std::uint64_t begin = levels[first + i * length];
    const std::uint64_t end = levels[first + (i + 1) * length];
    if (end < begin + length) return 0;  // less than a byte with each life
  }
  const std::uint64_t kept =
      (levels[first + kWindows * length] - levels[first]) / (kWindows * length);
  return kept > kStaysAnyway ? kept : 0;
}

// Lives through all lives, and answers how many bytes each has kept; nothing when that is not
// known: the module does not live, which is told, or the lives are too few.
std::optional<std::uint64_t> LiveThrough(Bench& bench, const std::vector<KnownControl>& known) {
  std::vector<std::uint64_t> levels;
  levels.reserve(bench.options().lives);
  ControlWatch nobody(bench.options().subject.name);
  for (std::uint64_t i = 1; i <= bench.options().lives; ++i) {
    bench.Trying("life " + std::to_string(i));
    bool tainted = false;
    bool begun = false;
    {
      Life life({bench.options().subject, bench.clock(), bench.Sink(), nullptr, false, {}, {}});
      begun = life.Begin();
      if (begun) Work(bench, life, nobody, known);
      life.End();
      tainted = life.tainted();
    }
    bench.Count(kLives, 1);
    if (tainted) bench.EndHere();
    if (!begun) return std::nullopt;
    if (const auto level = MemoryInUse()) levels.push_back(*level);
  }
  bench.Trying("");
  const auto kept = BytesALife(levels);
  if (!kept) {
    bench.NotTried("of " + std::to_string(bench.options().lives) +
                   " lives the memory level says nothing; --lives " + std::to_string(kFewestLives) +
                   " is the least");
  }
  return kept;
}

// Where that was allocated which is kept by most lives, where that is known.
std::vector<Trail> PlacesOfKeptMemory(std::uint64_t lives) {
  // The module does not lie at the same address in all lives, but its frames have the same names.
  struct Place {
    std::vector<std::string> frames;
    std::uint64_t bytes = 0;
    std::uint64_t blocks = 0;
  };
  std::vector<Place> places;
  for (const KeptMemory& kept : MostKept()) {
    std::vector<std::string> frames = ModuleFrames(kept.stack);
    auto known = std::find_if(places.begin(), places.end(),
                              [&](const Place& place) { return place.frames == frames; });
    if (known == places.end()) known = places.insert(known, Place{std::move(frames), 0, 0});
    known->bytes += kept.bytes;
    known->blocks += kept.blocks;
  }
  std::vector<Trail> trails;
  for (Place& place : places) {
    if (place.blocks < lives || trails.size() == kMostPlaces) continue;  // kept once, as a cache is
    trails.push_back({"allocated here and never freed: " + std::to_string(place.bytes) +
                          " bytes in " + std::to_string(place.blocks) + " blocks",
                      std::move(place.frames)});
  }
  return trails;
}

}  // namespace

void CheckLife(Bench& bench) {
  WatchedLife watched(bench, {bench.Sink()});
  if (watched.Begin()) Work(bench, watched.life(), watched.controls());
  const bool usable = watched.End();
  bench.Count(kFrameworkCalls, watched.calls());
  if (!usable) bench.EndHere();
}

void CheckWalk(Bench& bench) {
  WatchedLife watched(bench, {bench.Sink()});
  if (watched.Begin()) {
    Walker walker(watched.life(), watched.controls(), bench.options().walk,
                  [&](const std::string& what) { bench.Trying(what); });
    walker.Walk();
    bench.Count(kControlsSent, walker.controls());
    bench.Count(kControlsKnown, walker.known().size());
    bench.Count(kEventsRaised, walker.events());
    if (walker.served() && walker.known().empty()) {
      bench.NotTried("the module serves interfaces, but knows none of the " +
                     std::to_string(walker.controls()) +
                     " controls that were sent; give their codes with --codes");
    }
  }
  bench.Trying("the end of the life");
  if (!watched.End()) bench.EndHere();
}

void CheckLate(Bench& bench) {
  const auto known = LearnControls(bench);
  if (!known) return;
  WatchedLife watched(bench, {bench.Sink()});
  if (!watched.Begin()) {
    watched.End();
    return;
  }
  Work(bench, watched.life(), watched.controls(), *known);
  WalkOptions few = bench.options().walk;
  few.codes = CodesOf(*known);
  const bool usable = watched.End([&] {
    Walker walker(watched.life(), watched.controls(), few,
                  [&](const std::string& what) { bench.Trying("after Shutdown: " + what); });
    walker.Walk();
    bench.Count(kLateControls, walker.controls());
    bench.Count(kLateEvents, walker.events());
    bench.Trying("the end of the life");
  });
  if (!usable) bench.EndHere();
}

void CheckLives(Bench& bench) {
  const auto known = LearnControls(bench);
  if (!known) return;
  if (AllocationsAreSeen()) {
    RememberAllocations();
  } else {
    FillTables();
  }
  std::optional<std::uint64_t> kept = LiveThrough(bench, *known);
  // What grows once may have been growing to its size; what a module keeps it keeps again.
  if (kept && *kept != 0) kept = LiveThrough(bench, *known);
  if (!kept) return;
  bench.Count(kBytesKept, *kept);
  if (*kept == 0) return;
  bench.Found({"memory-grows",
               "memory in use grows by about " + std::to_string(*kept) + " bytes with each life",
               {},
               PlacesOfKeptMemory(bench.options().lives),
               1});
}

}  // namespace ktcheck
