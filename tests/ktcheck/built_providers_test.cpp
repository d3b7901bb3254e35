// The providers that are built here pass.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "host_system.h"
#include "ktcheck/allocation_watch.h"
#include "ktcheck/checks.h"
#include "ktcheck/ktcheck_program.h"

namespace ktcheck_test {
namespace {

using Json = nlohmann::json;

std::uint64_t FigureOf(const Json& verdict, const std::string& check, const std::string& figure) {
  for (const Json& entry : verdict.at("checks")) {
    if (entry.at("name") == check) return entry.at("figures").value(figure, std::uint64_t{0});
  }
  return 0;
}

// Each number is to be large where lives are short.
#if defined(LIVES_ARE_SLOW)
constexpr const char* kLives = "16";
constexpr const char* kRounds = "8";
constexpr const char* kFailures = "60";
#else
constexpr const char* kLives = "50";
constexpr const char* kRounds = "20";
constexpr const char* kFailures = "120";
#endif

class BuiltProvider : public testing::TestWithParam<const char*> {};

TEST_P(BuiltProvider, PassesEveryCheck) {
  const Json verdict =
      VerdictOn(GetParam(), {}, {"--lives", kLives, "--rounds", kRounds, "--failures", kFailures});
  EXPECT_THAT(KindsIn(verdict), testing::ElementsAre()) << verdict.dump(2);
  ASSERT_EQ(verdict.at("checks").size(), ktcheck::Checks().size());
  EXPECT_GE(FigureOf(verdict, "lives", "lives"), 16U);
  EXPECT_GT(FigureOf(verdict, "walk", "controlsKnown"), 0U);
  // A life has a call more or less when its threads meet in another order, so a few may not come.
  const std::uint64_t calls = FigureOf(verdict, "failures", "callsInALife");
  const std::uint64_t failed = FigureOf(verdict, "failures", "callsFailed");
  EXPECT_GT(calls, 20U);
  EXPECT_GT(failed, 50U);
  if (ktcheck::AllocationsAreSeen()) {
    EXPECT_GE(FigureOf(verdict, "memory", "allocationsFailed"), 50U);
  }
  std::cout << GetParam() << ": " << failed << " framework calls failed one by one, "
            << FigureOf(verdict, "random", "callsFailed") << " at random, "
            << FigureOf(verdict, "memory", "allocationsFailed") << " allocations one by one\n";
}

INSTANTIATE_TEST_SUITE_P(Ktcheck, BuiltProvider, testing::Values("hostkit", "blockdev"),
                         [](const auto& provider) { return std::string(provider.param); });

}  // namespace
}  // namespace ktcheck_test
