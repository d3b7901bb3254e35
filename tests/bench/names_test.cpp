#include "bench/table/names.h"

#include <gmock/gmock.h>

namespace {

using kt::bench::CompareNames;
using kt::bench::Row;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<Row> Rows() {
  Row row;
  row.id = "a";
  row.contestants = {{"ours", "a/1/kt", true, false},
                     {"floor", "a/1/floor", false, false},
                     {"peer", "a/1/peer", false, true}};
  return {row};
}

TEST(CompareNames, FindsNothingWhereAllAreKnownToBoth) {
  EXPECT_THAT(CompareNames(Rows(), {"a/1/kt", "a/1/floor", "a/1/peer"}, false), IsEmpty());
}

TEST(CompareNames, NamesTheRowWhoseBenchmarkNoProgramHas) {
  EXPECT_THAT(CompareNames(Rows(), {"a/1/kt", "a/1/peer"}, true),
              ElementsAre("row \"a\": no program has \"a/1/floor\""));
}

TEST(CompareNames, LetsAPeerBeMissingOnlyWherePeersWereLeftOut) {
  EXPECT_THAT(CompareNames(Rows(), {"a/1/kt", "a/1/floor"}, true), IsEmpty());
  EXPECT_THAT(CompareNames(Rows(), {"a/1/kt", "a/1/floor"}, false),
              ElementsAre(HasSubstr("a/1/peer")));
}

TEST(CompareNames, NamesWhatIsMeasuredAndShownInNoRow) {
  EXPECT_THAT(CompareNames(Rows(), {"a/1/kt", "a/1/floor", "a/1/peer", "b/1/kt"}, false),
              ElementsAre("no row shows \"b/1/kt\""));
}

}  // namespace
