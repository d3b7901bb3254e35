// boost::signals2: a signal for each exact name, four slots on the one that is raised.
#include <benchmark/benchmark.h>

#include <boost/signals2/signal.hpp>
#include <string>
#include <unordered_map>

#include "bench/module/words.h"
#include "bench/operations/control.h"
#include "bench/operations/subscription_names.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class Signals {
 public:
  explicit Signals(std::uint32_t subscriptions) {
    for (const std::string& name : ExactNames(subscriptions)) Connect(name);
  }
  bool Works() {
    const std::size_t before = calls_;
    Run();
    return calls_ == before + kMatches;
  }
  void Run() {
    const std::string name(kWarmName);
    const auto found = signals_.find(name);
    PlainRequest request{nullptr, 0, 0};
    if (found != signals_.end()) found->second(request);
  }

 private:
  void Connect(const std::string& name) {
    std::shared_ptr<PlainHandler> handler = MakePlainHandler(1);
    signals_[name].connect([handler, this](PlainRequest& request) {
      benchmark::DoNotOptimize(handler->Handle(request));
      ++calls_;
    });
  }

  std::size_t calls_ = 0;
  std::unordered_map<std::string, boost::signals2::signal<void(PlainRequest&)>> signals_;
};

const bool entered = Add<Signals>("notice/1000/signals2", {}, 1'000U);

}  // namespace
}  // namespace kt::bench
