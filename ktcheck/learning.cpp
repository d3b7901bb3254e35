#include "ktcheck/learning.h"

#include <string>
#include <utility>

#include "ktcheck/watched_life.h"

namespace ktcheck {
namespace {

// So many are sent in each life that follows.
constexpr std::size_t kMostControls = 24;

}  // namespace

bool EndsTheCheck(const Finding& finding) {
  return finding.kind == "not-loaded" || finding.kind == "initialize" ||
         finding.kind == "thread-left";
}

std::optional<std::vector<KnownControl>> LearnControls(Bench& bench) {
  bench.Trying("an undisturbed life, to learn what there is to do");
  WatchedLife watched(bench, {[&](Finding finding) {
                        if (EndsTheCheck(finding)) bench.Found(std::move(finding));
                      }});
  if (!watched.Begin()) return std::nullopt;
  Walker walker(watched.life(), watched.controls(), bench.options().walk,
                [](const std::string&) {});
  walker.Walk();
  std::vector<KnownControl> known = walker.known();
  if (known.size() > kMostControls) known.resize(kMostControls);
  if (!watched.End()) bench.EndHere();
  return known;
}

}  // namespace ktcheck
