#include "bench/table/reports.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace {

using kt::bench::JsonReport;
using kt::bench::JudgedRow;
using kt::bench::Measured;
using kt::bench::NumberText;
using kt::bench::Picture;
using kt::bench::RatioText;
using kt::bench::TextReport;
using kt::bench::Verdict;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

JudgedRow OneRow() {
  return {"control",
          "A control <of one>",
          "ns",
          {{"ours", "control/kt", true, Measured{120, 0.02, 9}, 3.0},
           {"floor", "control/floor", false, Measured{40, 0.01, 9}, 1.0},
           {"peer", "control/peer", false, std::nullopt, std::nullopt}},
          {{"at most 5x the floor", Verdict::kHolds, 3, true},
           {"at least 8x faster than peer", Verdict::kNotMeasured, 0, true}}};
}

TEST(NumberText, HasThreeDigitsThatCount) {
  EXPECT_EQ(NumberText(1.234, "ns"), "1.23 ns");
  EXPECT_EQ(NumberText(12.34, "ns"), "12.3 ns");
  EXPECT_EQ(NumberText(123.4, "ns"), "123 ns");
}

TEST(NumberText, GoesOverToTheNextUnitOfTimeAtTenThousand) {
  EXPECT_EQ(NumberText(9'999, "ns"), "9999 ns");
  EXPECT_EQ(NumberText(10'000, "ns"), "10.0 us");
  EXPECT_EQ(NumberText(12'345'678, "ns"), "12.3 ms");
  EXPECT_EQ(NumberText(12'345'678'901, "ns"), "12.3 s");
}

TEST(NumberText, LeavesOtherUnitsAsTheyAre) {
  EXPECT_EQ(NumberText(14.24, "MiB"), "14.2 MiB");
  EXPECT_EQ(NumberText(0, "bytes"), "0 bytes");
}

TEST(RatioText, EndsInTimes) {
  EXPECT_EQ(RatioText(2.944), "2.94x");
}

TEST(TextReport, ShowsMedianSpreadAndRatioInOneLine) {
  EXPECT_THAT(TextReport({OneRow()}, {}), HasSubstr("120 ns    +-2%     3.00x\n"));
}

TEST(TextReport, SaysOfEachWishWhatWasReachedAndWhetherItHolds) {
  const std::string text = TextReport({OneRow()}, {});
  EXPECT_THAT(text, testing::ContainsRegex("at most 5x the floor +3.00x  holds\n"));
  EXPECT_THAT(text, testing::ContainsRegex("at least 8x faster than peer +not measured\n"));
}

TEST(TextReport, SaysMissedAloudWhereAWishDoesNotHold) {
  JudgedRow row = OneRow();
  row.wishes[0].verdict = Verdict::kMissed;
  EXPECT_THAT(TextReport({row}, {}), HasSubstr("MISSED"));
}

TEST(TextReport, NamesAContestantThatWasNotMeasured) {
  EXPECT_THAT(TextReport({OneRow()}, {}), testing::ContainsRegex("peer +not measured\n"));
}

TEST(TextReport, CountsTheWishesThatWereMeasured) {
  EXPECT_THAT(TextReport({OneRow()}, {}), HasSubstr("1 of 1 measured wishes hold.\n"));
}

TEST(TextReport, NamesWhatFailed) {
  EXPECT_THAT(TextReport({}, {"a: it does not work"}), HasSubstr("failed: a: it does not work\n"));
}

TEST(JsonReport, HasTheNumbersWithAllTheirDigitsAndNullWhereThereIsNone) {
  const auto document = nlohmann::json::parse(JsonReport({OneRow()}, {"x: y"}));
  const auto& row = document.at("rows").at(0);
  EXPECT_EQ(row.at("contestants").at(0).at("median"), 120.0);
  EXPECT_EQ(row.at("contestants").at(0).at("repetitions"), 9);
  EXPECT_TRUE(row.at("contestants").at(2).at("median").is_null());
  EXPECT_EQ(row.at("wishes").at(0).at("holds"), true);
  EXPECT_TRUE(row.at("wishes").at(1).at("holds").is_null());
  EXPECT_EQ(document.at("failed").at(0), "x: y");
}

TEST(Picture, HasABarForEachContestantWithARatio) {
  const std::string picture = Picture({OneRow()});
  std::size_t bars = 0;
  for (std::size_t at = picture.find("<rect x="); at != std::string::npos;
       at = picture.find("<rect x=", at + 1)) {
    ++bars;
  }
  EXPECT_EQ(bars, 2U);
  EXPECT_THAT(picture, HasSubstr("3.00x  120 ns"));
}

TEST(Picture, ShowsWhatIsOursInAnotherColour) {
  const std::string picture = Picture({OneRow()});
  const std::size_t ours = picture.find("#1f6feb", picture.find("</style>"));
  ASSERT_NE(ours, std::string::npos);
  EXPECT_EQ(picture.find("#1f6feb", ours + 1), std::string::npos);
}

TEST(Picture, WritesSignsOfItsOwnLanguageAsText) {
  EXPECT_THAT(Picture({OneRow()}), HasSubstr("A control &lt;of one&gt;"));
}

TEST(Picture, LeavesARowWithoutRatiosOut) {
  JudgedRow other = OneRow();
  other.title = "Memory";
  for (auto& contestant : other.contestants) contestant.ratio.reset();
  EXPECT_THAT(Picture({OneRow(), other}), Not(HasSubstr("Memory")));
}

TEST(Picture, IsEmptyWithoutAnyRatio) {
  EXPECT_THAT(Picture({}), IsEmpty());
}

}  // namespace
