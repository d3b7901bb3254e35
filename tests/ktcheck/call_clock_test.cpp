// The clock of calls: a budget for each function.

#include "ktcheck/call_clock.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace ktcheck_test {
namespace {

using ktcheck::CallClock;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(CallClock, GivesEachFunctionABudgetOfItsOwn) {
  const CallClock clock(
      seconds(30), [](const ktcheck::Finding&) {}, [](const std::string&, milliseconds) {}, [] {});
  EXPECT_EQ(clock.Budget("Initialize"), seconds(10));
  EXPECT_EQ(clock.Budget("Control"), seconds(10));
  EXPECT_EQ(clock.Budget("ChangeNotify"), seconds(5));
  EXPECT_EQ(clock.Budget("Version"), seconds(2));
}

TEST(CallClock, TellsTheLongestCallOfEachName) {
  std::set<std::string> told;
  {
    CallClock clock(
        seconds(1000), [](const ktcheck::Finding&) {},
        [&](const std::string& what, milliseconds time) {
          told.insert(what);
          EXPECT_GE(time.count(), 0);
        },
        [] {});
    clock.End(clock.Begin("Version"));
    clock.End(clock.Begin("Control"));
  }
  EXPECT_EQ(told, (std::set<std::string>{"Control", "Version"}));
}

}  // namespace
}  // namespace ktcheck_test
