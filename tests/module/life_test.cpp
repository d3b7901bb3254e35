// Whole lives of the built module: which framework calls, traces and statuses, in which order.
#include <algorithm>

#include "module/module_test.h"

namespace {

using fake::Error;
using fake::Info;
using fake::TraceLine;
using fake::Warning;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class Life : public ModuleTest {
 protected:
  // What starting (0) or stopping (1) the service says; the module does not wait for the command,
  // so the exit code in the line before the last is the system's word at that moment.
  static std::vector<TraceLine> ServiceLines(int stop) {
    const std::string command =
        stop == 0 ? Surroundings::StartCommand() : Surroundings::StopCommand();
    return {Warning("HostKit - entering KtNet() with nServiceStartStop=" + std::to_string(stop)),
            Warning("HostKit - before calling CreateProcess for " + command),
            Warning("HostKit - after calling CreateProcess returns:1"),
            Warning("hostkit - Waiting for the process to terminate ..."),
            Warning("hostkit - Termination status: *"),
            Warning("HostKit - exiting KtNet with bFlg=1")};
  }

  static std::vector<TraceLine> Joined(const std::vector<std::vector<TraceLine>>& parts) {
    std::vector<TraceLine> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  }

  // The trace with the one word left out that the operating system decides.
  std::vector<TraceLine> Traces() const {
    std::vector<TraceLine> lines = framework_.Traces();
    const std::string status = "hostkit - Termination status: ";
    for (TraceLine& line : lines) {
      if (line.text.rfind(status, 0) == 0) line.text = status + "*";
    }
    return lines;
  }

  std::vector<TraceLine> ShutdownLines() const {
    return Joined(
        {{Error("hostkit::__KtApiShutdown(), started."),
          Warning("HostKit - entering CSys::Shutdown")},
         ServiceLines(1),
         {Warning("HostKit - exiting CSys::Shutdown"),
          Warning("hostkit: INFO: CKtThreadContainer: Requested the stop of 0 threads."),
          Warning("hostkit::__KtApiShutdown(), CKtThreadContainer shutdown completed."),
          Warning("hostkit::__KtApiShutdown(), CKtCustomObjectContainer shutdown completed."),
          Warning("hostkit::__KtApiShutdown(), CKtControlManager shutdown completed."),
          Warning("hostkit::__KtApiShutdown(), CKtEventManager shutdown completed."),
          Error("hostkit::__KtApiShutdown(), completed.")}});
  }
};

const TraceLine kEntering = Warning("HostKit: Entering CSys::Initialize()");
const TraceLine kExiting = Warning("HostKit: CSys::Exiting Initialize()");
const TraceLine kObjectCreated = Warning(
    "CSys - CreateSystemObject - successfully created system object with system interface "
    "attached.");

TEST_F(Life, StartsWithExactlyTheseCallsAndLines) {
  framework_.ForgetCalls();
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_THAT(Traces(),
              ElementsAreArray(Joined(
                  {{kEntering},
                   ServiceLines(0),
                   {kObjectCreated, Error("HostKit:Initialize - gMPXSA=FALSE"), kExiting}})));
  EXPECT_THAT(framework_.CallNames(),
              ElementsAre("PsCreatePropset", "PsFindProperty", "PsAddProperty",
                          "ObCreateTypeObject", "PsDestroyPropset", "DbLockDatabase",
                          "ObCreateObject", "DbUnlockDatabase", "ObRegisterInterface",
                          "ObRegisterInterface", "ObRegisterInterface", "EvRegisterEvent"));
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, PublishesTheSystemObjectWithItsThreeInterfacesInOrder) {
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_THAT(framework_.SuperclassesOf("qelm_system"), ElementsAre("qelm_ktvm"));
  ASSERT_EQ(framework_.TypeProperties("qelm_system").size(), 1u);
  EXPECT_EQ(framework_.TypeProperties("qelm_system")[0].name, "VENDOR");
  EXPECT_EQ(framework_.TypeProperties("qelm_system")[0].type, TYPE_WSTR);
  EXPECT_EQ(framework_.TypeProperties("qelm_system")[0].text, "TORMELD");
  ASSERT_EQ(framework_.ObjectsOf("qelm_system").size(), 1u);
  const KtObjId system = framework_.ObjectsOf("qelm_system")[0];
  const std::vector<KtGuid> offered = framework_.InterfacesOf(system);
  ASSERT_EQ(offered.size(), 3u);
  EXPECT_EQ(offered[0].Data1, kSystemInterface.Data1);
  EXPECT_EQ(offered[1].Data1, kRebootInterface.Data1);
  EXPECT_EQ(offered[2].Data1, kTraceInterface.Data1);
  EXPECT_EQ(framework_.InterfaceOwner(system, kSystemInterface), framework_.provider());
  EXPECT_THAT(framework_.Subscriptions(), ElementsAre("event.qelm.dom.initialization.*.complete"));
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, ShutsDownWithTheFourStepsInOrder) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetTraces();
  framework_.ForgetCalls();
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_THAT(Traces(), ElementsAreArray(ShutdownLines()));
  EXPECT_THAT(framework_.CallNames(), ElementsAre("EvUnregisterEvent"));
  EXPECT_EQ(framework_.Sleeps(), 0u);
}

