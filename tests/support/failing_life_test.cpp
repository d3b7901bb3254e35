// Every framework call that start-up, each control, each event and the shutdown of the system
// provider make fails in turn, with statuses of every kind. The tables say what is answered and
// told; beyond that nothing escapes, the provider still answers and still shuts down, and nothing
// is kept.
#include <iostream>
#include <memory>
#include <string>

#include "support/client.h"
#include "support/failing_calls.h"
#include "support/provider_under_test.h"

namespace {

using client::kInvalidArgument;
using client::kOutOfMemory;
using client::kUnexpected;
using fake::Error;
using support::FailingCalls;
using support::Rest;

// ---- What is told

const fake::TraceLine kThrown =
    Error("hostkit: ERROR: An exception was thrown in [hostkit] CKtProvider::Initialize()");
const fake::TraceLine kNotAttached =
    Error("CSys - CreateSystemObject - couldn't attach system interface on system object");
const fake::TraceLine kNoPath =
    Error("hostkit: ERROR: CKtControlManager::Invoke(), no memory for the control path.");

FailingCalls Joined(std::initializer_list<FailingCalls> tables) {
  FailingCalls all;
  for (const FailingCalls& table : tables) all.insert(all.end(), table.begin(), table.end());
  return all;
}

// An interface that cannot be attached: the line depends on the status.
FailingCalls Attaching(const std::vector<fake::TraceLine>& then) {
  const auto lines = [&](const std::string& line) {
    std::vector<fake::TraceLine> all{
        Error("hostkit: ERROR: in CKtObject::RegisterInterface({guid})" + line)};
    all.insert(all.end(), then.begin(), then.end());
    return all;
  };
  return {
      {.call = "ObRegisterInterface(*",
       .lines = lines(", invalid object (KTERROR_NO_OBJECT)."),
       .only_for = 0xC1000010},
      {.call = "ObRegisterInterface(*",
       .lines = lines(", invalid arguments to ObRegisterInterface()."),
       .only_for = kInvalidArgument},
      {.call = "ObRegisterInterface(*", .lines = lines(" call to ObRegisterInterface failed.")},
  };
}

// ---- Start. Only a type that cannot be registered ends it.

FailingCalls Types() {
  return {
      {.call = "PsCreatePropset(*",
       .status = kUnexpected,
       .lines = {Error("hostkit: ERROR: in CKtPropertySet::Create() PsCreatePropset() failed"),
                 kThrown},
       .rest = Rest::kLeftOut},
      {.call = "PsFindProperty(*, \"VENDOR\")"},  // taken for absent, and added
      {.call = "PsAddProperty(*, {VENDOR *",
       .status = kUnexpected,
       .lines = {Error(
                     "hostkit: ERROR: {status} CKtPropertySet::AddProperty(CKtProperty) Failed to "
                     "add property VENDOR, *"),
                 kThrown},
       .rest = Rest::kLeftOut},
      {.call = "ObCreateTypeObject(*",
       .status = kUnexpected,
       .lines = {Error("ERROR: Type registration failed for type: {name}, {status}"), kThrown},
       .rest = Rest::kLeftOut},
      {.call = "PsDestroyPropset(*",
       .lines = {Error("hostkit: ERROR: in CKtPropertySet::Destroy() PsDestroyPropset() failed")}},
  };
}

FailingCalls SystemObjectEventsAndControls() {
  return Joined({
      {
          {.call = "DbLockDatabase(*"},
          {.call = "DbUnlockDatabase(*"},
          // The attachments are tried all the same, on the null id.
          {.call = "ObCreateObject(*, \"qelm_system\"*",
           .lines = {Error("hostkit: ERROR: CKtObject::Create(), ObCreateObject of type "
                           "qelm_system failed"),
                     Error("CSys - CreateSystemObject - couldn't create system object"),
                     Error("hostkit: ERROR: in CKtObject::RegisterInterface("
                           "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}), invalid object "
                           "(KTERROR_NO_OBJECT)."),
                     kNotAttached}},
      },
      Attaching({kNotAttached}),
      {
          {.call = "EvRegisterEvent(*",
           .lines = {Error("ERROR: RegisterForEvent(), Unable to register to receive event "
                           "'event.qelm.dom.initialization.*.complete' from database *")}},
          // The texts of which a control's path is made.
          {.call = "KtGUIDToString(*",
           .lines = {Error("hostkit: ERROR: CKtControlManager::RegisterPath() : no memory for the "
                           "control path."),
                     Error("ERROR: CKtControlMap::Register() : KTERROR_DUPLICATE_INTERFACE")},
           .after = "EvRegisterEvent(*"},
      },
  });
}

// A value of the registry of so many bytes, read through two buffers.
FailingCalls Value(const std::string& name, int bytes) {
  const std::string buffer = "_KtAlloc(" + std::to_string(bytes) + ")";
  const std::string line = "hostkit - QueryRegistry - RegQueryValueEx(" + name + "), KtAlloc ";
  const std::string usual = "hostkit - QueryRegistry(" + name + "): *";
  return {
      {.call = buffer, .lines = {Error(line + "buffer failed.")}, .missing = {usual}},
      {.call = buffer + " #2", .lines = {Error(line + "databuffer failed.")}, .missing = {usual}},
  };
}

// A property that fails keeps none of the others.
FailingCalls Configuration() {
  return Joined({
      {
          {.call = "ObCreateObjectEx(*, \"qelm_ktvm_misc\"*",
           .lines = {Error("hostkit: ERROR: CKtObject::Create(), ObCreateObject of type "
                           "qelm_ktvm_misc failed"),
                     Error("hostkit - InitKtMisc exception caught ")},
           .missing = {"hostkit - Version() - *", "hostkit - entering get_zrn_version()",
                       "hostkit - QueryRegistry(*", "hostkit - exiting get_zrn_version. *"}},
          {.call = "ObSetProperty(*",
           .lines = {Error("hostkit: ERROR: CKtObject::AddProperty(const CKtProperty &property): "
                           "ObSetProperty failed")}},
          {.call = "_KtAlloc(42)"},  // "misc-internal-object"
          {.call = "_KtAlloc(28)"},  // "WINNT.7.1.0.1"
          {.call = "_KtAlloc(50)"},  // "7.1 SP22 (Build 7.1.0.1)"
      },
      Value("VersionName", 18),
      Value("Version", 16),
      Value("ProductVersion", 8),
  });
}

// ---- Controls

FailingCalls FindingTheHandler() {
  return {{.call = "KtGUIDToString(*",
           .status = kOutOfMemory,
           .lines = {kNoPath},
           .missing = {"hostkit: CKtControlManager::Invoke(), *", "CSys - SetTraceLevel *",
                       "hostkit: ERROR: CKtControlManager::Invoke(), Control path not found *"}}};
}

FailingCalls TracePreference() {
  return {{.call = "PsFindProperty(*, \"pwb trace\")"}};
}

FailingCalls TraceLevel() {
  return {
      // The answer: what is there already counts as absent.
      {.call = "PsFindProperty(*, \"tracelevel\")", .after = "PsFreeProperty(*"},
      // The question: no level is the level zero.
      {.call = "PsFindProperty(*, \"tracelevel\")",
       .status = kInvalidArgument,
       .lines = {Error("hostkit: CKtControlManager::Invoke(), finished service request "
                       "OBJ:{00000001-0001-0000-0000-000000000000},INTF:*,MJ:0,MN:11005. "
                       "(err = 0x80070057) ")},
       .missing = {"CSys - SetTraceLevel *",
                   "hostkit: CKtControlManager::Invoke(), finished service request *"}},
      {.call = "PsFreeProperty(*"},
      {.call = "PsAddProperty(*, {tracelevel *",
       .lines = {Error(
           "hostkit: ERROR: {status} CKtPropertySet::AddProperty(CKtProperty) Failed to "
           "add property tracelevel, *")}},
  };
}

// ---- The tests

class EveryFailingCall : public fake::FrameworkTest {
 protected:
  void ReleaseModuleState() override { provider_->Unload(); }

