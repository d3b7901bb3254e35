#include "dispatch/control_manager.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/status.h"
#include "dispatch/activity_scope.h"
#include "support/control.h"
#include "support/managers_test.h"

namespace {

using support::Body;
using support::BodyMap;
using support::kCode;
using support::kInterface;
using support::kSelector;
using support::Request;

const std::string kFirstPath = std::string("OBJ:{00000001-0001-0000-0000-000000000000},INTF:") +
                               support::kInterfaceText + ",MJ:0,MN:11001";

std::string Going(const std::string& path = kFirstPath) {
  return "hostkit: CKtControlManager::Invoke(), going to invoke (" + path + ", 0, 11001)";
}
std::string Finished(const std::string& status, const std::string& path = kFirstPath) {
  return "hostkit: CKtControlManager::Invoke(), finished service request " + path + ". (err = 0x" +
         status + ") ";
}

class ControlManagerTest : public support::ManagersTest {
 protected:
  CKtControlManager& manager() { return CKtControlManager::Instance(); }
};

// A handler that answers with what the test sets.
class ControlManagerInvoke : public ControlManagerTest {
 protected:
  void SetUp() override {
    ControlManagerTest::SetUp();
    ASSERT_EQ(map_.Register(kInterface, kSelector, kCode, &BodyMap::Handle), 0u);
    framework_.ForgetTraces();
  }

  void ReleaseModuleState() override {
    map_.UnRegisterAll();
    ControlManagerTest::ReleaseModuleState();
  }

  KtStatus Invoke(KtPropset input = nullptr) {
    Request request(target_, kSelector, kCode, input);
    return manager().Invoke(request);
  }

  // The lines of Invoke itself, without those of the flush.
  std::vector<fake::TraceLine> Lines() {
    std::vector<fake::TraceLine> lines = framework_.Traces();
    std::erase_if(lines, [](const fake::TraceLine& line) { return line.level == 1; });
    return lines;
  }

