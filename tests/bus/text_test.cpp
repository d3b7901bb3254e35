// Text conversions, GUID texts, lengths.
#include <string>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

constexpr auto kMalformed = static_cast<std::size_t>(-1);

using Wide = std::basic_string<KtWchar>;

struct TextPair {
  const char* narrow;
  Wide wide;
};

std::vector<TextPair> Pairs() {
  return {{"", KT_W("")},
          {"plain", KT_W("plain")},
          {"\xC3\xA4\xC3\xB6", KT_W("\u00E4\u00F6")},
          {"\xE2\x82\xAC", KT_W("\u20AC")},
          {"\xED\x9F\xBF\xEE\x80\x80", Wide{0xD7FF, 0xE000}},
          {"\xF0\x90\x80\x80", Wide{0xD800, 0xDC00}},
          {"\xF4\x8F\xBF\xBF", Wide{0xDBFF, 0xDFFF}}};
}

TEST(TextToWide, ConvertsAndMeasures) {
  for (const TextPair& pair : Pairs()) {
    EXPECT_EQ(Ktmbstowcs(nullptr, pair.narrow, 0), pair.wide.size()) << pair.narrow;
    Wide out(pair.wide.size() + 1, KT_W('#'));
    EXPECT_EQ(Ktmbstowcs(out.data(), pair.narrow, out.size()), pair.wide.size());
    EXPECT_EQ(out.back(), 0);
    out.pop_back();
    EXPECT_EQ(out, pair.wide);
  }
}

TEST(TextToNarrow, ConvertsAndMeasures) {
  for (const TextPair& pair : Pairs()) {
    const std::string narrow = pair.narrow;
    EXPECT_EQ(Ktwcstombs(nullptr, pair.wide.c_str(), 0), narrow.size()) << narrow;
    std::string out(narrow.size() + 1, '#');
    EXPECT_EQ(Ktwcstombs(out.data(), pair.wide.c_str(), out.size()), narrow.size());
    EXPECT_EQ(out.back(), '\0');
    out.pop_back();
    EXPECT_EQ(out, narrow);
  }
}

TEST(TextToWide, RefusesMalformedInput) {
  for (const char* const text :
       {"\x80", "a\xBF", "\xC3", "\xC3(", "\xE2\x82", "\xE2(\xA1", "\xF0\x90\x80", "\xC0\x80",
        "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF",
        "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF"}) {
    EXPECT_EQ(Ktmbstowcs(nullptr, text, 0), kMalformed) << text;
    Wide out(8, KT_W('#'));
    EXPECT_EQ(Ktmbstowcs(out.data(), text, out.size()), kMalformed);
    EXPECT_EQ(out, Wide(8, KT_W('#'))) << "nothing is written";
  }
}

TEST(TextToNarrow, RefusesLoneSurrogates) {
  for (const Wide& text : {Wide{0xD800}, Wide{0xDC00}, Wide{'a', 0xDBFF}, Wide{0xDC00, 0xD800},
                           Wide{0xD800, 0xD800, 0xDC00}, Wide{0xD800, 'a'}}) {
    EXPECT_EQ(Ktwcstombs(nullptr, text.c_str(), 0), kMalformed);
    std::string out(8, '#');
    EXPECT_EQ(Ktwcstombs(out.data(), text.c_str(), out.size()), kMalformed);
    EXPECT_EQ(out, "########");
  }
}

TEST(TextToWide, WritesTheTerminatorOnlyWhereItFits) {
  Wide out(4, KT_W('#'));
  EXPECT_EQ(Ktmbstowcs(out.data(), "abc", 3), 3U);
  EXPECT_EQ(out, KT_W("abc#"));
}

TEST(TextToWide, StopsWhereTheRoomEnds) {
  Wide out(4, KT_W('#'));
  EXPECT_EQ(Ktmbstowcs(out.data(), "abc", 2), 2U);
  EXPECT_EQ(out, KT_W("ab##"));
  EXPECT_EQ(Ktmbstowcs(out.data(), "abc", 0), 0U);
  EXPECT_EQ(out, KT_W("ab##"));
}

