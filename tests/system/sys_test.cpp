#include "system/sys.h"

#include <algorithm>
#include <future>
#include <utility>

#include "base/text.h"
#include "provider/api_table.h"
#include "provider/module_state.h"
#include "system/identifiers.h"
#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class SystemStart : public SystemTest {
 protected:
  const fake::TraceLine entering_ = fake::Warning("HostKit: Entering CSys::Initialize()");
  const fake::TraceLine exiting_ = fake::Warning("HostKit: CSys::Exiting Initialize()");
  const fake::TraceLine object_ = fake::Warning(
      "CSys - CreateSystemObject - successfully created system object with system interface "
      "attached.");
  const fake::TraceLine true_ = fake::Error("HostKit:Initialize - gMPXSA=TRUE");
  const fake::TraceLine false_ = fake::Error("HostKit:Initialize - gMPXSA=FALSE");
};
using SystemStop = SystemStart;
using DomainInitialised = SystemStart;
using SystemLife = SystemStart;

constexpr char kPattern[] = "event.qelm.dom.initialization.*.complete";

// ---- Start

TEST_F(SystemStart, TracesItsStepsInOrderWithoutTheMultipathProduct) {
  EXPECT_EQ(Initialize(), 0u);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAreArray(Joined({{entering_}, ServiceStarted(), {object_, false_, exiting_}})));
}

TEST_F(SystemStart, MakesExactlyTheseFrameworkCallsWithoutTheMultipathProduct) {
  EXPECT_EQ(Initialize(), 0u);
  EXPECT_THAT(framework_.CallNames(),
              ElementsAre("PsCreatePropset", "PsFindProperty", "PsAddProperty",
                          "ObCreateTypeObject", "PsDestroyPropset", "DbLockDatabase",
                          "ObCreateObject", "DbUnlockDatabase", "ObRegisterInterface",
                          "ObRegisterInterface", "ObRegisterInterface", "EvRegisterEvent"));
}

TEST_F(SystemStart, PublishesNoConfigurationWithBothProductKeysPresentOrNeither) {
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_FALSE(framework_.HasType("qelm_ktvm_misc"));
  platform_.AddKey(kMultipathKey);
  platform_.AddKey(kVolumeProductKey);
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_FALSE(framework_.HasType("qelm_ktvm_misc"));
  EXPECT_TRUE(fake::Traced(6, false_.text));
  EXPECT_FALSE(framework_.HasTrace(6, true_.text));
}

TEST_F(SystemStart, PublishesTheConfigurationBeforeTheListenerAndTheControls) {
  platform_.AddKey(kMultipathKey);
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_TRUE(fake::Traced(6, true_.text));
  EXPECT_THAT(framework_.SuperclassesOf("qelm_ktvm_misc"), ElementsAre("qelm_ktvm"));
  const std::vector<fake::Property> properties = framework_.TypeProperties("qelm_ktvm_misc");
  ASSERT_EQ(properties.size(), 1u);
  EXPECT_EQ(properties[0].text, "TORMELD");
  ASSERT_EQ(framework_.ObjectsOf("qelm_ktvm_misc").size(), 1u);

  std::vector<std::string> calls;
  for (const fake::Call& call : framework_.Calls()) calls.push_back(call.function);
  const auto created = std::find(calls.begin(), calls.end(), "ObCreateObjectEx");
  const auto last_set = std::find(calls.rbegin(), calls.rend(), "ObSetProperty");
  const auto listening = std::find(calls.begin(), calls.end(), "EvRegisterEvent");
  const auto controls = std::find(calls.begin(), calls.end(), "KtGUIDToString");
  ASSERT_NE(created, calls.end());
  ASSERT_NE(listening, calls.end());
  EXPECT_LT(created, listening);
  EXPECT_LT(last_set.base(), listening + 1);
  ASSERT_NE(controls, calls.end()) << "the controls' paths are made of GUID texts";
  EXPECT_LT(listening, controls);
}

TEST_F(SystemStart, TracesItsStepsInOrderWithTheMultipathProductAlone) {
  platform_.AddKey(kMultipathKey);
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1"));
  platform_.SetText(kVolumeEngineKey, KT_W("ProductVersion"), KT_W("7"));
  platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W("Seven"));
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAreArray(Joined(
          {{entering_},
           ServiceStarted(),
           {object_, true_, fake::Error("hostkit - InitKtMisc"),
            fake::Warning("hostkit - Version() - WINNT.7.1"),
            fake::Warning("hostkit - entering get_zrn_version()"),
            fake::Warning("hostkit - QueryRegistry(VersionName): databuffer = Seven, dataBuffer = "
                          "Seven"),
            fake::Warning("hostkit - QueryRegistry(Version): databuffer = 7.1, dataBuffer = 7.1"),
            fake::Warning("hostkit - QueryRegistry(ProductVersion): databuffer = 7, dataBuffer = "
                          "7"),
            fake::Warning("hostkit - exiting get_zrn_version. ret=%l"), exiting_}})));
}

