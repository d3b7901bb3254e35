#include "base/dense_blocks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "support/failing_new.h"

namespace {

using kt::DenseBlocks;

TEST(DenseBlocks, StandSideBySideEachAtALineOfTheCache) {
  DenseBlocks blocks(100);
  std::vector<std::byte*> taken;
  for (int i = 0; i < 10; ++i) taken.push_back(static_cast<std::byte*>(blocks.Allocate()));
  for (std::size_t i = 0; i < taken.size(); ++i) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(taken[i]) % DenseBlocks::kLine, 0U);
    EXPECT_EQ(taken[i] - taken[0], static_cast<std::ptrdiff_t>(i * 128));
  }
  EXPECT_EQ(blocks.Chunks(), 1U);
  for (std::byte* const block : taken) blocks.Free(block);
}

TEST(DenseBlocks, AreOneEachUntilTheyAreFreedAndThenServeAgain) {
  DenseBlocks blocks(64);
  constexpr std::size_t kMany = 3000;
  std::vector<unsigned char*> taken;
  for (std::size_t round = 0; round < 3; ++round) {
    while (taken.size() < kMany) {
      taken.push_back(static_cast<unsigned char*>(blocks.Allocate()));
      std::memset(taken.back(), static_cast<int>(taken.size() % 251), 64);
    }
    const std::size_t chunks = blocks.Chunks();
    EXPECT_EQ(chunks, (kMany + 254) / 255);
    for (std::size_t i = kMany; i > kMany / 2; --i) {
      ASSERT_EQ(taken[i - 1][0], i % 251);
      ASSERT_EQ(taken[i - 1][63], i % 251) << "two blocks overlap";
      blocks.Free(taken[i - 1]);
      taken.pop_back();
    }
  }
  for (unsigned char* const block : taken) blocks.Free(block);
  EXPECT_EQ(blocks.Chunks(), 0U) << "an empty chunk stayed";
}

TEST(DenseBlocks, NeedMemoryForAChunkOnly) {
  DenseBlocks blocks(64);
  {
    const support::FailAllocation failure(0);
    EXPECT_THROW(static_cast<void>(blocks.Allocate()), std::bad_alloc);
  }
  EXPECT_EQ(blocks.Chunks(), 0U);
  void* const first = blocks.Allocate();
  const support::FailAllocation failure(0);
  void* const second = blocks.Allocate();
  EXPECT_FALSE(failure.Happened());
  blocks.Free(second);
  blocks.Free(first);
}

TEST(DenseBlocks, AreTakenAndFreedByAnyThread) {
  DenseBlocks blocks(64);
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&blocks, number] {
      std::vector<int*> own;
      for (int i = 0; i < 2000; ++i) {
        own.push_back(static_cast<int*>(blocks.Allocate()));
        *own.back() = number;
        if (i % 3 != 0) continue;
        EXPECT_EQ(*own.front(), number);
        blocks.Free(own.front());
        own.erase(own.begin());
      }
      std::thread([&] {
        for (int* const block : own) blocks.Free(block);
      }).join();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(blocks.Chunks(), 0U);
}

struct alignas(16) Thing {
  char text[80];
};

TEST(DenseAllocator, ServesSharedThings) {
  std::vector<std::shared_ptr<Thing>> things;
  for (int i = 0; i < 500; ++i) {
    things.push_back(std::allocate_shared<Thing>(kt::DenseAllocator<Thing>()));
    std::memset(things.back()->text, i, sizeof(Thing::text));
  }
  for (int i = 0; i < 500; ++i) {
    EXPECT_EQ(things[static_cast<std::size_t>(i)]->text[79], static_cast<char>(i));
  }
}

}  // namespace
