// Places for objects, by number.
#include "bus/shelf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <map>
#include <random>
#include <thread>
#include <vector>

#include "support/failing_new.h"

namespace bus_test {
namespace {

using kt::bus::MutexGuard;
using kt::bus::Shelf;

constexpr std::size_t kWhole = 2 * Shelf::kLine;
// As it grows where no sanitizer wants each place by itself.
constexpr Shelf::Growth kManyInAChunk{17, 32};

class ShelfTest : public ::testing::Test {
 protected:
  // Takes a place, writes the value into it, and shows it.
  Shelf::Number Put(std::uint64_t value) {
    const Shelf::Place place = shelf_.Take();
    std::memcpy(place.memory, &value, sizeof(value));
    const MutexGuard guard(shelf_.LockOf(place.number));
    shelf_.Show(place.number);
    return place.number;
  }
  void Remove(Shelf::Number number) {
    {
      const MutexGuard guard(shelf_.LockOf(number));
      shelf_.Hide(number);
    }
    shelf_.Give(number);
  }
  // What stands there, or 0.
  std::uint64_t ValueAt(Shelf::Number number) {
    const MutexGuard guard(shelf_.LockOf(number));
    std::uint64_t value = 0;
    if (const void* const memory = shelf_.Find(number)) std::memcpy(&value, memory, sizeof(value));
    return value;
  }

