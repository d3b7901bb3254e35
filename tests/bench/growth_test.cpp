#include "bench/table/growth.h"

#include <gmock/gmock.h>

#include <fstream>

#include "bench/results.h"
#include "bench/table/rows.h"

namespace {

using bench_test::Repetition;
using bench_test::SamplesOf;
using kt::bench::Curve;
using kt::bench::Growth;
using kt::bench::GrowthPicture;
using kt::bench::Point;
using kt::bench::ReadGrowths;
using kt::bench::Samples;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

json Document() {
  return json::parse(R"({"growths": [{"title": "A read", "sizes": [1000, 100, 10],
    "curves": [["ours", "read/*/kt", "ours"], ["floor", "read/*/floor"]]}]})");
}

std::size_t CountOf(const std::string& what, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
    ++count;
  }
  return count;
}

// The number of that name in the element at that text.
double AttributeOf(const std::string& name, const std::string& at, const std::string& picture) {
  const std::size_t begin = picture.rfind('<', picture.find(at));
  const std::string sign = " " + name + "=\"";
  return std::stod(picture.substr(picture.find(sign, begin) + sign.size()));
}

Growth OneGrowth() {
  return {"A <read>",
          {Curve{"ours", true, {{100, 5}, {10'000, 50}}},
           Curve{"floor", false, {{100, 2}, {1'000, 3}, {10'000, 49}}}}};
}

TEST(ReadGrowths, TakeWhatWasMeasuredInTheOrderOfSizes) {
  const auto growths = ReadGrowths(
      Document(), SamplesOf({{"read/1000/kt", 7}, {"read/10/kt", 5}, {"read/100/floor", 1}}));
  ASSERT_THAT(growths, SizeIs(1));
  EXPECT_EQ(growths[0].title, "A read");
  ASSERT_THAT(growths[0].curves, SizeIs(1)) << "one point is no curve";
  EXPECT_TRUE(growths[0].curves[0].ours);
  EXPECT_THAT(growths[0].curves[0].points, ElementsAre(Point{10, 5}, Point{1'000, 7}));
}

TEST(ReadGrowths, LeaveOutWhatHasNoCurve) {
  EXPECT_THAT(ReadGrowths(Document(), SamplesOf({{"read/10/kt", 5}})), IsEmpty());
}

TEST(ReadGrowths, AreNoneWhereTheDocumentHasNone) {
  EXPECT_THAT(ReadGrowths(json::object(), Samples()), IsEmpty());
}

TEST(ReadGrowths, SayWhichOneIsWrong) {
  json document = Document();
  document["growths"][0]["curves"][1][1] = "read/floor";
  EXPECT_THAT([&] { ReadGrowths(document, Samples()); },
              ThrowsMessage<std::runtime_error>(
                  HasSubstr("growth 1: \"read/floor\" has no * for the size")));
}

TEST(ReadGrowths, RefuseASizeOfNothing) {
  json document = Document();
  document["growths"][0]["sizes"] = {0, 10};
  EXPECT_THROW(ReadGrowths(document, Samples()), std::runtime_error);
}

TEST(ReadGrowths, NameOnlyWhatTheRowsMeasure) {
  std::ifstream stream(BENCH_ROWS);
  const json document = json::parse(stream);
  json runs = json::array();
  for (const auto& row : kt::bench::ReadRows(document)) {
    for (const auto& contestant : row.contestants) {
      runs.push_back(Repetition(contestant.benchmark, 1, 1));
    }
  }
  Samples samples;
  samples.Add({{"benchmarks", runs}});
  const auto growths = ReadGrowths(document, samples);
  ASSERT_THAT(growths, SizeIs(document.at("growths").size()));
  for (std::size_t i = 0; i < growths.size(); ++i) {
    EXPECT_THAT(growths[i].curves, SizeIs(document.at("growths").at(i).at("curves").size()))
        << growths[i].title;
  }
}

TEST(GrowthPicture, HasALineForEachCurveAndADotForEachPoint) {
  const std::string picture = GrowthPicture({OneGrowth()});
  EXPECT_EQ(CountOf("<polyline", picture), 2U);
  EXPECT_EQ(CountOf("<circle", picture), 5U);
}

TEST(GrowthPicture, SaysAtTheEndOfACurveWhoseItIsAndWhereItEnds) {
  EXPECT_THAT(GrowthPicture({OneGrowth()}), HasSubstr("ours, 50.0 ns"));
}

TEST(GrowthPicture, KeepsLabelsOfCurvesThatEndTogetherApart) {
  const std::string picture = GrowthPicture({OneGrowth()});
  EXPECT_GE(
      AttributeOf("y", ">floor, 49.0 ns", picture) - AttributeOf("y", ">ours, 50.0 ns", picture),
      12);
}

TEST(GrowthPicture, NamesSizesWithTheirThousandsApart) {
  EXPECT_THAT(GrowthPicture({OneGrowth()}), HasSubstr(">10,000<"));
}

TEST(GrowthPicture, WritesSignsOfItsOwnLanguageAsText) {
  EXPECT_THAT(GrowthPicture({OneGrowth()}), HasSubstr("A &lt;read&gt;"));
}

TEST(GrowthPicture, OfOneSizeThatTakesNoTimeHasRoomAllTheSame) {
  const std::string picture = GrowthPicture({{"x", {Curve{"ours", true, {{1, 0}, {1, 0}}}}}});
  const double height = AttributeOf("height", "<svg", picture);
  EXPECT_GT(AttributeOf("cy", "<circle", picture), 0);
  EXPECT_LT(AttributeOf("cy", "<circle", picture), height);
  EXPECT_LT(AttributeOf("y", "class=\"ours\"", picture), height);
}

TEST(GrowthPicture, KeepsLabelsOfCurvesThatEndAtTheBottomInTheirField) {
  Growth growth{"x", {Curve{"top", true, {{1, 1'000}, {10, 1'000}}}}};
  for (const char* label : {"a", "b", "c", "d"}) {
    growth.curves.push_back({label, false, {{1, 1}, {10, 1}}});
  }
  const std::string picture = GrowthPicture({growth});
  EXPECT_LT(AttributeOf("y", ">d, ", picture), AttributeOf("height", "<svg", picture) - 30);
}

TEST(GrowthPicture, IsEmptyWithoutAnyGrowth) {
  EXPECT_THAT(GrowthPicture({}), IsEmpty());
}

}  // namespace