  const KtObjId target_ = fake::ObjectNumber(1);
  Body body_ = [](CKtControlRequest&) { return KtStatus{0}; };
  BodyMap map_{[this](CKtControlRequest& request) { return body_(request); }};
};

TEST_F(ControlManagerInvoke, ReachesTheAnyObjectHandlerAndNamesTheObjectsOwnPath) {
  bool served = false;
  body_ = [&](CKtControlRequest& request) {
    served = kt::EqualGuids(request.target.Id().guid, target_.guid);
    return 0;
  };
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_TRUE(served);
  EXPECT_EQ(Lines(), (std::vector{fake::Error(Going()), fake::Error(Finished("0"))}));
}

TEST_F(ControlManagerInvoke, PrefersTheHandlerOfTheObject) {
  framework_.AddType("disk");
  const KtObjId own = framework_.AddObject("disk");
  Body special = [](CKtControlRequest&) { return KtStatus{0x41000012}; };
  CKtControlMap specials;
  ASSERT_EQ(specials.Register(kInterface, kSelector, kCode, &support::CallBody, own, &special), 0u);
  Request request(own);
  EXPECT_EQ(manager().Invoke(request), 0x41000012u);
  Request other(fake::ObjectNumber(99));
  EXPECT_EQ(manager().Invoke(other), 0u);
}

TEST_F(ControlManagerInvoke, AnswersUnexpectedWithTheObjectsPathWhenThereIsNoHandler) {
  Request request(target_, 3, 4);
  EXPECT_EQ(manager().Invoke(request), KTERROR_UNEXPECTED);
  EXPECT_EQ(Lines(),
            std::vector{fake::Error(
                std::string("hostkit: ERROR: CKtControlManager::Invoke(), Control path "
                            "not found (OBJ:{00000001-0001-0000-0000-000000000000},INTF:") +
                support::kInterfaceText + ",MJ:3,MN:4)")});
  EXPECT_EQ(manager().ActivityCount(), 0u);
}

TEST_F(ControlManagerInvoke, TellsApartInterfaceSelectorAndCode) {
  const KtGuid other = kt::kNullObjId.guid;
  Request wrong_interface(target_, kSelector, kCode, nullptr, nullptr, &other);
  EXPECT_EQ(manager().Invoke(wrong_interface), KTERROR_UNEXPECTED);
  Request wrong_selector(target_, kSelector + 1, kCode);
  EXPECT_EQ(manager().Invoke(wrong_selector), KTERROR_UNEXPECTED);
  Request wrong_code(target_, kSelector, kCode + 1);
  EXPECT_EQ(manager().Invoke(wrong_code), KTERROR_UNEXPECTED);
}

TEST_F(ControlManagerInvoke, RefusesARequestThatNamesNoInterfaceWithoutALine) {
  Request request(target_, kSelector, kCode, nullptr, nullptr, nullptr);
  EXPECT_EQ(manager().Invoke(request), E_INVALIDARG);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(ControlManagerInvoke, ReportsSuccessToTheHostWhenTheHandlerThrowsAStatus) {
  body_ = [](CKtControlRequest&) -> KtStatus { throw std::uint32_t{0xC1000010}; };
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(Lines(), (std::vector{fake::Error(Going()),
                                  fake::Error("hostkit: ERROR: CKtControlManager::Invoke(), "
                                              "Unresolved exception (c1000010) in Invoke(" +
                                              kFirstPath + ")")}));
  EXPECT_EQ(manager().ActivityCount(), 0u);
}

TEST_F(ControlManagerInvoke, ReportsSuccessToTheHostWhenTheHandlerThrowsAnythingElse) {
  body_ = [](CKtControlRequest&) -> KtStatus { throw std::runtime_error("x"); };
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(Lines(), (std::vector{fake::Error(Going()),
                                  fake::Error("hostkit: ERROR: CKtControlManager::Invoke(), "
                                              "Unresolved exception in Invoke(" +
                                              kFirstPath + ")")}));
  EXPECT_EQ(manager().ActivityCount(), 0u);
}

TEST_F(ControlManagerInvoke, LogsBothLinesAtLevelFourWhenTheClientSwitchesItsTraceOff) {
  const KtPropset input = framework_.MakePropset();
  framework_.PutBoolean(input, "pwb trace", false);
  EXPECT_EQ(Invoke(input), 0u);
  EXPECT_EQ(Lines(), (std::vector{fake::Warning(Going()), fake::Warning(Finished("0"))}));
}

TEST_F(ControlManagerInvoke, LogsTheFinishedLineOfAFailureAtLevelSixAllTheSame) {
  const KtPropset input = framework_.MakePropset();
  framework_.PutBoolean(input, "pwb trace", false);
  body_ = [](CKtControlRequest&) { return KTERROR_NO_OBJECT; };
  EXPECT_EQ(Invoke(input), KTERROR_NO_OBJECT);
  EXPECT_EQ(Lines(), (std::vector{fake::Warning(Going()), fake::Error(Finished("c1000010"))}));
}

TEST_F(ControlManagerInvoke, LogsAtLevelSixWhenTheClientSwitchesItsTraceOn) {
  const KtPropset input = framework_.MakePropset();
  framework_.PutBoolean(input, "pwb trace", true);
  EXPECT_EQ(Invoke(input), 0u);
  EXPECT_EQ(Lines(), (std::vector{fake::Error(Going()), fake::Error(Finished("0"))}));
}

TEST_F(ControlManagerInvoke, LogsAtLevelSixWhenTheTraceSwitchIsOfAnotherType) {
  const KtPropset input = framework_.MakePropset();
  framework_.PutUInt32(input, "pwb trace", 0);
  EXPECT_EQ(Invoke(input), 0u);
  EXPECT_EQ(Lines(),
            (std::vector{fake::Error("hostkit: ERROR: CKtPropertySet::GetProp() : Property pwb "
                                     "trace is not of TYPE_BOOLEAN"),
                         fake::Error(Going()), fake::Error(Finished("0"))}));
}

TEST_F(ControlManagerInvoke, CountsAStatusOfAnotherFacilityAsAFailureByItsTopBit) {
  const KtPropset input = framework_.MakePropset();
  framework_.PutBoolean(input, "pwb trace", false);
  body_ = [](CKtControlRequest&) { return KtStatus{0x8007000E}; };
  EXPECT_EQ(Invoke(input), 0x8007000Eu);
  EXPECT_EQ(Lines().back(), fake::Error(Finished("8007000e")));
}

TEST_F(ControlManagerInvoke, CountsTheContinueStatusOfAHandlerAsASuccess) {
  const KtPropset input = framework_.MakePropset();
  framework_.PutBoolean(input, "pwb trace", false);
  body_ = [](CKtControlRequest&) { return KTSTATUS_CONTINUE; };
  EXPECT_EQ(Invoke(input), KTSTATUS_CONTINUE);
  EXPECT_EQ(Lines().back(), fake::Warning(Finished("4eee0001")));
}

TEST_F(ControlManagerInvoke, HoldsNoLockWhileTheHandlerRuns) {
  std::size_t held = 1;
  body_ = [&](CKtControlRequest&) {
    held = framework_.Outstanding().held_sections;
    return 0;
  };
  EXPECT_EQ(Invoke(), 0u);
  EXPECT_EQ(held, 0u);
}

TEST_F(ControlManagerInvoke, LetsAHandlerUnregisterItself) {
  body_ = [&](CKtControlRequest&) {
    EXPECT_EQ(map_.UnRegister(kInterface, kSelector, kCode, kt::kNullObjId), 0u);
    return KtStatus{0x41000012};
  };
  EXPECT_EQ(Invoke(), 0x41000012u);
  EXPECT_EQ(Invoke(), KTERROR_UNEXPECTED);
}

TEST_F(ControlManagerInvoke, LetsAHandlerDestroyTheMapThatItStandsIn) {
  auto doomed = std::make_unique<CKtControlMap>();
  Body body = [&](CKtControlRequest&) {
    doomed.reset();
    return KtStatus{0x41000012};
  };
  framework_.AddType("disk");
  const KtObjId own = framework_.AddObject("disk");
  ASSERT_EQ(doomed->Register(kInterface, kSelector, 7, &support::CallBody, own, &body), 0u);
  Request request(own, kSelector, 7);
  EXPECT_EQ(manager().Invoke(request), 0x41000012u);
  Request again(own, kSelector, 7);
  EXPECT_EQ(manager().Invoke(again), KTERROR_UNEXPECTED);
}

TEST_F(ControlManagerInvoke, ServesARequestThatAHandlerSends) {
  int depth = 0;
  body_ = [&](CKtControlRequest&) {
    EXPECT_EQ(manager().ActivityCount(), static_cast<std::uint32_t>(depth + 1));
    return ++depth < 3 ? Invoke() : KtStatus{0x41000012};
  };
  EXPECT_EQ(Invoke(), 0x41000012u);
  EXPECT_EQ(manager().ActivityCount(), 0u);
}

TEST_F(ControlManagerInvoke, EndsWithOutOfMemoryAndOneLineWhenAnIdHasNoText) {
  for (std::size_t nth = 1; nth <= 4; ++nth) {
    framework_.ForgetTraces();
    framework_.FailCall("KtGUIDToString", nth, 0);
    EXPECT_EQ(Invoke(), E_OUTOFMEMORY) << nth;
    EXPECT_EQ(Lines().size(), 1u);
    EXPECT_EQ(manager().ActivityCount(), 0u);
    EXPECT_EQ(framework_.Outstanding().blocks, 0u);
    framework_.ClearFailures();
  }
  EXPECT_EQ(Invoke(), 0u);
}

TEST_F(ControlManagerInvoke, ServesTheRequestWhicheverCallOfTheLookUpOfTheTraceSwitchFails) {
  const KtPropset input = framework_.MakePropset();
  framework_.PutBoolean(input, "pwb trace", false);
  for (const KtStatus status : fake::kFailures) {
    framework_.FailCall("PsFindProperty", 1, status);
    framework_.ForgetTraces();
    EXPECT_EQ(Invoke(input), 0u);
    EXPECT_EQ(Lines(), (std::vector{fake::Error(Going()), fake::Error(Finished("0"))}));
  }
}

TEST_F(ControlManagerInvoke, LeaksNothingWhicheverCallFails) {
  const KtPropset input = framework_.MakePropset();
  framework_.PutBoolean(input, "pwb trace", false);
  ASSERT_EQ(Invoke(input), 0u);
  const fake::Ledger before = framework_.Outstanding();
  const std::size_t happened = fake::FailEveryCallInTurn(
      {std::begin(fake::kFailures), std::end(fake::kFailures)}, [&](const auto& arm, KtStatus) {
        arm();
        const KtStatus status = Invoke(input);
        EXPECT_TRUE(status == 0 || status == E_OUTOFMEMORY);
        EXPECT_EQ(framework_.Outstanding(), before);
        EXPECT_EQ(manager().ActivityCount(), 0u);
      });
  EXPECT_GE(happened, 5u * std::size(fake::kFailures));
}

TEST_F(ControlManagerTest, IsOneUntilItIsReleased) {
  CKtControlManager* const first = &manager();
  EXPECT_EQ(first, &manager());
  EXPECT_EQ(framework_.Outstanding().sections, 4u);
}

TEST_F(ControlManagerTest, RegisterPathKeepsTheFirstHandlerAndNamesThePath) {
  const auto first = std::make_shared<CKtControlMapEntry>(nullptr, kSelector, kCode, kInterface,
                                                          nullptr, fake::ObjectNumber(1));
  const auto second = std::make_shared<CKtControlMapEntry>(nullptr, kSelector, kCode, kInterface,
                                                           nullptr, fake::ObjectNumber(1));
  EXPECT_EQ(manager().RegisterPath(first), 0u);
  EXPECT_EQ(manager().RegisterPath(second), KTERROR_DUPLICATE_INTERFACE);
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Error("hostkit: ERROR: CKtControlManager::RegisterPath() : "
                                    "KTERROR_DUPLICATE_INTERFACE " +
                                    kFirstPath)});
  EXPECT_EQ(manager().UnRegisterPath(kInterface, kSelector, kCode, fake::ObjectNumber(1)), 0u);
  EXPECT_EQ(manager().RegisterPath(second), 0u);
}