  // A life for each failure: `before`, `armed` with the failure on, an answer, the shutdown, the
  // accounts.
  void FailDuring(const char* what, std::size_t at_least, const FailingCalls& table,
                  const std::function<void()>& before, const std::function<KtStatus()>& armed) {
    support::Operation life;
    life.before = [&] {
      framework_.Reset();
      table_ = &provider_->Load();
      shut_down_ = false;
      input_ = framework_.MakePropset();
      output_ = framework_.MakePropset();
      framework_.PutUInt32(input_, "tracelevel", 3);
      before();
    };
    life.armed = armed;
    life.after = [&] {
      if (!shut_down_) {
        EXPECT_NO_THROW(table_->GetAttr(0, 0, 0, 0));
        EXPECT_EQ(Shutdown(), 0u);
      }
      EXPECT_TRUE(fake::Traced(6, "hostkit::__KtApiShutdown(), completed."));
      provider_->Unload();
      EXPECT_TRUE(fake::NothingKept());
    };
    const std::size_t failed = support::FailEveryCall(table, life);
    std::cout << "[ tried    ] " << failed << " failures of " << what << "\n";
    EXPECT_GE(failed, at_least);
  }

  KtStatus Initialize() { return table_->Initialize(framework_.database(), framework_.provider()); }
  void Start() { ASSERT_EQ(Initialize(), 0u); }
  KtStatus Shutdown() {
    shut_down_ = true;
    return table_->Shutdown(0);
  }

