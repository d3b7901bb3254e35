#include "objmodel/object.h"

#include <functional>
#include <iterator>
#include <memory>
#include <utility>

#include "base/text.h"
#include "fake/fake_test.h"
#include "lifetime/custom_object_container.h"
#include "objmodel/property_kinds.h"
#include "objmodel/thrown.h"
#include "support/managers_test.h"

namespace {

using fake::Error;
using fake::Warning;
using Names = std::vector<std::string>;

// A wrapper of object number 1, of type "disk".
class Object : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    framework_.AddType("disk");
    id_ = framework_.AddObject("disk");
  }

  std::string Stored(const std::string& name) {
    for (const fake::Property& each : framework_.PropertiesOf(id_)) {
      if (each.name == name) return each.text;
    }
    return "none";
  }

  // Every failing status comes back with the line.
  void FailsWith(const char* function, const std::string& line, const std::function<void()>& call) {
    for (const KtStatus status : fake::kFailures) {
      framework_.ForgetTraces();
      framework_.FailCall(function, 1, status);
      EXPECT_EQ(ThrownBy(call), status);
      EXPECT_EQ(framework_.Traces(), std::vector{Error(line)});
      EXPECT_TRUE(fake::NothingKept());
    }
  }

  KtObjId id_{};
};

// ---- Identity

TEST_F(Object, IsBoundToNothingAtFirst) {
  const CKtObject object;
  EXPECT_TRUE(kt::IsNullId(object.Id()));
  EXPECT_FALSE(object.InTransaction());
  EXPECT_EQ(object.GetContext(), 0u);
}

TEST_F(Object, AsAKeyHasTheCurrentHandlesAndTheIdAlone) {
  const CKtObject key(id_);
  EXPECT_TRUE(Same(key.Id(), id_));
  EXPECT_EQ(key.Database(), framework_.database());
  EXPECT_EQ(key.Provider(), framework_.provider());
  EXPECT_FALSE(key.InTransaction());
  EXPECT_EQ(key.GetContext(), 0u);
}

TEST_F(Object, ComparesByItsIdFieldByFieldAndUnsigned) {
  const KtGuid ascending[] = {
      {1, 0xFFFF, 0xFFFF, {0xFF, 0, 0, 0, 0, 0, 0, 0}}, {2, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
      {2, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0x80}},           {2, 0, 0, {0x80, 0, 0, 0, 0, 0, 0, 0}},
      {2, 0, 0x8000, {0, 0, 0, 0, 0, 0, 0, 0}},         {2, 0x8000, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
      {0x80000000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
  };
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t j = 0; j < std::size(ascending); ++j) {
      EXPECT_EQ(CKtObject(KtObjId{ascending[i]}) < CKtObject(KtObjId{ascending[j]}), i < j);
    }
  }
}

TEST_F(Object, WrapperThatGoesLeavesTheObjectOnTheBus) {
  { const CKtObject object(id_); }
  EXPECT_TRUE(framework_.HasObject(id_));
  EXPECT_TRUE(framework_.CallNames().empty());
}

TEST_F(Object, KeepsItsContextWord) {
  CKtObject object;
  object.SetContext(0x123456789ABCDEFu);
  EXPECT_EQ(object.GetContext(), 0x123456789ABCDEFu);
}

// ---- Create and Destroy

