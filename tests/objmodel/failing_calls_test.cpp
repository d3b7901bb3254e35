// Every operation of the object model with every framework call that it makes made to fail in turn,
// with statuses of every kind: the tables say what is thrown and told. Nothing is kept.

#include <array>
#include <functional>

#include "fake/fake_test.h"
#include "objmodel/object.h"
#include "objmodel/property_kinds.h"
#include "objmodel/thrown.h"
#include "objmodel/type_object.h"
#include "objmodel/value_text.h"
#include "support/failing_calls.h"

namespace {

using fake::Error;
using fake::Warning;
using support::FailingCalls;
using support::kItsOwn;

constexpr KtStatus kNoMemory = 0x8007000E;
constexpr KtStatus kUnexpected = 0xC1000001;
constexpr KtStatus kThereAlready = 0xC1000013;  // the fake's answer to a second property of a name

// ---- What is told

const fake::TraceLine kNotFound =
    Warning("hostkit: ERROR: CKtPropertySet::FindProperty() : Unable to find property {name}");
const fake::TraceLine kNotFoundOnObject =
    Warning("hostkit: ERROR: CKtObject::GetProp() : Unable to find property {name}");
const fake::TraceLine kNotPrinted = Error(
    "hostkit: ERROR: CKtPropertySet::ToString(propId), property ({name}) doesn't exist in this "
    "property set, and isOptionalProp=cuvo_false.");
const fake::TraceLine kNotAdded = Error(
    "hostkit: ERROR: {status} CKtPropertySet::AddProperty(CKtProperty) Failed to add property "
    "{name}, *");
const fake::TraceLine kNoSet =
    Error("hostkit: ERROR: in CKtPropertySet::Create() PsCreatePropset() failed");
const fake::TraceLine kSetNotDestroyed =
    Error("hostkit: ERROR: in CKtPropertySet::Destroy() PsDestroyPropset() failed");
const fake::TraceLine kNoKeys =
    Error("hostkit: ERROR: in CKtPropertySet::GetKeys() PsOpenPropset() failed");
const fake::TraceLine kNotConverted =
    Error("hostkit: ERROR: no memory to convert a text of * units");
const fake::TraceLine kNotSet = Error(
    "hostkit: ERROR: CKtObject::AddProperty(const CKtProperty &property): ObSetProperty failed");

// ---- What operations have in common

FailingCalls Joined(std::initializer_list<FailingCalls> tables) {
  FailingCalls all;
  for (const FailingCalls& table : tables) all.insert(all.end(), table.begin(), table.end());
  return all;
}

// A look-up that must succeed, and the release of what it found.
FailingCalls LookUp() {
  return {
      {.call = "PsFindProperty(*", .status = kItsOwn, .lines = {kNotFound}},
      {.call = "PsFreeProperty(*"},
  };
}

// Names are listed up to the first failure; only the beginning must succeed.
FailingCalls Keys() {
  return {
      {.call = "PsOpenPropset(*", .status = kUnexpected, .lines = {kNoKeys}},
      {.call = "PsFindNextProperty(*"},
      {.call = "KtCloseHandle(*"},
  };
}

// A message is made, copied and destroyed.
FailingCalls MessageMade() {
  return {{.call = "PsCreatePropset(*",
           .status = kItsOwn,
           .lines = {Error("ERROR: in CKtI18NFM::Create() PsCreatePropset() failed")}}};
}
FailingCalls MessageCopied() {
  return {{.call = "PsCopyPropset(*",
           .status = kItsOwn,
           .lines = {Error("ERROR: in CKtI18NFM(const CKtI18NFM &data) PsCopyPropset() failed")}}};
}
FailingCalls MessageDestroyed() {
  return {{.call = "PsDestroyPropset(*",
           .status = kItsOwn,
           .lines = {Error("ERROR: in CKtI18NFM::~CKtI18NFM() PsDestroyPropset() failed")}}};
}

// A message is made plain text: what cannot be read is told and left out, nothing is thrown.
FailingCalls Formatted() {
  return {
      {.call = "PsOpenPropset(*", .lines = {kNoKeys}},
      {.call = "PsFindNextProperty(*"},
      {.call = "KtCloseHandle(*"},
      {.call = "PsFindProperty(*", .lines = {kNotFound}},
      {.call = "PsFreeProperty(*"},
      {.call = "_KtAlloc(2)", .lines = {kNotConverted}},  // the insertion "A" or "B" made narrow
  };
}

// A set is printed: each property is looked up for its type, then for its value.
FailingCalls Printed() {
  return Joined(
      {{{.call = "PsFindProperty(* #2", .status = kItsOwn, .lines = {kNotFound}},
        {.call = "PsFindProperty(*", .status = kItsOwn, .lines = {kNotFound, kNotPrinted}},
        {.call = "PsFreeProperty(*"},
        // Of nested sets, which are the reader's to destroy.
        {.call = "PsDestroyPropset(*", .status = kItsOwn, .lines = {kSetNotDestroyed}}},
       Keys()});
}
FailingCalls TextsPrinted() {
  return {{.call = "_KtAlloc(*", .status = kNoMemory, .lines = {kNotConverted}},
          {.call = "KtGUIDToString(*"}};  // a GUID without its text prints nothing
}

// ---- The tests

class EveryFailingCall : public fake::FrameworkTest {
 protected:
  // `operation` in a fresh world, again and again.
  void Run(
      const FailingCalls& table, const std::function<void()>& operation,
      const std::function<void()>& before = [] {}) {
    support::Operation all;
    all.before = [&] {
      framework_.Reset();
      kt::SetHandles(framework_.database(), framework_.provider());
      framework_.AddType("disk");
      id_ = framework_.AddObject("disk");
      set_ = CKtPropertySet(framework_.MakePropset());
      before();
    };
    all.armed = [&] { return ThrownBy(operation); };
    all.after = [] { EXPECT_TRUE(fake::NothingKept()); };
    EXPECT_GT(support::FailEveryCall(table, all), 0u);
  }

