#include "bench/table/rows.h"

#include <gmock/gmock.h>

#include <fstream>
#include <set>

namespace {

using kt::bench::ReadRows;
using kt::bench::Row;
using kt::bench::Wish;
using nlohmann::json;
using testing::Each;
using testing::Field;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StrEq;
using testing::ThrowsMessage;

json Document(const json& wish) {
  return {{"rows",
           {{{"id", "a"},
             {"title", "A"},
             {"contestants", json::array({json::array({"ours", "a/kt"})})},
             {"wishes", json::array({wish})}}}}};
}

std::vector<Row> OwnRows() {
  std::ifstream stream(BENCH_ROWS);
  return ReadRows(json::parse(stream));
}

TEST(ReadRows, TakesTheFirstContestantForTheOneThatAWishIsAbout) {
  const auto rows = ReadRows(Document({{"text", "x"}, {"at_most", 5}, {"than", "b"}}));
  ASSERT_THAT(rows, SizeIs(1));
  EXPECT_EQ(rows[0].wishes[0].kind, Wish::Kind::kAtMost);
  EXPECT_EQ(rows[0].wishes[0].left, "a/kt");
  EXPECT_EQ(rows[0].wishes[0].right, "b");
}

TEST(ReadRows, TakesTheOneThatTheWishNamesInstead) {
  const auto rows = ReadRows(Document({{"text", "x"}, {"faster", 5}, {"than", "b"}, {"of", "c"}}));
  EXPECT_EQ(rows.at(0).wishes.at(0).kind, Wish::Kind::kFaster);
  EXPECT_EQ(rows.at(0).wishes.at(0).left, "c");
}

TEST(ReadRows, RefusesAWishWithoutWhatItIsComparedWithAndNamesTheRow) {
  EXPECT_THAT(
      [] {
        ReadRows(Document({{"text", "x"}, {"at_most", 5}}));
      },
      ThrowsMessage<std::runtime_error>(HasSubstr("row 1")));
}

TEST(ReadRows, KnowsOursAndPeersByTheThirdWordAndRefusesAnyOther) {
  json document = Document({{"text", "x"}, {"below", 5}});
  document["rows"][0]["contestants"] = {{"a", "a/kt", "ours"}, {"b", "a/b", "peer"}};
  const auto rows = ReadRows(document);
  EXPECT_TRUE(rows.at(0).contestants.at(0).ours);
  EXPECT_TRUE(rows.at(0).contestants.at(1).peer);
  document["rows"][0]["contestants"][1][2] = "pear";
  EXPECT_THAT([&] { ReadRows(document); },
              ThrowsMessage<std::runtime_error>(HasSubstr("\"pear\" is no kind")));
}

TEST(ReadRows, RefusesARowWithoutContestants) {
  json document = Document({{"text", "x"}, {"below", 5}});
  document["rows"][0]["contestants"] = json::array();
  EXPECT_THAT([&] { ReadRows(document); },
              ThrowsMessage<std::runtime_error>(HasSubstr("\"a\" is empty")));
}

TEST(OwnRows, CompareWithNothingThatIsNoContestantOfTheTable) {
  std::set<std::string> names{""};
  for (const Row& row : OwnRows()) {
    for (const auto& contestant : row.contestants) names.insert(contestant.benchmark);
  }
  for (const Row& row : OwnRows()) {
    EXPECT_TRUE(names.contains(row.floor)) << row.floor;
    for (const Wish& wish : row.wishes) {
      for (const auto& name : {wish.left, wish.right, wish.left_from, wish.right_from}) {
        EXPECT_TRUE(names.contains(name)) << row.id << ": " << name;
      }
    }
  }
}

TEST(OwnRows, SayWhatTheyWishFor) {
  for (const Row& row : OwnRows()) {
    EXPECT_THAT(row.wishes, Each(Field(&Wish::text, Not(StrEq(""))))) << row.id;
  }
}

}  // namespace
