// Where ktcheck sees what a module allocates: on Linux, without a sanitizer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ktcheck/allocation_watch.h"
#include "ktcheck/ktcheck_program.h"

namespace ktcheck_test {
namespace {

using Json = nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(Allocations, OfAModuleThatDoesNotMindTheirFailureAreToldWhereItCrashes) {
  const Json verdict = VerdictOn(BrokenModule("careless"), {"memory"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("crash"));
  const Json crash = FirstOf(verdict, "crash");
  EXPECT_THAT(crash.at("stacks").dump(), HasSubstr("careless.so+0x")) << crash;
  EXPECT_THAT(crash.at("when").get<std::string>(),
              HasSubstr("allocation 1 of 1 that the module makes in a life fails"));
}

TEST(Allocations, ThatFailOneByOneAreCounted) {
  const Json verdict = VerdictOn(BrokenModule("hoarding"), {"memory"});
  const Json figures = verdict.at("checks").at(0).at("figures");
  EXPECT_EQ(figures.at("allocationsInALife"), 1);
  EXPECT_EQ(figures.at("allocationsFailed"), 1);
  EXPECT_THAT(KindsIn(verdict), ElementsAre());
}

TEST(Allocations, ThatAreKeptAreToldWithThePlaceWhereTheyWereMade) {
  const Json verdict = VerdictOn(BrokenModule("hoarding"), {"lives"});
  const Json grows = FirstOf(verdict, "memory-grows");
  ASSERT_TRUE(grows.is_object()) << verdict;
  std::vector<std::string> places;
  for (const Json& stack : grows.at("stacks")) places.push_back(stack.dump());
  EXPECT_THAT(places, Contains(HasSubstr("hoarding.so+0x"))) << grows;
}

TEST(Allocations, ThatAreKeptWhenACallFailsAreToldWithThePlaceWhereTheyWereMade) {
  const Json verdict = VerdictOn(BrokenModule("hasty"), {"lives", "failures"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("memory-kept"));
  const Json kept = FirstOf(verdict, "memory-kept");
  EXPECT_THAT(kept.at("stacks").dump(), HasSubstr("hasty.so+0x")) << kept;
  EXPECT_THAT(kept.at("stacks").dump(), HasSubstr("200 bytes in 1 blocks")) << kept;
  EXPECT_THAT(kept.at("when").get<std::string>(), HasSubstr("fails with 0x8007000E"));
}

TEST(Allocations, ThatAreKeptInEveryLifeAreNotToldAgainWhereSomethingFails) {
  EXPECT_THAT(KindsIn(VerdictOn(BrokenModule("hoarding"), {"failures"})), ElementsAre());
}

TEST(Allocations, ThatAControlKeepsAreToldWithThePlaceWhereTheyWereMade) {
  const Json verdict = VerdictOn(BrokenModule("forgetful"), {"lives"}, {"--codes", "20000-20002"});
  EXPECT_THAT(FirstOf(verdict, "memory-grows").dump(), HasSubstr("forgetful.so+0x"));
}

TEST(Allocations, OfThisProgramAreNotTheModules) {
  ktcheck::CountAllocations(1);
  const std::string long_enough(100, 'x');
  EXPECT_EQ(ktcheck::AllocationsCounted().made, 0U);
  EXPECT_EQ(long_enough.size(), 100U);
}

}  // namespace
}  // namespace ktcheck_test