TEST_F(SystemStart, GoesOnWhenTheServiceCannotBeStarted) {
  platform_.command_starts = false;
  EXPECT_EQ(Initialize(), 0u);
  EXPECT_TRUE(fake::Traced(4, "HostKit - Failed to start Tormeld VSS Provider service"));
  EXPECT_EQ(framework_.ObjectsOf("qelm_system").size(), 1u);
}

TEST_F(SystemStart, EndsAtOnceWithUnexpectedWhenTheSystemTypeCannotBeRegistered) {
  framework_.FailCall("ObCreateTypeObject", 1, 0xC1000037);
  EXPECT_EQ(Initialize(), KTERROR_UNEXPECTED);
  EXPECT_THAT(framework_.Traces(),
              ElementsAreArray(Joined(
                  {{entering_},
                   ServiceStarted(),
                   {fake::Error("ERROR: Bad type inheritance structure for type qelm_system.  "
                                "Registration failed."),
                    fake::Error("hostkit: ERROR: An exception was thrown in [hostkit] "
                                "CKtProvider::Initialize()")}})));
  EXPECT_THAT(framework_.Subscriptions(), IsEmpty());
}

TEST_F(SystemStart, EndsAtOnceWithUnexpectedWhenTheConfigurationTypeCannotBeRegistered) {
  platform_.AddKey(kMultipathKey);
  framework_.FailCall("ObCreateTypeObject", 2, 0x8007000E);
  EXPECT_EQ(Initialize(), KTERROR_UNEXPECTED);
  EXPECT_TRUE(
      fake::Traced(6, "ERROR: Type registration failed for type: qelm_ktvm_misc, 8007000e"));
  EXPECT_FALSE(framework_.HasTrace(4, exiting_.text));
  EXPECT_THAT(framework_.Subscriptions(), IsEmpty());
  EXPECT_EQ(Control(kt::kSystemInterface, kt::kTraceLevelControl), KTERROR_UNEXPECTED);
}

TEST_F(SystemStart, UsesATypeThatIsRegisteredAlready) {
  framework_.AddType("qelm_system", {"qelm_ktvm"});
  EXPECT_EQ(Initialize(), 0u);
  EXPECT_TRUE(fake::Traced(4, "ERROR: Type qelm_system already registered."));
  EXPECT_EQ(framework_.ObjectsOf("qelm_system").size(), 1u);
}

TEST_F(SystemStart, ComesUpWithoutEventsWhenTheSubscriptionIsRefused) {
  framework_.FailCall("EvRegisterEvent", 1, 0xC1000001);
  EXPECT_EQ(Initialize(), 0u);
  EXPECT_THAT(framework_.Subscriptions(), IsEmpty());
  framework_.PutUInt32(input_, "tracelevel", 3);
  EXPECT_EQ(Control(kt::kSystemInterface, kt::kTraceLevelControl), 0u);
}

TEST_F(SystemStart, RunsWholeASecondTimeWithTheOldListenerAndControlsDroppedFirst) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetTraces();
  framework_.ForgetCalls();
  EXPECT_EQ(Initialize(), 0u);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAreArray(Joined({{entering_},
                               ServiceStarted(),
                               {fake::Warning("ERROR: Type qelm_system already registered."),
                                object_, false_, exiting_}})));
  EXPECT_EQ(framework_.CallNames().front(), "EvUnregisterEvent");
  EXPECT_THAT(framework_.Subscriptions(), ElementsAre(kPattern));
  framework_.PutUInt32(input_, "tracelevel", 3);
  EXPECT_EQ(Control(kt::kSystemInterface, kt::kTraceLevelControl), 0u);
}

TEST_F(SystemStart, LeavesAControlAloneThatIsRunningThroughASecondStart) {
  ASSERT_EQ(Initialize(), 0u);
  std::promise<void> in_its_handler;
  std::promise<void> started_again;
  platform_.on_restart = [&, first = true]() mutable {
    if (!std::exchange(first, false)) return;
    in_its_handler.set_value();
    started_again.get_future().wait();
  };
  auto control = std::async(std::launch::async,
                            [this] { return Control(kt::kRebootInterface, kt::kRebootControl); });
  in_its_handler.get_future().wait();
  EXPECT_EQ(Initialize(), 0u);
  started_again.set_value();
  EXPECT_EQ(control.get(), 0u);
  EXPECT_EQ(Control(kt::kRebootInterface, kt::kRebootControl), 0u) << "registered again";
  EXPECT_EQ(__KtApiShutdown(0), 0u);
}

// ---- Stop

