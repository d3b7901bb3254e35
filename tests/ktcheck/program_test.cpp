// The program as a person meets it: words, texts, exit statuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ktcheck/checks.h"
#include "ktcheck/finding_kinds.h"
#include "ktcheck/ktcheck_program.h"

namespace ktcheck_test {
namespace {

using ktsvc_test::Result;
using testing::HasSubstr;

TEST(KtcheckWords, HelpTeachesAndIsNoFailure) {
  const Result result = RunKtcheck({"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, HasSubstr("Usage: ktcheck"));
  EXPECT_THAT(result.output, HasSubstr("Examples:"));
  EXPECT_THAT(result.output, HasSubstr("Exit status: 0 passed, 1 there are findings, 2 wrong"));
  EXPECT_THAT(result.output, testing::Not(HasSubstr("--one")));
}

TEST(KtcheckWords, ListNamesEveryCheckAndEveryKindOfFinding) {
  const Result result = RunKtcheck({"--list"});
  EXPECT_EQ(result.status, 0);
  for (const ktcheck::Check& check : ktcheck::Checks()) {
    EXPECT_THAT(result.output, HasSubstr("  " + std::string(check.name) + " "));
  }
  for (const ktcheck::FindingKind& kind : ktcheck::FindingKinds()) {
    EXPECT_THAT(result.output, HasSubstr("  " + std::string(kind.name) + " "));
  }
}

TEST(KtcheckWords, ThatMakeNoSenseEndWithTwoAndSayWhy) {
  const auto refused = [](const std::vector<std::string>& words) {
    const Result result = RunKtcheck(words);
    EXPECT_EQ(result.status, 2) << result.output;
    EXPECT_EQ(result.output, "");
    return result.errors;
  };
  EXPECT_THAT(refused({}), HasSubstr("which MODULE?"));
  EXPECT_THAT(refused({"--only", "nothing", "hostkit"}),
              HasSubstr("there is no check \"nothing\""));
  EXPECT_THAT(refused({"--codes", "7-5", "hostkit"}), HasSubstr("is no list such as 1,5-7"));
  EXPECT_THAT(refused({"--patience", "0", "hostkit"}), HasSubstr("--patience"));
  EXPECT_THAT(refused({"no_such_module"}), HasSubstr("no_such_module"));
  EXPECT_THAT(refused({"--nonsense"}), HasSubstr("ktcheck --help"));
}

TEST(KtcheckWords, ManAndCompletionPrintWhatAnInstallationHas) {
  EXPECT_THAT(RunKtcheck({"man"}).output, HasSubstr(".TH"));
  EXPECT_THAT(RunKtcheck({"completion", "bash"}).output, HasSubstr("ktcheck"));
}

TEST(KtcheckVerdict, ForPeopleNamesTheFindingThePlaceAndWhatToDo) {
  const Result result = RunKtcheck({"--only", "life", "--seed", "3", BrokenModule("mismatched")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("mismatched, "));
  EXPECT_THAT(result.output, HasSubstr(", seed 3"));
  EXPECT_THAT(result.output, HasSubstr("  life  2 findings  framework calls: "));
  EXPECT_THAT(result.output, HasSubstr("wrong-free: PsFreeProperty was given something"));
  EXPECT_THAT(result.output, HasSubstr("What to do: Release it with the function"));
  EXPECT_THAT(result.output, HasSubstr("2 findings; ktcheck.md in the documentation"));
  EXPECT_THAT(result.errors, HasSubstr("life: one life"));
}

TEST(KtcheckVerdict, NamesTheSlowestCallOfEachFunctionThatWasCalled) {
  const Result result =
      RunKtcheck({"--quiet", "--only", "walk", "--patience", "900", BrokenModule("leaking")});
  EXPECT_THAT(result.output, HasSubstr("Slowest calls, in milliseconds: Control "));
  EXPECT_THAT(result.output, HasSubstr(", GetAttr "));
  EXPECT_THAT(result.output, HasSubstr(", Initialize "));
  EXPECT_THAT(result.output, HasSubstr(", Shutdown "));
  EXPECT_THAT(result.output, HasSubstr(", Version "));
}

TEST(KtcheckVerdict, OfAModuleThatPassesSaysSo) {
  const Result result = RunKtcheck({"--quiet", "--only", "names", "hostkit"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, testing::EndsWith("\npassed\n"));
  EXPECT_EQ(result.errors, "");
}

TEST(KtcheckVerdict, OfAWalkThatKnowsNoControlIsNotThatItPassed) {
  const Result result =
      RunKtcheck({"--quiet", "--only", "walk", "--codes", "1-5", BrokenModule("leaking")});
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.output, HasSubstr("  walk  not tried  "));
  EXPECT_THAT(result.output, HasSubstr("walk was not tried: the module serves interfaces, but "
                                       "knows none of the 6 controls that were sent"));
  EXPECT_THAT(result.output, testing::EndsWith("\nnothing was tried\n"));
}

TEST(KtcheckVerdict, OfLivesThatAreTooFewIsNotThatMemoryIsFlat) {
  const nlohmann::json verdict = VerdictOn("hostkit", {"lives"}, {"--lives", "8"});
  const nlohmann::json& lives = verdict.at("checks").at(0);
  EXPECT_THAT(lives.at("notTried").get<std::string>(), HasSubstr("--lives 11 is the least"));
  EXPECT_FALSE(lives.at("figures").contains("bytesKept"));
}

TEST(KtcheckVerdict, OfChecksOfWhichOneWasNotTriedIsThatOfTheOthers) {
  const nlohmann::json verdict = VerdictOn("hostkit", {"names", "lives"}, {"--lives", "8"});
  EXPECT_TRUE(verdict.at("passed").get<bool>());
  EXPECT_EQ(verdict.at("checks").at(0).at("notTried"), "");
  EXPECT_NE(verdict.at("checks").at(1).at("notTried"), "");
}

TEST(KtcheckVerdict, OfCallsNamesAModuleThatCannotBeLivedTwice) {
  const nlohmann::json verdict =
      VerdictOn(BrokenModule("restless"), {"failures"}, {"--patience", "30"});
  EXPECT_THAT(KindsIn(verdict), testing::ElementsAre("thread-left"));
}

TEST(KtcheckWalk, LeavesTheRestartOut) {
  // The codes around it are sent, it is not: one control less.
  const auto sent = [](const std::string& codes) {
    const nlohmann::json verdict = VerdictOn(BrokenModule("belated"), {"walk"}, {"--codes", codes});
    return verdict.at("checks").at(0).at("figures").at("controlsSent").get<int>();
  };
  EXPECT_EQ(sent("11000-11002"), sent("11003-11004"));
}

}  // namespace
}  // namespace ktcheck_test
