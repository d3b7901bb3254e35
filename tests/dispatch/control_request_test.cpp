#include "dispatch/control_request.h"

#include "fake/fake_test.h"
#include "support/control.h"

namespace {

class ControlRequestTest : public fake::FrameworkTest {};

TEST_F(ControlRequestTest, CarriesWhatTheHostGave) {
  std::uint64_t slot = 0;
  const auto input = framework_.MakePropset();
  const auto output = framework_.MakePropset();
  CKtControlRequest request(fake::ObjectNumber(5), 1, 2, input, output, 6, 7, 8, 9,
                            reinterpret_cast<std::uintptr_t>(&support::kInterface), 11, &slot);
  EXPECT_TRUE(ObCompareId(&request.target.Id(), &request.target.Id()));
  EXPECT_TRUE(kt::EqualGuids(request.target.Id().guid, fake::ObjectNumber(5).guid));
  EXPECT_EQ(request.target.Database(), framework_.database());
  EXPECT_EQ(request.target.Provider(), framework_.provider());
  EXPECT_EQ(request.selector, 1u);
  EXPECT_EQ(request.controlCode, 2u);
  EXPECT_EQ(request.input.Handle(), input);
  EXPECT_EQ(request.output.Handle(), output);
  EXPECT_EQ(request.value6, 6u);
  EXPECT_EQ(request.value7, 7u);
  EXPECT_EQ(request.value8, 8u);
  EXPECT_EQ(request.value9, 9u);
  EXPECT_EQ(request.InterfaceId(), &support::kInterface);
  EXPECT_EQ(request.value11, 11u);
  EXPECT_EQ(request.providerOut, &slot);
  EXPECT_EQ(request.release_property_sets, 0);
}

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
