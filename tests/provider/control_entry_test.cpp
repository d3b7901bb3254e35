// __KtApiControl: the request that a handler gets to see, and what becomes of its property sets.
#include <stdexcept>

#include "base/guid_order.h"
#include "base/status.h"
#include "dispatch/control_map.h"
#include "dispatch/control_request.h"
#include "provider/test_provider.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ControlEntry : public ProviderTest {
 protected:
  // Sets of the host that count as handed out, so that the ledger tells their fate.
  void LendRealSets() {
    ASSERT_EQ(PsCreatePropset(&input_), 0u);
    ASSERT_EQ(PsCreatePropset(&output_), 0u);
    framework_.ForgetCalls();
  }

  [[nodiscard]] std::uint64_t ProviderWord() const {
    return reinterpret_cast<std::uintptr_t>(framework_.provider());
  }
};

TEST_F(ControlEntry, BuildsARequestOfAllThatTheHostPassed) {
  Start();
  bool seen = false;
  TheScript().control = [&](CKtControlRequest& request) -> KtStatus {
    seen = true;
    EXPECT_TRUE(kt::EqualGuids(request.target.Id().guid, object_.guid));
    EXPECT_EQ(request.target.Database(), framework_.database());
    EXPECT_EQ(request.target.Provider(), framework_.provider());
    EXPECT_FALSE(request.target.InTransaction());
    EXPECT_EQ(request.selector, 1u);
    EXPECT_EQ(request.controlCode, 2u);
    EXPECT_EQ(request.input.Handle(), input_);
    EXPECT_EQ(request.output.Handle(), output_);
    EXPECT_EQ(request.value6, 6u);
    EXPECT_EQ(request.value7, 7u);
    EXPECT_EQ(request.value8, 8u);
    EXPECT_EQ(request.value9, 9u);
    EXPECT_EQ(request.value10, reinterpret_cast<std::uintptr_t>(&interface_));
    EXPECT_EQ(request.InterfaceId(), &interface_);
    EXPECT_EQ(request.value11, 11u);
    EXPECT_EQ(request.providerOut, &provider_out_);
    EXPECT_EQ(request.release_property_sets, 0u);
    return 0;
  };
  EXPECT_EQ(Control(), 0u);
  EXPECT_TRUE(seen);
}

TEST_F(ControlEntry, WritesTheProviderHandleBeforeTheControlRuns) {
  Start();
  std::uint64_t during = 0;
  TheScript().control = [&](CKtControlRequest&) -> KtStatus {
    during = provider_out_;
    return 0;
  };
  Control();
  EXPECT_EQ(during, ProviderWord());
  EXPECT_EQ(provider_out_, ProviderWord());
}

TEST_F(ControlEntry, WritesTheProviderHandleWhateverTheControlsOutcome) {
  Start();
  TheScript().control = [](CKtControlRequest&) { return KTERROR_UNEXPECTED; };
  Control();
  EXPECT_EQ(provider_out_, ProviderWord());

  provider_out_ = 0;
  TheScript().control = [](CKtControlRequest&) -> KtStatus { throw KTERROR_NO_OBJECT; };
  EXPECT_THROW(Control(), KtStatus);
  EXPECT_EQ(provider_out_, ProviderWord());

  provider_out_ = 0;
  TheScript().control = {};
  EXPECT_EQ(Control(), KTERROR_UNEXPECTED) << "no handler is registered";
  EXPECT_EQ(provider_out_, ProviderWord());
}

TEST_F(ControlEntry, ReturnsTheHandlersStatusUnchanged) {
  Start();
  for (const KtStatus status : {0u, 0x41000012u, 0x4EEE0001u, 0x8007000Eu, 5u, 0xC100001Fu}) {
    TheScript().control = [=](CKtControlRequest&) { return status; };
    EXPECT_EQ(Control(), status);
  }
}

TEST_F(ControlEntry, ReachesAHandlerThroughTheControlManager) {
  Start();
  CKtControlMap map;
  map.Register(interface_, 1, 2, [](void*, CKtControlRequest& request) -> KtStatus {
    return request.value6 + request.value7;
  });
  EXPECT_EQ(Control(), 13u);
}

TEST_F(ControlEntry, LetsExceptionsPassToTheHost) {
  Start();
  TheScript().control = [](CKtControlRequest&) -> KtStatus { throw std::runtime_error("gone"); };
  EXPECT_THROW(Control(), std::runtime_error);
}

TEST_F(ControlEntry, LeavesTheHostsPropertySetsAlone) {
  Start();
  LendRealSets();
  TheScript().control = [](CKtControlRequest&) { return KtStatus{0}; };
  Control();
  EXPECT_THAT(framework_.CallNames(), IsEmpty());
  EXPECT_EQ(PsDestroyPropset(input_), 0u);
  EXPECT_EQ(PsDestroyPropset(output_), 0u);
}

TEST_F(ControlEntry, ReleasesBothPropertySetsWhenAHandlerAsksForIt) {
  Start();
  LendRealSets();
  TheScript().control = [](CKtControlRequest& request) {
    request.release_property_sets = 1;
    return KtStatus{7};
  };
  EXPECT_EQ(Control(), 7u);
  EXPECT_THAT(framework_.CallNames(), ElementsAre("PsDestroyPropset", "PsDestroyPropset"));
  EXPECT_EQ(framework_.Outstanding().propsets, 0u);
}

TEST_F(ControlEntry, ReleasesThemAlsoWhenTheHandlerThrows) {
  Start();
  LendRealSets();
  TheScript().control = [](CKtControlRequest& request) -> KtStatus {
    request.release_property_sets = 1;
    throw KTERROR_NO_OBJECT;
  };
  EXPECT_THROW(Control(), KtStatus);
  EXPECT_EQ(framework_.Outstanding().propsets, 0u);
}

TEST_F(ControlEntry, KeepsTheStatusAndReleasesTheSecondSetWhenTheFirstReleaseFails) {
  Start();
  LendRealSets();
  TheScript().control = [](CKtControlRequest& request) {
    request.release_property_sets = 1;
    return KtStatus{7};
  };
  framework_.FailCall("PsDestroyPropset", 1, 0xC1000010);
  EXPECT_EQ(Control(), 7u);
  EXPECT_EQ(framework_.CountOf("PsDestroyPropset"), 2u);
  EXPECT_EQ(framework_.Outstanding().propsets, 0u);
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit: ERROR: in CKtPropertySet::Destroy() "
                                      "PsDestroyPropset() failed")));
}

}  // namespace
