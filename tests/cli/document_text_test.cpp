// Documents as texts, and texts as parts of requests.

#include "cli/document_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/service_client.h"

namespace ktctl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

Json PropertyOf(const char* type, const Json& value) {
  return {{"name", "n"}, {"type", type}, {"value", value}};
}

TEST(TextOf, EscapesControlCharactersAndLeavesBackslashes) {
  EXPECT_EQ(TextOf("a\\b\x1b[0m\n"), "a\\b\\x1b[0m\\n");
}

TEST(TextOf, ShowsMalformedTextByItsBytes) {
  EXPECT_EQ(TextOf({{"base64", "/wA="}}), "(malformed text, bytes ff00)");
}

TEST(TextOf, EscapesControlCharactersInsideADocumentThatIsNoText) {
  EXPECT_EQ(TextOf(Json::array({"\xC2\x9B"
                                "31m",
                                "\x7F"})),
            "[\"\\xc2\\x9b31m\",\"\\x7f\"]");
}

TEST(TextOf, IsNothingForNull) {
  EXPECT_EQ(TextOf(nullptr), "");
}

TEST(ValueOf, ReadsAsInTheServicesOwnReports) {
  EXPECT_EQ(ValueOf(PropertyOf("STRZ", {"a", "b\n"})), "[\"a\", \"b\\n\"]");
  EXPECT_EQ(ValueOf(PropertyOf("UINT64", "5")), "5");
  EXPECT_EQ(ValueOf(PropertyOf("BINARY", "AKsQ")), "00ab10 (3 bytes)");
}

TEST(ValueOf, ShowsAValueOfAnUnknownTypeAsItCame) {
  EXPECT_EQ(ValueOf(PropertyOf("0x0000000E", nullptr)), "(none)");
  EXPECT_EQ(ValueOf(PropertyOf("FUTURE", {{"a", 1}})), "{\"a\":1}");
}

TEST(ValueOf, ShowsATextThatIsMissing) {
  EXPECT_EQ(ValueOf(PropertyOf("STR", nullptr)), "(none)");
}

TEST(LinesOf, GiveATextWithoutQuotes) {
  EXPECT_THAT(LinesOf(PropertyOf("WSTR", "C:\\x \"y\"")), ElementsAre("C:\\x \"y\""));
}

TEST(LinesOf, GiveAListWithOneElementALine) {
  EXPECT_THAT(LinesOf(PropertyOf("STRZ", {"a", "b\nc"})), ElementsAre("a", "b\\nc"));
  EXPECT_THAT(LinesOf(PropertyOf("UINT32Z", Json::parse("[1,2]"))), ElementsAre("1", "2"));
  EXPECT_THAT(LinesOf(PropertyOf("STRZ", Json::array())), ElementsAre());
}

TEST(LinesOf, GiveASetInOneLine) {
  EXPECT_THAT(
      LinesOf(PropertyOf("PROPSET", Json::parse(R"([{"name":"n","type":"UINT32","value":1}])"))),
      ElementsAre("{n:UINT32=1}"));
}

TEST(NameOf, IsTheTextOfThePropertyName) {
  Json object = Json::parse(R"({"properties":[{"name":"x","type":"STR","value":"no"},)"
                            R"({"name":"Name","type":"WSTR","value":"sda"}]})");
  EXPECT_EQ(NameOf(object), "sda");
  object["properties"][1]["value"] = 5;
  EXPECT_EQ(NameOf(object), "");
}

TEST(StatusOf, NamesAndExplainsTheCode) {
  EXPECT_EQ(StatusOf({{"code", 0x41000012U}}), "0x41000012 KTSTATUS_UNCHANGED (nothing changed)");
}

TEST(DurationText, FitsTheUnitToTheTime) {
  EXPECT_EQ(DurationText(0.0004), "0.4 ms");
  EXPECT_EQ(DurationText(1.5), "1.5 s");
  EXPECT_EQ(DurationText(73.2), "1 min 13 s");
  EXPECT_EQ(DurationText(7500), "2 h 5 min");
  EXPECT_EQ(DurationText(200000), "2 d 7 h");
}

TEST(DurationText, CutsATimeThatNothingTakes) {
  EXPECT_EQ(DurationText(1e300), "1000000 d 0 h");
}

TEST(NumberOf, RefusesWhatIsNoWholeNumberOfSixtyFourBits) {
  EXPECT_EQ(NumberOf(Json::parse("18446744073709551615")), 18446744073709551615U);
  EXPECT_EQ(NumberOf(Json(7)), 7U);
  for (const char* text : {"777777777001169777001", "1e300", "1.5", "-1", "\"7\"", "null"}) {
    EXPECT_THROW(NumberOf(Json::parse(text)), Json::exception) << text;
  }
}

TEST(CountText, KnowsOneFromMany) {
  EXPECT_EQ(CountText(1, "object"), "1 object");
  EXPECT_EQ(CountText(0, "object"), "0 objects");
}

TEST(Escaped, LeavesNothingThatWouldEndAPathOrAQuery) {
  EXPECT_EQ(Escaped("{A}/b?c&d=e f%\xC3\xA9"), "%7BA%7D%2Fb%3Fc%26d%3De%20f%25%C3%A9");
  EXPECT_EQ(Escaped("aZ09-._~"), "aZ09-._~");
}

TEST(AdviceText, SpeaksOfVerbsWhereTheServiceSpeaksOfItsApi) {
  EXPECT_EQ(AdviceText("GET /v1/objects lists them."), "ktctl ls lists them.");
  EXPECT_EQ(AdviceText("GET /v1/objects/{1} lists what it offers."),
            "ktctl show {1} lists what it offers.");
  EXPECT_EQ(AdviceText("GET /v1/types lists them."), "ktctl types lists them.");
  EXPECT_EQ(AdviceText("GET /v1/providers tells what became of it."),
            "ktctl providers tells what became of it.");
  EXPECT_EQ(AdviceText("Do something else."), "Do something else.");
}

}  // namespace
}  // namespace ktctl
