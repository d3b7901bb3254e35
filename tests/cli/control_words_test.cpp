#include "cli/control_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "access/interface_names.h"
#include "cli_test.h"

namespace ktctl {
namespace {

using cli_test::RefusalOf;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using Words = std::vector<std::string>;

// "OBJECT INTERFACE SELECTOR CODE NAME INPUT"
std::string Read(const Words& words, std::uint32_t selector = 0) {
  const ControlWish wish = ReadControl(words, selector);
  return (wish.object.empty() ? "-" : wish.object) + " " +
         ktsvc::access::InterfaceText(wish.interfaceId) + " " + std::to_string(wish.selector) +
         " " + std::to_string(wish.code) + " " +
         (wish.known == nullptr ? "-" : std::string(wish.known->name)) + " " + wish.input.dump();
}
std::string Why(const Words& words) {
  return RefusalOf([&words] { ReadControl(words, 0); });
}

constexpr const char* kLevel = R"([{"name":"tracelevel","type":"UINT32","value":3}])";

TEST(ControlWords, ReadTheRawForm) {
  EXPECT_EQ(Read({"qelm_ktvm_disk/sda", "disk", "9000", "n:UINT32=1"}, 2),
            R"(qelm_ktvm_disk/sda disk 2 9000 - [{"name":"n","type":"UINT32","value":1}])");
}

TEST(ControlWords, ReadCodesInHexadecimal) {
  EXPECT_EQ(Read({"x", "disk", "0x2B00"}), "x disk 0 11008 - []");
}

TEST(ControlWords, ReadInterfacesByTheirGuid) {
  EXPECT_EQ(Read({"x", "7ec748b5-c965-4607-8371-eb3b1b0db7ec", "1"}), "x disk 0 1 - []");
  EXPECT_EQ(Read({"x", "{00000000-0000-0000-0000-000000000001}", "1"}),
            "x {00000000-0000-0000-0000-000000000001} 0 1 - []");
}

TEST(ControlWords, KnowControlsByTheirNames) {
  EXPECT_EQ(Read({"x", "system", "trace-level", "level=3"}),
            std::string("x system 0 11005 trace-level ") + kLevel);
}

TEST(ControlWords, TakeTheArgumentsOfAKnownControlBesideItsNumberToo) {
  EXPECT_EQ(Read({"x", "system", "11005", "level=3"}),
            std::string("x system 0 11005 trace-level ") + kLevel);
}

TEST(ControlWords, MayLeaveTheObjectOut) {
  EXPECT_EQ(Read({"system", "trace-level", "level=3"}),
            std::string("- system 0 11005 trace-level ") + kLevel);
  EXPECT_EQ(Read({"disk", "9000", "n:UINT32=1"}),
            R"(- disk 0 9000 - [{"name":"n","type":"UINT32","value":1}])");
}

TEST(ControlWords, MayLeaveOutTheControlThatBearsTheInterfacesName) {
  EXPECT_EQ(Read({"rescan"}), "- rescan 0 12001 rescan []");
  EXPECT_EQ(Read({"reboot"}), "- reboot 0 11001 reboot []");
  EXPECT_EQ(Read({"x", "rescan"}), "x rescan 0 12001 rescan []");
  EXPECT_EQ(Read({"rescan", "n:UINT32=1"}),
            R"(- rescan 0 12001 rescan [{"name":"n","type":"UINT32","value":1}])");
}

TEST(ControlWords, TakeAnInterfacesNameForAnObjectWhereAnInterfaceAndACodeFollow) {
  EXPECT_EQ(Read({"disk", "rescan", "rescan"}), "disk rescan 0 12001 rescan []");
}

TEST(ControlWords, TakeAWordWithAnEqualsSignInFrontForAnObject) {
  EXPECT_EQ(Read({"disk/a=b", "disk", "1"}), "disk/a=b disk 0 1 - []");
}

TEST(ControlWords, RefuseAnUnknownInterfaceAndListThoseWithNames) {
  EXPECT_THAT(Why({"x", "floppy", "1"}),
              AllOf(StartsWith("2 \"floppy\" is no interface"), HasSubstr("diskgroup, rescan")));
}

TEST(ControlWords, RefuseAnUnknownNameAndListTheKnownOnes) {
  EXPECT_THAT(Why({"system", "shutdown"}),
              AllOf(StartsWith("2 interface system has no control that is known as \"shutdown\""),
                    HasSubstr("There are trace-level, reboot; or give its number.")));
  EXPECT_THAT(Why({"disk", "format"}), HasSubstr("Give its number."));
}

TEST(ControlWords, RefuseToGuessACode) {
  EXPECT_THAT(Why({"system"}), StartsWith("2 a code is missing behind \"system\""));
  EXPECT_THAT(Why({"x", "disk", "n:UINT32=1"}), StartsWith("2 a code is missing behind \"disk\""));
}

TEST(ControlWords, RefuseAnObjectAlone) {
  EXPECT_THAT(Why({"qelm_system"}), StartsWith("2 an interface is missing behind \"qelm_system\""));
  EXPECT_THAT(Why({"qelm_system", "a:STR=x"}), StartsWith("2 an interface is missing behind"));
  EXPECT_THAT(Why({}), StartsWith("2 an interface and a code are missing"));
}

TEST(ControlWords, RefuseCodesThatAreNoNumbersOf32Bits) {
  for (const char* code : {"-1", "4294967296", "0x", "0x100000000", "1x"}) {
    EXPECT_THAT(Why({"disk", code}), HasSubstr("no control that is known as")) << code;
  }
}

TEST(KnownControls, BelongToInterfacesThatThereAre) {
  for (const KnownControl& control : kKnownControls) {
    const auto id = ktsvc::access::InterfaceFromText(control.interface);
    ASSERT_TRUE(id.has_value()) << control.interface;
    EXPECT_EQ(FindKnownControl(*id, control.name), &control);
    EXPECT_EQ(FindKnownControl(*id, control.selector, control.code), &control);
  }
}

// ---- The object that is left out ---------------------------------------------------------------

Json ObjectOf(const std::string& id, const std::string& type) {
  Json object = Json::object();
  object["id"] = id;
  object["type"] = type;
  object["properties"] = Json::array();
  return object;
}

TEST(ChooseObject, TakesTheOnlyOneThatOffersTheInterface) {
  EXPECT_EQ(ChooseObject(ReadControl({"disk", "1"}, 0), {ObjectOf("{1}", "disk")}), "{1}");
}

TEST(ChooseObject, TakesTheSystemsOwnObjectAmongSeveral) {
  EXPECT_EQ(ChooseObject(ReadControl({"trace", "trace-level"}, 0),
                         {ObjectOf("{1}", "disk"), ObjectOf("{2}", "qelm_system")}),
            "{2}");
}

TEST(ChooseObject, TakesAnyWhereItMakesNoDifference) {
  EXPECT_EQ(ChooseObject(ReadControl({"rescan"}, 0),
                         {ObjectOf("{1}", "group"), ObjectOf("{2}", "group")}),
            "{1}");
}

TEST(ChooseObject, RefusesToChooseOtherwiseAndListsThem) {
  EXPECT_THAT(RefusalOf([] {
                ChooseObject(ReadControl({"disk", "1"}, 0),
                             {ObjectOf("{1}", "disk"), ObjectOf("{2}", "disk")});
              }),
              AllOf(StartsWith("2 2 objects offer interface disk"), HasSubstr("{1} disk")));
}

TEST(ChooseObject, RefusesWhereNoneOffersIt) {
  EXPECT_THAT(RefusalOf([] {
                ChooseObject(ReadControl({"disk", "1"}, 0), {});
              }),
              StartsWith("2 no object offers interface disk"));
}

}  // namespace
}  // namespace ktctl
