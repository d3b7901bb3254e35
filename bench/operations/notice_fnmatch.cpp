// The patterns walked one by one with fnmatch.
#include <benchmark/benchmark.h>
#include <fnmatch.h>

#include <string>
#include <vector>

#include "bench/module/words.h"
#include "bench/operations/control.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class Walk {
 public:
  explicit Walk(std::uint32_t subscriptions) {
    for (std::uint32_t i = 0; i < subscriptions - kMatches; ++i) {
      if (i == subscriptions / 2) {
        for (std::uint32_t n = 0; n < kMatches; ++n) Subscribe(kMatching);
      }
      const std::string number = std::to_string(i);
      Subscribe(i % 2 == 0 ? "bench.exact" + number + ".disk.changed"
                           : "bench.volume" + number + ".*.changed");
    }
  }
  bool Works() { return Notify() == kMatches; }
  void Run() { benchmark::DoNotOptimize(Notify()); }

 private:
  struct Subscriber {
    std::string pattern;
    std::unique_ptr<PlainHandler> handler;
  };

  void Subscribe(std::string pattern) {
    subscribers_.push_back({std::move(pattern), MakePlainHandler(1)});
  }
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