TEST_F(Life, PublishesTheConfigurationObjectWithItsElevenPropertiesOnAMultipathOnlyHost) {
  MakeMultipathOnly();
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_TRUE(fake::Traced(6, "HostKit:Initialize - gMPXSA=TRUE"));
  ASSERT_EQ(framework_.ObjectsOf("qelm_ktvm_misc").size(), 1u);
  const auto properties = framework_.PropertiesOf(framework_.ObjectsOf("qelm_ktvm_misc")[0]);
  std::vector<std::string> told;
  for (const fake::Property& property : properties) {
    // The platform's code is the machine's own business.
    told.push_back(property.name + "=" + (property.name == "platform" ? "" : property.text));
  }
  EXPECT_THAT(told, ElementsAre("Name=misc-internal-object", "blockpath=", "rawpath=",
                                "invalid volname chars= /\\", "vm_product_version=WINNT.7.1.0.1",
                                "max_dgname_len=18", "max_volname_len=18", "max_disk_dmname_len=24",
                                "platform=", "zrn_product_version=7.1 SP2 (Build 7.1.0.1)",
                                "Role_Base_Adm_Enable=true"));
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, PublishesNoConfigurationWhenTheVolumeEngineIsInstalledToo) {
  MakeMultipathOnly();
  surroundings_.SetValue(kVolumeProductKey, "Version", "1");
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_TRUE(fake::Traced(6, "HostKit:Initialize - gMPXSA=FALSE"));
  EXPECT_FALSE(framework_.HasType("qelm_ktvm_misc"));
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, SetsTheTraceLevelThroughEitherInterfaceAndAnswersThePreviousOne) {
  ASSERT_EQ(Initialize(), 0u);
  const KtObjId system = framework_.ObjectsOf("qelm_system")[0];
  for (const KtGuid& interface_id : {kSystemInterface, kTraceInterface}) {
    KtSetTraceLevel(5);
    const KtPropset input = framework_.MakePropset();
    const KtPropset output = framework_.MakePropset();
    framework_.PutUInt32(input, "tracelevel", 3);
    framework_.ForgetTraces();
    EXPECT_EQ(module_->Control(system, interface_id, kTraceLevelControl, input, output), 0u);
    EXPECT_EQ(framework_.TraceLevel(), 3u);
    ASSERT_EQ(framework_.PropertiesOf(output).size(), 1u);
    EXPECT_EQ(framework_.PropertiesOf(output)[0].text, "5");
    const std::vector<TraceLine> lines = framework_.Traces();
    ASSERT_EQ(lines.size(), 7u) << testing::PrintToString(lines);
    EXPECT_THAT(lines[0].text,
                testing::StartsWith("hostkit: CKtControlManager::Invoke(), going to invoke (OBJ:"));
    EXPECT_EQ(lines[1], Error("CSys - SetTraceLevel from 5 to 3"));
    EXPECT_THAT(lines[2].text, testing::EndsWith("MJ:0,MN:11005. (err = 0x0) "));
    EXPECT_EQ(lines[3],
              Info("hostkit: INFO: CKtControlManager::FlushLazyDeleteQueues() Entered..."));
    EXPECT_EQ(lines[4],
              Info("hostkit: INFO: CKtControlManager::FlushLazyDeleteQueues() Exiting..."));
    EXPECT_EQ(
        lines[5],
        Info("hostkit: INFO: CKtCustomObjectContainer::FlushLazyDeleteQueue() Entering ....."));
    EXPECT_EQ(
        lines[6],
        Info("hostkit: INFO: CKtCustomObjectContainer::FlushLazyDeleteQueue() Exiting ....."));
  }
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, RefusesTheTraceLevelZeroAndAnAbsentOne) {
  ASSERT_EQ(Initialize(), 0u);
  KtSetTraceLevel(5);
  const KtPropset input = framework_.MakePropset();
  const KtPropset output = framework_.MakePropset();
  EXPECT_EQ(module_->Control({}, kSystemInterface, kTraceLevelControl, input, output),
            kInvalidArgument);
  framework_.PutUInt32(input, "tracelevel", 0);
  EXPECT_EQ(module_->Control({}, kSystemInterface, kTraceLevelControl, input, output),
            kInvalidArgument);
  EXPECT_EQ(framework_.TraceLevel(), 5u);
  EXPECT_THAT(framework_.PropertiesOf(output), IsEmpty());
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, DecoratesEachGroupByItsFirstChildWhenTheDomainIsInitialised) {
  const KtObjId disks = AddGroup("QELM_KTVM_Disk");
  const KtObjId cdroms = AddGroup("qelm_ktvm_CDROM");
  const KtObjId volumes = AddGroup("qelm_ktvm_volume");
  const KtObjId oem = AddGroup("qelm_ktvm_partition_oem");
  const KtObjId disk_groups = AddGroup("qelm_ktvm_diskgroup");
  const KtObjId others = AddGroup("qelm_ktvm_other");
  framework_.AddChild(others, framework_.AddObject("qelm_ktvm_volume"));
  const KtObjId empty = framework_.AddObject("QELM_GenericGroup");
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_EQ(module_->Notify(kReadyEvent, framework_.database()), 0u);
  const auto first = [this](const KtObjId& group) {
    const std::vector<KtGuid> offered = framework_.InterfacesOf(group);
    return offered.size() == 1 ? offered[0].Data1 : 0;
  };
  EXPECT_EQ(first(disks), 0x7EC748B5u);
  EXPECT_EQ(first(cdroms), 0x7EC748B5u);
  EXPECT_EQ(first(volumes), 0x9D763702u);
  EXPECT_EQ(first(oem), 0x9D763702u);
  EXPECT_EQ(first(disk_groups), 0x028767D0u);
  EXPECT_THAT(framework_.InterfacesOf(others), IsEmpty());
  EXPECT_THAT(framework_.InterfacesOf(empty), IsEmpty());
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, LeavesGroupsAloneWhenAnotherDatabaseRaisedTheEvent) {
  const KtObjId disks = AddGroup("qelm_ktvm_disk");
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_EQ(module_->Notify(kReadyEvent, framework_.MakeDatabase()), 0u);
  EXPECT_THAT(framework_.InterfacesOf(disks), IsEmpty());
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, StartsWhollyAgainWhenInitializedTwice) {
  ASSERT_EQ(Initialize(), 0u);
  const fake::Ledger once = framework_.Outstanding();
  EXPECT_EQ(Initialize(), 0u);
  EXPECT_EQ(framework_.Outstanding(), once) << "the old listener and map are dropped first";
  EXPECT_EQ(framework_.ObjectsOf("qelm_system").size(), 2u);
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Life, KeepsNothingHoweverOftenItIsLoadedAndUnloaded) {
  module_.reset();
  surroundings_.FindNoCommands();
  for (int life = 0; life < 50; ++life) {
    framework_.Reset();
    Load();
    AddGroup("qelm_ktvm_disk");
    ASSERT_EQ(Initialize(), 0u);
    EXPECT_EQ(module_->Notify(kReadyEvent, framework_.database()), 0u);
    EXPECT_EQ(Shutdown(), 0u);
    module_.reset();
    ASSERT_TRUE(fake::NothingKept()) << "life " << life;
  }
}

TEST_F(Life, GivesEverythingBackAtDetachWithoutAShutdown) {
  ASSERT_EQ(Initialize(), 0u);
  module_.reset();
  EXPECT_TRUE(fake::NothingKept());
}

}  // namespace
