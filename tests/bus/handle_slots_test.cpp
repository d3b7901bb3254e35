// Slots behind handles: what a handle is good for, and for how long.
#include "bus/handle_slots.h"

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <chrono>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "bus/ledger.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {
namespace {

struct Thing {
  std::shared_ptr<int> number;
};

using Slots = HandleSlots<Thing, KtIterator, HandleKind::kIterator>;

class HandleSlotsTest : public testing::Test {
 protected:
  // One table for all tests: it is never destroyed.
  static Slots& slots() {
    static auto* const table = new Slots;
    return *table;
  }
  static KtIterator Insert(int number) {
    return slots().Insert({std::make_shared<int>(number)}, nullptr);
  }
  static int NumberOf(KtIterator handle) {
    int number = -1;
    slots().With(handle, [&](Thing& thing) { number = *thing.number; });
    return number;
  }
  static bool Remove(KtIterator handle) {
    Account* account = nullptr;
    return slots().Remove(handle, account);
  }
};

TEST_F(HandleSlotsTest, EachHandleLeadsToItsOwnThing) {
  std::vector<KtIterator> handles;
  for (int i = 0; i < 3000; ++i) handles.push_back(Insert(i));
  EXPECT_EQ(std::set<KtIterator>(handles.begin(), handles.end()).size(), handles.size());
  for (int i = 0; i < 3000; ++i) EXPECT_EQ(NumberOf(handles[static_cast<std::size_t>(i)]), i);
  for (const KtIterator handle : handles) EXPECT_TRUE(Remove(handle));
  for (const KtIterator handle : handles) EXPECT_FALSE(slots().Has(handle));
}

TEST_F(HandleSlotsTest, AStaleHandleDoesNotLeadToWhatTookItsSlot) {
  const KtIterator old = Insert(1);
  EXPECT_TRUE(Remove(old));
  const KtIterator next = Insert(2);
  EXPECT_NE(next, old);
  EXPECT_EQ(NumberOf(old), -1);
  EXPECT_FALSE(Remove(old));
  EXPECT_EQ(NumberOf(next), 2);
  EXPECT_TRUE(Remove(next));
}

TEST_F(HandleSlotsTest, NoOtherNumberIsAHandle) {
  const KtIterator handle = Insert(1);
  const auto bits = std::bit_cast<std::uint64_t>(handle);
  std::vector<std::uint64_t> wrong{0, 1, bits & 0xFFFFFFU, ~std::uint64_t{0}, bits ^ 0xFFFFFFU};
  for (unsigned bit = 0; bit < 64; ++bit) wrong.push_back(bits ^ (std::uint64_t{1} << bit));
  for (const std::uint64_t each : wrong) {
    EXPECT_FALSE(slots().Has(std::bit_cast<KtIterator>(each))) << each;
    EXPECT_FALSE(Remove(std::bit_cast<KtIterator>(each))) << each;
  }
  EXPECT_TRUE(Remove(handle));
}

TEST_F(HandleSlotsTest, WhatIsRemovedIsDroppedAtOnce) {
  const KtIterator handle = Insert(1);
  std::weak_ptr<int> watched;
  slots().With(handle, [&](Thing& thing) { watched = thing.number; });
  EXPECT_TRUE(Remove(handle));
  EXPECT_TRUE(watched.expired());
}

TEST_F(HandleSlotsTest, TheAccountComesBackWithTheThing) {
  Account* const account = Ledger::Get().Accounts().front();
  const KtIterator handle = slots().Insert({}, account);
  Account* back = nullptr;
  EXPECT_TRUE(slots().Remove(handle, back));
  EXPECT_EQ(back, account);
}

TEST_F(HandleSlotsTest, OneCallAtATimeWorksOnAThing) {
  const KtIterator handle = Insert(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 5000; ++i) slots().With(handle, [](Thing& thing) { ++*thing.number; });
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(NumberOf(handle), 20000);
  EXPECT_TRUE(Remove(handle));
}

TEST_F(HandleSlotsTest, WhoWaitsLongForAThingGetsItAllTheSame) {
  const KtIterator handle = Insert(0);
  std::atomic<bool> inside{false};
  std::thread waiting;
  slots().With(handle, [&](Thing& thing) {
    waiting = std::thread([&] {
      slots().With(handle, [&](Thing& other) {
        inside = true;
        *other.number += *other.number;
      });
    });
    // Longer than a thread looks without sleeping; the outcome is the same when it is not.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(inside);
    *thing.number = 21;
  });
  waiting.join();
  EXPECT_EQ(NumberOf(handle), 42);
  EXPECT_TRUE(Remove(handle));
}

TEST_F(HandleSlotsTest, OfManyThreadsThatRemoveOneThingOneSucceeds) {
  for (int round = 0; round < 200; ++round) {
    const KtIterator handle = Insert(round);
    std::atomic<int> removed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
      threads.emplace_back([&] {
        if (Remove(handle)) ++removed;
      });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(removed, 1);
  }
}

TEST_F(HandleSlotsTest, WhatOneThreadMakesAnotherMayDrop) {
  for (int round = 0; round < 20; ++round) {
    std::vector<KtIterator> handles;
    std::thread maker([&] {
      for (int i = 0; i < 100; ++i) handles.push_back(Insert(i));
    });
    maker.join();
    for (const KtIterator handle : handles) EXPECT_TRUE(Remove(handle));
  }
}

}  // namespace
}  // namespace kt::bus
