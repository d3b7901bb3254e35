// The row in which an object keeps its properties.
#include "bus/property_row.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "bus/property_draft.h"

namespace bus_test {
namespace {

using kt::bus::FlatProperty;
using kt::bus::PropertyRow;

FlatProperty TextProperty(const std::string& name, const std::string& text) {
  return {TYPE_STR, 0, 1, name, text};
}

// ---- Flat properties -------------------------------------------------------------------------

std::optional<FlatProperty> FlatOf(std::uint32_t type, std::uint32_t length, const void* value) {
  cuvo_property record{};
  record.name = "name";
  record.type = type;
  record.flags = 3;
  record.length = length;
  record.value = const_cast<void*>(value);
  return kt::bus::PropertyDraft(record).Flat();
}

TEST(FlatPropertyTest, IsANumberATextOrABlock) {
  const std::uint64_t number = 5;
  const auto flat = FlatOf(TYPE_UINT64, 8, &number);
  ASSERT_TRUE(flat);
  EXPECT_EQ(flat->name, "name");
  EXPECT_EQ(flat->type, TYPE_UINT64);
  EXPECT_EQ(flat->flags, 3U);
  EXPECT_EQ(flat->value.size(), 8U);
  EXPECT_EQ(flat->terminator, 0U);
  EXPECT_EQ(FlatOf(TYPE_BINARY, 3, "a\0b")->value, std::string_view("a\0b", 3));
  EXPECT_EQ(FlatOf(TYPE_BINARY, 0, nullptr)->value, "");
  EXPECT_EQ(FlatOf(TYPE_STR, 4, "abc")->value, "abc");
  EXPECT_EQ(FlatOf(TYPE_STR, 2, "abc")->value, "ab") << "no further than its room";
  EXPECT_EQ(FlatOf(TYPE_STR, 6, "ab\0cd")->value, "ab");
  EXPECT_EQ(FlatOf(TYPE_STR, 0, nullptr)->terminator, 1U);
  EXPECT_EQ(FlatOf(TYPE_WSTR, 8, KT_W("ab\0"))->value.size(), 4U);
  EXPECT_EQ(FlatOf(TYPE_WSTR, 8, KT_W("ab\0"))->terminator, 2U);
}

TEST(FlatPropertyTest, IsNoListNoMessageAndNoSet) {
  const std::array<std::uint32_t, 2> numbers{1, 2};
  EXPECT_FALSE(FlatOf(TYPE_UINT32 | 0x80000000U, 2, numbers.data()));
  EXPECT_FALSE(FlatOf(TYPE_PROPSET, 16, nullptr));
  const KtI18NDef message{};
  EXPECT_FALSE(FlatOf(TYPE_I18N, sizeof(message), &message));
}

// ---- The row ---------------------------------------------------------------------------------

class PropertyRowTest : public ::testing::Test {
 protected:
  // A row with the room behind it.
  struct Piece {
    explicit Piece(std::size_t room)
        : words((sizeof(PropertyRow) + room) / 8), row(*new (words.data()) PropertyRow(room)) {}
    std::vector<std::uint64_t> words;
    PropertyRow& row;
  };

  // As its owner does it: into the row, or into a larger one that takes over.
  bool Put(const FlatProperty& property) {
    const std::size_t room = piece_->row.RoomWith(property);
    if (room == PropertyRow::kNoRoom) return false;
    EXPECT_EQ(room % 8, 0U);
    if (room > piece_->row.room()) {
      auto larger = std::make_unique<Piece>(room);  // not a byte more
      larger->row.CopyFrom(piece_->row);
      piece_ = std::move(larger);
    }
    piece_->row.Put(property);
    return true;
  }
  std::string Text(std::string_view name) {
    const auto found = piece_->row.Find(name);
    return found ? std::string(found->value) : "(none)";
  }
  std::string Names() {
    std::string names;
    for (std::size_t i = 0; i < piece_->row.size(); ++i) names += piece_->row.At(i).name;
    return names;
  }

