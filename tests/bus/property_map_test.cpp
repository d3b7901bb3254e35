// The properties of a set, from the inside: places, replacing, copies, and the sets inside them.
#include "bus/property_map.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bus/property_draft.h"
#include "bus/status.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {
namespace {

class PropertyMapTest : public testing::Test {
 protected:
  static KtStatus AddText(PropertyMap& map, const std::string& name, const std::string& text) {
    return map.Add(PropertyDraft(TextRecord(name.c_str(), text.c_str())));
  }
  static KtStatus ReplaceText(PropertyMap& map, const std::string& name, const std::string& text) {
    return map.Replace(PropertyDraft(TextRecord(name.c_str(), text.c_str())));
  }
  static std::string NameAt(const PropertyMap& map, std::size_t place) {
    const PropertyImage image = map.At(place);
    return reinterpret_cast<const char*>(image.bytes) +
           reinterpret_cast<std::uintptr_t>(image.Head().name);
  }
  static std::string TextAt(const PropertyMap& map, std::size_t place) {
    const PropertyImage image = map.At(place);
    return reinterpret_cast<const char*>(image.bytes) +
           reinterpret_cast<std::uintptr_t>(image.Head().value);
  }
  static std::size_t PlaceOf(PropertyMap& map, const std::string& name) {
    return map.PlaceOf(PropertyName(name.c_str()));
  }
  static PropertyMap Many(int count) {
    PropertyMap map;
    for (int i = 0; i < count; ++i) AddText(map, "name" + std::to_string(i), std::to_string(i));
    return map;
  }
};

TEST_F(PropertyMapTest, FindsEachNameInItsPlaceHoweverManyThereAre) {
  for (const int count : {1, 16, 17, 18, 64, 1000}) {
    PropertyMap map = Many(count);
    ASSERT_EQ(map.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      const std::size_t place = PlaceOf(map, "name" + std::to_string(i));
      ASSERT_EQ(place, static_cast<std::size_t>(i)) << count;
      EXPECT_EQ(TextAt(map, place), std::to_string(i));
    }
    EXPECT_EQ(PlaceOf(map, "name" + std::to_string(count)), PropertyMap::kNowhere);
    EXPECT_EQ(PlaceOf(map, "nam"), PropertyMap::kNowhere);
    EXPECT_EQ(PlaceOf(map, ""), PropertyMap::kNowhere);
  }
}

TEST_F(PropertyMapTest, TellsNamesOfEveryLengthApart) {
  PropertyMap map;
  std::string name;
  std::vector<std::string> names;
  for (int length = 0; length < 40; ++length) {
    names.push_back(name);
    names.push_back(name + "\x80");
    name += 'a';
  }
  for (const std::string& each : names) EXPECT_EQ(AddText(map, each, each), kOk) << each;
  for (const std::string& each : names) EXPECT_EQ(AddText(map, each, "again"), kPropertyExists);
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(PlaceOf(map, names[i]), i);
}

TEST_F(PropertyMapTest, NamesWithOneHashAreToldApartByTheirText) {
  PropertyName first("first");
  PropertyName other("other");
  other.hash = first.hash;
  for (const int count : {3, 100}) {  // without a table and with one
    PropertyMap map = Many(count);
    AddText(map, "first", "1");
    EXPECT_EQ(map.PlaceOf(first), static_cast<std::size_t>(count));
    EXPECT_EQ(map.PlaceOf(other), PropertyMap::kNowhere);
  }
}

// Whoever chooses names must not be able to choose ones that meet in a table.
TEST_F(PropertyMapTest, NamesThatMeetUnderOneSecretDoNotMeetUnderAnother) {
  const kt::bus::NameSecret one{0x0123456789ABCDEF, 0x9E3779B97F4A7C15};
  const kt::bus::NameSecret other{0xFEDCBA9876543210, 0xC2B2AE3D27D4EB4F};
  std::unordered_map<std::uint32_t, std::string> seen;
  int met = 0;
  int met_again = 0;
  for (int i = 0; i < 300'000; ++i) {
    const std::string name = "a name of clients " + std::to_string(i);
    const auto [first, fresh] =
        seen.try_emplace(kt::bus::HashOfName(name.data(), name.size(), one), name);
    if (fresh) continue;
    ++met;
    const std::string& earlier = first->second;
    met_again += kt::bus::HashOfName(name.data(), name.size(), other) ==
                         kt::bus::HashOfName(earlier.data(), earlier.size(), other)
                     ? 1
                     : 0;
  }
  EXPECT_GT(met, 0);
  EXPECT_LT(met, 100) << "of 300,000 names about ten should";
  EXPECT_EQ(met_again, 0);
}

TEST_F(PropertyMapTest, AValueThatGrowsAndShrinksKeepsItsPlaceAndDisturbsNoOther) {
  PropertyMap map = Many(5);
  for (const std::size_t length : {0U, 1U, 100U, 7U, 5000U, 64U, 3U}) {
    const std::string text(length, 'x');
    ASSERT_EQ(ReplaceText(map, "name2", text), kOk);
    EXPECT_EQ(ReplaceText(map, "name2", text), kUnchanged);
    EXPECT_EQ(TextAt(map, 2), text);
    for (const std::size_t place : {0U, 1U, 3U, 4U}) {
      EXPECT_EQ(NameAt(map, place), "name" + std::to_string(place));
      EXPECT_EQ(TextAt(map, place), std::to_string(place));
    }
  }
  EXPECT_EQ(map.size(), 5U);
}

TEST_F(PropertyMapTest, AValueReplacedAThousandTimesLeavesNoTrailOfGaps) {
  PropertyMap map = Many(2);
  const PropertyMap before(map);
  const std::size_t room = map.capacity();
  for (std::size_t i = 0; i < 1000; ++i) ReplaceText(map, "name0", std::string(i % 50, 'x'));
  EXPECT_LE(map.capacity(), 2 * room);
  ReplaceText(map, "name0", "0");
  EXPECT_TRUE(map == before);
}

// With as many as there are here, names are looked for in a table.
TEST_F(PropertyMapTest, AValueThatMovedIsFoundWhereItIsNow) {
  PropertyMap map = Many(100);
  const auto expect = [&map](const std::string& name, const std::string& text) {
    const std::size_t place = PlaceOf(map, name);
    ASSERT_NE(place, PropertyMap::kNowhere) << name;
    EXPECT_EQ(NameAt(map, place), name);
    EXPECT_EQ(TextAt(map, place), text);
  };
  expect("name50", "50");
  for (const std::size_t length : {40U, 200U, 3000U, 5U}) {
    const std::string text(length, 'x');
    ASSERT_EQ(ReplaceText(map, "name50", text), kOk);
    expect("name50", text);
    expect("name49", "49");
    EXPECT_EQ(PlaceOf(map, "name50"), 50U);
  }
  // The gaps go when there is no room left, and everything moves.
  for (int i = 100; i < 500; ++i) {
    ASSERT_EQ(AddText(map, "name" + std::to_string(i), std::to_string(i)), kOk);
    expect("name99", "99");
    expect("name50", "xxxxx");
  }
  for (int i = 0; i < 500; ++i) {
    if (i != 50) expect("name" + std::to_string(i), std::to_string(i));
  }
}

TEST_F(PropertyMapTest, TextsOfOneLengthAreTheSameWhereNoByteDiffers) {
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string text(length, 'a');
    EXPECT_TRUE(kt::bus::SameText(text.data(), std::string(text).data(), length));
    for (std::size_t i = 0; i < length; ++i) {
      std::string other = text;
      other[i] = 'b';
      EXPECT_FALSE(kt::bus::SameText(text.data(), other.data(), length)) << length << ", " << i;
    }
  }
}