TEST_F(ControlManagerTest, RegisterPathCountsAnEntryThatHasGoneAsAbsent) {
  auto gone = std::make_shared<CKtControlMapEntry>(nullptr, kSelector, kCode, kInterface, nullptr,
                                                   fake::ObjectNumber(1));
  const auto next = std::make_shared<CKtControlMapEntry>(nullptr, kSelector, kCode, kInterface,
                                                         nullptr, fake::ObjectNumber(1));
  ASSERT_EQ(manager().RegisterPath(gone), 0u);
  gone.reset();
  Request request(fake::ObjectNumber(1));
  EXPECT_EQ(manager().Invoke(request), KTERROR_UNEXPECTED);
  EXPECT_EQ(manager().RegisterPath(next), 0u);
}

TEST_F(ControlManagerTest, UnRegisterPathOfAnUnknownPathLogsAtLevelOneAndReturnsUnexpected) {
  EXPECT_EQ(manager().UnRegisterPath(kInterface, kSelector, kCode, fake::ObjectNumber(1)),
            KTERROR_UNEXPECTED);
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Info("hostkit: ERROR: CKtControlManager::UnRegisterPath() : "
                                   "specified path " +
                                   kFirstPath + " not found. KTERROR_UNEXPECTED")});
}

TEST_F(ControlManagerTest, UnRegisterPathOfAnEntryThatHasGoneFindsNone) {
  auto gone = std::make_shared<CKtControlMapEntry>(nullptr, kSelector, kCode, kInterface, nullptr,
                                                   fake::ObjectNumber(1));
  ASSERT_EQ(manager().RegisterPath(gone), 0u);
  gone.reset();
  EXPECT_EQ(manager().UnRegisterPath(kInterface, kSelector, kCode, fake::ObjectNumber(1)),
            KTERROR_UNEXPECTED);
}

