#include "base/utf8.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;

TEST(ControlLength, IsOneForTheLowerControlCharactersAndForDelete) {
  for (const std::string_view text : {"\0x"sv, "\x01"sv, "\t"sv, "\n\n"sv, "\x1F"sv, "\x7F"sv}) {
    EXPECT_EQ(kt::ControlLength(text), 1u);
  }
}

TEST(ControlLength, IsTwoForTheUpperControlCharacters) {
  EXPECT_EQ(kt::ControlLength("\xC2\x80"sv), 2u);
  EXPECT_EQ(kt::ControlLength("\xC2\x9Bx"sv), 2u);
  EXPECT_EQ(kt::ControlLength("\xC2\x9F"sv), 2u);
}

TEST(ControlLength, IsNothingForAnyOtherCharacterAndForHalfAnUpperOne) {
  for (const std::string_view text :
       {""sv, " "sv, "a\n"sv, "~"sv, "\xC2"sv, "\xC2\xA0"sv, "\xC3\x80"sv, "\x80"sv}) {
    EXPECT_EQ(kt::ControlLength(text), 0u);
  }
}

}  // namespace