TEST_F(Object, CreateWithoutFlagsUsesThePlainCallUnderTheDatabaseLock) {
  CKtObject object;
  EXPECT_EQ(object.Create("disk", 0), 0u);
  EXPECT_EQ(framework_.CallTexts(),
            (Names{"DbLockDatabase(provider#1)", "ObCreateObject(db#1, provider#1, \"disk\")",
                   "DbUnlockDatabase(provider#1)"}));
  EXPECT_TRUE(framework_.HasObject(object.Id()));
  EXPECT_FALSE(Same(object.Id(), id_));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(Object, CreateWithFlagsUsesTheExtendedCallWithThemAndANullFifthArgument) {
  CKtObject object;
  EXPECT_EQ(object.Create("disk", 6), 0u);
  EXPECT_EQ(framework_.CallNames(),
            (Names{"DbLockDatabase", "ObCreateObjectEx", "DbUnlockDatabase"}));
  EXPECT_THAT(framework_.CallTexts().at(1),
              ::testing::StartsWith("ObCreateObjectEx(db#1, provider#1, \"disk\", 6, null"));
  EXPECT_TRUE(framework_.HasObject(object.Id()));
}

TEST_F(Object, CreateThatFailsReleasesTheDatabaseLockAndIsBoundToNothing) {
  for (const std::uint32_t flags : {0u, 1u}) {
    FailsWith(flags == 0 ? "ObCreateObject" : "ObCreateObjectEx",
              "hostkit: ERROR: CKtObject::Create(), ObCreateObject of type disk failed", [&] {
                CKtObject object(id_);
                try {
                  object.Create("disk", flags);
                } catch (...) {
                  EXPECT_TRUE(kt::IsNullId(object.Id()));
                  EXPECT_EQ(framework_.CallNames().back(), "DbUnlockDatabase");
                  throw;
                }
              });
  }
}

TEST_F(Object, CreateOfAnUnknownTypeThrowsTheFrameworksStatus) {
  CKtObject object;
  EXPECT_EQ(ThrownBy([&] { object.Create("unknown", 0); }), 0xC1000039u);
}

TEST_F(Object, CreateGoesOnWhateverTheDatabaseLockSays) {
  for (const char* function : {"DbLockDatabase", "DbUnlockDatabase"}) {
    framework_.FailCall(function, 1, 5);
    CKtObject object;
    EXPECT_EQ(object.Create("disk", 0), 0u);
    EXPECT_TRUE(framework_.HasObject(object.Id()));
  }
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(Object, DestroyDeletesTheObjectAndMayBeFollowedByAnotherCreate) {
  CKtObject object(id_);
  object.Destroy();
  EXPECT_FALSE(framework_.HasObject(id_));
  EXPECT_TRUE(kt::IsNullId(object.Id()));
  EXPECT_EQ(framework_.CountOf("DbLockDatabase"), 0u);
  object.Create("disk", 0);
  EXPECT_TRUE(framework_.HasObject(object.Id()));
}

TEST_F(Object, DestroyOfAWrapperNeverCreatedOrAlreadyDestroyedThrowsNoObjectAndMakesNoCall) {
  CKtObject never;
  CKtObject destroyed(id_);
  destroyed.Destroy();
  for (CKtObject* object : {&never, &destroyed}) {
    framework_.ForgetCalls();
    framework_.ForgetTraces();
    EXPECT_EQ(ThrownBy([&] { object->Destroy(); }), 0xC1000010u);
    EXPECT_EQ(framework_.Traces(),
              std::vector{
                  Error("hostkit: ERROR: in CKtObject::Destroy(), Cannot destroy a null object.")});
    // The comparison of the id with the null id is all that the framework hears of.
    EXPECT_EQ(framework_.CallNames(), Names{"ObCompareId"});
  }
}

TEST_F(Object, DestroyThatFailsKeepsTheIdAndThrows) {
  CKtObject object(id_);
  FailsWith("ObDeleteObject", "hostkit: ERROR: in CKtObject::Destroy() ObDeleteObject() failed",
            [&] { object.Destroy(); });
  EXPECT_TRUE(Same(object.Id(), id_));
  EXPECT_TRUE(framework_.HasObject(id_));
}

// ---- Properties

TEST_F(Object, ReadsAndWritesPropertiesOnTheBus) {
  CKtObject object(id_);
  EXPECT_EQ(object.AddProp("Size", std::uint64_t{5}, 0), 0u);
  EXPECT_EQ(Stored("Size"), "5");
  std::uint64_t size = 0;
  EXPECT_EQ(object.GetProp("Size", size, false), 5u);
  EXPECT_EQ(framework_.CallNames(), (Names{"ObSetProperty", "ObGetProperty", "PsFreeProperty"}));
}

TEST_F(Object, MissingOptionalPropertyIsFalseAndNothingTraced) {
  const CKtObject object(id_);
  cuvo_property* found = nullptr;
  EXPECT_FALSE(object.GetProp("p", found, true));
  EXPECT_EQ(found, nullptr);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(Object, MissingPropertyIsTracedAtLevelFourAndNotSix) {
  const CKtObject object(id_);
  cuvo_property* found = nullptr;
  EXPECT_EQ(ThrownBy([&] { object.GetProp("p", found, false); }), 0xC1000011u);
  EXPECT_EQ(
      framework_.Traces(),
      std::vector{Warning("hostkit: ERROR: CKtObject::GetProp() : Unable to find property p")});
}

TEST_F(Object, SuccessWithoutARecordIsAMissingProperty) {
  const CKtObject object(id_);
  cuvo_property* found = nullptr;
  framework_.FailCall("ObGetProperty", 1, 0);
  EXPECT_EQ(ThrownBy([&] { object.GetProp("p", found, false); }), 0xC1000001u);
  framework_.FailCall("ObGetProperty", 1, 0);
  EXPECT_FALSE(object.GetProp("p", found, true));
}

TEST_F(Object, TypeThatTheFrameworkLeavesOutIsTheEmptyText) {
  const CKtObject object(id_);
  framework_.FailCall("ObGetObjectType", 1, 0);
  EXPECT_EQ(object.GetType(), "");
}

TEST_F(Object, AddPropertyHasALineForEachOfItsTwoForms) {
  CKtObject object(id_);
  std::uint32_t value = 1;
  const CKtProperty property("p", TYPE_UINT32, 0, 4, &value);
  const cuvo_property& record = property;
  FailsWith("ObSetProperty",
            "hostkit: ERROR: CKtObject::AddProperty(const CKtProperty &property): ObSetProperty "
            "failed",
            [&] { object.AddProperty(property); });
  FailsWith("ObSetProperty",
            "hostkit: ERROR: CKtObject::AddProperty(const cuvo_property &property): ObSetProperty "
            "failed",
            [&] { object.AddProperty(record); });
}

TEST_F(Object, AddPropertyReturnsTheFrameworksStatus) {
  CKtObject object(id_);
  std::uint32_t value = 1;
  const CKtProperty property("p", TYPE_UINT32, 0, 4, &value);
  framework_.FailCall("ObSetProperty", 1, 0x41000012u);
  EXPECT_EQ(object.AddProperty(property), 0x41000012u);
  EXPECT_EQ(object.AddProperty(static_cast<const cuvo_property&>(property)), 0u);
}

TEST_F(Object, GetPropertiesGivesASetThatTheCallerDestroys) {
  CKtObject object(id_);
  object.AddProp("Size", 5, 0);
  CKtPropertySet properties = object.GetProperties();
  EXPECT_EQ(properties.ToString(false), "{Size = 5}");
  EXPECT_EQ(framework_.Outstanding().propsets, 1u);
  properties.Destroy();
  FailsWith("ObGetProperties",
            "hostkit: ERROR: in CKtObject::GetProperties() ObGetProperties() failed",
            [&] { static_cast<void>(object.GetProperties()); });
}

TEST_F(Object, GetTypeGivesTheNameAndReleasesTheFrameworksText) {
  const CKtObject object(id_);
  EXPECT_EQ(object.GetType(), "disk");
  EXPECT_EQ(framework_.CountOf("_KtFree"), 1u);
  FailsWith("ObGetObjectType", "hostkit: ERROR: in CKtObject::GetType() ObGetObjectType() failed",
            [&] { static_cast<void>(object.GetType()); });
}

TEST_F(Object, TextFormIsThatOfItsCurrentPropertiesWhichAreDestroyedAfterwards) {
  CKtObject object(id_);
  object.AddProp("Size", std::uint32_t{5}, 0);
  object.AddProp("Name", KtWString(KT_W("x")), 0);
  EXPECT_EQ(object.ToString("Size", false, true), "(TYPE_UINT32) 5");
  EXPECT_EQ(object.ToString("missing", true, true), "");
  EXPECT_EQ(object.ToStringEx(false), "{Size = 5, Name = x}");
  EXPECT_EQ(object.ToStringEx(true), "{Size = (TYPE_UINT32) 5, Name = (TYPE_WSTR) x}");
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(Object, TextFormThatThrowsDestroysThePropertiesToo) {
  CKtObject object(id_);
  object.AddProp("times", std::vector{KtTime{1}}, 0);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(object.ToString("times", false, false)); }),
            0xC100003Au);
  EXPECT_TRUE(fake::NothingKept());
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(object.ToString("missing", false, false)); }),
            0xC1000011u);
  EXPECT_TRUE(fake::NothingKept());
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(object.ToStringEx(false)); }), 0xC100003Au);
  EXPECT_TRUE(fake::NothingKept());
}

