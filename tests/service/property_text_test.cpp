#include "property_text.h"

#include <gtest/gtest.h>

#include <array>

#include "service/samples.h"

namespace ktsvc {
namespace {

using ktsvc_test::kSampleGuid;
using ktsvc_test::kSampleGuidText;
using ktsvc_test::MakeProperty;
using ktsvc_test::SampleSet;

std::string Text(std::uint32_t type, Element value) {
  return ValueText(MakeProperty("x", type, {std::move(value)}));
}

const std::string kOrigin = std::string("message 7 of ") + kSampleGuidText;

Message SampleMessage(const std::string& name) {
  return {kSampleGuid, 7, name};
}

TEST(PropertyText, WritesEveryScalarInItsForm) {
  EXPECT_EQ(Text(TYPE_BOOLEAN, true), "true");
  EXPECT_EQ(Text(TYPE_BOOLEAN, false), "false");
  EXPECT_EQ(Text(TYPE_INT32, std::int32_t{-5}), "-5");
  EXPECT_EQ(Text(TYPE_UINT32, std::uint32_t{4294967295U}), "4294967295");
  EXPECT_EQ(Text(TYPE_INT64, INT64_MIN), "-9223372036854775808");
  EXPECT_EQ(Text(TYPE_UINT64, UINT64_MAX), "18446744073709551615");
  EXPECT_EQ(Text(TYPE_TIME, std::uint64_t{12}), "12");
  EXPECT_EQ(Text(TYPE_STR, std::string("abc")), "\"abc\"");
  EXPECT_EQ(Text(TYPE_WSTR, KtWString(KT_W("\u00e9"))), "\"\xC3\xA9\"");
  EXPECT_EQ(Text(TYPE_GUID, kSampleGuid), kSampleGuidText);
  EXPECT_EQ(Text(TYPE_KTOBJID, kSampleGuid), kSampleGuidText);
}

TEST(PropertyText, WritesBytesInHexadecimalWithTheirCount) {
  EXPECT_EQ(Text(TYPE_BINARY, std::vector<std::uint8_t>{0x00, 0xAB, 0x10}), "00ab10 (3 bytes)");
  EXPECT_EQ(Text(TYPE_BINARY, std::vector<std::uint8_t>{0x01}), "01 (1 byte)");
  EXPECT_EQ(Text(TYPE_BINARY, std::vector<std::uint8_t>{}), "(0 bytes)");
}

TEST(PropertyText, EscapesWhatWouldBreakALine) {
  EXPECT_EQ(Text(TYPE_STR, std::string("a\"b\\c\nd\te\x01")), R"("a\"b\\c\nd\te\x01")");
}

TEST(PropertyText, EscapesTheUpperControlCharacters) {
  EXPECT_EQ(Text(TYPE_STR, std::string("\xC2\x9B\xC2\xA0")), "\"\\xc2\\x9b\xC2\xA0\"");
}

TEST(PropertyText, EscapesTheNamesOfNestedProperties) {
  const PropertyList nested{MakeProperty("a\x1B\\", TYPE_UINT32, {5U}),
                            MakeProperty("\xFF", TYPE_UINT32, {6U})};
  EXPECT_EQ(Text(TYPE_PROPSET, nested),
            R"({a\x1b\\:UINT32=5, (malformed text, bytes ff):UINT32=6})");
}

TEST(PropertyText, ShowsTheBytesOfAMalformedMessage) {
  const FormatMessage message{SampleMessage("\xFF"), std::nullopt};
  EXPECT_EQ(Text(TYPE_I18NFORMATSTRING, message), "(malformed text, bytes ff) (" + kOrigin + ")");
}

TEST(PropertyText, ShowsTheBytesOfMalformedText) {
  EXPECT_EQ(Text(TYPE_STR, std::string("a\xFF")), "(malformed text, bytes 61ff)");
  EXPECT_EQ(Text(TYPE_WSTR, KtWString{KtWchar(0xD800)}), "(malformed text, bytes 00d8)");
}

TEST(PropertyText, SeparatesTheElementsOfAList) {
  EXPECT_EQ(ValueText(MakeProperty("x", TYPE_UINT32Z, {1U, 2U})), "[1, 2]");
  EXPECT_EQ(ValueText(MakeProperty("x", TYPE_UINT32Z, {})), "[]");
  EXPECT_EQ(ValueText(MakeProperty("x", TYPE_BOOLEANZ, {true, false})), "[true, false]");
}

TEST(PropertyText, ShowsNestedSetsWithNamesAndTypes) {
  const PropertyList nested{MakeProperty("a", TYPE_UINT32, {5U}),
                            MakeProperty("b", TYPE_STR, {std::string("x")})};
  EXPECT_EQ(Text(TYPE_PROPSET, nested), "{a:UINT32=5, b:STR=\"x\"}");
  EXPECT_EQ(Text(TYPE_PROPSET, PropertyList()), "{}");
}

TEST(PropertyText, ShowsAMessageWithItsOrigin) {
  EXPECT_EQ(Text(TYPE_I18N, SampleMessage("hello")), "\"hello\" (" + kOrigin + ")");
}

TEST(PropertyText, ShowsAFormatMessageRenderedAndInParts) {
  const FormatMessage message{SampleMessage("Disk %1"),
                              PropertyList{MakeProperty("p1", TYPE_STR, {std::string("sda")})}};
  EXPECT_EQ(Text(TYPE_I18NFORMATSTRING, message),
            "\"Disk sda\" (" + kOrigin + ": \"Disk %1\" with {p1:STR=\"sda\"})");
}

TEST(PropertyText, SaysSoWhenThereIsNoValue) {
  EXPECT_EQ(Text(14, std::monostate()), "(none)");
  EXPECT_EQ(ValueText(MakeProperty("x", TYPE_STR, {})), "(none)");
}

TEST(RenderMessage, ReplacesEachPlaceholderThatHasAnInsertion) {
  const PropertyList insertions{MakeProperty("p1", TYPE_WSTR, {KtWString(KT_W("one"))}),
                                MakeProperty("p12", TYPE_UINT32, {12U})};
  EXPECT_EQ(RenderMessage({SampleMessage("%1 and %12, not %2"), insertions}), "one and 12, not %2");
}

TEST(RenderMessage, KeepsPercentSignsThatNameNoPlaceholder) {
  EXPECT_EQ(RenderMessage({SampleMessage("100%% of %x at 5%"), PropertyList()}),
            "100% of %x at 5%");
}

TEST(RenderMessage, KeepsThePlaceholdersOfAMessageWithoutInsertions) {
  EXPECT_EQ(RenderMessage({SampleMessage("Disk %1"), std::nullopt}), "Disk %1");
}

TEST(TypeName, IsTheConstantsNameWithoutItsPrefix) {
  EXPECT_EQ(TypeName(TYPE_UINT32), "UINT32");
  EXPECT_EQ(TypeName(TYPE_I18NFORMATSTRINGZ), "I18NFORMATSTRINGZ");
  EXPECT_EQ(TypeName(TYPE_TIME), "TIME");
}

TEST(TypeName, IsTheNumberForAnUnknownCode) {
  EXPECT_EQ(TypeName(14), "0x0000000E");
}

// ---- What is read from the bus -----------------------------------------------------------------

TEST(ReadPropertySet, KeepsNamesTypesAndOrder) {
  SampleSet set;
  const std::uint64_t size = 7;
  set.Add("size", TYPE_UINT64, 8, &size);
  set.Add("name", TYPE_STR, 4, "sda");
  EXPECT_EQ(PropertyListText(ReadPropertySet(set.handle())), "{size:UINT64=7, name:STR=\"sda\"}");
}

TEST(ReadPropertySet, IsEmptyForANullHandle) {
  EXPECT_TRUE(ReadPropertySet(nullptr).empty());
}

TEST(ReadPropertySet, ThrowsTheStatusOfAHandleThatIsNone) {
  KtPropset stale = nullptr;
  ASSERT_EQ(PsCreatePropset(&stale), 0U);
  PsDestroyPropset(stale);
  try {
    ReadPropertySet(stale);
    FAIL() << "nothing was thrown";
  } catch (const BusError& error) {
    EXPECT_EQ(error.status(), 0xC1000010U);
  }
}

TEST(ReadPropertySet, ReadsTheElementsOfEveryListType) {
  SampleSet set;
  SampleSet nested;
  nested.Add("n", TYPE_STR, 2, "v");
  const std::array<std::uint8_t, 2> booleans{0, 2};
  const std::array<std::int32_t, 2> signed32{-1, 1};
  const std::array<std::int64_t, 2> signed64{-1, 1};
  const std::array<std::uint64_t, 2> unsigned64{1, 2};
  const std::array<const char*, 2> texts{"a", "b"};
  const std::array<const KtWchar*, 2> wideTexts{KT_W("c"), KT_W("d")};
  const std::array<KtGuid, 1> guids{kSampleGuid};
  const std::array<KtPropset, 2> sets{nested.handle(), nested.handle()};
  const std::array<KtI18NDef, 1> messages{KtI18NDef{kSampleGuid, 7, 0, "m"}};
  const std::array<KtI18NFormatString, 1> formats{
      KtI18NFormatString{{kSampleGuid, 7, 0, "f"}, nested.handle()}};
  set.Add("booleans", TYPE_BOOLEANZ, 2, booleans.data());
  set.Add("signed32", TYPE_INT32Z, 2, signed32.data());
  set.Add("signed64", TYPE_INT64Z, 2, signed64.data());
  set.Add("unsigned64", TYPE_UINT64Z, 2, unsigned64.data());
  set.Add("times", TYPE_TIMEZ, 2, unsigned64.data());
  set.Add("texts", TYPE_STRZ, 2, texts.data());
  set.Add("wideTexts", TYPE_WSTRZ, 2, wideTexts.data());
  set.Add("guids", TYPE_GUIDZ, 1, guids.data());
  set.Add("ids", TYPE_KTOBJIDZ, 1, guids.data());
  set.Add("sets", TYPE_PROPSETZ, 2, sets.data());
  set.Add("messages", TYPE_I18NZ, 1, messages.data());
  set.Add("formats", TYPE_I18NFORMATSTRINGZ, 1, formats.data());

  const PropertyList list = ReadPropertySet(set.handle());
  const std::vector<std::pair<std::string, std::string>> expected{
      {"booleans", "[false, true]"},
      {"signed32", "[-1, 1]"},
      {"signed64", "[-1, 1]"},
      {"unsigned64", "[1, 2]"},
      {"times", "[1, 2]"},
      {"texts", "[\"a\", \"b\"]"},
      {"wideTexts", "[\"c\", \"d\"]"},
      {"guids", std::string("[") + kSampleGuidText + "]"},
      {"ids", std::string("[") + kSampleGuidText + "]"},
      {"sets", "[{n:STR=\"v\"}, {n:STR=\"v\"}]"},
      {"messages", "[\"m\" (" + kOrigin + ")]"},
      {"formats", "[\"f\" (" + kOrigin + ": \"f\" with {n:STR=\"v\"})]"}};
  ASSERT_EQ(list.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(list[i].name, expected[i].first);
    EXPECT_EQ(ValueText(list[i]), expected[i].second);
  }
}

TEST(ReadPropertySet, ReadsEveryScalarType) {
  SampleSet set;
  SampleSet nested;
  const std::uint8_t boolean = 2;
  const std::int64_t number = -9;
  const KtI18NFormatString format{{kSampleGuid, 7, 0, "f"}, nullptr};
  set.Add("boolean", TYPE_BOOLEAN, 1, &boolean);
  set.Add("number", TYPE_INT64, 8, &number);
  set.Add("wide", TYPE_WSTR, 4, KT_W("w"));
  set.Add("bytes", TYPE_BINARY, 3, "\x01\x02\x03");
  set.Add("guid", TYPE_GUID, 16, &kSampleGuid);
  set.Add("nested", TYPE_PROPSET, 16, nested.handle());
  set.Add("message", TYPE_I18N, 34, &format.message);
  set.Add("format", TYPE_I18NFORMATSTRING, 40, &format);
  EXPECT_EQ(PropertyListText(ReadPropertySet(set.handle())),
            std::string("{boolean:BOOLEAN=true, number:INT64=-9, wide:WSTR=\"w\", "
                        "bytes:BINARY=010203 (3 bytes), guid:GUID=") +
                kSampleGuidText + ", nested:PROPSET={}, message:I18N=\"f\" (" + kOrigin +
                "), format:I18NFORMATSTRING=\"f\" (" + kOrigin + ")}");
}

}  // namespace
}  // namespace ktsvc
