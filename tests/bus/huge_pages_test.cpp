// The wish for large pages: whatever comes of it, memory is memory.
#include "bus/huge_pages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace bus_test {
namespace {

using kt::bus::kHugePage;
using kt::bus::WantHugePages;

TEST(HugePagesTest, AWishLeavesWhatStandsInTheMemory) {
  std::vector<unsigned char> memory(5 * kHugePage, 0x5A);
  WantHugePages(memory.data(), memory.size());
  EXPECT_EQ(std::count(memory.begin(), memory.end(), 0x5A),
            static_cast<std::ptrdiff_t>(memory.size()));
  std::fill(memory.begin(), memory.end(), static_cast<unsigned char>(7));
  EXPECT_EQ(std::count(memory.begin(), memory.end(), 7),
            static_cast<std::ptrdiff_t>(memory.size()));
}

TEST(HugePagesTest, SmallMemoryAndNoneAreNoMistake) {
  std::vector<unsigned char> memory(100, 1);
  WantHugePages(memory.data(), memory.size());
  WantHugePages(nullptr, 0);
  EXPECT_EQ(std::count(memory.begin(), memory.end(), 1), 100);
}

}  // namespace
}  // namespace bus_test
