#include "stress/timings.h"

#include <gtest/gtest.h>

namespace stress {
namespace {

using std::chrono::milliseconds;

TEST(Timings, TellWhatPartOfThemStayedWithin) {
  Timings timings;
  for (int i = 100; i > 0; --i) {
    timings.Add(milliseconds(i));
  }
  EXPECT_EQ(timings.Within(0.5), 50);
  EXPECT_EQ(timings.Within(0.99), 99);
  EXPECT_EQ(timings.Within(1), 100);
  EXPECT_EQ(timings.Text(),
            "100 requests, half within 50.00 ms, 90 % 90.00, 99 % 99.00, all 100.00");
}

TEST(Timings, OfNothingAreZero) {
  EXPECT_EQ(Timings().Within(0.5), 0);
}

TEST(Timings, CanBePutTogether) {
  Timings all;
  Timings one;
  one.Add(milliseconds(1));
  all.Add(one);
  all.Add(one);
  EXPECT_EQ(all.Count(), 2U);
}

}  // namespace
}  // namespace stress
