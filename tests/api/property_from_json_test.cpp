#include <gtest/gtest.h>

#include <string>

#include "guid.h"
#include "property_json.h"
#include "property_writer.h"
#include "value_from_text.h"

namespace ktsvc {
namespace {

// The reason for which the text is no list of properties.
std::string Refusal(const std::string& text) {
  try {
    PropertyListFromJson(Json::parse(text), "input");
  } catch (const JsonError& error) {
    return error.what();
  }
  return "(accepted)";
}

// The same for the value of one property of that type.
std::string RefusedValue(const std::string& type, const std::string& value) {
  return Refusal(R"([{"name":"a","type":")" + type + R"(","value":)" + value + "}]");
}

Property ReadValue(const std::string& type, const std::string& value) {
  return PropertyFromJson(
      Json::parse(R"({"name":"a","type":")" + type + R"(","value":)" + value + "}"));
}

TEST(PropertyFromJson, ReadsNamesTypesFlagsAndValues) {
  const Property property =
      PropertyFromJson(Json::parse(R"({"name":"size","type":"UINT32","flags":7,"value":5})"));
  EXPECT_EQ(property.name, "size");
  EXPECT_EQ(property.type, TYPE_UINT32);
  EXPECT_EQ(property.flags, 7U);
  EXPECT_EQ(std::get<std::uint32_t>(property.elements.at(0)), 5U);
}

TEST(PropertyFromJson, TakesNoFlagsForZero) {
  EXPECT_EQ(ReadValue("UINT32", "5").flags, 0U);
}

TEST(PropertyFromJson, ReadsLongNumbersFromTextAndFromNumbers) {
  EXPECT_EQ(std::get<std::uint64_t>(ReadValue("UINT64", R"("18446744073709551615")").elements[0]),
            UINT64_MAX);
  EXPECT_EQ(std::get<std::uint64_t>(ReadValue("UINT64", "18446744073709551615").elements[0]),
            UINT64_MAX);
  EXPECT_EQ(std::get<std::int64_t>(ReadValue("INT64", R"("-9223372036854775808")").elements[0]),
            INT64_MIN);
  EXPECT_EQ(std::get<std::int64_t>(ReadValue("INT64", "-9223372036854775808").elements[0]),
            INT64_MIN);
}

TEST(PropertyFromJson, ReadsGuidsInEitherCaseAndWithoutBraces) {
  for (const char* text : {R"("{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}")",
                           R"("9452c1d7-9a89-4cdf-b3df-1ee1d7d002d9")"}) {
    EXPECT_EQ(ValueJson(ReadValue("GUID", text)), "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}");
  }
}

TEST(PropertyFromJson, ReadsTextThatIsNoUtf8FromItsBytes) {
  EXPECT_EQ(std::get<std::string>(ReadValue("STR", R"({"base64":"Yf8="})").elements[0]), "a\xFF");
  EXPECT_EQ(std::get<KtWString>(ReadValue("WSTR", R"({"base64":"ANg="})").elements[0]),
            KtWString{KtWchar(0xD800)});
}

TEST(PropertyFromJson, PassesOverTheRenderedTextOfAMessage) {
  const Property property = ReadValue(
      "I18NFORMATSTRING",
      R"({"message":{"catalog":"{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}","messageId":7,"name":"m"},
          "insertions":null,"text":"anything"})");
  EXPECT_EQ(ValueJson(property)["text"], "m");
}

TEST(PropertyFromJson, TellsASetThatIsMissingFromOneThatIsEmpty) {
  EXPECT_TRUE(ValueJson(ReadValue("PROPSET", "null")).is_null());
  EXPECT_TRUE(ValueJson(ReadValue("PROPSET", "[]")).is_array());
}

TEST(PropertyFromJson, NamesThePlaceOfAFaultDeepInside) {
  EXPECT_EQ(RefusedValue("PROPSETZ", R"([[],[{"name":"b","type":"INT32Z","value":[1,"x"]}]])"),
            "input[0].value[1][0].value[1]: a whole number from -2147483648 to 2147483647 is "
            "expected here");
}

TEST(PropertyFromJson, NamesTheMemberThatIsMissingOrUnknown) {
  EXPECT_EQ(Refusal(R"([{"name":"a","value":1}])"), "input[0]: the member \"type\" is missing");
  EXPECT_EQ(Refusal(R"([{"type":"UINT32","value":1}])"),
            "input[0]: the member \"name\" is missing");
  EXPECT_EQ(Refusal(R"([{"name":"a","type":"UINT32"}])"),
            "input[0]: the member \"value\" is missing");
  EXPECT_EQ(Refusal(R"([{"name":"a","type":"UINT32","val":1}])"),
            "input[0]: the member \"val\" is unknown; there are name, type, flags, value");
}

TEST(PropertyFromJson, RefusesWhatIsNoListOfProperties) {
  EXPECT_EQ(Refusal("{}"), "input: an array is expected here");
  EXPECT_EQ(Refusal("[5]"), "input[0]: an object is expected here");
  EXPECT_EQ(Refusal("[null]"), "input[0]: an object is expected here");
}

TEST(PropertyFromJson, RefusesTypesThatAreNone) {
  const std::string reason =
      "input[0].type: the name of a property type is expected here, such as UINT32 or STRZ";
  EXPECT_EQ(RefusedValue("UINT33", "1"), reason);
  EXPECT_EQ(RefusedValue("0x0000000E", "null"), reason);
  EXPECT_EQ(RefusedValue("uint32", "1"), reason);
  EXPECT_EQ(Refusal(R"([{"name":"a","type":3,"value":1}])"), reason);
}

TEST(PropertyFromJson, RefusesAValueOfAnotherKindForEveryType) {
  for (const char* type : {"BOOLEAN", "INT32", "UINT32", "INT64", "UINT64", "STR", "WSTR", "BINARY",
                           "GUID", "KTOBJID", "PROPSET", "I18N", "I18NFORMATSTRING", "TIME"}) {
    for (const char* value : {"1.5", R"({"x":1})", "[[5]]", "\"\\u0000\""}) {
      EXPECT_NE(RefusedValue(type, value), "(accepted)") << type << " " << value;
      EXPECT_NE(RefusedValue(std::string(type) + "Z", value), "(accepted)") << type << " " << value;
    }
  }
}

TEST(PropertyFromJson, RefusesNullForEveryTypeButASet) {
  for (const char* type : {"BOOLEAN", "INT32", "UINT32", "INT64", "UINT64", "STR", "WSTR", "BINARY",
                           "GUID", "KTOBJID", "I18N", "I18NFORMATSTRING", "TIME", "UINT32Z"}) {
    EXPECT_NE(RefusedValue(type, "null"), "(accepted)") << type;
  }
  EXPECT_EQ(RefusedValue("PROPSET", "null"), "(accepted)");
}

TEST(PropertyFromJson, RefusesNumbersBeyondTheirType) {
  EXPECT_NE(RefusedValue("INT32", "2147483648"), "(accepted)");
  EXPECT_NE(RefusedValue("INT32", "-2147483649"), "(accepted)");
  EXPECT_NE(RefusedValue("UINT32", "4294967296"), "(accepted)");
  EXPECT_NE(RefusedValue("UINT32", "-1"), "(accepted)");
  EXPECT_NE(RefusedValue("UINT64", "-1"), "(accepted)");
  EXPECT_NE(RefusedValue("UINT64", R"("18446744073709551616")"), "(accepted)");
  EXPECT_NE(RefusedValue("INT64", "9223372036854775808"), "(accepted)");
  EXPECT_NE(RefusedValue("INT64", R"("9223372036854775808")"), "(accepted)");
  EXPECT_NE(RefusedValue("UINT64", "1e30"), "(accepted)");
}

TEST(PropertyFromJson, RefusesTextAroundANumber) {
  for (const char* text : {R"("")", R"(" 5")", R"("5 ")", R"("0x5")", R"("+5")", R"("5.0")"}) {
    EXPECT_NE(RefusedValue("UINT64", text), "(accepted)") << text;
  }
}

TEST(PropertyFromJson, RefusesZeroCharactersWhereTheBusWouldEndTheText) {
  const std::string reason = ": a text cannot hold a zero character";
  EXPECT_EQ(RefusedValue("STR", R"("a\u0000b")"), "input[0].value" + reason);
  EXPECT_EQ(RefusedValue("STR", R"({"base64":"YQBi"})"), "input[0].value" + reason);
  EXPECT_EQ(RefusedValue("WSTR", R"("a\u0000b")"), "input[0].value" + reason);
  EXPECT_EQ(RefusedValue("WSTR", R"({"base64":"YQAAAA=="})"), "input[0].value" + reason);
  EXPECT_EQ(Refusal(R"([{"name":"a\u0000","type":"UINT32","value":1}])"), "input[0].name" + reason);
}

TEST(PropertyFromJson, RefusesHalfAWideUnit) {
  EXPECT_EQ(RefusedValue("WSTR", R"({"base64":"YQ=="})"),
            "input[0].value: wide text has two bytes for each unit, and this is an odd number of "
            "bytes");
}

TEST(PropertyFromJson, RefusesANameThatIsThereTwice) {
  EXPECT_EQ(Refusal(R"([{"name":"a","type":"UINT32","value":1},
                        {"name":"a","type":"STR","value":""}])"),
            "input[1]: the set has a property of this name already");
}

