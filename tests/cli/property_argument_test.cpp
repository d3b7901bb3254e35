#include "cli/property_argument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "cli_test.h"

namespace ktctl {
namespace {

using cli_test::RefusalOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::array kKnown{KnownArgument{"level", "tracelevel", "UINT32", 7}};

std::string Why(const std::string& word) {
  return RefusalOf([&word] { ReadArgument(word); });
}

struct Row {
  const char* word;
  const char* property;
};

constexpr std::array kRows{
    Row{"a:BOOLEAN=true", R"({"name":"a","type":"BOOLEAN","value":true})"},
    Row{"a:INT32=-5", R"({"name":"a","type":"INT32","value":-5})"},
    Row{"a:UINT32=0x10", R"({"name":"a","type":"UINT32","value":16})"},
    Row{"a:INT64=-9223372036854775808",
        R"({"name":"a","type":"INT64","value":"-9223372036854775808"})"},
    Row{"a:UINT64=18446744073709551615",
        R"({"name":"a","type":"UINT64","value":"18446744073709551615"})"},
    Row{"a:TIME=7", R"({"name":"a","type":"TIME","value":"7"})"},
    Row{"a:STR=x=y: z", R"({"name":"a","type":"STR","value":"x=y: z"})"},
    Row{"a:STR=", R"({"name":"a","type":"STR","value":""})"},
    Row{"a:WSTR=\xC3\xA9", R"({"name":"a","type":"WSTR","value":"é"})"},
    Row{"a:BINARY=AKsQ", R"({"name":"a","type":"BINARY","value":"AKsQ"})"},
    Row{"a:GUID=9452c1d7-9a89-4cdf-b3df-1ee1d7d002d9",
        R"({"name":"a","type":"GUID","value":"9452c1d7-9a89-4cdf-b3df-1ee1d7d002d9"})"},
    Row{"a:KTOBJID={9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}",
        R"({"name":"a","type":"KTOBJID","value":"{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}"})"},
    Row{R"(a:PROPSET=[{"name":"b","type":"UINT32","value":5}])",
        R"({"name":"a","type":"PROPSET","value":[{"name":"b","type":"UINT32","value":5}]})"},
    Row{"a:PROPSET=null", R"({"name":"a","type":"PROPSET","value":null})"},
    Row{R"(a:I18N={"catalog":"9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9","messageId":7,"name":"x"})",
        R"({"name":"a","type":"I18N","value":{"catalog":"9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9",)"
        R"("messageId":7,"name":"x"}})"},
    Row{R"(a:I18NFORMATSTRING={"message":{"catalog":"9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9",)"
        R"("messageId":7,"name":"x"},"insertions":null})",
        R"({"name":"a","type":"I18NFORMATSTRING","value":{"message":)"
        R"({"catalog":"9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9","messageId":7,"name":"x"},)"
        R"("insertions":null}})"},
    Row{"a:BOOLEANZ=[true,false]", R"({"name":"a","type":"BOOLEANZ","value":[true,false]})"},
    Row{"a:INT32Z=[]", R"({"name":"a","type":"INT32Z","value":[]})"},
    Row{"a:UINT32Z=[1]", R"({"name":"a","type":"UINT32Z","value":[1]})"},
    Row{"a:INT64Z=[\"1\"]", R"({"name":"a","type":"INT64Z","value":["1"]})"},
    Row{"a:UINT64Z=[\"1\",2]", R"({"name":"a","type":"UINT64Z","value":["1",2]})"},
    Row{"a:TIMEZ=[\"1\"]", R"({"name":"a","type":"TIMEZ","value":["1"]})"},
    Row{"a:STRZ=[\"x\"]", R"({"name":"a","type":"STRZ","value":["x"]})"},
    Row{"a:WSTRZ=[\"x\"]", R"({"name":"a","type":"WSTRZ","value":["x"]})"},
    Row{"a:GUIDZ=[\"9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9\"]",
        R"({"name":"a","type":"GUIDZ","value":["9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9"]})"},
    Row{"a:KTOBJIDZ=[]", R"({"name":"a","type":"KTOBJIDZ","value":[]})"},
    Row{"a:PROPSETZ=[[],null]", R"({"name":"a","type":"PROPSETZ","value":[[],null]})"},
    Row{"a:I18NZ=[]", R"({"name":"a","type":"I18NZ","value":[]})"},
    Row{"a:I18NFORMATSTRINGZ=[]", R"({"name":"a","type":"I18NFORMATSTRINGZ","value":[]})"},
};

TEST(PropertyArgument, TakesEveryTypeThatTheApiTakes) {
  for (const Row& row : kRows) {
    EXPECT_EQ(ReadArgument(row.word), Json::parse(row.property)) << row.word;
  }
}

TEST(PropertyArgument, TakesTypesInLowerCase) {
  EXPECT_EQ(ReadArgument("a:uint32=1")["type"], "UINT32");
}

TEST(PropertyArgument, TakesTheLastColonBeforeTheValueForTheOneOfTheType) {
  EXPECT_EQ(ReadArgument("a:b:STR=c:d=e")["name"], "a:b");
  EXPECT_EQ(ReadArgument("a:b:STR=c:d=e")["value"], "c:d=e");
}

TEST(PropertyArgument, TakesAKnownArgumentWithoutItsType) {
  const Json expected = Json::parse(R"({"name":"tracelevel","type":"UINT32","value":3})");
  EXPECT_EQ(ReadArgument("level=3", kKnown), expected);
  EXPECT_EQ(ReadArgument("tracelevel=3", kKnown), expected);
  EXPECT_EQ(ReadArgument("tracelevel:UINT32=3", kKnown), expected);
}

TEST(PropertyArgument, RefusesANumberThatAKnownArgumentDoesNotTake) {
  EXPECT_EQ(ReadArgument("level=0x7", kKnown)["value"], 7);
  for (const char* word : {"level=8", "level=0x8"}) {
    EXPECT_THAT(RefusalOf([word] { ReadArgument(word, kKnown); }),
                HasSubstr("column 7: level goes from 0 to 7"))
        << word;
  }
  // By its type it is what it is.
  EXPECT_EQ(ReadArgument("tracelevel:UINT32=8", kKnown)["value"], 8);
}

TEST(PropertyArgument, SaysWhereTheTypeIsMissing) {
  EXPECT_THAT(Why("level=3"), StartsWith("2 \"level=3\", column 6: a type is missing here"));
}

TEST(PropertyArgument, SaysWhereTheValueIsMissing) {
  EXPECT_THAT(Why("a:STR"), HasSubstr("column 6: a = and a value are missing"));
}

TEST(PropertyArgument, SaysWhereTheNameIsMissing) {
  EXPECT_THAT(Why(":STR=x"), HasSubstr("column 1: a name is missing here"));
}

TEST(PropertyArgument, NamesAnUnknownTypeAndThoseThatThereAre) {
  EXPECT_THAT(Why("a:UINT33=1"), HasSubstr("column 3: \"UINT33\" is no type of a property"));
  EXPECT_THAT(Why("a:UINT33=1"), HasSubstr("I18NFORMATSTRING"));
  EXPECT_THAT(Why("a:BINARYZ=[]"), HasSubstr("column 3"));
}

TEST(PropertyArgument, CountsColumnsInCharacters) {
  EXPECT_THAT(Why("\xC3\xA9\xC3\xA9:NO=1"), HasSubstr("column 4: \"NO\""));
}

TEST(PropertyArgument, RefusesValuesThatDoNotFitTheirType) {
  const std::string number = "a whole number from 0 to 4294967295 is expected here";
  for (const char* value : {"-1", "4294967296", "1.5", "x", "", "0x", "0x1G", " 1", "1 "}) {
    EXPECT_THAT(Why(std::string("a:UINT32=") + value), HasSubstr("column 10: " + number)) << value;
  }
  EXPECT_THAT(Why("a:BOOLEAN=yes"), HasSubstr("column 11: true or false is expected here"));
  EXPECT_THAT(Why("a:GUID=1"), HasSubstr("column 8: a GUID is expected here"));
  EXPECT_THAT(Why("a:BINARY=!"), HasSubstr("column 10: this is no base64 text"));
}

TEST(PropertyArgument, SaysWhereInAListItGoesWrong) {
  EXPECT_THAT(Why("a:UINT32Z=[1,true]"), HasSubstr("column 11: [1]: a whole number"));
  EXPECT_THAT(Why(R"(a:PROPSET=[{"name":"b","type":"X","value":1}])"),
              HasSubstr("column 11: [0].type: the name of a property type"));
}

TEST(PropertyArgument, SaysAtWhichColumnJsonGoesWrong) {
  EXPECT_THAT(Why("a:STRZ=[\"a\",]"), HasSubstr("column 13: this is no JSON"));
  EXPECT_THAT(Why("a:STRZ="), HasSubstr("column 8: this is no JSON"));
  EXPECT_THAT(Why("a:STRZ=[\"a\""), HasSubstr("column 12: this is no JSON"));
}

TEST(PropertyArgument, RefusesWhatIsNoUtf8) {
  EXPECT_THAT(Why("a:STR=\xFF"), HasSubstr("is no UTF-8"));
}

TEST(PropertyArguments, StandInTheirOrder) {
  const std::vector<std::string> words{"b:STR=x", "a:STR=y"};
  const Json set = ReadArguments(words);
  EXPECT_EQ(set.size(), 2U);
  EXPECT_EQ(set[0]["name"], "b");
  EXPECT_EQ(set[1]["name"], "a");
}

TEST(PropertyArguments, RefuseANameTwice) {
  const std::vector<std::string> words{"a:STR=x", "a:UINT32=1"};
  EXPECT_THAT(RefusalOf([&words] { ReadArguments(words); }),
              StartsWith("2 \"a:UINT32=1\", column 1: a property of this name is there already"));
}

}  // namespace
}  // namespace ktctl