// ---- Interfaces

TEST_F(Object, RegisterInterfaceTakesItsOwnProviderForANullOwner) {
  CKtObject object(id_);
  EXPECT_EQ(object.RegisterInterface(kGuidOne, nullptr), 0u);
  EXPECT_EQ(framework_.InterfaceOwner(id_, kGuidOne), framework_.provider());
  const KtProvider other = framework_.MakeProvider();
  EXPECT_EQ(object.RegisterInterface(kGuidTwo, other), 0u);
  EXPECT_EQ(framework_.InterfaceOwner(id_, kGuidTwo), other);
}

TEST_F(Object, RegisterInterfaceOfOneThatIsThereReturnsZeroAndTracesNothing) {
  CKtObject object(id_);
  object.RegisterInterface(kGuidOne, nullptr);
  EXPECT_EQ(object.RegisterInterface(kGuidOne, nullptr), 0u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(Object, RegisterInterfaceHasThreeMessagesForItsFailures) {
  const std::pair<KtStatus, const char*> rows[] = {
      {0xC1000010u, "), invalid object (KTERROR_NO_OBJECT)."},
      {0x80070057u, "), invalid arguments to ObRegisterInterface()."},
      {0xC1000001u, ") call to ObRegisterInterface failed."},
      {5u, ") call to ObRegisterInterface failed."},
  };
  CKtObject object(id_);
  for (const auto& [status, ending] : rows) {
    framework_.ForgetTraces();
    framework_.FailCall("ObRegisterInterface", 1, status);
    EXPECT_EQ(ThrownBy([&] { object.RegisterInterface(kGuidOne, nullptr); }), status);
    EXPECT_EQ(framework_.Traces(),
              std::vector{Error(std::string("hostkit: ERROR: in CKtObject::RegisterInterface(") +
                                kGuidOneText + ending)});
    EXPECT_TRUE(fake::NothingKept());
  }
}

TEST_F(Object, RegisterInterfaceThrowsItsStatusAlsoWithoutMemoryForTheText) {
  CKtObject object(id_);
  framework_.FailCall("ObRegisterInterface", 1, 5);
  framework_.FailCall("KtGUIDToString", 1, 5);
  EXPECT_EQ(ThrownBy([&] { object.RegisterInterface(kGuidOne, nullptr); }), 5u);
  EXPECT_EQ(framework_.Traces(),
            std::vector{Error("hostkit: ERROR: in CKtObject::RegisterInterface((null)) call to "
                              "ObRegisterInterface failed.")});
}

TEST_F(Object, RegisterInterfaceOnTheNullIdIsAnInvalidObject) {
  CKtObject object{KtObjId{}};
  EXPECT_EQ(ThrownBy([&] { object.RegisterInterface(kGuidOne, nullptr); }), 0xC1000010u);
}

// ---- Names and states

TEST_F(Object, NameIsAWideText) {
  CKtObject object(id_);
  EXPECT_EQ(object.SetName(KT_W("g\u00E4mma")), 0u);
  EXPECT_EQ(object.GetName(), KT_W("g\u00E4mma"));
  EXPECT_EQ(framework_.PropertiesOf(id_).at(0).type, TYPE_WSTR);
}

TEST_F(Object, NameThatIsMissingThrows) {
  const CKtObject object(id_);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(object.GetName()); }), 0xC1000011u);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(object.GetNameI18N()); }), 0xC1000011u);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(object.GetState()); }), 0xC1000011u);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(object.GetStateDescription()); }), 0xC1000011u);
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(Object, NameIsReadableWhereTheMessageHasBytesThatAreNoCharacters) {
  CKtObject object(id_);
  EXPECT_EQ(object.SetNameI18N(KtI18NDef{kGuidOne, 7, 0, "caf\xE9 %1"}, "A"), 0u);
  EXPECT_EQ(object.GetName(), KT_W("caf\uFFFD A"));
}

