#include "ktcheck/watched_life.h"

namespace ktcheck {
namespace {

std::vector<CallListener*> Listeners(std::vector<CallListener*> watches, Disturbance* disturbance) {
  CallListener* const failer = disturbance == nullptr ? nullptr : disturbance->listener();
  if (failer != nullptr) watches.push_back(failer);
  return watches;
}

Life::Surroundings Around(Bench& bench, const WatchedLife::Kind& kind, CallWatch& calls) {
  Life::Surroundings around{
      bench.options().subject, bench.clock(), kind.sink, &calls, false, {}, {}};
  if (Disturbance* const disturbance = kind.disturbance; disturbance != nullptr) {
    around.may_fail = true;
    around.loaded = [disturbance] { disturbance->Loaded(); };
    around.initialized = [disturbance] { disturbance->Initialized(); };
  }
  return around;
}

}  // namespace

WatchedLife::WatchedLife(Bench& bench, const Kind& kind)
    : leaks_(
          bench.options().subject.name, kind.sink, [&bench] { return bench.trying(); },
          kind.stacks),
      locks_(bench.options().subject.name, kind.sink, kind.stacks),
      calls_(bench.options().subject.name, kind.sink, bench.clock()),
      controls_(bench.options().subject.name),
      gate_(Listeners({&leaks_, &locks_, &calls_, &controls_}, kind.disturbance)),
      disturbance_(kind.disturbance),
      life_(Around(bench, kind, calls_)) {}

bool WatchedLife::End(const std::function<void()>& late) {
  life_.End(late);
  if (disturbance_ != nullptr) disturbance_->Over();
  leaks_.TellKept();
  return !life_.tainted();
}

}  // namespace ktcheck
