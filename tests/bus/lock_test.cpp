// Locks, memory, sleeping, and the database lock.
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

using CriticalSectionTest = BusTest;

TEST_F(CriticalSectionTest, IsReEntrant) {
  KtCriticalSection section{};
  KtInitializeCriticalSection(&section);
  int depth = 0;
  for (; depth < 3; ++depth) KtEnterCriticalSection(&section);
  std::atomic<bool> tries{false};
  std::thread other([&] {
    tries = true;
    KtEnterCriticalSection(&section);
    EXPECT_EQ(depth, 0) << "it came in before the last leave";
    KtLeaveCriticalSection(&section);
  });
  while (!tries) std::this_thread::yield();
  while (depth > 0) {
    // Below the outermost level: the other thread gets every chance to come in, and must not.
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    --depth;
    KtLeaveCriticalSection(&section);
  }
  other.join();
  KtDeleteCriticalSection(&section);
}

TEST_F(CriticalSectionTest, KeepsOtherThreadsOut) {
  KtCriticalSection section{};
  KtInitializeCriticalSection(&section);
  int counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) {
        KtEnterCriticalSection(&section);
        KtEnterCriticalSection(&section);
        ++counter;
        KtLeaveCriticalSection(&section);
        KtLeaveCriticalSection(&section);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 8000);
  KtDeleteCriticalSection(&section);
}

TEST_F(CriticalSectionTest, IsNotGivenBackByAThreadThatDoesNotHoldIt) {
  KtCriticalSection section{};
  KtInitializeCriticalSection(&section);
  int counter = 0;
  KtEnterCriticalSection(&section);
  std::thread([&] { KtLeaveCriticalSection(&section); }).join();
  std::thread other([&] {
    KtEnterCriticalSection(&section);
    EXPECT_EQ(counter, 1000) << "it came in before the holder left";
    KtLeaveCriticalSection(&section);
  });
  for (; counter < 1000; ++counter) std::this_thread::yield();
  KtLeaveCriticalSection(&section);
  other.join();
  KtLeaveCriticalSection(&section);  // once more than it was entered
  KtEnterCriticalSection(&section);
  KtLeaveCriticalSection(&section);
  KtDeleteCriticalSection(&section);
}

TEST_F(CriticalSectionTest, IsCountedUntilItIsDeleted) {
  const auto before = Row("", "locks").outstanding;
  KtCriticalSection section{};
  KtInitializeCriticalSection(&section);
  EXPECT_EQ(Row("", "locks").outstanding, before + 1);
  KtDeleteCriticalSection(&section);
  EXPECT_EQ(Row("", "locks").outstanding, before);
}

TEST_F(CriticalSectionTest, ThatWasNeverInitialisedIsReportedAndNoCrash) {
  KtCriticalSection section{};
  const auto before = Row("", "locks").wrongFrees;
  KtEnterCriticalSection(&section);
  KtLeaveCriticalSection(&section);
  KtDeleteCriticalSection(&section);
  EXPECT_TRUE(HasTrace(6, "KtEnterCriticalSection of a lock that is not initialised"));
  EXPECT_TRUE(HasTrace(6, "KtLeaveCriticalSection of a lock that is not initialised"));
  EXPECT_EQ(Row("", "locks").wrongFrees, before + 1);
}

TEST_F(CriticalSectionTest, CanBeInitialisedAgainAfterItsDeletion) {
  KtCriticalSection section{};
  const auto before = Row("", "locks");
  for (int i = 0; i < 3; ++i) {
    KtInitializeCriticalSection(&section);
    KtEnterCriticalSection(&section);
    KtLeaveCriticalSection(&section);
    KtDeleteCriticalSection(&section);
  }
  EXPECT_EQ(Row("", "locks").total, before.total + 3);
  EXPECT_EQ(Row("", "locks").outstanding, before.outstanding);
  EXPECT_EQ(Row("", "locks").wrongFrees, before.wrongFrees);
  EXPECT_FALSE(HasTrace(6, "is not initialised"));
}

