#include "soak/series.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

namespace soak {
namespace {

constexpr Allowance kMemory{8, 0, 0.25};  // MiB
constexpr double kHalfAnHour = 1800;
constexpr double kThreeDays = 72 * 3600;
constexpr double kHour = 3600;

// A sample every five seconds.
std::vector<Point> Sampled(double seconds, const std::function<double(double time)>& value) {
  std::vector<Point> points;
  for (double time = 0; time < seconds; time += 5) {
    points.push_back({time, value(time)});
  }
  return points;
}

// The same noise each time.
std::function<double()> Noise(double width) {
  return [dice = std::minstd_rand(1), width]() mutable {
    return width *
           (static_cast<double>(dice()) / static_cast<double>(std::minstd_rand::max()) - 0.5);
  };
}

TEST(SeriesJudge, PassesAFlatSeries) {
  const Judgement is = Judge(Sampled(kHalfAnHour, [](double) { return 40; }), kMemory);
  EXPECT_TRUE(is.judged);
  EXPECT_FALSE(is.grows);
  EXPECT_EQ(is.before, 40);
  EXPECT_EQ(is.after, 40);
  EXPECT_EQ(is.rise, 0);
}

TEST(SeriesJudge, PassesNoiseAroundALevel) {
  EXPECT_FALSE(
      Judge(Sampled(kHalfAnHour, [noise = Noise(60)](double) { return 100 + noise(); }), kMemory)
          .grows);
}

TEST(SeriesJudge, FindsALeakOfAMebibyteAMinuteInHalfAnHour) {
  const Judgement is =
      Judge(Sampled(kHalfAnHour, [](double time) { return 40 + time / 60; }), kMemory);
  EXPECT_TRUE(is.grows);
  EXPECT_NEAR(is.hourly, 60, 0.1);
}

TEST(SeriesJudge, FindsALeakUnderNoiseThatIsLarger) {
  EXPECT_TRUE(Judge(Sampled(kHalfAnHour,
                            [noise = Noise(30)](double time) { return 40 + time / 60 + noise(); }),
                    kMemory)
                  .grows);
}

TEST(SeriesJudge, FindsASmallLeakInThreeDays) {
  EXPECT_TRUE(
      Judge(Sampled(kThreeDays, [](double time) { return 40 + 0.5 * time / kHour; }), kMemory)
          .grows);
}

TEST(SeriesJudge, PassesWhatIsAllowedInAnHourHoweverLongTheRun) {
  EXPECT_FALSE(
      Judge(Sampled(kThreeDays, [](double time) { return 40 + 0.2 * time / kHour; }), kMemory)
          .grows);
}

TEST(SeriesJudge, FindsALeakThatGrowsByJumps) {
  EXPECT_TRUE(
      Judge(Sampled(kHalfAnHour, [](double time) { return 40 + 10 * std::floor(time / 300); }),
            kMemory)
          .grows);
}

TEST(SeriesJudge, PassesASawOfRestartsThatFallBackToTheSameLevel) {
  EXPECT_FALSE(
      Judge(Sampled(kHalfAnHour, [](double time) { return 40 + std::fmod(time, 240) / 4; }),
            kMemory)
          .grows);
}

TEST(SeriesJudge, FindsALeakBeneathASawOfRestarts) {
  EXPECT_TRUE(Judge(Sampled(kHalfAnHour,
                            [](double time) { return 40 + std::fmod(time, 60) / 4 + time / 60; }),
                    kMemory)
                  .grows);
}

TEST(SeriesJudge, PassesCachesThatFillAtTheBeginning) {
  EXPECT_FALSE(
      Judge(Sampled(kHalfAnHour, [](double time) { return 100 - 60 * std::exp(-time / 120); }),
            kMemory)
          .grows);
}

TEST(SeriesJudge, PassesAPeakThatGoesAgain) {
  EXPECT_FALSE(
      Judge(Sampled(kHalfAnHour, [](double time) { return time > 1000 && time < 1300 ? 400 : 40; }),
            kMemory)
          .grows);
}

TEST(SeriesJudge, PassesWhatFalls) {
  EXPECT_FALSE(
      Judge(Sampled(kHalfAnHour, [](double time) { return 400 - time / 10; }), kMemory).grows);
}

TEST(SeriesJudge, RaisesNoAlarmAboutTheSlopeOfAShortRun) {
  // Two mebibytes in two minutes would be sixty in an hour.
  const Judgement is = Judge(Sampled(120, [](double time) { return 40 + time / 60; }), kMemory);
  EXPECT_TRUE(is.judged);
  EXPECT_FALSE(is.grows);
}

TEST(SeriesJudge, SaysNothingOfTooFewSamples) {
  const Judgement is = Judge(Sampled(50, [](double time) { return 1000 * time; }), kMemory);
  EXPECT_FALSE(is.judged);
  EXPECT_FALSE(is.grows);
  EXPECT_FALSE(Judge({}, kMemory).judged);
}

TEST(SeriesJudge, AllowsAPartOfTheLevelWhereThatIsGiven) {
  const auto points = Sampled(kHalfAnHour, [](double time) { return 100 + time / 36; });
  EXPECT_TRUE(Judge(points, {10, 0, 0}).grows);
  EXPECT_FALSE(Judge(points, {10, 0.5, 0}).grows);
}

TEST(SeriesMedian, IsTheMiddleOrTheMeanOfTheTwoInIt) {
  EXPECT_EQ(Median({3, 1, 2}), 2);
  EXPECT_EQ(Median({4, 1, 3, 2}), 2.5);
  EXPECT_EQ(Median({}), 0);
}

}  // namespace
}  // namespace soak