TEST_F(Object, NameEqualsTheFormattedTextAfterAnySetNameI18N) {
  CKtObject object(id_);
  EXPECT_EQ(object.SetNameI18N(kMessageOne), 0u);
  EXPECT_EQ(Stored("Name"), "Disk %1");
  EXPECT_EQ(object.SetNameI18N(kMessageOne, "A"), 0u);
  EXPECT_EQ(Stored("Name"), "Disk A");
  EXPECT_EQ(object.SetNameI18N(kMessageOne, KT_W("\u00C4")), 0u);
  EXPECT_EQ(Stored("Name"), "Disk \xC3\x84");
  CKtI18NFM message(kMessageOne);
  I18nAddInsertionString(message.Insertions(), 1, "C");
  EXPECT_EQ(object.SetNameI18N(message), 0u);
  EXPECT_EQ(Stored("Name"), "Disk C");
  EXPECT_EQ(kt::Narrow(object.GetName()), object.GetNameI18N().Format());
}

TEST_F(Object, NameIsSetBeforeTheMessage) {
  CKtObject object(id_);
  object.SetNameI18N(kMessageOne);
  const std::vector<fake::Property> properties = framework_.PropertiesOf(id_);
  ASSERT_EQ(properties.size(), 2u);
  EXPECT_EQ(properties[0].name, "Name");
  EXPECT_EQ(properties[1].name, "NameI18N");
  EXPECT_EQ(properties[1].type, TYPE_I18NFORMATSTRING);
}

