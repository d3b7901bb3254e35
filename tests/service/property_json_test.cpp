#include "property_json.h"

#include <gtest/gtest.h>

#include "service/samples.h"

namespace ktsvc {
namespace {

using ktsvc_test::kSampleGuid;
using ktsvc_test::kSampleGuidText;
using ktsvc_test::MakeProperty;

std::string Value(std::uint32_t type, Element value) {
  return ValueJson(MakeProperty("x", type, {std::move(value)})).dump();
}

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

TEST(PropertyJson, WritesSmallNumbersAsNumbersAndLargeOnesAsText) {
  EXPECT_EQ(Value(TYPE_INT32, std::int32_t{-5}), "-5");
  EXPECT_EQ(Value(TYPE_UINT32, std::uint32_t{4294967295U}), "4294967295");
  EXPECT_EQ(Value(TYPE_INT64, INT64_MIN), "\"-9223372036854775808\"");
  EXPECT_EQ(Value(TYPE_UINT64, UINT64_MAX), "\"18446744073709551615\"");
  EXPECT_EQ(Value(TYPE_TIME, std::uint64_t{12}), "\"12\"");
}

TEST(PropertyJson, WritesBooleansTextsAndIds) {
  EXPECT_EQ(Value(TYPE_BOOLEAN, true), "true");
  EXPECT_EQ(Value(TYPE_STR, std::string("a\"b")), R"("a\"b")");
  EXPECT_EQ(Value(TYPE_WSTR, KtWString(KT_W("\u00e9"))), "\"\xC3\xA9\"");
  EXPECT_EQ(Value(TYPE_GUID, kSampleGuid), Quoted(kSampleGuidText));
  EXPECT_EQ(Value(TYPE_KTOBJID, kSampleGuid), Quoted(kSampleGuidText));
}

TEST(PropertyJson, WritesBytesInBase64) {
  EXPECT_EQ(Value(TYPE_BINARY, std::vector<std::uint8_t>{0x00, 0xAB, 0x10}), "\"AKsQ\"");
  EXPECT_EQ(Value(TYPE_BINARY, std::vector<std::uint8_t>{}), "\"\"");
}

TEST(PropertyJson, KeepsTheBytesOfMalformedText) {
  EXPECT_EQ(Value(TYPE_STR, std::string("a\xFF")), R"({"base64":"Yf8="})");
  EXPECT_EQ(Value(TYPE_WSTR, KtWString{KtWchar(0xD800)}), R"({"base64":"ANg="})");
}

TEST(PropertyJson, WritesNestedSetsAsArraysOfProperties) {
  EXPECT_EQ(Value(TYPE_PROPSET, PropertyList{MakeProperty("a", TYPE_UINT32, {5U})}),
            R"([{"name":"a","type":"UINT32","value":5}])");
}

TEST(PropertyJson, WritesMessagesWithTheirParts) {
  const std::string catalog = Quoted(kSampleGuidText);
  EXPECT_EQ(Value(TYPE_I18N, Message{kSampleGuid, 7, "hello"}),
            R"({"catalog":)" + catalog + R"(,"messageId":7,"name":"hello"})");
}

TEST(PropertyJson, WritesFormatMessagesWithInsertionsAndRenderedText) {
  const PropertyList insertions{MakeProperty("p1", TYPE_STR, {std::string("sda")})};
  const Json json = ValueJson(MakeProperty(
      "x", TYPE_I18NFORMATSTRING, {FormatMessage{{kSampleGuid, 7, "Disk %1"}, insertions}}));
  EXPECT_EQ(json["message"]["name"], "Disk %1");
  EXPECT_EQ(json["insertions"][0]["value"], "sda");
  EXPECT_EQ(json["text"], "Disk sda");
}

TEST(PropertyJson, TellsAMessageWithoutInsertionsFromOneWithAnEmptySet) {
  const Message message{kSampleGuid, 7, "m"};
  EXPECT_TRUE(ValueJson(MakeProperty("x", TYPE_I18NFORMATSTRING,
                                     {FormatMessage{message, std::nullopt}}))["insertions"]
                  .is_null());
  EXPECT_TRUE(ValueJson(MakeProperty("x", TYPE_I18NFORMATSTRING,
                                     {FormatMessage{message, PropertyList()}}))["insertions"]
                  .is_array());
}

TEST(PropertyJson, WritesListsAsArrays) {
  EXPECT_EQ(ValueJson(MakeProperty("x", TYPE_UINT64Z, {UINT64_MAX, std::uint64_t{1}})).dump(),
            R"(["18446744073709551615","1"])");
  EXPECT_EQ(ValueJson(MakeProperty("x", TYPE_STRZ, {})).dump(), "[]");
}

TEST(PropertyJson, WritesNullForNoValue) {
  EXPECT_EQ(Value(14, std::monostate()), "null");
  EXPECT_EQ(ValueJson(MakeProperty("x", TYPE_STR, {})).dump(), "null");
}

TEST(PropertyJson, NamesFlagsOnlyWhereThereAreAny) {
  Property property = MakeProperty("x", TYPE_UINT32, {5U});
  EXPECT_FALSE(PropertyJson(property).contains("flags"));
  property.flags = 3;
  EXPECT_EQ(PropertyJson(property)["flags"], 3);
}

TEST(PropertyJson, KeepsTheOrderOfASet) {
  const Json json = PropertyListJson(
      {MakeProperty("z", TYPE_UINT32, {1U}), MakeProperty("a", TYPE_UINT32, {2U})});
  ASSERT_EQ(json.size(), 2U);
  EXPECT_EQ(json[0]["name"], "z");
  EXPECT_EQ(json[1]["name"], "a");
}

TEST(StatusJson, SaysWhetherTheStatusFails) {
  EXPECT_EQ(
      StatusJson(0xC1000005U).dump(),
      R"({"code":3238002693,"hex":"0xC1000005","name":"KTERROR_WRONG_PROVIDER","fails":true})");
  EXPECT_EQ(StatusJson(0x41000099U).dump(),
            R"({"code":1090519193,"hex":"0x41000099","name":null,"fails":false})");
}

}  // namespace
}  // namespace ktsvc
