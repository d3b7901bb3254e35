#include "bus_text.h"

#include <gtest/gtest.h>

#include "service/samples.h"

namespace ktsvc {
namespace {

using ktsvc_test::kSampleGuid;
using ktsvc_test::kSampleGuidText;

TEST(GuidText, IsUpperCaseInBraces) {
  EXPECT_EQ(GuidText(kSampleGuid), kSampleGuidText);
}

TEST(HexText, WritesTwoLowerCaseDigitsForEachByte) {
  const std::vector<std::uint8_t> bytes{0x00, 0xAB, 0x10};
  EXPECT_EQ(HexText(bytes), "00ab10");
  EXPECT_EQ(HexText({}), "");
}

TEST(Base64Text, PadsToFourCharacters) {
  const std::string text = "foobar";
  const char* const expected[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
  for (std::size_t size = 0; size <= text.size(); ++size) {
    EXPECT_EQ(Base64Text(BytesOf(std::string_view(text).substr(0, size))), expected[size]);
  }
}

TEST(Base64Text, UsesTheWholeAlphabet) {
  const std::vector<std::uint8_t> bytes{0xFB, 0xFF, 0xBF, 0x00};
  EXPECT_EQ(Base64Text(bytes), "+/+/AA==");
}

TEST(ToUtf8, TurnsSurrogatePairsIntoOneCharacter) {
  EXPECT_EQ(ToUtf8(KT_W("a\u00e9\U0001F600")), "a\xC3\xA9\xF0\x9F\x98\x80");
}

TEST(ToUtf8, RefusesALoneSurrogate) {
  EXPECT_FALSE(ToUtf8(KtWString{KtWchar('a'), KtWchar(0xD800)}).has_value());
}

TEST(ToUtf16, GivesBackWhatToUtf8Made) {
  const KtWString text = KT_W("a\u00e9\U0001F600");
  EXPECT_EQ(ToUtf16(ToUtf8(text).value()), text);
}

TEST(ToUtf16, RefusesMalformedUtf8) {
  EXPECT_FALSE(ToUtf16("a\xFF").has_value());
}

TEST(IsUtf8, TellsWellFormedTextFromOther) {
  EXPECT_TRUE(IsUtf8("\xC3\xA9"));
  EXPECT_FALSE(IsUtf8("\xC3"));
}

TEST(BytesOf, PutsTheLowByteOfAUnitFirst) {
  EXPECT_EQ(BytesOf(KtWString{KtWchar(0xD83D)}), (std::vector<std::uint8_t>{0x3D, 0xD8}));
}

}  // namespace
}  // namespace ktsvc
