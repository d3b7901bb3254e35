#include "lifetime/wrapper_list.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "objmodel/object.h"

namespace {

using kt::WrapperList;
using kt::WrapperRow;

class WrapperListTest : public testing::Test {
 protected:
  WrapperListTest() {
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      rows_[i].object = &objects_[i];
      list_.Append(rows_[i]);
    }
  }

  // What the list has, as places in rows_.
  [[nodiscard]] std::vector<std::ptrdiff_t> Places() const {
    std::vector<std::ptrdiff_t> places;
    for (const WrapperRow* row = list_.First(); row != nullptr; row = row->behind) {
      places.push_back(row - rows_.data());
    }
    return places;
  }

  std::vector<CKtObject> objects_ = std::vector<CKtObject>(3);
  std::array<WrapperRow, 3> rows_;
  WrapperList list_;
};

TEST_F(WrapperListTest, KeepsTheOrderOfAppending) {
  EXPECT_EQ(Places(), (std::vector<std::ptrdiff_t>{0, 1, 2}));
}

TEST_F(WrapperListTest, HasNothingAtFirst) {
  EXPECT_EQ(WrapperList().First(), nullptr);
  EXPECT_EQ(WrapperList().Find(&objects_[0]), nullptr);
}

TEST_F(WrapperListTest, LetsGoOfTheFirstTheMiddleAndTheLast) {
  WrapperList::TakeOut(rows_[1]);
  EXPECT_EQ(Places(), (std::vector<std::ptrdiff_t>{0, 2}));
  WrapperList::TakeOut(rows_[0]);
  EXPECT_EQ(Places(), (std::vector<std::ptrdiff_t>{2}));
  WrapperList::TakeOut(rows_[2]);
  EXPECT_EQ(list_.First(), nullptr);
}

TEST_F(WrapperListTest, LetsGoOfARowOnceAndLeavesOneAloneThatIsInNone) {
  WrapperList::TakeOut(rows_[2]);
  WrapperList::TakeOut(rows_[2]);
  WrapperRow stranger;
  WrapperList::TakeOut(stranger);
  EXPECT_EQ(Places(), (std::vector<std::ptrdiff_t>{0, 1}));
}

TEST_F(WrapperListTest, PutsARowThatComesBackBehindTheOthers) {
  WrapperList::TakeOut(rows_[2]);
  WrapperList::TakeOut(rows_[0]);
  list_.Append(rows_[0]);
  list_.Append(rows_[2]);
  EXPECT_EQ(Places(), (std::vector<std::ptrdiff_t>{1, 0, 2}));
}

TEST_F(WrapperListTest, FindsARowByItsWrapper) {
  EXPECT_EQ(list_.Find(&objects_[1]), &rows_[1]);
  WrapperList::TakeOut(rows_[1]);
  EXPECT_EQ(list_.Find(&objects_[1]), nullptr);
}

TEST_F(WrapperListTest, TellsARowWhichListItIsIn) {
  EXPECT_EQ(rows_[0].list, &list_);
  WrapperList::TakeOut(rows_[0]);
  EXPECT_EQ(rows_[0].list, nullptr);
}

}  // namespace