TEST_F(PropertyMapTest, ACopyHasTheSameAndGoesItsOwnWay) {
  for (const int count : {0, 1, 3, 40}) {
    PropertyMap map = Many(count);
    PropertyMap copy(map);
    EXPECT_TRUE(copy == map);
    EXPECT_EQ(AddText(copy, "new", "x"), kOk);
    EXPECT_EQ(PlaceOf(copy, "new"), static_cast<std::size_t>(count));
    EXPECT_EQ(PlaceOf(map, "new"), PropertyMap::kNowhere);
    EXPECT_FALSE(copy == map);
    if (count != 0) {
      EXPECT_EQ(ReplaceText(map, "name0", "changed"), kOk);
      EXPECT_EQ(TextAt(copy, 0), "0");
    }
  }
}

TEST_F(PropertyMapTest, WhatWasMovedFromIsEmptyAndCanBeFilledAgain) {
  PropertyMap map = Many(20);
  PropertyMap moved(std::move(map));
  map = PropertyMap();
  EXPECT_EQ(map.size(), 0U);
  EXPECT_EQ(PlaceOf(map, "name1"), PropertyMap::kNowhere);
  EXPECT_EQ(AddText(map, "name1", "x"), kOk);
  EXPECT_EQ(PlaceOf(moved, "name19"), 19U);
  moved = std::move(map);
  EXPECT_EQ(moved.size(), 1U);
}

