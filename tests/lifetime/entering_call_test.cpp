#include "lifetime/entering_call.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/threads.h"

namespace {

using kt::EnteringCall;
using Until = kt::EnteringCall::Until;

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
  EnteringCall::WaitForOthers();
  over = true;
  EXPECT_TRUE(returned);
  caller.join();
  EXPECT_FALSE(EnteringCall::IsAwaited());
}

TEST(EnteringCallTest, NobodyWaitsWhenNoCallEnters) {
  EnteringCall::WaitForOthers();
  { const EnteringCall past(Until::kReturned); }
  EnteringCall::WaitForOthers();
  EnteringCall::HandOver();
  EXPECT_FALSE(EnteringCall::IsAwaited());
}

TEST(EnteringCallTest, NobodyWaitsForTheCallsOfItsOwnThread) {
  const EnteringCall outer(Until::kHandedOver);
  const EnteringCall inner(Until::kReturned);
  EnteringCall::WaitForOthers();
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
  EnteringCall::WaitForOthers();
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

TEST(EnteringCallTest, HandingOverTouchesNoCallOfAnotherThread) {
  WhileAShutdownWaits([](auto entered, auto waiter_is_over) {
    const EnteringCall call(Until::kHandedOver);
    std::thread([] { EnteringCall::HandOver(); }).join();
    entered();
    EXPECT_FALSE(waiter_is_over());
  });
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
  EnteringCall::WaitForOthers();
  for (std::thread& thread : threads) thread.join();
  EnteringCall::WaitForOthers();
}

}  // namespace
