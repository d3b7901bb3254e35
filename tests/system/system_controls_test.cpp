#include "system/system_controls.h"

#include "base/text.h"
#include "provider/api_table.h"
#include "provider/provider.h"
#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SystemControl : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    ASSERT_EQ(Initialize(), 0u);
    platform_.calls.clear();
    framework_.ForgetTraces();
    framework_.ForgetCalls();
  }
};

using TraceLevelControl = SystemControl;
using RebootControl = SystemControl;
using ProviderVersion = SystemControl;

TEST_F(SystemControl, IsServedUnderTheFourPathsOfTheTable) {
  ASSERT_EQ(kt::kSystemPaths.size(), 4u);
  EXPECT_EQ(kt::GuidText(kt::kSystemPaths[0].interface_id),
            "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}");
  EXPECT_EQ(kt::kSystemPaths[0].control_code, 11001u);
  EXPECT_EQ(kt::GuidText(kt::kSystemPaths[1].interface_id),
            "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}");
  EXPECT_EQ(kt::kSystemPaths[1].control_code, 11005u);
  EXPECT_EQ(kt::GuidText(kt::kSystemPaths[2].interface_id),
            "{13DC257B-CF59-400F-9817-82DAB2C8854C}");
  EXPECT_EQ(kt::kSystemPaths[2].control_code, 11001u);
  EXPECT_EQ(kt::GuidText(kt::kSystemPaths[3].interface_id),
            "{ADF0779F-76AD-48EB-8337-DFB8BF32016D}");
  EXPECT_EQ(kt::kSystemPaths[3].control_code, 11005u);
  for (const kt::SystemPath& path : kt::kSystemPaths) {
    framework_.ForgetTraces();
    Control(path.interface_id, path.control_code);
    for (const std::string& line : framework_.TracesAt(6)) {
      EXPECT_EQ(line.find("Control path not found"), std::string::npos) << line;
    }
  }
}

TEST_F(SystemControl, IsRefusedThroughAnInterfaceThatDoesNotServeIt) {
  EXPECT_EQ(Control(kt::kRebootInterface, kt::kTraceLevelControl), KTERROR_UNEXPECTED);
  EXPECT_EQ(Control(kt::kTraceInterface, kt::kRebootControl), KTERROR_UNEXPECTED);
  EXPECT_EQ(Control(kt::kSystemInterface, 11002), KTERROR_UNEXPECTED);
  EXPECT_THAT(platform_.calls, IsEmpty());
}

// ---- 11005

TEST_F(TraceLevelControl, RefusesLevelZeroAndLeavesTheLevelUnchanged) {
  KtSetTraceLevel(5);
  framework_.PutUInt32(input_, "tracelevel", 0);
  EXPECT_EQ(Control(kt::kSystemInterface, kt::kTraceLevelControl), E_INVALIDARG);
  EXPECT_EQ(framework_.TraceLevel(), 5u);
  EXPECT_THAT(framework_.PropertiesOf(output_), IsEmpty());
}

TEST_F(TraceLevelControl, RefusesAnAbsentLevelLeavesItUnchangedAndTracesNothingOfItsOwn) {
  KtSetTraceLevel(5);
  EXPECT_EQ(Control(kt::kTraceInterface, kt::kTraceLevelControl), E_INVALIDARG);
  EXPECT_EQ(framework_.TraceLevel(), 5u);
  EXPECT_EQ(framework_.TracesAt(6).size(), 2u) << "the control manager's two lines";
  EXPECT_THAT(framework_.TracesAt(4), IsEmpty());
}

TEST_F(TraceLevelControl, RefusesALevelOfAnotherType) {
  framework_.PutInt32(input_, "tracelevel", 3);
  EXPECT_EQ(Control(kt::kSystemInterface, kt::kTraceLevelControl), E_INVALIDARG);
  EXPECT_EQ(framework_.TraceLevel(), 0u);
}

TEST_F(TraceLevelControl, SetsTheLevelAndAnswersWithThePreviousOne) {
  KtSetTraceLevel(5);
  framework_.PutUInt32(input_, "tracelevel", 3);
  EXPECT_EQ(Control(kt::kSystemInterface, kt::kTraceLevelControl), 0u);
  EXPECT_EQ(framework_.TraceLevel(), 3u);
  EXPECT_THAT(framework_.PropertiesOf(output_),
              ElementsAre(fake::Property{"tracelevel", TYPE_UINT32, 0, 4, "5"}));
  EXPECT_TRUE(fake::Traced(6, "CSys - SetTraceLevel from 5 to 3"));
}

TEST_F(TraceLevelControl, SetsTheLevelAlsoWhenTheAnswerCannotBeWritten) {
  framework_.PutUInt32(input_, "tracelevel", 3);
  framework_.FailCall("PsAddProperty", 1, 0xC1000001);
  EXPECT_EQ(Control(kt::kTraceInterface, kt::kTraceLevelControl), 0u);
  EXPECT_EQ(framework_.TraceLevel(), 3u);
  EXPECT_TRUE(fake::Traced(6, "CSys - SetTraceLevel from 0 to 3"));
}

