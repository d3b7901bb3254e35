// GAsyncQueue: 64 things pushed, then popped and freed.
#include <benchmark/benchmark.h>
#include <glib.h>

#include <array>

#include "bench/support/operation.h"
#include "bench/support/timing.h"

namespace kt::bench {
namespace {

class AsyncQueue {
 public:
  static constexpr std::size_t kBatch = 64;
  AsyncQueue() : queue_(g_async_queue_new()) {}
  ~AsyncQueue() { g_async_queue_unref(queue_); }
  AsyncQueue(const AsyncQueue&) = delete;
  AsyncQueue& operator=(const AsyncQueue&) = delete;

  bool Works() {
    RunTimed();
    return freed_ == kBatch && g_async_queue_length(queue_) == 0;
  }
  double RunTimed() {
    using Thing = std::array<std::uint64_t, 12>;
    std::array<Thing*, kBatch> things{};
    for (Thing*& thing : things) thing = new Thing();
    const Timing timing;
    for (Thing* const thing : things) g_async_queue_push(queue_, thing);
    while (auto* const thing = static_cast<Thing*>(g_async_queue_try_pop(queue_))) {
      delete thing;
      ++freed_;
    }
    return timing.Seconds();
  }

 private:
  GAsyncQueue* queue_;
  std::size_t freed_ = 0;
};

const bool entered = Add<AsyncQueue>("deferred/64/gasyncqueue", {});

}  // namespace
}  // namespace kt::bench
