#include "base/lock_watch.h"

#include <gtest/gtest.h>

#include <csignal>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "base/lock.h"
#include "fake/fake_test.h"

namespace {

using kt::LockRank;
using kt::lock_watch::Broken;

// What was told, as "held > taken".
std::vector<std::string> g_told;
std::string g_frames;

void Remember(const Broken& broken) noexcept {
  g_told.push_back(std::string(kt::lock_watch::NameOf(broken.held)) + " > " +
                   kt::lock_watch::NameOf(broken.taken));
  for (const auto* stack : {broken.heldSince, broken.now}) {
    kt::lock_watch::WriteStack(*stack,
                               [](const char* line) { g_frames += std::string(line) + "\n"; });
    g_frames += "--\n";
  }
}

// What a lock does.
void Enter(const void* lock, LockRank rank) {
  kt::lock_watch::Taking(lock, rank);
  kt::lock_watch::Took(lock, rank);
}

class LockWatch : public fake::FrameworkTest {
 protected:
  LockWatch() {
    g_told.clear();
    g_frames.clear();
  }
  ~LockWatch() override { kt::lock_watch::SetHandler(usual_); }
  LockWatch(const LockWatch&) = delete;
  LockWatch& operator=(const LockWatch&) = delete;

  // Takes one after the other, and gives all of them back.
  static std::vector<std::string> Take(const std::vector<LockRank>& ranks) {
    g_told.clear();
    std::vector<char> locks(ranks.size());
    for (std::size_t i = 0; i < ranks.size(); ++i) Enter(&locks[i], ranks[i]);
    for (const char& lock : locks) kt::lock_watch::Left(&lock);
    return g_told;
  }

 private:
  kt::lock_watch::Handler usual_ = kt::lock_watch::SetHandler(&Remember);
};

using Told = std::vector<std::string>;

TEST_F(LockWatch, SaysNothingOfTheWrittenOrder) {
  EXPECT_EQ(Take({LockRank::kEventManager, LockRank::kActivity, LockRank::kQueueList,
                  LockRank::kContainer, LockRank::kLeaf}),
            Told{});
}

TEST_F(LockWatch, TellsOfALockThatIsTakenUnderALaterOne) {
  EXPECT_EQ(Take({LockRank::kContainer, LockRank::kActivity}), Told{"container > activity"});
  EXPECT_EQ(Take({LockRank::kActivity, LockRank::kContainer, LockRank::kQueueList}),
            Told{"container > queue list"});
}

TEST_F(LockWatch, TellsOfASecondLockOfTheSameRank) {
  EXPECT_EQ(Take({LockRank::kContainer, LockRank::kContainer}), Told{"container > container"});
}

TEST_F(LockWatch, TellsOfAnyLockInsideALeaf) {
  EXPECT_EQ(Take({LockRank::kLeaf, LockRank::kContainer}), Told{"leaf > container"});
  EXPECT_EQ(Take({LockRank::kLeaf, LockRank::kLeaf}), Told{"leaf > leaf"});
}

TEST_F(LockWatch, PassesOverLocksWithoutARank) {
  EXPECT_EQ(Take({LockRank::kLeaf, LockRank::kNone}), Told{});
  EXPECT_EQ(Take({LockRank::kNone, LockRank::kEventManager}), Told{});
}

TEST_F(LockWatch, LetsALockBeTakenAgain) {
  char first = 0;
  char second = 0;
  Enter(&first, LockRank::kActivity);
  Enter(&second, LockRank::kContainer);
  Enter(&first, LockRank::kActivity);
  kt::lock_watch::Left(&first);
  kt::lock_watch::Left(&second);
  kt::lock_watch::Left(&first);
  EXPECT_EQ(g_told, Told{});
}

TEST_F(LockWatch, ForgetsWhatHasBeenGivenBackInWhateverOrder) {
  char first = 0;
  char second = 0;
  Enter(&first, LockRank::kActivity);
  Enter(&second, LockRank::kContainer);
  kt::lock_watch::Left(&first);
  kt::lock_watch::Left(&second);
  EXPECT_EQ(Take({LockRank::kEventManager}), Told{});
}

TEST_F(LockWatch, KnowsEachThreadByItself) {
  char lock = 0;
  Enter(&lock, LockRank::kContainer);
  std::thread other([] { Take({LockRank::kEventManager}); });
  other.join();
  kt::lock_watch::Left(&lock);
  EXPECT_EQ(g_told, Told{});
}

TEST_F(LockWatch, TellsBeforeTheLockIsTaken) {
  char held = 0;
  char wanted = 0;
  Enter(&held, LockRank::kContainer);
  kt::lock_watch::Taking(&wanted, LockRank::kActivity);
  kt::lock_watch::Left(&held);
  EXPECT_EQ(g_told, Told{"container > activity"});
}

TEST_F(LockWatch, GivesBothCallStacks) {
  Take({LockRank::kContainer, LockRank::kActivity});
  const std::size_t end = g_frames.find("--\n");
  ASSERT_NE(end, std::string::npos);
  EXPECT_NE(g_frames.substr(0, end).find("base_tests"), std::string::npos) << g_frames;
  EXPECT_NE(g_frames.substr(end).find("base_tests"), std::string::npos) << g_frames;
}

TEST_F(LockWatch, DoesNotWatchMoreThan32Locks) {
  std::vector<LockRank> ranks(33, LockRank::kContainer);
  EXPECT_EQ(Take(ranks).size(), 31u);
}

#ifndef _WIN32
// What is said by the usual handler stands in the trace; the process that ends shows it to this
// one.
TEST(LockWatchOfAProgram, EndsItWithBothLocksAndTheirStacksInTheTrace) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto break_the_order = [] {
    std::signal(SIGABRT, [](int) {
      for (const fake::TraceLine& line : fake::Framework::Get().Traces()) {
        std::cerr << line.text << "\n";
      }
    });
    char held = 0;
    char taken = 0;
    Enter(&held, LockRank::kContainer);
    Enter(&taken, LockRank::kActivity);
  };
  EXPECT_DEATH(break_the_order(),
               "the lock \"activity\" is taken while \"container\" is held\n"
               ".*it is held since\n  .*base_tests.*"
               "and the other one is taken here\n  .*base_tests");
}
#endif

#ifdef KT_WATCH_LOCKS
TEST_F(LockWatch, WatchesTheLocksOfADebugBuild) {
  kt::Lock later(LockRank::kContainer);
  kt::Lock earlier(LockRank::kActivity);
  const kt::LockGuard first(later);
  const kt::LockGuard second(earlier);
  EXPECT_EQ(g_told, Told{"container > activity"});
}
#endif

}  // namespace
