// The ids of a type in the order of creation: every state against a map of the standard library.
#include "bus/id_roll.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "bus/guid.h"
#include "support/failing_new.h"

namespace bus_test {
namespace {

using kt::bus::IdRoll;
using kt::bus::SameGuid;

class IdRollTest : public ::testing::Test {
 protected:
  struct Entry {
    KtObjId id;
    std::size_t place;
  };

  void Add(std::uint64_t number) {
    roll_.MakeRoom();
    const Entry entry{kt::bus::NewId(), roll_.NextPlace()};
    roll_.Append(number, entry.id);
    there_.emplace(number, entry);
  }
  void Remove(std::uint64_t number) {
    const auto found = there_.find(number);
    roll_.Remove(number, found->second.place);
    there_.erase(found);
  }
  void ExpectAll() {
    ASSERT_EQ(roll_.size(), there_.size());
    std::vector<KtObjId> ids(roll_.size());
    roll_.CopyTo(ids.data());
    std::vector<IdRoll::Entry> entries;
    roll_.AppendTo(entries);
    ASSERT_EQ(entries.size(), there_.size());
    std::size_t i = 0;
    for (const auto& [number, entry] : there_) {
      ASSERT_TRUE(SameGuid(ids[i].guid, entry.id.guid)) << i;
      ASSERT_TRUE(SameGuid(entries[i].id.guid, entry.id.guid)) << i;
      ASSERT_EQ(entries[i].number, number);
      ++i;
    }
  }

  IdRoll roll_;
  std::map<std::uint64_t, Entry> there_;
};

TEST_F(IdRollTest, KeepsTheOrderOfCreation) {
  for (std::uint64_t i = 0; i < 100; ++i) Add(3 * i);
  ExpectAll();
}

TEST_F(IdRollTest, KeepsTheOrderWhateverComesAndGoes) {
  std::mt19937 random(11);
  std::uint64_t next = 0;
  for (int step = 0; step < 20'000; ++step) {
    const bool add = there_.empty() || random() % 10 < (step % 4'000 < 2'000 ? 7U : 3U);
    if (add) {
      Add(next += 1 + random() % 5);
    } else {
      auto any = there_.lower_bound(random() % (next + 1));
      if (any == there_.end()) any = there_.begin();
      Remove(any->first);
    }
    if (step % 500 == 0) ExpectAll();
  }
  ExpectAll();
}

TEST_F(IdRollTest, LosesTheOldestFirstAndTheNewestFirstAsWell) {
  for (std::uint64_t i = 0; i < 1'000; ++i) Add(i);
  for (std::uint64_t i = 0; i < 400; ++i) Remove(i);
  ExpectAll();
  for (std::uint64_t i = 999; i >= 500; --i) Remove(i);
  ExpectAll();
  for (std::uint64_t i = 400; i < 500; ++i) Remove(i);
  EXPECT_EQ(roll_.size(), 0U);
  Add(1'000);
  ExpectAll();
}

TEST_F(IdRollTest, HasNoRoomLeftForManyThatAreGone) {
  for (std::uint64_t i = 0; i < 1'000; ++i) Add(i);
  EXPECT_GE(roll_.capacity(), 1'000U);
  for (std::uint64_t i = 0; i < 990; ++i) Remove(i);
  EXPECT_LE(roll_.NextPlace(), 40U) << "gaps are closed";
  EXPECT_LE(roll_.capacity(), 8 * roll_.NextPlace());
  ExpectAll();
}

TEST_F(IdRollTest, StaysAsItIsWithoutMemory) {
  int refused = 0;
  for (std::uint64_t i = 0; i < 200; ++i) {
    for (int after = 0; after < 2; ++after) {
      try {
        const support::FailAllocation failure(after);
        roll_.MakeRoom();
      } catch (const std::bad_alloc&) {
        ++refused;
        ExpectAll();
      }
    }
    Add(i);
  }
  EXPECT_GT(refused, 5);
  for (std::uint64_t i = 0; i < 200; ++i) {
    {
      const auto found = there_.find(i);
      const support::FailAllocation failure(0);
      roll_.Remove(i, found->second.place);
    }
    there_.erase(i);
    ExpectAll();
  }
}

}  // namespace
}  // namespace bus_test