TEST_F(CriticalSectionTest, ANullPointerIsNoCrash) {
  const auto before = Row("", "locks");
  KtInitializeCriticalSection(nullptr);
  KtEnterCriticalSection(nullptr);
  KtLeaveCriticalSection(nullptr);
  KtDeleteCriticalSection(nullptr);
  EXPECT_TRUE(HasTrace(6, "KtEnterCriticalSection of a lock that is not initialised"));
  EXPECT_TRUE(HasTrace(6, "KtLeaveCriticalSection of a lock that is not initialised"));
  EXPECT_EQ(Row("", "locks").total, before.total);
  EXPECT_EQ(Row("", "locks").wrongFrees, before.wrongFrees);
}

using MemoryTest = BusTest;

TEST_F(MemoryTest, BlocksAreAlignedForAnyValueAndWritable) {
  for (const std::size_t size : {0U, 1U, 15U, 16U, 1000U, 1000000U}) {
    void* const block = _KtAlloc(size);
    ASSERT_NE(block, nullptr) << size;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0U);
    std::memset(block, 0xAB, size);
    _KtFree(block);
  }
}

TEST_F(MemoryTest, ExhaustionIsNull) {
  // The sanitizers' allocators are told elsewhere to answer as the system's does.
  EXPECT_EQ(_KtAlloc(SIZE_MAX / 2), nullptr);
  EXPECT_EQ(_KtAlloc(SIZE_MAX), nullptr);  // nothing is added to it and wraps
}

TEST_F(MemoryTest, FreeingNullDoesNothing) {
  const auto before = Sum().wrongFrees;
  _KtFree(nullptr);
  EXPECT_EQ(Sum().wrongFrees, before);
}

TEST_F(MemoryTest, ManyBlocksComeAndGoInAnyOrder) {
  std::vector<void*> blocks;
  for (std::size_t i = 0; i < 20000; ++i) {
    blocks.push_back(_KtAlloc(i % 64));
    if (i % 3 == 0) {
      const std::size_t victim = (i * 7919) % blocks.size();
      _KtFree(blocks[victim]);
      blocks[victim] = blocks.back();
      blocks.pop_back();
    }
  }
  EXPECT_EQ(Row("", "blocks").outstanding, blocks.size());
  for (void* const block : blocks) _KtFree(block);
  EXPECT_EQ(Row("", "blocks").outstanding, 0U);
}

TEST_F(MemoryTest, EightThreadsShareIt) {
  const auto before = Row("", "blocks");
  std::vector<std::thread> threads;
  std::atomic<int> spoilt{0};
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t, &spoilt] {
      // Each thread writes its mark into its blocks and finds it there when it gives them back.
      const auto mark = static_cast<unsigned char>(t + 1);
      std::vector<unsigned char*> own;
      const auto give_back = [&](unsigned char* block) {
        if (*block != mark) ++spoilt;
        _KtFree(block);
      };
      for (std::size_t i = 0; i < 2000; ++i) {
        own.push_back(static_cast<unsigned char*>(_KtAlloc(1 + i % 100)));
        *own.back() = mark;
        if (i % 2 != 0) {
          give_back(own.front());
          own.erase(own.begin());
        }
      }
      for (unsigned char* const block : own) give_back(block);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(spoilt, 0);
  EXPECT_EQ(Row("", "blocks").total, before.total + 16000);
  EXPECT_EQ(Row("", "blocks").outstanding, before.outstanding);
  EXPECT_EQ(Row("", "blocks").wrongFrees, before.wrongFrees);
}

