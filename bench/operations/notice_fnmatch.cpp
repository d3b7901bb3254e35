// The patterns walked one by one with fnmatch.
#include <benchmark/benchmark.h>
#include <fnmatch.h>

#include <string>
#include <vector>

#include "bench/module/words.h"
#include "bench/operations/control.h"
#include "bench/operations/subscription_names.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class Walk {
 public:
  explicit Walk(std::uint32_t subscriptions) {
    for (std::string& name : SubscriptionNames(subscriptions)) {
      subscribers_.push_back({std::move(name), MakePlainHandler(1)});
    }
  }
  bool Works() { return Notify() == kMatches; }
  void Run() { benchmark::DoNotOptimize(Notify()); }

 private:
  struct Subscriber {
    std::string pattern;
    std::unique_ptr<PlainHandler> handler;
  };

  std::size_t Notify() {
    std::size_t calls = 0;
    for (const Subscriber& subscriber : subscribers_) {
      if (fnmatch(subscriber.pattern.c_str(), kWarmName, 0) != 0) continue;
      PlainRequest request{nullptr, 0, 0};
      benchmark::DoNotOptimize(subscriber.handler->Handle(request));
      ++calls;
    }
    return calls;
  }

  std::vector<Subscriber> subscribers_;
};

const bool entered = Add<Walk>("notice/1000/fnmatch", {}, 1'000U);

}  // namespace
}  // namespace kt::bench
