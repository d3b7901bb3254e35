#include "cli/object_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace ktctl {
namespace {

using testing::HasSubstr;

const Screen kAscii{false, false, false, std::nullopt};

Json ObjectOf(const std::string& id, std::vector<std::string> children,
              const std::string& name = {}) {
  Json object = Json::object();
  object["id"] = id;
  object["type"] = "T";
  object["children"] = std::move(children);
  object["properties"] = Json::array();
  if (!name.empty()) {
    object["properties"].push_back({{"name", "Name"}, {"type", "STR"}, {"value", name}});
  }
  return object;
}

TEST(ObjectTree, ShowsChildrenBelowTheirParents) {
  EXPECT_EQ(ObjectTreeText({ObjectOf("1", {"2", "4"}), ObjectOf("2", {"3"}), ObjectOf("3", {}),
                            ObjectOf("4", {}, "last"), ObjectOf("5", {})},
                           "", kAscii),
            "T 1\n"
            "|- T 2\n"
            "|  `- T 3\n"
            "`- T \"last\" 4\n"
            "T 5\n");
}

TEST(ObjectTree, DrawsLinesWhereThereIsMoreThanAscii) {
  Screen screen = kAscii;
  screen.utf8 = true;
  EXPECT_EQ(ObjectTreeText({ObjectOf("1", {"2"}), ObjectOf("2", {})}, "", screen),
            "T 1\n\xE2\x94\x94\xE2\x94\x80 T 2\n");
}

TEST(ObjectTree, BeginsAtTheObjectThatIsAskedFor) {
  EXPECT_EQ(
      ObjectTreeText({ObjectOf("1", {"2"}), ObjectOf("2", {"3"}), ObjectOf("3", {})}, "2", kAscii),
      "T 2\n`- T 3\n");
}

TEST(ObjectTree, IsEmptyWhereThatIsNotThere) {
  EXPECT_EQ(ObjectTreeText({ObjectOf("1", {})}, "2", kAscii), "");
}

TEST(ObjectTree, ShowsAChildOfTwoParentsWholeOnce) {
  EXPECT_EQ(ObjectTreeText({ObjectOf("1", {"3"}), ObjectOf("2", {"3"}), ObjectOf("3", {"4"}),
                            ObjectOf("4", {})},
                           "", kAscii),
            "T 1\n`- T 3\n   `- T 4\nT 2\n`- T 3  (shown above)\n");
}

TEST(ObjectTree, ShowsObjectsThatAreInACircle) {
  EXPECT_EQ(ObjectTreeText({ObjectOf("1", {"2"}), ObjectOf("2", {"1"})}, "", kAscii),
            "T 1\n`- T 2\n   `- T 1  (shown above)\n");
}

TEST(ObjectTree, PassesOverAChildThatIsNotAmongTheObjects) {
  EXPECT_EQ(ObjectTreeText({ObjectOf("1", {"9", "2"}), ObjectOf("2", {})}, "", kAscii),
            "T 1\n`- T 2\n");
}

TEST(ObjectTree, StopsIndentingFarDown) {
  std::vector<Json> chain;
  for (int i = 0; i < 2000; ++i) {
    chain.push_back(ObjectOf(std::to_string(i), {std::to_string(i + 1)}));
  }
  const std::string text = ObjectTreeText(chain, "", kAscii);
  EXPECT_THAT(text, HasSubstr("(level 1999) T 1999\n"));
  EXPECT_LT(text.size(), std::size_t{2000} * 150);
}

TEST(ObjectTree, EscapesWhatAProviderChose) {
  EXPECT_EQ(ObjectTreeText({ObjectOf("1", {}, "a\x1b[31m\n")}, "", kAscii),
            "T \"a\\x1b[31m\\n\" 1\n");
}

}  // namespace
}  // namespace ktctl
