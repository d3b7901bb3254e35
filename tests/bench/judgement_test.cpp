#include "bench/table/judgement.h"

#include <gmock/gmock.h>

#include "results.h"

namespace {

using bench_test::SamplesOf;
using kt::bench::Judge;
using kt::bench::JudgedWish;
using kt::bench::Row;
using kt::bench::Samples;
using kt::bench::Verdict;
using kt::bench::Wish;
using testing::DoubleEq;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;

Row RowWith(Wish wish) {
  return {"row",   "A row",          "ns", {{"ours", "kt", true}, {"floor", "floor", false}},
          "floor", {std::move(wish)}};
}

Wish AtMost(double factor, const char* than) {
  return {Wish::Kind::kAtMost, factor, "kt", than, "", "", "at most"};
}

Wish Faster(double factor, const char* than) {
  return {Wish::Kind::kFaster, factor, "kt", than, "", "", "faster"};
}

Wish Growth(double factor) {
  return {Wish::Kind::kGrowth, factor, "kt-many", "floor-many", "kt", "floor", "growth"};
}

Wish Below(double factor) {
  return {Wish::Kind::kBelow, factor, "kt", "", "", "", "below"};
}

JudgedWish Judged(Wish wish, const Samples& samples) {
  const auto rows = Judge({RowWith(std::move(wish))}, samples);
  EXPECT_THAT(rows, SizeIs(1));
  return rows.at(0).wishes.at(0);
}

TEST(Judge, GivesEachContestantItsRatioToTheFloor) {
  const auto rows = Judge({RowWith(AtMost(5, "floor"))}, SamplesOf({{"kt", 120}, {"floor", 40}}));
  ASSERT_THAT(rows, SizeIs(1));
  EXPECT_THAT(rows[0].contestants[0].ratio, Optional(DoubleEq(3)));
  EXPECT_THAT(rows[0].contestants[1].ratio, Optional(DoubleEq(1)));
}

TEST(Judge, KeepsAContestantThatWasNotMeasuredWithoutAValueAndARatio) {
  const auto rows = Judge({RowWith(AtMost(5, "floor"))}, SamplesOf({{"floor", 40}}));
  ASSERT_THAT(rows, SizeIs(1));
  EXPECT_EQ(rows[0].contestants[0].measured, std::nullopt);
  EXPECT_EQ(rows[0].contestants[0].ratio, std::nullopt);
}

TEST(Judge, GivesNoRatiosWithoutTheFloor) {
  const auto rows = Judge({RowWith(AtMost(5, "floor"))}, SamplesOf({{"kt", 40}}));
  ASSERT_THAT(rows, SizeIs(1));
  EXPECT_EQ(rows[0].contestants[0].ratio, std::nullopt);
}

TEST(Judge, LeavesARowOutOfWhichNothingWasMeasured) {
  EXPECT_THAT(Judge({RowWith(AtMost(5, "floor"))}, SamplesOf({{"other", 1}})), IsEmpty());
}

TEST(Judge, HoldsAtMostUpToTheFactorItself) {
  EXPECT_EQ(Judged(AtMost(5, "floor"), SamplesOf({{"kt", 200}, {"floor", 40}})).verdict,
            Verdict::kHolds);
  EXPECT_EQ(Judged(AtMost(5, "floor"), SamplesOf({{"kt", 201}, {"floor", 40}})).verdict,
            Verdict::kMissed);
}

TEST(Judge, SaysHowManyTimesTheOtherWasReached) {
  EXPECT_DOUBLE_EQ(Judged(AtMost(5, "floor"), SamplesOf({{"kt", 100}, {"floor", 40}})).reached,
                   2.5);
}

TEST(Judge, HoldsFasterFromTheFactorOn) {
  EXPECT_EQ(Judged(Faster(8, "floor"), SamplesOf({{"kt", 10}, {"floor", 80}})).verdict,
            Verdict::kHolds);
  EXPECT_EQ(Judged(Faster(8, "floor"), SamplesOf({{"kt", 10}, {"floor", 79}})).verdict,
            Verdict::kMissed);
}

TEST(Judge, SaysHowManyTimesAsFastItIs) {
  EXPECT_DOUBLE_EQ(Judged(Faster(8, "floor"), SamplesOf({{"kt", 10}, {"floor", 25}})).reached, 2.5);
}

TEST(Judge, HoldsGrowthWhenOursGrowsNoMoreThanTheFloor) {
  const Samples same = SamplesOf({{"kt", 10}, {"kt-many", 40}, {"floor", 1}, {"floor-many", 4}});
  const Samples more = SamplesOf({{"kt", 10}, {"kt-many", 50}, {"floor", 1}, {"floor-many", 4}});
  EXPECT_EQ(Judged(Growth(1), same).verdict, Verdict::kHolds);
  EXPECT_EQ(Judged(Growth(1), more).verdict, Verdict::kMissed);
  EXPECT_DOUBLE_EQ(Judged(Growth(1), more).reached, 1.25);
}

TEST(Judge, ComparesBelowWithTheNumberItselfAndNotWithARatio) {
  const JudgedWish wish = Judged(Below(50), SamplesOf({{"kt", 49}, {"floor", 1}}));
  EXPECT_EQ(wish.verdict, Verdict::kHolds);
  EXPECT_DOUBLE_EQ(wish.reached, 49);
  EXPECT_FALSE(wish.times);
}

TEST(Judge, HasNoVerdictWhereAPartOfTheWishWasNotMeasured) {
  EXPECT_EQ(Judged(AtMost(5, "peer"), SamplesOf({{"kt", 1}})).verdict, Verdict::kNotMeasured);
  EXPECT_EQ(Judged(Faster(5, "peer"), SamplesOf({{"kt", 1}})).verdict, Verdict::kNotMeasured);
  EXPECT_EQ(Judged(Growth(1), SamplesOf({{"kt", 1}, {"floor", 1}, {"kt-many", 1}})).verdict,
            Verdict::kNotMeasured);
  EXPECT_EQ(Judged(Below(5), SamplesOf({{"floor", 1}})).verdict, Verdict::kNotMeasured);
}

TEST(Judge, TakesNothingForNoMoreThanNothing) {
  EXPECT_EQ(Judged(AtMost(1, "floor"), SamplesOf({{"kt", 0}, {"floor", 0}})).verdict,
            Verdict::kHolds);
}

TEST(Judge, HasNoVerdictOnSomethingAgainstNothing) {
  EXPECT_EQ(Judged(AtMost(1, "floor"), SamplesOf({{"kt", 3}, {"floor", 0}})).verdict,
            Verdict::kNotMeasured);
}

}  // namespace
