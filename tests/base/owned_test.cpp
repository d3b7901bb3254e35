#include "base/owned.h"

#include <gtest/gtest.h>

#include "fake/fake_test.h"

namespace {

class OwnedTest : public fake::FrameworkTest {
 protected:
  static cuvo_property* FindNested() {
    kt::OwnedPropset outer;
    kt::OwnedPropset inner;
    EXPECT_EQ(PsCreatePropset(outer.out()), 0u);
    EXPECT_EQ(PsCreatePropset(inner.out()), 0u);
    const cuvo_property property{"nested", TYPE_PROPSET, 0, 16, 0, inner.get()};
    EXPECT_EQ(PsAddProperty(outer.get(), &property), 0u);
    cuvo_property* found = nullptr;
    EXPECT_EQ(PsFindProperty(outer.get(), "nested", &found), 0u);
    return found;
  }
};

TEST_F(OwnedTest, FoundPropertyReleasesTheNestedSetToo) {
  const kt::FoundProperty found(FindNested());
  EXPECT_EQ(fake::Framework::Get().Outstanding().propsets, 1u);
}

TEST_F(OwnedTest, FoundRecordOnlyLeavesTheNestedSetAlive) {
  kt::OwnedPropset nested;
  {
    const kt::FoundRecordOnly found(FindNested());
    nested.reset(static_cast<KtPropset>(found->value));
  }
  EXPECT_EQ(fake::Framework::Get().Outstanding().records, 0u);
  EXPECT_EQ(fake::Framework::Get().Outstanding().propsets, 1u);
}

TEST_F(OwnedTest, OutReleasesWhatWasHeldBefore) {
  kt::OwnedPropset set;
  ASSERT_EQ(PsCreatePropset(set.out()), 0u);
  ASSERT_EQ(PsCreatePropset(set.out()), 0u);
  EXPECT_EQ(fake::Framework::Get().Outstanding().propsets, 1u);
}

TEST_F(OwnedTest, AMovedFromHandleIsEmptyAndTheTargetsOldOneIsReleased) {
  kt::OwnedPropset first;
  kt::OwnedPropset second;
  ASSERT_EQ(PsCreatePropset(first.out()), 0u);
  ASSERT_EQ(PsCreatePropset(second.out()), 0u);
  const KtPropset kept = second.get();
  first = std::move(second);
  EXPECT_EQ(first.get(), kept);
  EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): the state after a move is the promise
  EXPECT_EQ(fake::Framework::Get().Outstanding().propsets, 1u);
}

TEST_F(OwnedTest, AReleasedHandleBelongsToTheCaller) {
  kt::OwnedPropset set;
  ASSERT_EQ(PsCreatePropset(set.out()), 0u);
  const KtPropset ours = set.release();
  EXPECT_FALSE(set);
  EXPECT_EQ(PsDestroyPropset(ours), 0u);
}

TEST_F(OwnedTest, AnIteratorIsClosedWithItsOwner) {
  kt::OwnedPropset set;
  ASSERT_EQ(PsCreatePropset(set.out()), 0u);
  {
    kt::OwnedIterator iterator;
    ASSERT_EQ(PsOpenPropset(set.get(), iterator.out()), 0u);
    EXPECT_EQ(fake::Framework::Get().Outstanding().iterators, 1u);
  }
  EXPECT_EQ(fake::Framework::Get().Outstanding().iterators, 0u);
}

}  // namespace