TEST_F(ControlManagerTest, UnRegisterPathFindsTheHandlerAlsoWithoutMemoryForItsPath) {
  const auto entry = std::make_shared<CKtControlMapEntry>(nullptr, kSelector, kCode, kInterface,
                                                          nullptr, fake::ObjectNumber(1));
  ASSERT_EQ(manager().RegisterPath(entry), 0u);
  framework_.FailCall("KtGUIDToString", 1, 0);
  EXPECT_EQ(manager().UnRegisterPath(kInterface, kSelector, kCode, fake::ObjectNumber(1)), 0u);
  EXPECT_TRUE(fake::NothingTraced());
  framework_.FailCall("KtGUIDToString", 1, 0);
  EXPECT_EQ(manager().UnRegisterPath(kInterface, kSelector, kCode, fake::ObjectNumber(1)),
            E_OUTOFMEMORY);
  EXPECT_EQ(framework_.Traces().size(), 1u);
}

TEST_F(ControlManagerTest, WaitForIdleReturnsAtOnceWhenNothingIsInFlight) {
  EXPECT_TRUE(manager().WaitForIdle());
  EXPECT_EQ(framework_.Sleeps(), 0u);
}

TEST_F(ControlManagerTest, WaitForIdleGivesUpAfterOneHundredAndTwentySleepsOfASecond) {
  const CKtActivityScope running;
  EXPECT_FALSE(manager().WaitForIdle());
  EXPECT_EQ(framework_.Sleeps(), 120u);
  EXPECT_EQ(framework_.SleptMs(), 120'000u);
}

TEST_F(ControlManagerTest, WaitForIdleEndsWhenTheLastCallDoes) {
  std::optional<CKtActivityScope> running(std::in_place);
  framework_.OnSleep([&](std::uint32_t) {
    if (framework_.Sleeps() == 3) running.reset();
  });
  EXPECT_TRUE(manager().WaitForIdle());
  EXPECT_EQ(framework_.Sleeps(), 3u);
}

TEST_F(ControlManagerTest, ReleaseWaitsForTheCallsInFlight) {
  std::optional<CKtActivityScope> running(std::in_place);
  framework_.OnSleep([&](std::uint32_t) { running.reset(); });
  CKtControlManager::ReleaseInstance();
  EXPECT_EQ(framework_.Sleeps(), 1u);
}

TEST_F(ControlManagerTest, DeletesItsLocksInReverseOrderOfMaking) {
  static_cast<void>(manager());
  CKtControlManager::ReleaseInstance();
  std::vector<std::string> made;
  std::vector<std::string> deleted;
  for (const fake::Call& call : framework_.Calls()) {
    if (call.function == "KtInitializeCriticalSection") made.push_back(call.arguments);
    if (call.function == "KtDeleteCriticalSection") deleted.push_back(call.arguments);
  }
  std::reverse(deleted.begin(), deleted.end());
  ASSERT_EQ(made.size(), 4u);
  EXPECT_EQ(made, deleted);
}

}  // namespace