TEST_F(PropertyMapTest, EqualityMindsTheOrder) {
  PropertyMap one;
  PropertyMap other;
  AddText(one, "a", "1");
  AddText(one, "b", "2");
  AddText(other, "b", "2");
  AddText(other, "a", "1");
  EXPECT_FALSE(one == other);
}

// ---- Sets inside -----------------------------------------------------------------------------

class InnerSetTest : public PropertyMapTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(PsCreatePropset(&inner_), kOk);
    Mark(0);
  }
  void TearDown() override { EXPECT_EQ(PsDestroyPropset(inner_), kOk); }

  // Gives the inner set a content of its own.
  void Mark(std::uint32_t number) {
    const cuvo_property record = NumberRecord("mark", number);
    if (PsSetProperty(inner_, &record) == kNoProperty) {
      ASSERT_EQ(PsAddProperty(inner_, &record), kOk);
    }
  }
  PropertyDraft Sets(const char* name, std::uint32_t count) {
    list_.assign(count, inner_);
    return PropertyDraft({name, TYPE_PROPSETZ, 0, count, 0, list_.data()});
  }
  static std::uint32_t MarkOf(const InnerSet& set) {
    const PropertyImage image = set->At(0);
    std::uint32_t number = 0;
    std::memcpy(&number, image.bytes + reinterpret_cast<std::uintptr_t>(image.Head().value),
                sizeof(number));
    return number;
  }

  KtPropset inner_ = nullptr;
  std::vector<KtPropset> list_;
};

TEST_F(InnerSetTest, FollowTheirPropertyThroughReplacingGrowingAndCopying) {
  PropertyMap map;
  ASSERT_EQ(map.Add(Sets("first", 2)), kOk);
  Mark(1);
  ASSERT_EQ(map.Add(Sets("second", 1)), kOk);
  for (std::uint32_t round = 2; round < 200; ++round) {
    Mark(round);
    ASSERT_EQ(map.Replace(Sets("first", round % 5)), kOk);
    const PropertyMap copy(map);
    for (const PropertyMap* const each : {&std::as_const(map), &copy}) {
      const PropertyImage first = each->At(0);
      ASSERT_EQ(first.set_count, round % 5);
      for (std::size_t i = 0; i < first.set_count; ++i) EXPECT_EQ(MarkOf(first.sets[i]), round);
      ASSERT_EQ(each->At(1).set_count, 1U);
      EXPECT_EQ(MarkOf(each->At(1).sets[0]), 1U);
    }
  }
}

TEST_F(InnerSetTest, AreReleasedWhenTheirValueIsReplaced) {
  PropertyMap map;
  ASSERT_EQ(map.Add(Sets("sets", 3)), kOk);
  const std::weak_ptr<const PropertyMap> watched = map.At(0).sets[0];
  ASSERT_EQ(map.Replace(Sets("sets", 1)), kOk);
  EXPECT_TRUE(watched.expired());
  const std::weak_ptr<const PropertyMap> next = map.At(0).sets[0];
  Mark(1);
  ASSERT_EQ(map.Replace(Sets("sets", 1)), kOk);
  EXPECT_TRUE(next.expired());
}

TEST_F(InnerSetTest, AreComparedByTheirContent) {
  PropertyMap map;
  ASSERT_EQ(map.Add(Sets("sets", 2)), kOk);
  EXPECT_EQ(map.Replace(Sets("sets", 2)), kUnchanged);
  PropertyMap same;
  ASSERT_EQ(same.Add(Sets("sets", 2)), kOk);
  EXPECT_TRUE(map == same);
  Mark(7);
  EXPECT_EQ(map.Replace(Sets("sets", 2)), kOk);
  EXPECT_FALSE(map == same);
}

TEST_F(InnerSetTest, CountTowardsDepthAndSize) {
  PropertyMap map;
  AddText(map, "flat", "x");
  EXPECT_EQ(map.depth(), 0U);
  const std::size_t flat = map.content_bytes();
  ASSERT_EQ(map.Add(Sets("sets", 1)), kOk);
  EXPECT_EQ(map.depth(), 1U);
  EXPECT_GT(map.content_bytes(), flat + map.At(1).size + map.At(1).sets[0]->content_bytes() - 1);
}

}  // namespace
}  // namespace kt::bus
