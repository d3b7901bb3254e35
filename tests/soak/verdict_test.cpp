#include "soak/verdict.h"

#include <gmock/gmock.h>

namespace soak {
namespace {

using testing::HasSubstr;
using testing::Not;

// Half an hour of a life in which the memory grows by so many MiB a minute.
std::vector<Sample> Life(double number, double growth) {
  std::vector<Sample> samples;
  for (double time = 0; time < 1800; time += 5) {
    Sample sample;
    sample.life = number;
    sample.lifeSeconds = time;
    sample.seconds = (number - 1) * 1800 + time;
    sample.resident = 40 + growth * time / 60;
    sample.memory = 10;
    samples.push_back(sample);
  }
  return samples;
}

Verdict VerdictOf(const std::vector<Sample>& samples) {
  Verdict verdict;
  verdict.samples = samples.size();
  verdict.last = samples.back();
  verdict.rows = JudgeAll(samples);
  return verdict;
}

TEST(SoakVerdict, PassesWhenNothingGrowsAndNothingWentWrong) {
  const Verdict verdict = VerdictOf(Life(1, 0));
  EXPECT_TRUE(verdict.Passed());
  EXPECT_THAT(VerdictText(verdict), HasSubstr("resident memory, MiB"));
  EXPECT_THAT(VerdictText(verdict), testing::EndsWith("\npassed\n"));
  EXPECT_EQ(VerdictJson(verdict)["passed"], true);
}

TEST(SoakVerdict, FailsOnASlopeAndNamesTheFigure) {
  const Verdict verdict = VerdictOf(Life(1, 1));
  EXPECT_FALSE(verdict.Passed());
  EXPECT_THAT(VerdictText(verdict), HasSubstr("GROWS"));
  EXPECT_THAT(VerdictText(verdict), testing::EndsWith("\nFAILED\n"));
  const auto json = VerdictJson(verdict);
  EXPECT_EQ(json["passed"], false);
  EXPECT_EQ(json["figures"][0]["name"], "resident_mib");
  EXPECT_EQ(json["figures"][0]["grows"], true);
  EXPECT_EQ(json["figures"][1]["grows"], false);
}

TEST(SoakVerdict, JudgesEachLifeByItself) {
  std::vector<Sample> samples = Life(1, 0);
  const std::vector<Sample> second = Life(2, 1);
  samples.insert(samples.end(), second.begin(), second.end());
  const Verdict verdict = VerdictOf(samples);
  ASSERT_EQ(verdict.rows.size() % 2, 0U);
  EXPECT_FALSE(verdict.rows.front().judgement.grows);
  EXPECT_TRUE(verdict.rows[verdict.rows.size() / 2].judgement.grows);
  EXPECT_FALSE(verdict.Passed());
}

TEST(SoakVerdict, PassesLivesThatFillTheSameCachesAgain) {
  std::vector<Sample> samples;
  for (double life = 1; life <= 6; ++life) {
    for (Sample sample : Life(life, 0)) {
      sample.resident = sample.lifeSeconds < 200 ? 20 + sample.lifeSeconds / 10 : 40;
      samples.push_back(sample);
    }
  }
  EXPECT_TRUE(VerdictOf(samples).Passed());
}

TEST(SoakVerdict, FailsOnAFaultAlone) {
  Verdict verdict = VerdictOf(Life(1, 0));
  verdict.faults = {"the service did not end well"};
  verdict.faultCount = 3;
  EXPECT_FALSE(verdict.Passed());
  EXPECT_THAT(VerdictText(verdict), HasSubstr("fault: the service did not end well\nand 2 more\n"));
  EXPECT_EQ(VerdictJson(verdict)["faultCount"], 3);
}

TEST(SoakVerdict, LeavesGrowthAloneWhenThatIsNotJudged) {
  Verdict verdict = VerdictOf(Life(1, 1));
  verdict.judged = false;
  EXPECT_TRUE(verdict.Passed());
  verdict.faultCount = 1;
  EXPECT_FALSE(verdict.Passed());
}

TEST(SoakVerdict, LeavesTheMemoryOfASanitizerAlone) {
  std::vector<Sample> samples = Life(1, 1);
  for (Sample& sample : samples) {
    sample.memory = 0;
  }
  const Verdict verdict = VerdictOf(samples);
  EXPECT_TRUE(verdict.Passed());
  EXPECT_THAT(VerdictText(verdict), Not(HasSubstr("MiB")));
  EXPECT_THAT(VerdictText(verdict), HasSubstr("open handles"));
}

TEST(SoakVerdict, SaysThatARunWasTooShort) {
  Verdict verdict = VerdictOf({Sample{}});
  EXPECT_TRUE(verdict.Passed());
  EXPECT_THAT(VerdictText(verdict), HasSubstr("Too short to judge what grows."));
  EXPECT_THAT(VerdictText(verdict), Not(HasSubstr("quarter")));
}

TEST(SoakVerdict, SaysThatItWasEndedEarly) {
  Verdict verdict = VerdictOf(Life(1, 0));
  verdict.interrupted = true;
  EXPECT_THAT(VerdictText(verdict), HasSubstr("ended early"));
}

}  // namespace
}  // namespace soak
