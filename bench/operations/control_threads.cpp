// The same control on two threads at once: more of them than on one?
#include <benchmark/benchmark.h>

#include <mutex>
#include <unordered_map>

#include "bench/operations/control_work.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

constexpr std::uint32_t kHandlers = 10'000;

// Each thread has sets and an order of its own, as two requests of a service have.
class ControlOnThreads {
 public:
  ControlOnThreads() : first_(kHandlers), second_(kHandlers) {}
  bool Works() { return first_.Works() && second_.Works(); }
  void Begin() { first_.Begin(); }
  void End() { first_.End(); }
  void Run(int thread) { thread == 0 ? first_.Run() : second_.Run(); }

 private:
  Control first_;
  Control second_;
};

class LockedFloor {
 public:
  LockedFloor() : objects_(PlainObjects(kHandlers)), orders_{Order(kHandlers), Order(kHandlers)} {
    for (std::uint32_t i = 0; i < kHandlers; ++i) {
      handlers_.emplace(KeyOf(objects_[i]), MakePlainHandler(i));
    }
  }
  bool Works() { return Send(5) == AnswerOf(5); }
  void Run(int thread) {
    benchmark::DoNotOptimize(Send(orders_.at(static_cast<std::size_t>(thread)).Next()));
  }

 private:
  KtStatus Send(std::size_t index) {
    PlainRequest request{&objects_[index], kSelector, kWork};
    PlainHandler* handler = nullptr;
    {
      const std::lock_guard guard(lock_);
      const auto found = handlers_.find(KeyOf(objects_[index]));
      if (found == handlers_.end()) return 0;
      handler = found->second.get();
    }
    return handler->Handle(request);
  }

  std::vector<KtObjId> objects_;
  std::array<Order, 2> orders_;
  std::mutex lock_;
  std::unordered_map<ControlKey, std::unique_ptr<PlainHandler>, ControlKeyHash> handlers_;
};

constexpr How kOne{Clock::kWall};
constexpr How kTwo{Clock::kWall, 2};
const bool entered =
    Add<ControlOnThreads>("threads/1/kt", kOne) && Add<ControlOnThreads>("threads/2/kt", kTwo) &&
    Add<LockedFloor>("threads/1/floor", kOne) && Add<LockedFloor>("threads/2/floor", kTwo);

}  // namespace
}  // namespace kt::bench