TEST(PropertyFromJson, RefusesSetsNestedDeeperThanTheBusTakes) {
  Json json = Json::array();
  for (int i = 0; i < 70; ++i) {
    Json property = Json::object();
    property["name"] = "a";
    property["type"] = "PROPSET";
    property["value"] = json;
    json = Json::array({property});
  }
  EXPECT_THROW(PropertyListFromJson(json), JsonError);
}

TEST(BytesFromBase64, ReadsWhatIsWrittenAndNothingElse) {
  EXPECT_EQ(BytesFromBase64(""), std::vector<std::uint8_t>());
  EXPECT_EQ(BytesFromBase64("AKsQ"), (std::vector<std::uint8_t>{0x00, 0xAB, 0x10}));
  EXPECT_EQ(BytesFromBase64("/w=="), std::vector<std::uint8_t>{0xFF});
  for (const char* text :
       {"A", "AA", "AAA", "A===", "====", "/x==", "AA=A", "AKsQ\n", "AK Q", "-_AA", "AA==AA=="}) {
    EXPECT_FALSE(BytesFromBase64(text)) << text;
  }
}

TEST(GuidFromText, RefusesWhatIsNoGuid) {
  for (const char* text :
       {"", "system", "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9",
        "9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D}",
        "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002DG}", "{9452C1D79-A89-4CDF-B3DF-1EE1D7D002D9}",
        "(9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9)"}) {
    EXPECT_FALSE(GuidFromText(text)) << text;
  }
}

TEST(PropertyWriter, TellsOfAValueThatFitsNoRecordOfItsType) {
  for (const Property& property :
       {Property{"a", TYPE_UINT32, 0, {std::string("5")}}, Property{"a", TYPE_UINT32, 0, {}},
        Property{"a", TYPE_STR, 0, {std::monostate()}}, Property{"a", 14, 0, {std::monostate()}}}) {
    try {
      MakePropertySet({property});
      ADD_FAILURE() << "accepted";
    } catch (const BusError& error) {
      EXPECT_EQ(error.status(), 0x80070057U);
    }
  }
}

TEST(PropertyWriter, TellsOfANameThatIsThereAlready) {
  const Property property{"a", TYPE_UINT32, 0, {5U}};
  try {
    MakePropertySet({property, property});
    ADD_FAILURE() << "accepted";
  } catch (const BusError& error) {
    EXPECT_EQ(error.status(), 0xC1000013U);
  }
}

}  // namespace
}  // namespace ktsvc