  Shelf shelf_{kWhole, kManyInAChunk};
};

TEST_F(ShelfTest, AnEmptyOneHasNoMemoryAndFindsNothing) {
  EXPECT_EQ(shelf_.places(), 0U);
  EXPECT_EQ(ValueAt(0), 0U);
  EXPECT_EQ(ValueAt(UINT32_MAX), 0U);
}

TEST_F(ShelfTest, APlaceIsFoundOnlyWhileItIsShown) {
  const Shelf::Place place = shelf_.Take();
  const MutexGuard guard(shelf_.LockOf(place.number));
  EXPECT_EQ(shelf_.Find(place.number), nullptr);
  shelf_.Show(place.number);
  EXPECT_EQ(shelf_.Find(place.number), place.memory);
  shelf_.Hide(place.number);
  EXPECT_EQ(shelf_.Find(place.number), nullptr);
}

TEST_F(ShelfTest, FindsWhatIsThereAndNothingElseWhateverComesAndGoes) {
  std::mt19937 random(3);
  std::map<Shelf::Number, std::uint64_t> there;
  std::vector<Shelf::Number> ever;
  std::uint64_t next = 0;
  for (int step = 0; step < 40'000; ++step) {
    const bool add = there.empty() || random() % 10 < (step % 8'000 < 4'000 ? 8U : 2U);
    if (add) {
      const Shelf::Number number = Put(++next);
      ASSERT_TRUE(there.emplace(number, next).second) << "taken twice";
      ever.push_back(number);
    } else {
      auto any = there.lower_bound(ever[random() % ever.size()]);
      if (any == there.end()) any = there.begin();
      Remove(any->first);
      there.erase(any);
    }
    if (step % 4'000 != 3'999) continue;
    for (const Shelf::Number number : ever) {
      const auto found = there.find(number);
      ASSERT_EQ(ValueAt(number), found == there.end() ? 0 : found->second) << number;
    }
  }
}

TEST_F(ShelfTest, PlacesBeginBehindTheBeginOfALineAndDoNotOverlap) {
  std::vector<std::uintptr_t> places;
  for (int i = 0; i < 1'000; ++i) {
    places.push_back(std::bit_cast<std::uintptr_t>(shelf_.Take().memory));
  }
  std::sort(places.begin(), places.end());
  for (std::size_t i = 0; i < places.size(); ++i) {
    EXPECT_EQ(places[i] % Shelf::kLine, Shelf::kHeadSize);
    if (i == 0) continue;
    EXPECT_GE(places[i] - places[i - 1], kWhole);
  }
  EXPECT_EQ(shelf_.size(), kWhole - Shelf::kHeadSize);
}

TEST_F(ShelfTest, HasLittleMoreMemoryThanWhatStandsThereNeeds) {
  static_cast<void>(Put(1));
  EXPECT_EQ(shelf_.places(), kManyInAChunk.fewest);
  for (std::uint64_t i = 1; i < 300'000; ++i) {
    static_cast<void>(Put(i + 1));
    ASSERT_LE(shelf_.places(),
              std::max<std::size_t>(i + 1 + kManyInAChunk.fewest, (i + 1) * 5 / 4));
  }
  EXPECT_LE((shelf_.places() - 300'000) * kWhole, Shelf::kMostBytes);
}

TEST_F(ShelfTest, GivesMemoryBackWhenWhatStoodThereIsGone) {
  std::vector<Shelf::Number> numbers;
  for (std::uint64_t i = 0; i < 100'000; ++i) numbers.push_back(Put(i + 1));
  const std::size_t all = shelf_.places();
  for (std::size_t i = 50'000; i < numbers.size(); ++i) Remove(numbers[i]);
  EXPECT_LE(shelf_.places(), all * 3 / 4);
  numbers.resize(50'000);
  for (const Shelf::Number number : numbers) {
    Remove(number);
    ASSERT_EQ(ValueAt(number), 0U);
  }
  EXPECT_LE(shelf_.places(), kManyInAChunk.fewest);
}

TEST_F(ShelfTest, GivesNearlyAllBackInWhicheverOrderThingsGo) {
  std::mt19937 random(5);
  for (int order = 0; order < 3; ++order) {
    std::vector<Shelf::Number> numbers;
    for (std::uint64_t i = 0; i < 100'000; ++i) numbers.push_back(Put(i + 1));
    if (order == 1) std::reverse(numbers.begin(), numbers.end());
    if (order == 2) std::shuffle(numbers.begin(), numbers.end(), random);
    for (const Shelf::Number number : numbers) Remove(number);
    EXPECT_LE(shelf_.places(), kManyInAChunk.fewest) << "in order " << order;
  }
}

TEST_F(ShelfTest, KeepsTheSmallerOfTwoEmptyChunks) {
  std::vector<Shelf::Number> numbers;
  for (std::uint64_t i = 0; i < 100'000; ++i) numbers.push_back(Put(i + 1));
  for (; numbers.size() > 1; numbers.pop_back()) Remove(numbers.back());
  EXPECT_LE(shelf_.places(), 2 * kManyInAChunk.fewest);
  EXPECT_EQ(ValueAt(numbers.front()), 1U);
}

TEST_F(ShelfTest, KeepsAChunkThatTheNextPlaceWouldNeedAgain) {
  for (std::uint64_t i = 0; i < kManyInAChunk.fewest; ++i) static_cast<void>(Put(i + 1));
  const Shelf::Number one_more = Put(99);
  const std::size_t all = shelf_.places();
  Remove(one_more);
  EXPECT_EQ(shelf_.places(), all);
  EXPECT_EQ(Put(100), one_more);
}

TEST_F(ShelfTest, AShelfOfSingleBlocksGivesEachBackByItself) {
  Shelf single(kWhole, {0, 1});
  std::vector<Shelf::Number> numbers;
  for (int i = 0; i < 100; ++i) numbers.push_back(single.Take().number);
  EXPECT_EQ(single.places(), 100U);
  for (const Shelf::Number number : numbers) single.Give(number);
  EXPECT_EQ(single.places(), 0U);
}

TEST_F(ShelfTest, ForEachVisitsWhatIsShown) {
  std::vector<Shelf::Number> numbers;
  for (std::uint64_t i = 1; i <= 100; ++i) numbers.push_back(Put(i));
  for (std::size_t i = 0; i < 100; i += 2) Remove(numbers[i]);
  static_cast<void>(shelf_.Take());  // hidden
  std::uint64_t sum = 0;
  shelf_.ForEach([&](const void* memory) {
    std::uint64_t value = 0;
    std::memcpy(&value, memory, sizeof(value));
    sum += value;
  });
  EXPECT_EQ(sum, 2'550U);  // 2 + 4 + ... + 100
}

TEST_F(ShelfTest, WithoutMemoryThereIsNoPlaceAndAllStaysAsItWas) {
  int refused = 0;
  std::vector<Shelf::Number> numbers;
  for (std::uint64_t i = 0; i < 5'000; ++i) {
    bool done = false;
    for (int after = 0; !done; ++after) {
      const std::size_t before = shelf_.places();
      try {
        const support::FailAllocation failure(after);
        const Shelf::Place place = shelf_.Take();
        const support::SpareAllocations spare;
        numbers.push_back(place.number);
        done = true;
      } catch (const std::bad_alloc&) {
        ++refused;
        ASSERT_EQ(shelf_.places(), before);
      }
    }
  }
  EXPECT_GT(refused, 20);
  std::sort(numbers.begin(), numbers.end());
  EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
  for (const Shelf::Number number : numbers) {
    const support::FailAllocation failure(0);
    shelf_.Give(number);
  }
  EXPECT_LE(shelf_.places(), kManyInAChunk.fewest);
}

TEST_F(ShelfTest, WhoHasFoundAPlaceKeepsItWhileChunksComeAndGo) {
  // One thread looks at numbers of places that another one takes and gives back.
  const Shelf::Number stays = Put(77);
  std::atomic<bool> done{false};
  std::atomic<Shelf::Number> last{stays};
  std::atomic<int> wrong{0};
  std::atomic<int> looks{0};
  std::thread reader([&] {
    while (!done) {
      if (ValueAt(stays) != 77) ++wrong;
      const std::uint64_t value = ValueAt(last);
      if (value != 0 && value != 77 && value != 5) ++wrong;
      ++looks;
    }
  });
  for (int round = 0; round < 20 || looks < 1'000; ++round) {
    std::vector<Shelf::Number> numbers;
    for (int i = 0; i < 500; ++i) numbers.push_back(last = Put(5));
    for (const Shelf::Number number : numbers) {
      last = number;
      Remove(number);
    }
  }
  done = true;
  reader.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace bus_test