TEST_F(TraceLevelControl, ReplacesALevelThatTheOutputHasAlready) {
  framework_.PutUInt32(input_, "tracelevel", 3);
  framework_.PutUInt32(output_, "tracelevel", 99);
  EXPECT_EQ(Control(kt::kTraceInterface, kt::kTraceLevelControl), 0u);
  EXPECT_THAT(framework_.PropertiesOf(output_),
              ElementsAre(fake::Property{"tracelevel", TYPE_UINT32, 0, 4, "0"}));
}

// ---- 11001

TEST_F(RebootControl, ReachesTheSameHandlerThroughTheSystemAndTheRebootInterface) {
  for (const KtGuid& interface_id : {kt::kSystemInterface, kt::kRebootInterface}) {
    platform_.calls.clear();
    EXPECT_EQ(Control(interface_id, kt::kRebootControl), 0u);
    EXPECT_THAT(platform_.calls,
                ElementsAre("OpenCredentials", "FindRestartPrivilege", "EnablePrivilege(19)",
                            "ForceRestart", "CloseCredentials"));
  }
}

TEST_F(RebootControl, LogsNothingOfItsOwn) {
  Control(kt::kRebootInterface, kt::kRebootControl);
  EXPECT_EQ(framework_.TracesAt(6).size(), 2u) << "the control manager's two lines";
  EXPECT_THAT(framework_.TracesAt(4), IsEmpty());
}

TEST_F(RebootControl, FailsWithoutCredentials) {
  platform_.credentials_open = false;
  EXPECT_EQ(Control(kt::kRebootInterface, kt::kRebootControl), KTERROR_REBOOT_FAILED);
  EXPECT_THAT(platform_.calls, ElementsAre("OpenCredentials"));
}

TEST_F(RebootControl, FailsWithoutThePrivilegeAndClosesTheCredentials) {
  platform_.privilege_found = false;
  EXPECT_EQ(Control(kt::kRebootInterface, kt::kRebootControl), KTERROR_REBOOT_FAILED);
  EXPECT_THAT(platform_.calls,
              ElementsAre("OpenCredentials", "FindRestartPrivilege", "CloseCredentials"));
}

TEST_F(RebootControl, FailsWhenThePrivilegeCannotBeEnabledAndThereIsAnError) {
  platform_.privilege_enabled = false;
  platform_.enable_error = 5;
  EXPECT_EQ(Control(kt::kRebootInterface, kt::kRebootControl), KTERROR_REBOOT_FAILED);
  EXPECT_THAT(platform_.calls, ElementsAre("OpenCredentials", "FindRestartPrivilege",
                                           "EnablePrivilege(19)", "CloseCredentials"));
}

TEST_F(RebootControl, GoesOnWhenTheCallFailedWithoutAnError) {
  platform_.privilege_enabled = false;
  platform_.enable_error = 0;
  EXPECT_EQ(Control(kt::kRebootInterface, kt::kRebootControl), 0u);
}

TEST_F(RebootControl, GoesOnWhenNotAllPrivilegesWereAssigned) {
  platform_.enable_error = 1300;
  EXPECT_EQ(Control(kt::kRebootInterface, kt::kRebootControl), 0u);
}

TEST_F(RebootControl, FailsWhenTheRestartIsRefused) {
  platform_.restart_works = false;
  EXPECT_EQ(Control(kt::kRebootInterface, kt::kRebootControl), KTERROR_REBOOT_FAILED);
  EXPECT_THAT(platform_.calls,
              ElementsAre("OpenCredentials", "FindRestartPrivilege", "EnablePrivilege(19)",
                          "ForceRestart", "CloseCredentials"));
}

// ---- Version

TEST_F(ProviderVersion, IsAlwaysTheInterfaceVersionWhateverSystemItRunsOn) {
  for (const std::uint32_t major : {5u, 6u, 10u}) {
    platform_.machine.major_version = major;
    platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1"));
    KtWchar* text = nullptr;
    ASSERT_EQ(__KtApiVersion(&text), 0u);
    EXPECT_EQ(KtWString(text), KT_W("WINNT.6.1.0.445"));
    _KtFree(text);
  }
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(ProviderVersion, IsAllocatedWithItsTerminator) {
  KtWchar* text = nullptr;
  __KtApiVersion(&text);
  _KtFree(text);
  ASSERT_EQ(framework_.CountOf("_KtAlloc"), 1u);
  for (const fake::Call& call : framework_.Calls()) {
    if (call.function != "_KtAlloc") continue;
    EXPECT_EQ(call.arguments, "32");
  }
}

TEST_F(ProviderVersion, IsOutOfMemoryWithoutMemoryAndLeavesTheOutputAlone) {
  KtWchar* text = nullptr;
  framework_.FailCall("_KtAlloc", 1, E_OUTOFMEMORY);
  EXPECT_EQ(__KtApiVersion(&text), E_OUTOFMEMORY);
  EXPECT_EQ(text, nullptr);
}

}  // namespace