TEST(TextToWide, NeverWritesHalfASurrogatePair) {
  Wide out(3, KT_W('#'));
  EXPECT_EQ(Ktmbstowcs(out.data(), "a\xF0\x90\x80\x80", 2), 1U);
  EXPECT_EQ(out, (Wide{'a', 0, '#'}));
}

TEST(TextToNarrow, NeverWritesHalfACharacter) {
  std::string out(5, '#');
  EXPECT_EQ(Ktwcstombs(out.data(), KT_W("a\u20AC"), 3), 1U);
  EXPECT_EQ(out, std::string("a\0###", 5));
}

TEST(TextToWide, RefusesANullText) {
  EXPECT_EQ(Ktmbstowcs(nullptr, nullptr, 0), kMalformed);
}
TEST(TextToNarrow, RefusesANullText) {
  EXPECT_EQ(Ktwcstombs(nullptr, nullptr, 0), kMalformed);
}

TEST(TextLength, CountsBytes) {
  EXPECT_EQ(KtlstrlenA("abc"), 3);
  EXPECT_EQ(KtlstrlenA("\xE2\x82\xAC"), 3);
  EXPECT_EQ(KtlstrlenA(""), 0);
  EXPECT_EQ(KtlstrlenA(nullptr), 0);
}

TEST(GuidText, IsUpperCaseInBraces) {
  const KtGuid guid{0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
  char* const text = KtGUIDToString(&guid);
  EXPECT_STREQ(text, "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}");
  _KtFree(text);
}

TEST(GuidText, KeepsLeadingZeros) {
  const KtGuid guid{0x1, 0x2, 0x3, {0, 4, 0, 0, 0, 0, 0, 5}};
  char* const text = KtGUIDToString(&guid);
  EXPECT_STREQ(text, "{00000001-0002-0003-0004-000000000005}");
  _KtFree(text);
}

TEST(GuidText, HasEachDigitInEachPlace) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const std::string zeros = "{00000000-0000-0000-0000-000000000000}";
  std::size_t place = 0;
  for (unsigned digit = 0; digit < 32; ++digit, ++place) {
    while (zeros[place] != '0') ++place;
    for (std::uint32_t value = 0; value < kDigits.size(); ++value) {
      KtGuid guid{};
      if (digit < 8) {
        guid.Data1 = value << (4 * (7 - digit));
      } else if (digit < 16) {
        const auto number = static_cast<std::uint16_t>(value << (4 * (3 - digit % 4)));
        (digit < 12 ? guid.Data2 : guid.Data3) = number;
      } else {
        guid.Data4[(digit - 16) / 2] = static_cast<std::uint8_t>(value << (4 * (1 - digit % 2)));
      }
      std::string expected = zeros;
      expected[place] = kDigits[value];
      char* const text = KtGUIDToString(&guid);
      EXPECT_EQ(text, expected);
      _KtFree(text);
    }
  }
}

TEST(GuidText, OfNothingIsNull) {
  EXPECT_EQ(KtGUIDToString(nullptr), nullptr);
}

TEST(ObjectId, ComparesAllSixteenBytes) {
  const KtObjId id{kInterfaceA};
  KtObjId other = id;
  EXPECT_NE(ObCompareId(&id, &other), 0);
  for (std::size_t i = 0; i < sizeof(other); ++i) {
    other = id;
    reinterpret_cast<unsigned char*>(&other)[i] ^= 1U;
    EXPECT_EQ(ObCompareId(&id, &other), 0) << i;
  }
}

TEST(ObjectId, ANullPointerEqualsNothing) {
  const KtObjId id{kInterfaceA};
  EXPECT_EQ(ObCompareId(&id, nullptr), 0);
  EXPECT_EQ(ObCompareId(nullptr, &id), 0);
  EXPECT_EQ(ObCompareId(nullptr, nullptr), 0);
}

}  // namespace
}  // namespace bus_test