TEST_F(SystemStop, TracesItsStepsInOrderAndReturnsZero) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetTraces();
  EXPECT_EQ(__KtApiShutdown(123), 0u);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAreArray(Joined(
          {{fake::Error("hostkit::__KtApiShutdown(), started."),
            fake::Warning("HostKit - entering CSys::Shutdown")},
           ServiceStopped(),
           {fake::Warning("HostKit - exiting CSys::Shutdown"),
            fake::Warning("hostkit: INFO: CKtThreadContainer: Requested the stop of 0 threads."),
            fake::Warning("hostkit::__KtApiShutdown(), CKtThreadContainer shutdown completed."),
            fake::Warning("hostkit::__KtApiShutdown(), CKtCustomObjectContainer shutdown "
                          "completed."),
            fake::Warning("hostkit::__KtApiShutdown(), CKtControlManager shutdown completed."),
            fake::Warning("hostkit::__KtApiShutdown(), CKtEventManager shutdown completed."),
            fake::Error("hostkit::__KtApiShutdown(), completed.")}})));
  EXPECT_THAT(framework_.Subscriptions(), IsEmpty());
}

TEST_F(SystemStop, GoesOnWhenTheServiceCannotBeStopped) {
  ASSERT_EQ(Initialize(), 0u);
  platform_.command_starts = false;
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_TRUE(fake::Traced(4, "HostKit - Failed to stop Tormeld VSS Provider service"));
  EXPECT_THAT(framework_.Subscriptions(), IsEmpty());
}

TEST_F(SystemStop, SaysThatThereIsNoListenerAfterAStartThatThrewAndGoesOn) {
  framework_.FailCall("ObCreateTypeObject", 1, 0x8007000E);
  ASSERT_EQ(Initialize(), KTERROR_UNEXPECTED);
  framework_.ForgetTraces();
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_TRUE(fake::Traced(6, "ERROR: CKtEventListener::UnRegister() failed : KTERROR_INVALIDARG"));
  EXPECT_TRUE(fake::Traced(4, "HostKit - exiting CSys::Shutdown"));
}

// ---- Event

TEST_F(DomainInitialised, IsSubscribedToWithTheStoredHandles) {
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_THAT(framework_.CallTexts(), ::testing::Contains("EvRegisterEvent(db#1, provider#1, \"" +
                                                          std::string(kPattern) + "\")"));
  EXPECT_THAT(framework_.Subscriptions(), ElementsAre(kPattern));
}

TEST_F(DomainInitialised, DecoratesTheGenericGroups) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.AddType("qelm_ktvm_disk");
  const KtObjId group = framework_.AddObject("QELM_GenericGroup");
  framework_.AddChild(group, framework_.AddObject("qelm_ktvm_disk"));
  EXPECT_EQ(Notify("event.qelm.dom.initialization.blockdev.complete"), 0u);
  ASSERT_EQ(framework_.InterfacesOf(group).size(), 1u);
  EXPECT_EQ(kt::GuidText(framework_.InterfacesOf(group)[0]),
            "{7EC748B5-C965-4607-8371-EB3B1B0DB7EC}");
}

TEST_F(DomainInitialised, IsNotAnyOtherEvent) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetCalls();
  EXPECT_EQ(Notify("event.qelm.dom.initialization.complete"), KTERROR_NO_EVENT);
  EXPECT_EQ(Notify("event.qelm.dom.initialization.a.b.complete"), KTERROR_NO_EVENT);
  EXPECT_EQ(framework_.CountOf("DbGetObjects"), 0u);
}

// ---- Whole lives

TEST_F(SystemLife, KeepsNothingAfterShutdownAndRelease) {
  platform_.AddKey(kMultipathKey);
  for (int life = 0; life < 3; ++life) {
    ASSERT_EQ(Initialize(), 0u);
    ASSERT_EQ(Initialize(), 0u);
    Notify("event.qelm.dom.initialization.blockdev.complete");
    Control(kt::kSystemInterface, kt::kTraceLevelControl);
    ASSERT_EQ(__KtApiShutdown(0), 0u);
    kt::ReleaseModule();
    kt::ResetApiState();
    EXPECT_TRUE(fake::NothingKept());
  }
}

TEST_F(SystemLife, KeepsNothingWhenTheModuleGoesWithoutAShutdown) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetTraces();
  kt::ReleaseModule();
  EXPECT_TRUE(fake::NothingKept());
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(SystemLife, KeepsNothingOfAProviderThatAHandlerCreatedAfterShutdown) {
  ASSERT_EQ(Initialize(), 0u);
  ASSERT_EQ(__KtApiShutdown(0), 0u);
  CKtProvider::Instance();
  kt::ReleaseModule();
  EXPECT_TRUE(fake::NothingKept());
}

}  // namespace
