#include "ktcheck/watched_life.h"

namespace ktcheck {
namespace {

std::vector<CallListener*> Listeners(std::vector<CallListener*> watches, CallFailer* failer) {
  if (failer != nullptr) watches.push_back(failer);
  return watches;
}

}  // namespace

WatchedLife::WatchedLife(Bench& bench, const Kind& kind)
    : leaks_(bench.options().subject.name, kind.sink, kind.stacks),
      locks_(bench.options().subject.name, kind.sink, kind.stacks),
      calls_(bench.options().subject.name, kind.sink, bench.clock()),
      controls_(bench.options().subject.name),
      gate_(Listeners({&leaks_, &locks_, &calls_, &controls_}, kind.failer)),
      life_({bench.options().subject, bench.clock(), kind.sink, &calls_, kind.failer != nullptr}) {}

bool WatchedLife::End(const std::function<void()>& late) {
  life_.End(late);
  leaks_.TellKept();
  return !life_.tainted();
}

}  // namespace ktcheck
