#include "lifetime/entering_call.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <thread>
#include <vector>

#include "support/threads.h"

namespace {

using kt::EnteringCall;
using Until = kt::EnteringCall::Until;

// Longer than any of these tests.
constexpr std::chrono::hours kForEver{1};

// Runs `call` on a thread of its own and waits for it on this one. `call` gets two functions: one
// that says that it is counted, and one that returns once this thread waits, or has ended its wait
// too early, which it then says. The second is the last thing that a call does while it is counted.
template <typename Call>
void WhileAShutdownWaits(Call call) {
  std::atomic<bool> returned{false};
  support::Gate entered;
  std::atomic<bool> over{false};
  std::thread caller([&] {
    call([&] { entered.Open(); },
         [&] {
           support::YieldUntil([&] { return EnteringCall::IsAwaited() || over; });
           returned = true;
           return over.load();
         });
  });
  entered.Wait();
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
  over = true;
  EXPECT_TRUE(returned);
  caller.join();
  EXPECT_FALSE(EnteringCall::IsAwaited());
}

TEST(EnteringCallTest, NobodyWaitsWhenNoCallEnters) {
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
  { const EnteringCall past(Until::kReturned); }
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
  EnteringCall::HandOver();
  EXPECT_FALSE(EnteringCall::IsAwaited());
}

TEST(EnteringCallTest, NobodyWaitsForTheCallsOfItsOwnThread) {
  const EnteringCall outer(Until::kHandedOver);
  const EnteringCall inner(Until::kReturned);
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
}

TEST(EnteringCallTest, ACallIsWaitedForUntilItReturns) {
  WhileAShutdownWaits([](auto entered, auto waiter_is_over) {
    const EnteringCall call(Until::kReturned);
    entered();
    EXPECT_FALSE(waiter_is_over());
  });
}

TEST(EnteringCallTest, ACallIsWaitedForUntilItIsHandedOverAndNoLonger) {
  support::Gate waited;
  std::thread caller;
  support::Gate entered;
  std::atomic<bool> handed_over{false};
  caller = std::thread([&] {
    const EnteringCall call(Until::kHandedOver);
    entered.Open();
    support::YieldUntil([] { return EnteringCall::IsAwaited(); });
    handed_over = true;
    EnteringCall::HandOver();
    EnteringCall::HandOver();
    waited.Wait();
  });
  entered.Wait();
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
  EXPECT_TRUE(handed_over);
  waited.Open();
  caller.join();
}

TEST(EnteringCallTest, ACallThatNeedsTheObjectToItsEndIsNotHandedOver) {
  WhileAShutdownWaits([](auto entered, auto waiter_is_over) {
    const EnteringCall call(Until::kReturned);
    EnteringCall::HandOver();
    entered();
    EXPECT_FALSE(waiter_is_over());
  });
}

TEST(EnteringCallTest, HandingANestedCallOverLeavesTheOuterOneCounted) {
  WhileAShutdownWaits([](auto entered, auto waiter_is_over) {
    const EnteringCall outer(Until::kHandedOver);
    {
      const EnteringCall inner(Until::kHandedOver);
      EnteringCall::HandOver();
    }
    entered();
    EXPECT_FALSE(waiter_is_over());
  });
}

TEST(EnteringCallTest, ACallInACallThatWasHandedOverIsWaitedForAndNotTheOuterOne) {
  support::Gate entered;
  support::Gate waited;
  std::atomic<bool> inner_returned{false};
  std::thread caller([&] {
    const EnteringCall outer(Until::kHandedOver);
    EnteringCall::HandOver();
    {
      const EnteringCall inner(Until::kReturned);
      entered.Open();
      support::YieldUntil([] { return EnteringCall::IsAwaited(); });
      inner_returned = true;
    }
    waited.Wait();
  });
  entered.Wait();
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
  EXPECT_TRUE(inner_returned);
  waited.Open();
  caller.join();
}

// More threads than places: those that come late share the chain, and are the last to hand over.
TEST(EnteringCallTest, CallsOfManyThreadsAreWaitedForUntilTheLastOneIsHandedOver) {
  constexpr int kThreads = 100;
  constexpr std::chrono::milliseconds kOneLook{0};
  std::array<support::Gate, kThreads> hand_over;
  support::Gate waited;
  std::atomic<int> entered{0};
  std::atomic<int> handed_over{0};
  std::vector<std::thread> threads;
  for (support::Gate& my_turn : hand_over) {
    threads.emplace_back([&] {
      const EnteringCall outer(Until::kHandedOver);
      ++entered;
      my_turn.Wait();
      { const EnteringCall nested(Until::kReturned); }
      EnteringCall::HandOver();
      ++handed_over;
      waited.Wait();
    });
    support::YieldUntil([&] { return entered == static_cast<int>(threads.size()); });
  }
  for (int number = 0; number < kThreads; ++number) {
    EXPECT_FALSE(EnteringCall::WaitForOthers(kOneLook)) << number << " are handed over";
    hand_over[static_cast<std::size_t>(number)].Open();
    support::YieldUntil([&] { return handed_over == number + 1; });
  }
  EXPECT_TRUE(EnteringCall::WaitForOthers(kOneLook));
  waited.Open();
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(EnteringCall::WaitForOthers(kOneLook));
}

TEST(EnteringCallTest, HandingOverTouchesNoCallOfAnotherThread) {
  WhileAShutdownWaits([](auto entered, auto waiter_is_over) {
    const EnteringCall call(Until::kHandedOver);
    std::thread([] { EnteringCall::HandOver(); }).join();
    entered();
    EXPECT_FALSE(waiter_is_over());
  });
}

TEST(EnteringCallTest, ACallThatDoesNotReturnIsWaitedForAsLongAsTheBoundSays) {
  support::Gate entered;
  support::Gate leave;
  std::thread caller([&] {
    const EnteringCall call(Until::kReturned);
    entered.Open();
    leave.Wait();
  });
  entered.Wait();
  EXPECT_FALSE(EnteringCall::WaitForOthers(std::chrono::milliseconds(1)));
  EXPECT_FALSE(EnteringCall::IsAwaited());
  leave.Open();
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
  caller.join();
}

TEST(EnteringCallTest, CallsOfManyThreadsEndInAnyOrder) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([number] {
      for (int round = 0; round < 500; ++round) {
        const EnteringCall call(Until::kHandedOver);
        if (number % 2 == 0) EnteringCall::HandOver();
        const EnteringCall nested(Until::kReturned);
      }
    });
  }
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(EnteringCall::WaitForOthers(kForEver));
}

}  // namespace