TEST_F(MemoryTest, IsCountedExactlyForMoreThreadsThanCountForThemselves) {
  constexpr int kThreads = 40;
  constexpr int kBlocks = 500;
  const auto before = Row("", "blocks");
  for (int round = 0; round < 2; ++round) {  // the second ones count on where the first ended
    std::atomic<int> in{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&in] {
        void* const kept = _KtAlloc(8);
        ++in;
        while (in < kThreads) std::this_thread::yield();  // all have counted, and none has ended
        for (int i = 0; i < kBlocks; ++i) _KtFree(_KtAlloc(8));
        _KtFree(kept);
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(Row("", "blocks").total, before.total + 2U * kThreads * (kBlocks + 1));
  EXPECT_EQ(Row("", "blocks").outstanding, before.outstanding);
}

TEST_F(MemoryTest, BlocksAreReleasedByOtherThreadsThanTookThem) {
  const auto before = Row("", "blocks");
  std::vector<unsigned char*> blocks;
  for (int round = 0; round < 20; ++round) {
    std::thread([&] {
      for (std::size_t i = 0; i < 300; ++i) {
        blocks.push_back(static_cast<unsigned char*>(_KtAlloc(1 + i)));
        std::memset(blocks.back(), static_cast<int>(i % 251), 1 + i);
      }
    }).join();
    std::thread([&] {
      for (std::size_t i = 0; i < 300; ++i) {
        EXPECT_EQ(blocks[i][0], i % 251);
        EXPECT_EQ(blocks[i][i], i % 251) << "two blocks overlap";
        _KtFree(blocks[i]);
      }
    }).join();
    blocks.clear();
  }
  EXPECT_EQ(Row("", "blocks").total, before.total + 6000);
  EXPECT_EQ(Row("", "blocks").outstanding, before.outstanding);
  EXPECT_EQ(Row("", "blocks").wrongFrees, before.wrongFrees);
}

// What a thread still does with memory while its thread-local objects go. The block is not kept in
// the object: on Windows the thread's room may be gone before its objects are.
void* g_last_block = nullptr;

struct LastDeed {
  LastDeed() { g_last_block = _KtAlloc(20); }
  LastDeed(const LastDeed&) = delete;
  LastDeed& operator=(const LastDeed&) = delete;
  ~LastDeed() {
    _KtFree(std::exchange(g_last_block, nullptr));
    _KtFree(_KtAlloc(20));
  }
};

TEST_F(MemoryTest, BlocksComeAndGoWhileTheirThreadEnds) {
  const auto before = Row("", "blocks");
  for (int i = 0; i < 100; ++i) {
    std::thread([] {
      thread_local LastDeed deed;
      static_cast<void>(deed);
    }).join();
  }
  EXPECT_EQ(Row("", "blocks").total, before.total + 200);
  EXPECT_EQ(Row("", "blocks").outstanding, before.outstanding);
  EXPECT_EQ(Row("", "blocks").wrongFrees, before.wrongFrees);
}

TEST(Sleeping, LastsAtLeastAsLongAsAsked) {
  const auto start = std::chrono::steady_clock::now();
  KtSleep(20);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
}

class DatabaseLockTest : public BusTest {};

TEST_F(DatabaseLockTest, IsReEntrant) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(DbLockDatabase(provider()), kOk);
  EXPECT_EQ(Row("alpha", "database locks held").outstanding, 3U);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(DbUnlockDatabase(provider()), kOk);
  EXPECT_EQ(DbUnlockDatabase(provider()), kInvalid);
}

TEST_F(DatabaseLockTest, KeepsOtherThreadsOut) {
  int counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(DbLockDatabase(provider()), kOk);
        ++counter;
        EXPECT_EQ(DbUnlockDatabase(provider()), kOk);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 2000);
}

TEST_F(DatabaseLockTest, IsLeftOnlyByTheThreadAndTheProviderThatHoldIt) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  ASSERT_EQ(DbLockDatabase(provider()), kOk);
  std::thread([&] { EXPECT_EQ(DbUnlockDatabase(provider()), kInvalid); }).join();
  EXPECT_EQ(DbUnlockDatabase(beta.handle()), kInvalid);
  EXPECT_EQ(DbUnlockDatabase(provider()), kOk);
}

TEST_F(DatabaseLockTest, DoesNotStopCallsOfOtherThreads) {
  ASSERT_EQ(DbLockDatabase(provider()), kOk);
  std::thread([&] { NewObject(); }).join();
  ASSERT_EQ(DbUnlockDatabase(provider()), kOk);
}

TEST_F(DatabaseLockTest, OfAProviderThatGoesIsGivenUpWithALine) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  std::thread([&] { EXPECT_EQ(DbLockDatabase(beta.handle()), kOk); }).join();
  EXPECT_EQ(Row("beta", "database locks held").outstanding, 1U);
  ASSERT_EQ(KtBusDetachProvider(beta.handle()), kOk);
  EXPECT_TRUE(HasTrace(6, "provider beta left the database locked"));
  EXPECT_EQ(DbLockDatabase(provider()), kOk);
  EXPECT_EQ(DbUnlockDatabase(provider()), kOk);
  ForgetLedger();
}

}  // namespace
}  // namespace bus_test
