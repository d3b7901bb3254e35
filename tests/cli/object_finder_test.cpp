#include "cli/object_finder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli_test.h"

namespace ktctl {
namespace {

using cli_test::RefusalOf;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

Json ObjectOf(const std::string& id, const std::string& type, const std::string& name) {
  Json object = Json::object();
  object["id"] = id;
  object["type"] = type;
  object["properties"] = Json::array();
  if (!name.empty()) {
    object["properties"].push_back({{"name", "Name"}, {"type", "WSTR"}, {"value", name}});
  }
  return object;
}

const std::string kSystem = "{A2857782-0D11-4E15-836A-C5B73A39F6A7}";
const std::string kDisk = "{12D414AD-BFA5-4504-816A-C5B73A39F6A0}";
const std::string kOther = "{12D414AD-F5A5-4504-816A-C5B73A39F6A1}";
const std::string kPart = "{F58B33FC-7AD8-40FB-886A-C5B73A39F6A2}";

// qelm_system; two disks, the second of them of a derived type; one object of type "F58B".
BusContents Contents() {
  BusContents contents;
  contents.types = [] {
    std::vector<Json> types;
    for (const char* name : {"qelm_system", "disk", "ssd", "empty", "F58B", "a/b"}) {
      types.push_back({{"name", name}});
    }
    return types;
  };
  contents.objects = [](const std::string& type) {
    const Json system = ObjectOf(kSystem, "qelm_system", "");
    const Json disk = ObjectOf(kDisk, "disk", "sda");
    const Json ssd = ObjectOf(kOther, "ssd", "nvme/0");
    const Json part = ObjectOf(kPart, "F58B", "x\x1b[2J");
    if (type == "qelm_system") return std::vector<Json>{system};
    if (type == "disk") return std::vector<Json>{disk, ssd};
    if (type == "ssd") return std::vector<Json>{ssd};
    if (type == "F58B") return std::vector<Json>{part};
    if (type.empty()) return std::vector<Json>{system, disk, ssd, part};
    return std::vector<Json>();
  };
  return contents;
}

std::string Find(const std::string& word) {
  return FindObject(word, Contents());
}
std::string Why(const std::string& word) {
  return RefusalOf([&word] { Find(word); });
}

TEST(ObjectFinder, TakesAWholeIdInAnyFormWithoutLookingItUp) {
  BusContents nothing;
  EXPECT_EQ(FindObject("a2857782-0d11-4e15-836a-c5b73a39f6a7", nothing), kSystem);
  EXPECT_EQ(FindObject(kSystem, nothing), kSystem);
}

TEST(ObjectFinder, FindsAnObjectByTheBeginningOfItsId) {
  for (const char* word :
       {"a285", "A285", "{A2857782", "A2857782-0D11", "A28577820D11", "a2857782-"}) {
    EXPECT_EQ(Find(word), kSystem) << word;
  }
}

TEST(ObjectFinder, RefusesABeginningOfLessThanFourDigits) {
  EXPECT_THAT(Why("a28"),
              AllOf(StartsWith("2 no object is named \"a28\""), HasSubstr("4 or more")));
}

TEST(ObjectFinder, ListsTheObjectsThatABeginningFits) {
  EXPECT_THAT(Why("12D4"),
              AllOf(StartsWith("2 \"12D4\" names 2 objects"), HasSubstr(kDisk + " disk \"sda\""),
                    HasSubstr(kOther + " ssd \"nvme/0\"")));
}

TEST(ObjectFinder, TakesOneDigitMoreWhereThatTellsThemApart) {
  EXPECT_EQ(Find("12D414ADB"), kDisk);
  EXPECT_EQ(Find("12d414ad-f"), kOther);
}

TEST(ObjectFinder, FindsTheOnlyObjectOfAType) {
  EXPECT_EQ(Find("qelm_system"), kSystem);
  EXPECT_EQ(Find("ssd"), kOther);
}

TEST(ObjectFinder, CountsObjectsOfDerivedTypes) {
  EXPECT_THAT(Why("disk"), StartsWith("2 \"disk\" names 2 objects"));
  EXPECT_EQ(Find("disk/nvme/0"), kOther);
}

TEST(ObjectFinder, FindsAnObjectByTypeAndName) {
  EXPECT_EQ(Find("disk/sda"), kDisk);
  EXPECT_EQ(Find("ssd/nvme/0"), kOther);
}

TEST(ObjectFinder, RefusesANameThatNoObjectOfTheTypeHas) {
  EXPECT_THAT(Why("disk/sdb"), StartsWith("2 no object is named \"disk/sdb\""));
  EXPECT_THAT(Why("ssd/sda"), StartsWith("2 no object is named \"ssd/sda\""));
  EXPECT_THAT(Why("disk/"), StartsWith("2 no object is named \"disk/\""));
}

TEST(ObjectFinder, SaysThatATypeHasNoObjects) {
  EXPECT_THAT(Why("empty"), StartsWith("2 there is no object of type empty"));
  EXPECT_THAT(Why("a/b"), StartsWith("2 there is no object of type a/b"));
}

TEST(ObjectFinder, RefusesAWordThatNamesNothing) {
  EXPECT_THAT(Why("nothing"), AllOf(StartsWith("2 no object is named \"nothing\""),
                                    HasSubstr("ktctl ls lists them")));
  EXPECT_THAT(Why(""), StartsWith("2 no object is named \"\""));
}

TEST(ObjectFinder, CountsAnObjectOnceThatItsTypeAndItsIdName) {
  EXPECT_EQ(Find("F58B"), kPart);
}

TEST(ObjectFinder, ShowsControlCharactersOfAForeignNameEscaped) {
  EXPECT_EQ(CandidateLines({ObjectOf(kPart, "F58B", "x\x1b[2J")}),
            "  " + kPart + " F58B \"x\\x1b[2J\"");
}

TEST(ObjectFinder, CountsTheCandidatesThatItDoesNotList) {
  const std::vector<Json> many(25, ObjectOf(kPart, "disk", ""));
  EXPECT_THAT(CandidateLines(many), HasSubstr("\n  and 5 more"));
}

TEST(IdPrefix, WantsDashesWhereAnIdHasThem) {
  EXPECT_EQ(IdPrefix("12d414ad-bfa5"), "12D414ADBFA5");
  EXPECT_EQ(IdPrefix("12d4-14ad"), std::nullopt);
  EXPECT_EQ(IdPrefix("12d414adbfa5-4504"), std::nullopt);
}

TEST(IdPrefix, IsHexadecimal) {
  EXPECT_EQ(IdPrefix("12dg"), std::nullopt);
  EXPECT_EQ(IdPrefix("{}"), std::nullopt);
  EXPECT_EQ(IdPrefix(std::string(33, 'A')), std::nullopt);
}

}  // namespace
}  // namespace ktctl
