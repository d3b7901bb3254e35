#include "tree_report.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "service/samples.h"

namespace ktsvc {
namespace {

using ktsvc_test::MakeProperty;

KtObjId Id(std::uint32_t number) {
  return {{number, 0, 0, {}}};
}

std::string IdText(std::uint32_t number) {
  return GuidText(Id(number).guid);
}

TypeView Type(const std::string& name, std::vector<std::string> superclasses) {
  TypeView view;
  view.name = name;
  view.superclasses = std::move(superclasses);
  return view;
}

ObjectView Object(std::uint32_t number, std::vector<KtObjId> children = {}) {
  ObjectView view;
  view.id = Id(number);
  view.type = "disk";
  view.owner = "me";
  view.children = std::move(children);
  return view;
}

TEST(TypesText, PutsATypeUnderItsSuperclass) {
  BusSnapshot snapshot;
  snapshot.types = {Type("root", {}), Type("other", {}), Type("leaf", {"root"})};
  EXPECT_EQ(TypesText(snapshot), "Types\n  root\n    leaf\n  other\n\n");
}

TEST(TypesText, NamesTheFurtherSuperclasses) {
  BusSnapshot snapshot;
  snapshot.types = {Type("a", {}), Type("b", {}), Type("c", {}), Type("leaf", {"a", "b", "c"})};
  EXPECT_EQ(TypesText(snapshot), "Types\n  a\n    leaf, also a b and a c\n  b\n  c\n\n");
}

TEST(TypesText, ShowsPropertiesInterfacesAndTheNumberOfObjects) {
  BusSnapshot snapshot;
  TypeView type = Type("disk", {});
  type.objectCount = 2;
  type.properties = {MakeProperty("VENDOR", TYPE_STR, {std::string("X")})};
  type.interfaces = {{kSystemInterface, "me", false, ""}};
  snapshot.types = {type};
  EXPECT_EQ(TypesText(snapshot),
            "Types\n"
            "  disk  (2 objects)\n"
            "      has     VENDOR  STR  \"X\"\n"
            "      offers  system  {9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}  by me\n\n");
}

TEST(ObjectsText, SaysSoWhenThereAreNone) {
  EXPECT_EQ(ObjectsText(BusSnapshot()), "Objects\n  none\n\n");
}

TEST(ObjectsText, PutsChildrenUnderTheirParent) {
  BusSnapshot snapshot;
  snapshot.objects = {Object(2), Object(1, {Id(2)})};
  EXPECT_EQ(ObjectsText(snapshot), "Objects\n  disk " + IdText(1) + "  from me\n      disk " +
                                       IdText(2) + "  from me\n\n");
}

TEST(ObjectsText, ShowsAnObjectOfSeveralParentsOnceInFull) {
  BusSnapshot snapshot;
  snapshot.objects = {Object(1, {Id(3)}), Object(2, {Id(3)}), Object(3)};
  EXPECT_EQ(ObjectsText(snapshot), "Objects\n  disk " + IdText(1) + "  from me\n      disk " +
                                       IdText(3) + "  from me\n  disk " + IdText(2) +
                                       "  from me\n      disk " + IdText(3) +
                                       "  (shown above)\n\n");
}

TEST(ObjectsText, LeavesOutAChildThatIsGone) {
  BusSnapshot snapshot;
  snapshot.objects = {Object(1, {Id(9)})};
  EXPECT_EQ(ObjectsText(snapshot), "Objects\n  disk " + IdText(1) + "  from me\n\n");
}

TEST(ObjectsText, ShowsNamePropertiesAndInterfacesInColumns) {
  BusSnapshot snapshot;
  ObjectView object = Object(1);
  object.properties = {MakeProperty("Name", TYPE_STR, {std::string("sda")}),
                       MakeProperty("size", TYPE_UINT64, {std::uint64_t{5}})};
  object.interfaces = {{kSystemInterface, "me", false, ""}, {Id(7).guid, "you", true, "disk"}};
  snapshot.objects = {object};
  EXPECT_EQ(ObjectsText(snapshot),
            "Objects\n"
            "  disk \"sda\" " +
                IdText(1) +
                "  from me\n"
                "      has     Name  STR     \"sda\"\n"
                "              size  UINT64  5\n"
                "      offers  system  {9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}\n"
                "              -       " +
                IdText(7) + "  by you, through disk, provider gone\n\n");
}

TEST(TypesText, EscapesWhatWouldBreakALineOrATerminal) {
  BusSnapshot snapshot;
  TypeView type = Type("a\x1B[2J", {});
  type.properties = {MakeProperty("b\nc", TYPE_UINT32, {1U})};
  type.interfaces = {{Id(7).guid, "d\x7F", false, "e\xFF"}};
  snapshot.types = {type, Type("x\r", {}), Type("leaf", {"a\x1B[2J", "x\r"})};
  EXPECT_EQ(TypesText(snapshot),
            "Types\n"
            "  a\\x1b[2J\n"
            "      has     b\\nc  UINT32  1\n"
            "      offers  -  " +
                IdText(7) +
                "  by d\\x7f, through (malformed text, bytes 65ff)\n"
                "    leaf, also a x\\x0d\n"
                "  x\\x0d\n\n");
}

TEST(ObjectsText, EscapesTheTypeAndTheOwner) {
  BusSnapshot snapshot;
  ObjectView object = Object(1);
  object.type = "\x1B]0;x\x07";
  object.owner = "\xC2\x9B";
  snapshot.objects = {object};
  EXPECT_EQ(ObjectsText(snapshot),
            "Objects\n  \\x1b]0;x\\x07 " + IdText(1) + "  from \\xc2\\x9b\n\n");
}

// As many lines as text, the longest of which is told.
struct Shape {
  std::size_t lines = 0;
  std::size_t longest = 0;
};

Shape ShapeOf(const std::string& text) {
  Shape shape;
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    ++shape.lines;
    shape.longest = std::max(shape.longest, end - begin);
  }
  return shape;
}

constexpr std::uint32_t kLongChain = 100000;

TEST(ObjectsText, ShowsAChainOfAnyLength) {
  BusSnapshot snapshot;
  for (std::uint32_t i = 1; i <= kLongChain; ++i) {
    snapshot.objects.push_back(i == kLongChain ? Object(i) : Object(i, {Id(i + 1)}));
  }
  const std::string text = ObjectsText(snapshot);
  EXPECT_EQ(ShapeOf(text).lines, kLongChain + 2);  // the title, and the empty line at the end
  EXPECT_LT(ShapeOf(text).longest, 250U);
  EXPECT_NE(text.find("\n" + std::string(130, ' ') + "disk " + IdText(33) + "  from me\n"),
            std::string::npos);
  EXPECT_NE(text.find("\n" + std::string(130, ' ') + "(level 33) disk " + IdText(34) + "  from"),
            std::string::npos);
}

TEST(TypesText, ShowsAChainOfAnyLength) {
  BusSnapshot snapshot;
  snapshot.types.push_back(Type("t0", {}));
  for (std::uint32_t i = 1; i < kLongChain; ++i) {
    snapshot.types.push_back(Type("t" + std::to_string(i), {"t" + std::to_string(i - 1)}));
  }
  const std::string text = TypesText(snapshot);
  EXPECT_EQ(ShapeOf(text).lines, kLongChain + 2);
  EXPECT_NE(text.find("\n" + std::string(66, ' ') + "(level 99999) t99999\n"), std::string::npos);
}

TEST(InterfaceName, KnowsTheInterfacesOfSystemAndGroups) {
  EXPECT_EQ(InterfaceName(kSystemInterface), "system");
  EXPECT_EQ(InterfaceName(Id(1).guid), "");
}

}  // namespace
}  // namespace ktsvc
