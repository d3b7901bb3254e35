#include "base/guid_order.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(GuidOrder, ComparesFieldByFieldUnsignedAndTheTrailingBytesInOrder) {
  const std::vector<KtGuid> ascending{
      {},
      {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}},
      {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0xFF}},
      {0, 0, 0, {0, 0, 0, 0, 0, 0, 1, 0}},
      {0, 0, 0, {0x80, 0, 0, 0, 0, 0, 0, 0}},
      {0, 0, 1, {}},
      {0, 0, 0x8000, {}},
      {0, 1, 0, {}},
      {0, 0xFFFF, 0, {}},
      {1, 0, 0, {}},
      {0x7FFFFFFF, 0xFFFF, 0xFFFF, {}},
      {0x80000000, 0, 0, {}},
  };
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(std::is_lt(kt::CompareGuids(ascending[i], ascending[j])), i < j)
          << i << " against " << j;
      EXPECT_EQ(kt::EqualGuids(ascending[i], ascending[j]), i == j) << i << " against " << j;
    }
  }
}

TEST(GuidOrder, FindsOnlyTheAllZeroIdNull) {
  EXPECT_TRUE(kt::IsNullId(kt::kNullObjId));
  EXPECT_FALSE(kt::IsNullId(KtObjId{{0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}}}));
}

}  // namespace