  static void FillWithEverything(CKtPropertySetBase& set) {
    CKtI18NFM message(kMessageOne);
    I18nAddInsertionString(message.Insertions(), 1, "A");
    set.AddProp("number", 1, 0);
    set.AddProp("text", KtWString(KT_W("wide")), 0);
    set.AddProp("block", static_cast<const void*>("abc"), 3, 0);
    set.AddProp("guid", kGuidOne, 0);
    set.AddProp("message", kMessageOne, 0);
    set.AddProp("format", message, 0);
    set.AddProp("set", SampleSet(1), 0);
    set.AddProp("sets", std::vector{SampleSet(1), SampleSet(2)}, 0);
    set.AddProp("texts", std::vector<KtWString>{KT_W("a"), KT_W("b")}, 0);
    set.AddProp("guids", std::vector{kGuidOne, kGuidTwo}, 0);
    set.AddProp("messages", std::vector{kMessageOne, kMessageTwo}, 0);
  }

  KtObjId id_{};
  CKtPropertySet set_;
};

TEST_F(EveryFailingCall, OfAddingToASetIsThrownAsItIs) {
  const FailingCalls table{
      {.call = "PsFindProperty(*"},  // taken for absent, and added
      {.call = "PsAddProperty(*", .status = kItsOwn, .lines = {kNotAdded}},
  };
  Run(table, [&] { set_.AddProp("p", 1, 0); });
  Run(table, [&] { set_.AddProp("p", std::string("narrow"), 0); });
  Run(table, [&] { set_.AddProp("p", KtWString(KT_W("wide")), 0); });
}

TEST_F(EveryFailingCall, OfReplacingInASetIsThrownAsItIs) {
  Run(
      {{.call = "PsFindProperty(*",  // taken for absent: the property is then there twice
        .status = kThereAlready,
        .lines = {Error("hostkit: ERROR: c1000013 CKtPropertySet::AddProperty(CKtProperty) Failed "
                        "to add property p, *")}},
       {.call = "PsSetProperty(*",
        .status = kItsOwn,
        .lines = {Error("hostkit: ERROR: CKtPropertySet::SetProperty(CKtProperty) Failed to set "
                        "property p, setting a property to the same value twice is invalid.")}},
       {.call = "PsFreeProperty(*"}},
      [&] { set_.AddProp("p", 2, 0); }, [&] { set_.AddProp("p", 1, 0); });
}

TEST_F(EveryFailingCall, OfReadingFromASetIsThrownAsItIs) {
  Run(
      LookUp(),
      [&] {
        std::int32_t number = 0;
        set_.GetProp("number", number, false);
        KtWString text;
        set_.GetProp("text", text, false);
        std::vector<KtWString> texts;
        set_.GetProp("texts", texts, false);
        void* data = nullptr;
        std::uint32_t length = 0;
        set_.GetProp("block", data, length, false);
        kt::FreeBinary(data);
      },
      [&] { FillWithEverything(set_); });
}

TEST_F(EveryFailingCall, OfReadingAListOfSetsIsThrownAsItIs) {
  Run(
      {{.call = "PsFindProperty(*", .status = kItsOwn, .lines = {kNotFound}},
       {.call = "PsDestroyPropset(*"}},  // of the caller's own
      [&] {
        std::vector<KtPropset> sets;
        set_.GetProp("sets", sets, false);
        for (const KtPropset each : sets) static_cast<void>(PsDestroyPropset(each));
      },
      [&] { FillWithEverything(set_); });
}

TEST_F(EveryFailingCall, OfReadingAListOfMessagesIsThrownAsItIs) {
  Run(
      Joined({LookUp(), MessageMade(), MessageCopied(), MessageDestroyed()}),
      [&] {
        std::vector<CKtI18NFM> messages;
        set_.GetProp("formats", messages, false);
        kt::DestroyMessages(messages);
      },
      [&] {
        const std::vector<KtI18NFormatString> records{{kMessageOne, SampleSet(1)},
                                                      {kMessageTwo, nullptr}};
        set_.AddProp("formats", records, 0);
      });
}

TEST_F(EveryFailingCall, OfReadingAMessageIsThrownAsItIs) {
  Run(
      Joined({LookUp(), MessageMade(), MessageCopied(), MessageDestroyed()}),
      [&] {
        CKtI18NFM message;
        cuvo_property* found = nullptr;
        set_.GetProp("format", found, false);
        CKtPropertySetBase::GetProp("format", message, found);
        CKtI18N plain;
        set_.GetProp("message", found, false);
        CKtPropertySetBase::GetProp("message", plain, found);
      },
      [&] { FillWithEverything(set_); });
}

TEST_F(EveryFailingCall, OfPrintingASetIsThrownWithTheNameOfTheProperty) {
  Run(
      Joined({Printed(), TextsPrinted()}), [&] { static_cast<void>(set_.ToString(true)); },
      [&] { FillWithEverything(set_); });
}

TEST_F(EveryFailingCall, OfMakingCopyingAndDroppingMessagesIsThrownAsItIs) {
  Run(Joined({MessageMade(), MessageCopied(), MessageDestroyed()}), [] {
    const CKtI18NFM source(kMessageOne);
    CKtI18NFM copy(source);
    copy = source;
    copy.Create();
  });
}

TEST_F(EveryFailingCall, OfPrintingAMessageLeavesOutTheCatalog) {
  const CKtI18N message(kMessageOne);
  Run({{.call = "KtGUIDToString(*"}}, [&] {
    EXPECT_EQ(kt::ValueText(message).find("messageId=7, name=\"Disk %1\", catalog="), 0u);
  });
}

TEST_F(EveryFailingCall, OfFormattingIsNeverThrown) {
  KtPropset insertions = nullptr;
  KtI18NFormatString record{};
  Run(
      Joined({MessageCopied(), Formatted(), MessageDestroyed()}),
      [&] { EXPECT_NE(CKtI18NFM(record).Format(), ""); },
      [&] {
        insertions = framework_.MakePropset();
        I18nAddInsertionString(insertions, 1, "A");
        I18nAddInsertionWideString(insertions, 2, KT_W("B"));
        CKtPropertySet(insertions).AddProp("p3", kMessageOne, 0);
        record = {KtI18NDef{kGuidOne, 1, 0, "%1 %2 %3"}, insertions};
      });
}

TEST_F(EveryFailingCall, OfCreatingAndDestroyingAnObjectIsThrownButForTheLock) {
  for (const std::uint32_t flags : {0u, 3u}) {
    Run({{.call = "DbLockDatabase(*"},
         {.call = "DbUnlockDatabase(*"},
         {.call = flags == 0 ? "ObCreateObject(*" : "ObCreateObjectEx(*",
          .status = kItsOwn,
          .lines = {Error("hostkit: ERROR: CKtObject::Create(), ObCreateObject of type disk "
                          "failed")}},
         {.call = "ObDeleteObject(*",
          .status = kItsOwn,
          .lines = {Error("hostkit: ERROR: in CKtObject::Destroy() ObDeleteObject() failed")}}},
        [flags] {
          CKtObject object;
          object.Create("disk", flags);
          object.Destroy();
        });
  }
}

TEST_F(EveryFailingCall, OfNamingAnObjectIsThrownButForTheFormatting) {
  Run(Joined({MessageMade(),
              Formatted(),
              {{.call = "I18nAddInsertionString(*",
                .status = kItsOwn,
                .lines = {Error("hostkit: ERROR: in CKtObject::SetNameI18N() "
                                "I18nAddInsertionString() failed")}},
               {.call = "I18nAddInsertionWideString(*",
                .status = kItsOwn,
                .lines = {Error("hostkit: ERROR: in CKtObject::SetNameI18N() "
                                "I18nAddInsertionWideString() failed")}},
               // The plain name made wide.
               {.call = "_KtAlloc(*", .status = kNoMemory, .lines = {kNotConverted}},
               {.call = "ObSetProperty(*", .status = kItsOwn, .lines = {kNotSet}}},
              MessageDestroyed()}),
      [&] {
        CKtObject object(id_);
        object.SetNameI18N(kMessageOne);
        object.SetNameI18N(kMessageOne, "A");
        object.SetNameI18N(kMessageOne, KT_W("A"));
      });
}

TEST_F(EveryFailingCall, OfSettingTheStateOfAnObjectIsThrownAsItIs) {
  Run(Joined({MessageMade(),
              {{.call = "ObSetProperty(*", .status = kItsOwn, .lines = {kNotSet}}},
              MessageDestroyed()}),
      [&] {
        CKtObject object(id_);
        object.SetState(1);
        object.SetStateDescription(kMessageOne);
      });
}

TEST_F(EveryFailingCall, OfReadingNamesAndStatesOfAnObjectIsThrownAsItIs) {
  Run(
      Joined({MessageMade(),
              MessageCopied(),
              {{.call = "ObGetProperty(*", .status = kItsOwn, .lines = {kNotFoundOnObject}},
               {.call = "PsFreeProperty(*"}},
              MessageDestroyed()}),
      [&] {
        const CKtObject object(id_);
        static_cast<void>(object.GetName());
        static_cast<void>(object.GetNameI18N());
        static_cast<void>(object.GetState());
        static_cast<void>(object.GetStateDescription());
      },
      [&] {
        CKtObject object(id_);
        object.SetNameI18N(kMessageOne, "A");
        object.SetState(1);
        object.SetStateDescription(kMessageOne);
      });
}

TEST_F(EveryFailingCall, OfAskingAnObjectForItsTypeIsThrownAsItIs) {
  Run({{.call = "ObGetObjectType(*",
        .status = kItsOwn,
        .lines = {Error("hostkit: ERROR: in CKtObject::GetType() ObGetObjectType() failed")}}},
      [&] { static_cast<void>(CKtObject(id_).GetType()); });
}

TEST_F(EveryFailingCall, OfPrintingAnObjectIsThrownAsForItsSet) {
  const FailingCalls table =
      Joined({{{.call = "ObGetProperties(*",
                .status = kItsOwn,
                .lines = {Error("hostkit: ERROR: in CKtObject::GetProperties() ObGetProperties() "
                                "failed")}}},
              Printed()});
  const auto fill = [&] {
    CKtObject object(id_);
    FillWithEverything(object);
  };
  Run(
      table, [&] { static_cast<void>(CKtObject(id_).ToString("sets", false, true)); }, fill);
  Run(
      Joined({table, TextsPrinted()}), [&] { static_cast<void>(CKtObject(id_).ToStringEx(true)); },
      fill);
}

TEST_F(EveryFailingCall, OfRegisteringAnInterfaceIsThrownWithTheLineOfItsStatus) {
  const std::string line =
      std::string("hostkit: ERROR: in CKtObject::RegisterInterface(") + kGuidOneText + ")";
  Run({{.call = "ObRegisterInterface(*",
        .status = kItsOwn,
        .lines = {Error(line + ", invalid object (KTERROR_NO_OBJECT).")},
        .only_for = 0xC1000010},
       {.call = "ObRegisterInterface(*",
        .status = kItsOwn,
        .lines = {Error(line + ", invalid arguments to ObRegisterInterface().")},
        .only_for = 0x80070057},
       {.call = "ObRegisterInterface(*",
        .status = kItsOwn,
        .lines = {Error(line + " call to ObRegisterInterface failed.")}}},
      [&] { CKtObject(id_).RegisterInterface(kGuidOne, nullptr); });
}

TEST_F(EveryFailingCall, OfATransactionIsThrownAsItIs) {
  Run(Joined({{{.call = "PsCreatePropset(*", .status = kItsOwn, .lines = {kNoSet}},
               // The commit looks each property up again.
               {.call = "PsFindProperty(* #2", .status = kItsOwn, .lines = {kNotFound}},
               {.call = "PsFindProperty(*"},  // taken for absent, and added
               {.call = "PsAddProperty(*", .status = kItsOwn, .lines = {kNotAdded}},
               {.call = "ObSetProperty(*",
                .status = kItsOwn,
                .lines = {Error("hostkit: ERROR: in CKtObject::CommitTransaction() ObSetProperty() "
                                "of property {name} failed")}},
               {.call = "PsFreeProperty(*"},
               {.call = "PsDestroyPropset(*", .status = kItsOwn, .lines = {kSetNotDestroyed}}},
              Keys()}),
      [&] {
        CKtObject object(id_);
        object.BeginTransaction();
        object.AddProp("a", 1, 0);
        object.AddProp("b", 2, 0);
        object.CommitTransaction();
      });
}

TEST_F(EveryFailingCall, OfRegisteringATypeIsThrownButForTheSet) {
  const std::array<const KtGuid*, 3> interfaces{&kGuidTwo, &kGuidOne, nullptr};
  const std::array<const char*, 2> superclasses{"disk", nullptr};
  const KtTypeDescriptor descriptor{interfaces.data(), superclasses.data()};
  Run({{.call = "PsCreatePropset(*",
        .status = kItsOwn,
        .lines = {kNoSet},
        .rest = support::Rest::kLeftOut},
       {.call = "PsFindProperty(*"},  // taken for absent, and added
       {.call = "PsAddProperty(*",
        .status = kItsOwn,
        .lines = {kNotAdded},
        .rest = support::Rest::kLeftOut},
       {.call = "ObCreateTypeObject(*",
        .status = kItsOwn,
        .lines = {Error("ERROR: Type registration failed for type: kind, {status}")}},
       {.call = "ObRegisterInterfaceOnType(*",
        .status = kItsOwn,
        .lines = {Error("ERROR: CKtTypeObject::Register() Unable to register interface ({guid}) on "
                        "type object ({0000*}) of type (kind)")}},
       {.call = "PsDestroyPropset(*", .lines = {kSetNotDestroyed}}},
      [&] {
        CKtTypeObject type("kind");
        type.AddProp("VENDOR", KtWString(KT_W("TORMELD")), 0);
        type.SetDescriptor(&descriptor);
        type.Register();
      });
}

}  // namespace
