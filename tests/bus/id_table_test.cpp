// The table of ids alone: every look-up against a map of the standard library.
#include "bus/id_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "support/failing_new.h"

namespace bus_test {
namespace {

using kt::bus::IdTable;
using kt::bus::NewId;

struct Thing {
  Thing(const KtObjId& its_id, int its_number, int& alive)
      : id_(its_id), number(its_number), alive_(alive) {
    ++alive_;
  }
  ~Thing() { --alive_; }
  Thing(const Thing&) = delete;
  Thing& operator=(const Thing&) = delete;

  [[nodiscard]] const KtObjId& id() const { return id_; }

  KtObjId id_;
  int number;
  int& alive_;
};

class IdTableTest : public ::testing::Test {
 protected:
  using Pointer = std::unique_ptr<Thing>;
  Pointer Make(const KtObjId& id, int number) {
    return std::make_unique<Thing>(id, number, alive_);
  }
  int NumberOf(const KtObjId& id) {
    const Thing* const found = table_.Find(id);
    return found == nullptr ? -1 : found->number;
  }
  // An id whose place in the table and whose two bytes are given.
  static KtObjId Placed(std::uint32_t place, std::uint16_t bytes, std::uint8_t rest) {
    return {{place, bytes, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, rest}}};
  }

  int alive_ = 0;
  IdTable<Pointer> table_;
};

TEST_F(IdTableTest, AnEmptyOneFindsNothing) {
  EXPECT_EQ(table_.Find(NewId()), nullptr);
  EXPECT_EQ(table_.Take(NewId()), nullptr);
  EXPECT_EQ(table_.size(), 0U);
}

TEST_F(IdTableTest, FindsWhatIsThereAndNothingElseWhateverComesAndGoes) {
  std::mt19937 random(7);
  std::vector<KtObjId> ids;
  std::map<std::size_t, int> there;  // the index of the id, and the number of the thing
  for (int i = 0; i < 2'000; ++i) ids.push_back(NewId());
  for (int step = 0; step < 20'000; ++step) {
    // First it mostly grows, then it mostly shrinks.
    const bool add = random() % 10 < (step < 10'000 ? 7U : 3U);
    const std::size_t which = random() % ids.size();
    if (add && there.count(which) == 0) {
      table_.Add(Make(ids[which], step));
      there[which] = step;
    } else if (!add && there.count(which) != 0) {
      const Pointer taken = table_.Take(ids[which]);
      ASSERT_NE(taken, nullptr);
      EXPECT_EQ(taken->number, there[which]);
      there.erase(which);
    }
    if (step % 500 != 0) continue;
    for (std::size_t i = 0; i < ids.size(); ++i) {
      const auto expected = there.find(i);
      ASSERT_EQ(NumberOf(ids[i]), expected == there.end() ? -1 : expected->second) << step;
    }
  }
  EXPECT_EQ(table_.size(), there.size());
  EXPECT_EQ(alive_, static_cast<int>(there.size()));
}

TEST_F(IdTableTest, TellsApartIdsThatBelongToOnePlace) {
  // All at the end of the table, so that they go on at its beginning; some differ in the last byte
  // alone.
  std::vector<KtObjId> ids;
  for (std::uint8_t i = 0; i < 12; ++i) ids.push_back(Placed(0xFFFFFFFFU, i / 4, i));
  for (std::size_t i = 0; i < ids.size(); ++i) table_.Add(Make(ids[i], static_cast<int>(i)));
  for (const std::size_t gone : {0U, 5U, 11U, 6U}) {
    EXPECT_NE(table_.Take(ids[gone]), nullptr);
    EXPECT_EQ(NumberOf(ids[gone]), -1);
  }
  for (const std::size_t left : {1U, 2U, 3U, 4U, 7U, 8U, 9U, 10U}) {
    EXPECT_EQ(NumberOf(ids[left]), static_cast<int>(left));
  }
  EXPECT_EQ(NumberOf(Placed(0xFFFFFFFFU, 1, 200)), -1);
}

TEST_F(IdTableTest, MovesUpNothingThatIsInItsOwnPlace) {
  // The second stands where it belongs, right behind the first; the third belongs to the first's.
  const KtObjId first = Placed(0, 1, 1);
  const KtObjId second = Placed(1U << 28U, 2, 2);
  const KtObjId third = Placed(0, 3, 3);
  table_.Add(Make(first, 1));
  table_.Add(Make(second, 2));
  table_.Add(Make(third, 3));
  ASSERT_EQ(table_.words(), 16U) << "the second is not where it is thought to be";
  EXPECT_NE(table_.Take(first), nullptr);
  EXPECT_EQ(NumberOf(second), 2);
  EXPECT_EQ(NumberOf(third), 3);
}

TEST_F(IdTableTest, PutsOneThingInThePlaceOfAnotherOfItsId) {
  const KtObjId id = NewId();
  table_.Add(Make(id, 1));
  table_.Replace(Make(id, 2));
  EXPECT_EQ(NumberOf(id), 2);
  EXPECT_EQ(table_.size(), 1U);
  EXPECT_EQ(alive_, 1);
}

TEST_F(IdTableTest, TakesRoomForWhatItHasAndGivesItBack) {
  std::vector<KtObjId> ids;
  for (int i = 0; i < 10'000; ++i) {
    ids.push_back(NewId());
    table_.Add(Make(ids.back(), i));
    ASSERT_LE(table_.size(), table_.words() * 7 / 8);
  }
  EXPECT_LT(table_.words(), 20'000U);
  for (const KtObjId& id : ids) EXPECT_NE(table_.Take(id), nullptr);
  EXPECT_LT(table_.words(), 50U);
}

TEST_F(IdTableTest, StaysAsItIsWithoutMemoryToGrow) {
  std::vector<KtObjId> ids;
  int refused = 0;
  for (int i = 0; i < 200; ++i) {
    ids.push_back(NewId());
    Pointer thing = Make(ids.back(), i);
    try {
      const support::FailAllocation failure(0);
      table_.Add(std::move(thing));
    } catch (const std::bad_alloc&) {
      ++refused;
      ASSERT_NE(thing, nullptr) << "it is still the caller's";
      ASSERT_EQ(NumberOf(ids.back()), -1);
      table_.Add(std::move(thing));
    }
  }
  EXPECT_GT(refused, 3);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(NumberOf(ids[static_cast<std::size_t>(i)]), i);
  // Nor does taking out need any.
  for (const KtObjId& id : ids) {
    const support::FailAllocation failure(0);
    EXPECT_NE(table_.Take(id), nullptr);
  }
}

TEST_F(IdTableTest, DropsWhatItStillHasAtItsEnd) {
  {
    IdTable<Pointer> table;
    for (int i = 0; i < 100; ++i) table.Add(Make(NewId(), i));
    EXPECT_EQ(alive_, 100);
  }
  EXPECT_EQ(alive_, 0);
}

}  // namespace
}  // namespace bus_test