  std::unique_ptr<Piece> piece_ = std::make_unique<Piece>(0);
};

TEST_F(PropertyRowTest, KeepsTypeFlagsNameAndValue) {
  const std::uint32_t number = 77;
  ASSERT_TRUE(Put({TYPE_UINT32, 9, 0, "number", {reinterpret_cast<const char*>(&number), 4}}));
  const auto found = piece_->row.Find("number");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->type, TYPE_UINT32);
  EXPECT_EQ(found->flags, 9U);
  EXPECT_EQ(found->terminator, 0U);
  EXPECT_EQ(std::memcmp(found->value.data(), &number, 4), 0);
  EXPECT_EQ(found->name.data()[found->name.size()], '\0');
}

TEST_F(PropertyRowTest, FindsNothingThatIsNotThere) {
  EXPECT_FALSE(piece_->row.Find(""));
  ASSERT_TRUE(Put(TextProperty("name", "x")));
  for (const char* const other : {"", "nam", "names", "Name"}) {
    EXPECT_FALSE(piece_->row.Find(other)) << other;
  }
}

TEST_F(PropertyRowTest, AnEmptyNameIsANameToo) {
  ASSERT_TRUE(Put(TextProperty("", "x")));
  EXPECT_EQ(Text(""), "x");
}

TEST_F(PropertyRowTest, WhatIsReplacedKeepsItsPlaceWhateverItsSize) {
  for (const char* const name : {"a", "b", "c"}) ASSERT_TRUE(Put(TextProperty(name, name)));
  for (const std::size_t size : {0U, 1U, 7U, 8U, 60U, 127U, 3U}) {
    ASSERT_TRUE(Put(TextProperty("b", std::string(size, 'x'))));
    EXPECT_EQ(Text("b"), std::string(size, 'x'));
    EXPECT_EQ(Names(), "abc");
    EXPECT_EQ(Text("a") + Text("c"), "ac");
  }
}

TEST_F(PropertyRowTest, TakesNoLongNameNoLongValueAndNotTooMany) {
  EXPECT_TRUE(Put(TextProperty(std::string(PropertyRow::kLongestName, 'n'), "x")));
  EXPECT_FALSE(Put(TextProperty(std::string(PropertyRow::kLongestName + 1, 'n'), "x")));
  EXPECT_TRUE(Put(TextProperty("v", std::string(PropertyRow::kLargestValue - 1, 'v'))));
  EXPECT_FALSE(Put(TextProperty("v", std::string(PropertyRow::kLargestValue, 'v'))));
  for (std::size_t i = 2; i < PropertyRow::kMost; ++i) {
    EXPECT_TRUE(Put(TextProperty("n" + std::to_string(i), "x")));
  }
  EXPECT_FALSE(Put(TextProperty("one too many", "x")));
  EXPECT_TRUE(Put(TextProperty("v", "another"))) << "replacing makes no more of them";
}

TEST_F(PropertyRowTest, HasTheRoomForAllThatItMayTake) {
  const std::string value(PropertyRow::kLargestValue - 1, 'v');
  for (std::size_t i = 0; i < PropertyRow::kMost; ++i) {
    std::string name(PropertyRow::kLongestName, 'n');
    name.front() = static_cast<char>('a' + i);
    ASSERT_TRUE(Put(TextProperty(name, value)));
  }
  for (std::size_t i = 0; i < PropertyRow::kMost; ++i) EXPECT_EQ(piece_->row.At(i).value, value);
}

TEST_F(PropertyRowTest, IsRightWhateverIsPutInWhateverOrder) {
  std::mt19937 random(3);
  std::map<std::string, std::string> expected;
  for (int step = 0; step < 5'000; ++step) {
    const std::string name(1 + random() % 12, static_cast<char>('a' + random() % 2));
    const std::string value(random() % 40, static_cast<char>('a' + random() % 26));
    ASSERT_TRUE(Put(TextProperty(name, value)));
    expected[name] = value;
    for (const auto& [key, text] : expected) ASSERT_EQ(Text(key), text) << step;
  }
  EXPECT_EQ(piece_->row.size(), expected.size());
}

TEST_F(PropertyRowTest, HasNothingAfterClear) {
  ASSERT_TRUE(Put(TextProperty("a", "x")));
  piece_->row.Clear();
  EXPECT_EQ(piece_->row.size(), 0U);
  EXPECT_FALSE(piece_->row.Find("a"));
}

}  // namespace
}  // namespace bus_test
