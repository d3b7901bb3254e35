// Findings: when two are the same thing, and their way through JSON.

#include "ktcheck/finding.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace ktcheck_test {
namespace {

using ktcheck::Finding;

Finding Leak(const std::string& frame, const std::string& when) {
  return {"leak", "a set", when, {{"made by", {frame}}}, 1};
}

TEST(Finding, IsTheSameThingUnderOtherCircumstances) {
  Finding one = Leak("a+0x1", "first");
  Finding other = Leak("a+0x1", "second");
  other.trails.push_back({"the call that failed", {"b+0x2"}, true});
  EXPECT_TRUE(SameThing(one, other));
}

TEST(Finding, IsAnotherThingFromAnotherPlace) {
  EXPECT_FALSE(SameThing(Leak("a+0x1", ""), Leak("a+0x2", "")));
}

TEST(Finding, IsTheSameThingWhereverTheThreadWaitsBeneathTheModule) {
  const auto left = [](const std::vector<std::string>& frames) {
    return Finding{"thread-left", "a thread", "", {{"it stands here", frames}}, 1};
  };
  const Finding sleeping = left({"/lib/libc.so.6+0x1 nanosleep", "/kt/libktbus3.so+0x2", "m+0x3"});
  EXPECT_TRUE(SameThing(sleeping, left({"/lib/libc.so.6+0x9", "/kt/libktbus3.so+0x8", "m+0x3"})));
  EXPECT_FALSE(SameThing(sleeping, left({"/lib/libc.so.6+0x1 nanosleep", "m+0x4"})));
  EXPECT_FALSE(SameThing(left({"/lib/libc.so.6+0x1"}), left({"/lib/libc.so.6+0x2"})));
}

TEST(Finding, CollectsTheSameThingOnceAndCountsIt) {
  std::vector<Finding> list;
  Collect(list, Leak("a+0x1", "first"));
  Collect(list, Leak("a+0x2", "other"));
  Collect(list, Leak("a+0x1", "second"));
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].times, 2U);
  EXPECT_EQ(list[0].when, "first");
}

TEST(Finding, ComesBackFromJsonAsItWas) {
  Finding finding = Leak("a+0x1", "when");
  finding.times = 7;
  finding.trails.push_back({"said", {"one", "two"}, true});
  const Finding back = ktcheck::FromJson(ToJson(finding));
  EXPECT_EQ(back.kind, "leak");
  EXPECT_EQ(back.what, "a set");
  EXPECT_EQ(back.when, "when");
  EXPECT_EQ(back.times, 7U);
  ASSERT_EQ(back.trails.size(), 2U);
  EXPECT_TRUE(back.trails[1].circumstance);
  EXPECT_TRUE(SameThing(finding, back));
}

}  // namespace
}  // namespace ktcheck_test
