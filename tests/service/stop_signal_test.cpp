#include "stop_signal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ktsvc {
namespace {

TEST(StopSignal, RemembersTheFirstWishAndItsReason) {
  StopSignal stop([] {});
  EXPECT_FALSE(stop.Requested());
  EXPECT_EQ(stop.Reason(), "");
  stop.Request("first");
  stop.Request("second");
  EXPECT_TRUE(stop.Requested());
  EXPECT_EQ(stop.Reason(), "first");
}

TEST(StopSignal, TellsOfEveryWishAfterTheFirst) {
  std::atomic<int> again{0};
  StopSignal stop([&again] { ++again; });
  stop.Request("first");
  EXPECT_EQ(again, 0);
  stop.Request("second");
  stop.Request("third");
  EXPECT_EQ(again, 2);
}

TEST(StopSignal, WakesWhoWaits) {
  StopSignal stop([] {});
  std::thread waiter([&stop] { stop.Wait(); });
  stop.Request("now");
  waiter.join();
  EXPECT_TRUE(stop.WaitFor(std::chrono::milliseconds(0)));
}

TEST(StopSignal, GivesUpWaitingWhenTheTimeIsOver) {
  StopSignal stop([] {});
  EXPECT_FALSE(stop.WaitFor(std::chrono::milliseconds(1)));
}

TEST(StopSignalHangUp, CallsWhoWantsToKnowAndEndsNothing) {
  StopSignal stop([] {});
  int calls = 0;
  EXPECT_FALSE(stop.HangUp());
  stop.OnHangUp([&calls] { ++calls; });
  EXPECT_TRUE(stop.HangUp());
  EXPECT_TRUE(stop.HangUp());
  stop.OnHangUp(nullptr);
  EXPECT_FALSE(stop.HangUp());
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(stop.Requested());
}

}  // namespace
}  // namespace ktsvc
