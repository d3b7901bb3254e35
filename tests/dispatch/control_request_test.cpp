#include "dispatch/control_request.h"

#include "fake/fake_test.h"
#include "support/control.h"

namespace {

class ControlRequestTest : public fake::FrameworkTest {};

TEST_F(ControlRequestTest, LeavesThePropertySetsToTheHost) {
  KtPropset input = nullptr;
  ASSERT_EQ(PsCreatePropset(&input), 0u);
  { const support::Request request(fake::ObjectNumber(1), 0, 0, input); }
  EXPECT_EQ(framework_.Outstanding().propsets, 1u);
  PsDestroyPropset(input);
}

TEST_F(ControlRequestTest, ReleasesBothPropertySetsWhenAHandlerAskedForIt) {
  KtPropset input = nullptr;
  KtPropset output = nullptr;
  ASSERT_EQ(PsCreatePropset(&input), 0u);
  ASSERT_EQ(PsCreatePropset(&output), 0u);
  {
    support::Request request(fake::ObjectNumber(1), 0, 0, input, output);
    request.release_property_sets = 1;
  }
  EXPECT_EQ(framework_.Outstanding().propsets, 0u);
}

TEST_F(ControlRequestTest, ReleasesTheSecondSetAlsoWhenTheFirstCannotBeReleased) {
  KtPropset input = nullptr;
  KtPropset output = nullptr;
  ASSERT_EQ(PsCreatePropset(&input), 0u);
  ASSERT_EQ(PsCreatePropset(&output), 0u);
  framework_.FailCall("PsDestroyPropset", 1, 0xC1000001);
  {
    support::Request request(fake::ObjectNumber(1), 0, 0, input, output);
    request.release_property_sets = 1;
  }
  EXPECT_EQ(framework_.CountOf("PsDestroyPropset"), 2u);
  EXPECT_TRUE(
      fake::Traced(6, "hostkit: ERROR: in CKtPropertySet::Destroy() PsDestroyPropset() failed"));
}

}  // namespace
