#include "base/retired.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "support/failing_new.h"

namespace {

struct Witness {
  Witness(std::vector<int>& order, int number) : order_(order), number_(number) {}
  ~Witness() { order_.push_back(number_); }
  Witness(const Witness&) = delete;
  Witness& operator=(const Witness&) = delete;

 private:
  std::vector<int>& order_;
  int number_;
};

TEST(Retired, StaysAliveUntilTheRelease) {
  std::vector<int> gone;
  kt::Retire(std::make_unique<Witness>(gone, 1));
  EXPECT_TRUE(gone.empty());
  kt::ReleaseRetired();
  EXPECT_EQ(gone, std::vector<int>{1});
}

TEST(Retired, IsReleasedLastFirst) {
  std::vector<int> gone;
  kt::Retire(std::make_unique<Witness>(gone, 1));
  kt::Retire(std::make_unique<Witness>(gone, 2));
  kt::ReleaseRetired();
  EXPECT_EQ(gone, (std::vector<int>{2, 1}));
}

TEST(Retired, ContainsADestructorThatThrowsAndGoesOn) {
  struct Thrower {
    ~Thrower() noexcept(false) { throw 1; }
  };
  std::vector<int> gone;
  kt::Retire(std::make_unique<Witness>(gone, 1));
  kt::RetireRaw(new Thrower, [](void* thing) { delete static_cast<Thrower*>(thing); });
  kt::ReleaseRetired();
  EXPECT_EQ(gone, std::vector<int>{1});
}

TEST(Retired, TakesWhatAReleasedThingRetiresInItsTurn) {
  std::vector<int> gone;
  struct Chain {
    explicit Chain(std::vector<int>& gone_in_order) : order(gone_in_order) {}
    std::vector<int>& order;
    ~Chain() { kt::Retire(std::make_unique<Witness>(order, 7)); }
  };
  kt::Retire(std::make_unique<Chain>(gone));
  kt::ReleaseRetired();
  EXPECT_EQ(gone, std::vector<int>{7});
}

TEST(Retired, IsKeptAndReleasedWhereTheMemoryForANoteIsMissing) {
  std::vector<int> gone;
  gone.reserve(100);
  for (int round = 0; round < 3; ++round) {  // the notes that are always there come back
    gone.clear();
    for (int i = 0; i < 32; ++i) {
      auto witness = std::make_unique<Witness>(gone, i);
      const support::FailAllocation failing(0);
      kt::Retire(std::move(witness));
      ASSERT_TRUE(failing.Happened());
    }
    EXPECT_TRUE(gone.empty());
    kt::ReleaseRetired();
    EXPECT_EQ(gone.size(), 32u);
    EXPECT_EQ(gone.front(), 31);
  }
}

TEST(Retired, TakesThingsFromManyThreads) {
  std::vector<int> gone;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&gone] {
      for (int j = 0; j < 100; ++j) kt::Retire(std::make_unique<Witness>(gone, j));
    });
  }
  for (auto& thread : threads) thread.join();
  kt::ReleaseRetired();
  EXPECT_EQ(gone.size(), 800u);
}

}  // namespace
