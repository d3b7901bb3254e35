// Where small blocks stand. (With the address sanitizer there are none, so this file is left out.)
#include <bit>
#include <cstdint>
#include <set>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

using SmallBlocksTest = BusTest;

TEST_F(SmallBlocksTest, OfThreadsThatEndedAreHandedOutAgain) {
  // Blocks of one size stand side by side: the regions of 64 KiB that they came from are counted.
  // Those of the first thread may come from many, as earlier tests have left them.
  std::set<std::uintptr_t> regions;
  std::size_t of_the_first = 0;
  for (int i = 0; i < 400; ++i) {
    std::thread([&regions] {
      std::vector<void*> blocks;
      for (int n = 0; n < 60; ++n) blocks.push_back(_KtAlloc(20));
      for (void* const block : blocks) {
        regions.insert(std::bit_cast<std::uintptr_t>(block) / 65536);
        _KtFree(block);
      }
    }).join();
    if (i == 0) of_the_first = regions.size();
  }
  EXPECT_LE(regions.size(), of_the_first + 2);
}

}  // namespace
}  // namespace bus_test
