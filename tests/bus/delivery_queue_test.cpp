// The queue of a provider by itself: order, memory, waiting, and its end.
#include "bus/delivery_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace kt::bus {
namespace {

Notice Numbered(std::uint64_t number) {
  Notice notice;
  notice.sequence = number;
  return notice;
}

std::chrono::steady_clock::time_point InALongTime() {
  return std::chrono::steady_clock::now() + std::chrono::minutes(10);
}

TEST(NoticeRing, KeepsTheOrderWhileItGrowsAndTurns) {
  NoticeRing ring;
  std::uint64_t put = 0;
  std::uint64_t taken = 0;
  for (int round = 1; round < 60; ++round) {
    for (int i = 0; i < round; ++i) {
      ring.Reserve();
      ring.Put(Numbered(put++));
    }
    for (int i = 0; i < round - 1; ++i) ASSERT_EQ(ring.Take().sequence, taken++);
    ASSERT_EQ(ring.size(), put - taken);
  }
  while (!ring.empty()) ASSERT_EQ(ring.Take().sequence, taken++);
  EXPECT_EQ(taken, put);
}

TEST(NoticeRing, GivesTheMemoryOfALongBurstBack) {
  NoticeRing ring;
  for (std::size_t i = 0; i < 2 * NoticeRing::kKeptPlaces; ++i) {
    ring.Reserve();
    ring.Put(Numbered(i));
  }
  ring.Shrink();
  EXPECT_EQ(ring.size(), 2 * NoticeRing::kKeptPlaces);
  while (!ring.empty()) ring.Take();
  ring.Shrink();
  EXPECT_LE(ring.capacity(), NoticeRing::kKeptPlaces);
}

TEST(NoticeRing, LetsGoOfWhatIsTaken) {
  NoticeRing ring;
  const auto properties = std::make_shared<const PropertyMap>();
  Notice notice;
  notice.properties = properties;
  ring.Reserve();
  ring.Put(std::move(notice));
  EXPECT_EQ(properties.use_count(), 2);
  EXPECT_EQ(ring.Take().properties, properties);
  EXPECT_EQ(properties.use_count(), 1);
}

// What was delivered.
class Receiver {
 public:
  bool Receive(const Notice& notice) {
    const std::lock_guard guard(lock_);
    seen_.push_back(notice.sequence);
    return notice.sequence % 2 == 0;
  }
  std::vector<std::uint64_t> Seen() {
    const std::lock_guard guard(lock_);
    return seen_;
  }

 private:
  std::mutex lock_;
  std::vector<std::uint64_t> seen_;
};

TEST(DeliveryQueue, DeliversInOrderWhetherTheThreadIsAwakeOrNot) {
  Receiver receiver;
  DeliveryQueue queue;
  queue.Start([&](const Notice& notice) { return receiver.Receive(notice); });
  std::vector<std::uint64_t> pushed;
  for (std::uint64_t i = 0; i < 300; ++i) {
    pushed.push_back(i);
    queue.Push(Numbered(i));
    // Bursts of all lengths, and the thread idle between some of them.
    if (i % 7 == 0) {
      ASSERT_TRUE(queue.WaitFor(queue.Pushed(), InALongTime()));
    }
  }
  ASSERT_TRUE(queue.WaitFor(300, InALongTime()));
  EXPECT_EQ(receiver.Seen(), pushed);
  EXPECT_EQ(queue.Delivered(), 150U);
  EXPECT_EQ(queue.Waiting(), 0U);
}

TEST(DeliveryQueue, LetsEachWhoWaitsGoWhenTheirOwnNoticeIsDone) {
  std::atomic<bool> open{false};
  DeliveryQueue queue;
  queue.Start([&](const Notice& notice) {
    while (notice.sequence == 3 && !open) std::this_thread::yield();
    return true;
  });
  std::atomic<bool> all{false};
  for (std::uint64_t i = 1; i <= 3; ++i) queue.Push(Numbered(i));
  std::thread last([&] { all = queue.WaitFor(3, InALongTime()); });
  EXPECT_TRUE(queue.WaitFor(1, InALongTime()));
  EXPECT_TRUE(queue.WaitFor(2, InALongTime()));
  EXPECT_FALSE(queue.WaitFor(3, std::chrono::steady_clock::now()));
  EXPECT_FALSE(all);
  EXPECT_EQ(queue.Waiting(), 1U);
  open = true;
  last.join();
  EXPECT_TRUE(all);
}

TEST(DeliveryQueue, DropsWhatWaitsWhenItEndsAndTakesNothingMore) {
  std::atomic<bool> entered{false};
  std::atomic<bool> open{false};
  std::atomic<int> delivered{0};
  DeliveryQueue queue;
  queue.Start([&](const Notice&) {
    entered = true;
    while (!open) std::this_thread::yield();
    ++delivered;
    return true;
  });
  for (std::uint64_t i = 0; i < 5; ++i) queue.Push(Numbered(i));
  while (!entered) std::this_thread::yield();
  std::thread ending([&] { queue.Stop(); });
  while (queue.Waiting() > 1) std::this_thread::yield();  // dropped, but for the one under way
  queue.Reserve();
  queue.Push(Numbered(9));
  open = true;
  ending.join();
  EXPECT_EQ(delivered, 1);
  EXPECT_EQ(queue.Delivered(), 1U);
  EXPECT_EQ(queue.Waiting(), 0U);
  EXPECT_TRUE(queue.WaitFor(5, InALongTime()));
}

}  // namespace
}  // namespace kt::bus
