#include "bench/table/samples.h"

#include <gmock/gmock.h>

#include <initializer_list>

#include "results.h"

namespace {

using bench_test::Repetition;
using kt::bench::Measured;
using kt::bench::Samples;
using kt::bench::Summary;
using nlohmann::json;
using testing::DoubleEq;
using testing::ElementsAre;
using testing::Field;
using testing::Optional;

auto Median(double value) {
  return Optional(Field(&Measured::median, DoubleEq(value)));
}

Samples Of(std::initializer_list<json> runs) {
  Samples samples;
  samples.Add({{"context", {}}, {"benchmarks", json::array_t(runs)}});
  return samples;
}

TEST(Summary, OfOneValueIsTheValueWithoutSpread) {
  EXPECT_EQ(Summary({7}), (Measured{7, 0, 1}));
}

TEST(Summary, OfAnOddNumberOfValuesIsTheMiddleOneInWhateverOrderTheyCame) {
  EXPECT_DOUBLE_EQ(Summary({30, 10, 1'000}).median, 30);
}

TEST(Summary, OfAnEvenNumberOfValuesIsTheMeanOfTheMiddleTwo) {
  EXPECT_DOUBLE_EQ(Summary({1, 100, 20, 10}).median, 15);
}

TEST(Summary, SpreadsByHalfTheMiddleHalfSoThatOneOutlierDoesNotCount) {
  EXPECT_DOUBLE_EQ(Summary({90, 100, 100, 110, 10'000}).spread, 0.05);
}

TEST(Summary, OfNothingButZeroesHasNoSpread) {
  EXPECT_EQ(Summary({0, 0}), (Measured{0, 0, 2}));
}

TEST(Samples, AreTheCpuTimesOfTheRepetitions) {
  const Samples samples =
      Of({Repetition("a", 10, 1), Repetition("a", 30, 1), Repetition("a", 20, 1)});
  EXPECT_THAT(samples.Find("a"), Median(20));
  EXPECT_EQ(samples.Find("a")->values, 3U);
}

TEST(Samples, AreWallTimesWhereTheNameSaysSo) {
  EXPECT_THAT(Of({Repetition("a/real_time", 10, 99)}).Find("a"), Median(99));
}

TEST(Samples, AreWhatTheBenchmarkTimedItselfWhereTheNameSaysSo) {
  EXPECT_THAT(Of({Repetition("a/manual_time", 10, 99)}).Find("a"), Median(99));
}

TEST(Samples, AreTheCpuTimeOfTheProcessWhereTheNameSaysSo) {
  EXPECT_THAT(Of({Repetition("a/process_time", 10, 99)}).Find("a"), Median(10));
}

TEST(Samples, AreFoundByTheNameWithoutWhatTellsHowItWasRun) {
  EXPECT_THAT(Of({Repetition("row/2/kt/real_time/threads:2", 1, 5)}).Find("row/2/kt"), Median(5));
}

TEST(Samples, TakeOtherUnitsOfTimeForWhatTheyAre) {
  json run = Repetition("a", 2, 2);
  run["time_unit"] = "us";
  EXPECT_THAT(Of({run}).Find("a"), Median(2'000));
}

TEST(Samples, AreTheFigureWhereThereIsOne) {
  json run = Repetition("a/iterations:1", 10, 20);
  run["figure"] = 844.5;
  EXPECT_THAT(Of({run}).Find("a"), Median(844.5));
}

TEST(Samples, LeaveTheAggregatesOfGoogleBenchmarkOut) {
  json mean = Repetition("a", 500, 500);
  mean["run_type"] = "aggregate";
  EXPECT_THAT(Of({Repetition("a", 10, 1), mean}).Find("a"), Median(10));
}

TEST(Samples, OfANameThatWasNotMeasuredAreNone) {
  EXPECT_EQ(Of({}).Find("a"), std::nullopt);
}

TEST(Samples, KeepABenchmarkThatFailedAsAFaultAndNotAsAValue) {
  json run = Repetition("a", 0, 0);
  run["error_occurred"] = true;
  run["error_message"] = "it does not work";
  const Samples samples = Of({run, run});
  EXPECT_EQ(samples.Find("a"), std::nullopt);
  EXPECT_THAT(samples.faults(), ElementsAre("a: it does not work"));
}

TEST(Samples, KeepAResultThatCouldNotBeReadAmongTheFaults) {
  Samples samples = Of({Repetition("a", 10, 1)});
  samples.AddFault("b.json: cannot be read");
  EXPECT_THAT(samples.faults(), ElementsAre("b.json: cannot be read"));
  EXPECT_THAT(samples.Find("a"), Median(10));
}

TEST(Samples, OfSeveralProgramsStandTogether) {
  Samples samples;
  samples.Add({{"benchmarks", json::array({Repetition("a", 1, 1)})}});
  samples.Add({{"benchmarks", json::array({Repetition("b", 2, 2)})}});
  EXPECT_THAT(samples.Find("a"), Median(1));
  EXPECT_THAT(samples.Find("b"), Median(2));
}

TEST(Samples, RefuseADocumentOfSomethingElse) {
  Samples samples;
  EXPECT_THROW(samples.Add({{"rows", json::array()}}), std::runtime_error);
}

}  // namespace
