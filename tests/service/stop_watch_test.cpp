#include "stop_watch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ktsvc {
namespace {

using namespace std::chrono_literals;

TEST(StopWatch, SaysItAtOnce) {
  int said = 0;
  {
    const StopWatch watch(1h, [&said] { ++said; });
  }
  EXPECT_EQ(said, 1);
}

TEST(StopWatch, SaysItAgainAndAgain) {
  std::atomic<int> said{0};
  const StopWatch watch(1ms, [&said] { ++said; });
  while (said < 3) {
    std::this_thread::yield();
  }
}

TEST(StopWatch, SaysNothingAfterItsEnd) {
  std::atomic<int> said{0};
  {
    const StopWatch watch(0ms, [&said] { ++said; });
  }
  const int before = said;
  std::this_thread::yield();
  EXPECT_EQ(said, before);
}

}  // namespace
}  // namespace ktsvc
