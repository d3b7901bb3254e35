#include "api/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <vector>

namespace ktsvc::api {
namespace {

TEST(WorkerPool, DoesAllThatWasPostedBeforeItGoes) {
  std::atomic<int> done{0};
  {
    WorkerPool pool(2);
    for (int i = 0; i < 100; ++i) {
      pool.Post([&done] { ++done; });
    }
  }
  EXPECT_EQ(done, 100);
}

TEST(WorkerPool, WorkThatWaitsDoesNotHoldUpOtherWorkBelowTheBound) {
  WorkerPool pool(3);
  std::promise<void> release;
  const std::shared_future<void> released(release.get_future());
  for (int i = 0; i < 2; ++i) {
    pool.Post([released] { released.wait(); });
  }
  std::promise<void> done;
  pool.Post([&done] { done.set_value(); });
  done.get_future().wait();
  release.set_value();
}

TEST(WorkerPool, NoMoreWorkRunsAtOnceThanTheBoundSays) {
  constexpr int kBound = 3;
  std::atomic<int> running{0};
  std::atomic<int> most{0};
  {
    WorkerPool pool(kBound);
    for (int i = 0; i < 200; ++i) {
      pool.Post([&] {
        const int now = ++running;
        int seen = most.load();
        while (seen < now && !most.compare_exchange_weak(seen, now)) {
        }
        --running;
      });
    }
  }
  EXPECT_LE(most, kBound);
}

TEST(WorkerPool, LetsGoOfWorkWhenItIsDone) {
  WorkerPool pool(1);
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  pool.Post([held = std::move(held)] { static_cast<void>(*held); });
  std::promise<void> next;
  pool.Post([&next] { next.set_value(); });
  next.get_future().wait();
  EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace ktsvc::api