  // A control on the system object.
  KtStatus Control(const KtGuid& interface_id, std::uint32_t code) {
    const std::vector<KtObjId> objects = framework_.ObjectsOf("qelm_system");
    std::uint64_t provider = 0;
    const KtStatus status =
        table_->Control(&objects.at(0), 0, code, input_, output_, 0, 0, 0, 0,
                        reinterpret_cast<std::uintptr_t>(&interface_id), 0, &provider);
    EXPECT_EQ(provider, reinterpret_cast<std::uintptr_t>(framework_.provider()));
    return status;
  }

  void AddGroup(const char* child_type) {
    const KtObjId group = framework_.AddObject("QELM_GenericGroup");
    framework_.AddChild(group, framework_.AddObject(child_type));
  }

  std::unique_ptr<support::ProviderUnderTest> provider_ = support::MakeProviderUnderTest();
  const KtProviderTable* table_ = nullptr;
  KtPropset input_ = nullptr;
  KtPropset output_ = nullptr;
  bool shut_down_ = false;
};

TEST_F(EveryFailingCall, OfTheStartGivesTheStatedStatusAndLines) {
  FailDuring(
      "the start", 5 * 19, Joined({Types(), SystemObjectEventsAndControls()}), [] {},
      [this] { return Initialize(); });
}

TEST_F(EveryFailingCall, OfTheStartOnAMultipathOnlyHostGivesTheStatedStatusAndLines) {
  provider_->MakeMultipathOnly();
  FailDuring(
      "the start on a multipath-only host", 5 * 45,
      Joined({Types(), SystemObjectEventsAndControls(), Configuration()}), [] {},
      [this] { return Initialize(); });
}

TEST_F(EveryFailingCall, OfASecondStartGivesTheStatedStatusAndLines) {
  // What is dropped first needs no text to be found.
  const FailingCalls dropped{{.call = "EvUnregisterEvent(*"}};
  const FailingCalls unnamed{{.call = "KtGUIDToString(*"}};
  FailDuring(
      "a second start", 5 * 28,
      Joined({dropped, Types(), SystemObjectEventsAndControls(), unnamed}), [this] { Start(); },
      [this] { return Initialize(); });
}

TEST_F(EveryFailingCall, OfTheTraceLevelControlGivesTheStatedStatusAndLines) {
  for (const KtGuid& interface_id : {client::kSystemInterface, client::kTraceInterface}) {
    FailDuring(
        "the trace-level control", 5 * 8,
        Joined({FindingTheHandler(), TracePreference(), TraceLevel()}), [this] { Start(); },
        [&] { return Control(interface_id, client::kTraceLevelControl); });
  }
}

#ifdef RESTART_IS_HARMLESS
TEST_F(EveryFailingCall, OfTheRestartControlGivesTheStatedStatusAndLines) {
  provider_->FindCommands();
  for (const KtGuid& interface_id : {client::kSystemInterface, client::kRebootInterface}) {
    FailDuring(
        "the restart control", 5 * 5, Joined({FindingTheHandler(), TracePreference()}),
        [this] { Start(); }, [&] { return Control(interface_id, client::kRebootControl); });
  }
}
#endif

TEST_F(EveryFailingCall, OfAnUnknownControlGivesTheStatedStatusAndLines) {
  FailDuring(
      "an unknown control", 5 * 4, FindingTheHandler(), [this] { Start(); },
      [this] { return Control(client::kSystemInterface, 1); });
}

TEST_F(EveryFailingCall, OfTheEventIsPassedOverWithTheStatedLines) {
  const FailingCalls groups{
      {.call = "DbGetObjects(*"}, {.call = "ObGetChildObjects(*"}, {.call = "ObGetObjectType(*"}};
  FailDuring(
      "the event", 5 * 7, Joined({groups, Attaching({})}),
      [this] {
        Start();
        AddGroup("qelm_ktvm_disk");
        AddGroup("qelm_ktvm_volume");
      },
      [this] {
        const KtEventRecord event{0, client::kReadyEvent, nullptr, framework_.database()};
        return table_->ChangeNotify(0, 0, 0, reinterpret_cast<std::uintptr_t>(&event));
      });
}

TEST_F(EveryFailingCall, OfTheVersionIsOutOfMemory) {
  FailDuring(
      "the version", 5, {{.call = "_KtAlloc(32)", .status = kOutOfMemory}}, [this] { Start(); },
      [this] {
        KtWchar* text = nullptr;
        const KtStatus status = table_->Version(&text);
        _KtFree(text);
        return status;
      });
}

TEST_F(EveryFailingCall, OfTheShutdownGivesZeroAndTheUsualLines) {
  FailDuring(
      "the shutdown", 5, {{.call = "EvUnregisterEvent(*"}}, [this] { Start(); },
      [this] { return Shutdown(); });
}

}  // namespace
