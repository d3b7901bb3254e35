// A signal of boost::signals2 for each path, and one with two slots for the filters.
#include <benchmark/benchmark.h>

#include <boost/signals2/signal.hpp>
#include <unordered_map>

#include "bench/operations/control.h"
#include "bench/support/operation.h"
#include "bench/support/order.h"

namespace kt::bench {
namespace {

// The first answer that is not "pass".
struct FirstAnswer {
  using result_type = KtStatus;
  template <typename Iterator>
  KtStatus operator()(Iterator first, Iterator last) const {
    for (; first != last; ++first) {
      if (*first != kPass) return *first;
    }
    return kPass;
  }
};

using Signal = boost::signals2::signal<KtStatus(PlainRequest&), FirstAnswer>;

class Signals2 {
 public:
  explicit Signals2(std::size_t handlers) : objects_(PlainObjects(handlers)), order_(handlers) {
    for (std::size_t i = 0; i < handlers; ++i) {
      std::shared_ptr<PlainHandler> handler = MakePlainHandler(static_cast<std::uint32_t>(i));
      signals_[KeyOf(objects_[i])].connect(
          [handler](PlainRequest& request) { return handler->Handle(request); });
    }
    for (int i = 0; i < 2; ++i) {
      std::shared_ptr<PlainHandler> filter = MakePlainFilter();
      filters_.connect([filter](PlainRequest& request) { return filter->Handle(request); });
    }
  }
  bool Works() { return Send(3) == AnswerOf(3); }
  void Run() { benchmark::DoNotOptimize(Send(order_.Next())); }

 private:
  KtStatus Send(std::size_t index) {
    PlainRequest request{&objects_[index], kSelector, kWork};
    if (filters_(request) != kPass) return 0;
    const auto found = signals_.find(KeyOf(objects_[index]));
    return found == signals_.end() ? 0 : found->second(request);
  }

  std::vector<KtObjId> objects_;
  Order order_;
  Signal filters_;
  std::unordered_map<ControlKey, Signal, ControlKeyHash> signals_;
};

const bool entered = Add<Signals2>("control/10000/signals2", {}, 10'000U);

}  // namespace
}  // namespace kt::bench
