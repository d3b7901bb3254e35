#include "soak/picture.h"

#include <gmock/gmock.h>

#include "soak/sample.h"

namespace soak {
namespace {

using testing::HasSubstr;

TEST(SoakPicture, IsDrawnFromColumnsThatTheCsvHas) {
  const std::string script = PictureScript("a/soak.csv", "a/soak.png", 10, 60);
  EXPECT_THAT(script, HasSubstr("set output 'a/soak.png'"));
  EXPECT_THAT(script, HasSubstr("FILE = 'a/soak.csv'"));
  for (const Column& column : kColumns) {
    if (column.judged) {
      EXPECT_THAT(script, HasSubstr("'" + std::string(column.name) + "'"));
    }
  }
}

TEST(SoakPicture, DrawsAllOfFewSamplesAndSomeOfMany) {
  EXPECT_THAT(PictureScript("a", "b", 360, 1800), HasSubstr("every 1 "));
  EXPECT_THAT(PictureScript("a", "b", 52000, 260000), HasSubstr("every 26 "));
}

TEST(SoakPicture, ShowsALongRunInHours) {
  EXPECT_THAT(PictureScript("a", "b", 360, 1800), HasSubstr("set xlabel 'minutes'"));
  EXPECT_THAT(PictureScript("a", "b", 52000, 260000), HasSubstr("set xlabel 'hours'"));
}

TEST(SoakPicture, TakesPathsWithQuotationMarks) {
  EXPECT_THAT(PictureScript("it's/soak.csv", "b", 1, 60), HasSubstr("FILE = 'it''s/soak.csv'"));
}

}  // namespace
}  // namespace soak