TEST_F(Object, SetNameI18NTracesAndThrowsWhenTheInsertionCannotBeAdded) {
  CKtObject object(id_);
  FailsWith("I18nAddInsertionString",
            "hostkit: ERROR: in CKtObject::SetNameI18N() I18nAddInsertionString() failed",
            [&] { object.SetNameI18N(kMessageOne, "A"); });
  FailsWith("I18nAddInsertionWideString",
            "hostkit: ERROR: in CKtObject::SetNameI18N() I18nAddInsertionWideString() failed",
            [&] { object.SetNameI18N(kMessageOne, KT_W("A")); });
  EXPECT_TRUE(framework_.PropertiesOf(id_).empty());
}

TEST_F(Object, StateIsAnUnsignedNumber) {
  CKtObject object(id_);
  EXPECT_EQ(object.SetState(4000000000u), 0u);
  EXPECT_EQ(object.GetState(), 4000000000u);
  EXPECT_EQ(framework_.PropertiesOf(id_).at(0).type, TYPE_UINT32);
}

TEST_F(Object, StateDescriptionTouchesNeitherStateNorName) {
  CKtObject object(id_);
  object.SetStateDescription(kMessageOne);
  CKtI18NFM message(kMessageTwo);
  I18nAddInsertionString(message.Insertions(), 1, "C");
  object.SetStateDescription(message);
  ASSERT_EQ(framework_.PropertiesOf(id_).size(), 1u);
  EXPECT_EQ(framework_.PropertiesOf(id_).at(0).name, "StateDescription");
  const CKtI18NFM back = object.GetStateDescription();
  EXPECT_TRUE(Same(back, message));
}

TEST_F(Object, NameI18NOfAnotherTypeIsRefused) {
  CKtObject object(id_);
  object.AddProp("NameI18N", 1, 0);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(object.GetNameI18N()); }), 0xC100003Au);
  EXPECT_TRUE(fake::NothingKept());
}

// ---- Lazy deletion

TEST_F(Object, LazyDeleteHandsTheWrapperToTheContainer) {
  auto wrapper = std::make_unique<CKtObject>(id_);
  CKtObject* const object = wrapper.get();
  object->SetName(KT_W("n"));
  CKtCustomObjectContainer& container = CKtCustomObjectContainer::Instance();
  ASSERT_EQ(container.Add(std::move(wrapper)), 0u);
  EXPECT_EQ(object->LazyDelete(), 0u);
  EXPECT_FALSE(framework_.HasObject(id_));
  EXPECT_EQ(container.Count().queued, 1u);
  container.FlushLazyDeleteQueue();
  EXPECT_EQ(container.Count().queued, 0u);
}

}  // namespace
