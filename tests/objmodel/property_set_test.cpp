#include "objmodel/property_set.h"

#include <utility>

#include "fake/fake_test.h"
#include "objmodel/thrown.h"

namespace {

using fake::Error;
using fake::Warning;

class PropertySet : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    set_ = CKtPropertySet(framework_.MakePropset());
    framework_.ForgetCalls();
  }

  CKtProperty Number(const char* name) { return {name, TYPE_UINT32, 0, 4, &value_}; }

  std::uint32_t value_ = 1;
  CKtPropertySet set_;
};

TEST_F(PropertySet, IsEmptyAndCallsNothingUntilItIsCreated) {
  { const CKtPropertySet set; }
  EXPECT_TRUE(framework_.Calls().empty());
}

TEST_F(PropertySet, LeavesTheFrameworksSetAloneWhenItGoes) {
  CKtPropertySet set;
  set.Create();
  const KtPropset handle = set.Handle();
  { const CKtPropertySet view(handle); }
  EXPECT_TRUE(framework_.HasPropset(handle));
  set.Destroy();
  EXPECT_FALSE(framework_.HasPropset(handle));
}

TEST_F(PropertySet, DestroyTwiceIsHarmless) {
  CKtPropertySet set;
  set.Create();
  set.Destroy();
  framework_.ForgetCalls();
  EXPECT_EQ(ThrownBy([&] { set.Destroy(); }), 0u);
  EXPECT_TRUE(framework_.Calls().empty());
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, CreateTracesAndThrowsWhenTheFrameworkFails) {
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    framework_.FailCall("PsCreatePropset", 1, status);
    CKtPropertySet set;
    EXPECT_EQ(ThrownBy([&] { set.Create(); }), status);
    EXPECT_EQ(set.Handle(), nullptr);
    EXPECT_EQ(
        framework_.Traces(),
        std::vector{Error("hostkit: ERROR: in CKtPropertySet::Create() PsCreatePropset() failed")});
  }
}

TEST_F(PropertySet, DestroyIsEmptyAfterwardsAlsoWhenTheFrameworkFails) {
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    CKtPropertySet set;
    set.Create();
    framework_.FailCall("PsDestroyPropset", 1, status);
    EXPECT_EQ(ThrownBy([&] { set.Destroy(); }), status);
    EXPECT_EQ(set.Handle(), nullptr);
    EXPECT_EQ(framework_.Traces(),
              std::vector{
                  Error("hostkit: ERROR: in CKtPropertySet::Destroy() PsDestroyPropset() failed")});
  }
}

TEST_F(PropertySet, AddsAPropertyThatIsNotThere) {
  EXPECT_EQ(set_.AddProperty(Number("a")), 0u);
  EXPECT_EQ(framework_.CallNames(), (std::vector<std::string>{"PsFindProperty", "PsAddProperty"}));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, AddingAPropertyThatIsThereReplacesItsValue) {
  set_.AddProperty(Number("a"));
  framework_.ForgetCalls();
  value_ = 2;
  EXPECT_EQ(set_.AddProperty(Number("a")), 0u);
  EXPECT_EQ(framework_.CallNames(),
            (std::vector<std::string>{"PsFindProperty", "PsSetProperty", "PsFreeProperty"}));
  EXPECT_EQ(framework_.PropertiesOf(set_.Handle()).at(0).text, "2");
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, AddingAPropertyThatIsThereGoesThroughSetProperty) {
  struct Counting : CKtPropertySet {
    KtStatus SetProperty(const CKtProperty& property) override {
      names.emplace_back(property.name);
      return 0;
    }
    std::vector<std::string> names;
  } counting;
  counting.Create();
  EXPECT_EQ(counting.AddProperty(Number("a")), 0u);
  EXPECT_TRUE(counting.names.empty());
  EXPECT_EQ(counting.AddProperty(Number("a")), 0u);
  EXPECT_EQ(counting.names, std::vector<std::string>{"a"});
  counting.Destroy();
}

TEST_F(PropertySet, SettingAPropertyToTheValueItHasReturnsZero) {
  set_.AddProperty(Number("a"));
  EXPECT_EQ(set_.SetProperty(Number("a")), 0u);
  EXPECT_EQ(set_.AddProperty(Number("a")), 0u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, SetPropertyReturnsAnyOtherSuccessAsItIs) {
  set_.AddProperty(Number("a"));
  framework_.FailCall("PsSetProperty", 1, 0x41000001u);
  EXPECT_EQ(set_.SetProperty(Number("a")), 0x41000001u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, SetPropertyHasOneLineForEveryFailure) {
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    framework_.FailCall("PsSetProperty", 1, status);
    EXPECT_EQ(ThrownBy([&] { set_.SetProperty(Number("a")); }), status);
    EXPECT_EQ(framework_.Traces(),
              std::vector{Error("hostkit: ERROR: CKtPropertySet::SetProperty(CKtProperty) Failed "
                                "to set property a, setting a property to the same value twice is "
                                "invalid.")});
  }
}

TEST_F(PropertySet, AddPropertyReleasesTheFoundRecordWhenSettingThrows) {
  set_.AddProperty(Number("a"));
  value_ = 2;
  framework_.FailCall("PsSetProperty", 1, 0x8007000Eu);
  EXPECT_EQ(ThrownBy([&] { set_.AddProperty(Number("a")); }), 0x8007000Eu);
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(PropertySet, AddPropertyTracesStatusNameAndValueFieldWhenAddingFails) {
  const CKtProperty property = Number("a");
  framework_.FailCall("PsAddProperty", 1, 0xC1000013u);
  EXPECT_EQ(ThrownBy([&] { set_.AddProperty(property); }), 0xC1000013u);
  // The value field is a pointer: its low 32 bits as a signed number.
  const auto field = static_cast<std::int32_t>(
      static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&value_)));
  EXPECT_EQ(framework_.Traces(),
            std::vector{Error("hostkit: ERROR: c1000013 CKtPropertySet::AddProperty(CKtProperty) "
                              "Failed to add property a, " +
                              std::to_string(field))});
}

TEST_F(PropertySet, AddPropertyTakesAnyFailingLookUpForAbsence) {
  for (const KtStatus status : fake::kFailures) {
    const CKtPropertySet fresh(framework_.MakePropset());
    CKtPropertySet set(fresh);
    framework_.FailCall("PsFindProperty", 1, status);
    EXPECT_EQ(set.AddProperty(Number("a")), 0u);
  }
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, AddPropertyOfAFrameworkRecordOnlyAdds) {
  const cuvo_property record = Number("a");
  EXPECT_EQ(set_.AddProperty(record), 0u);
  EXPECT_EQ(framework_.CallNames(), (std::vector<std::string>{"PsAddProperty"}));
  EXPECT_EQ(ThrownBy([&] { set_.AddProperty(record); }), 0xC1000013u);
  EXPECT_EQ(framework_.Traces(),
            std::vector{Error("hostkit: ERROR: in CKtPropertySet::AddProperty(property) Failed to "
                              "add property a")});
}

TEST_F(PropertySet, RawLookUpHandsTheRecordToTheCaller) {
  set_.AddProperty(Number("a"));
  cuvo_property* found = nullptr;
  EXPECT_TRUE(set_.GetProp("a", found, false));
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(framework_.Outstanding().records, 1u);
  PsFreeProperty(found);
}

TEST_F(PropertySet, RawLookUpLeavesTheOutputAloneWhenOptionalAndMissing) {
  cuvo_property mine{};
  cuvo_property* found = &mine;
  EXPECT_FALSE(set_.GetProp("a", found, true));
  EXPECT_EQ(found, &mine);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, RawLookUpThrowsWhateverStatusTheFrameworkGives) {
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    framework_.FailCall("PsFindProperty", 1, status);
    cuvo_property* found = nullptr;
    EXPECT_EQ(ThrownBy([&] { set_.GetProp("a", found, false); }), status);
    EXPECT_EQ(framework_.Traces(),
              std::vector{Warning(
                  "hostkit: ERROR: CKtPropertySet::FindProperty() : Unable to find property a")});
  }
}

TEST_F(PropertySet, RawLookUpTakesASuccessWithoutARecordForAFailure) {
  framework_.FailCall("PsFindProperty", 1, 0);
  cuvo_property* found = nullptr;
  EXPECT_EQ(ThrownBy([&] { set_.GetProp("a", found, false); }), 0xC1000001u);
  framework_.FailCall("PsFindProperty", 1, 0);
  EXPECT_FALSE(set_.GetProp("a", found, true));
}

TEST_F(PropertySet, EmptySetHandsANullHandleToTheFramework) {
  CKtPropertySet empty;
  std::uint32_t value = 0;
  EXPECT_EQ(ThrownBy([&] { empty.GetProp("a", value, false); }), 0xC1000010u);
  EXPECT_EQ(ThrownBy([&] { empty.AddProp("a", 1, 0); }), 0xC1000010u);
  EXPECT_EQ(framework_.CallNames(),
            (std::vector<std::string>{"PsFindProperty", "PsFindProperty", "PsAddProperty"}));
}

TEST_F(PropertySet, GetKeysGivesTheNamesInTheFrameworksOrder) {
  for (const char* name : {"b", "a", "c"}) set_.AddProperty(Number(name));
  framework_.ForgetCalls();
  EXPECT_EQ(set_.GetKeys(), (std::vector<std::string>{"b", "a", "c"}));
  EXPECT_EQ(framework_.CountOf("PsFreeProperty"), 3u);
  EXPECT_EQ(framework_.CountOf("KtCloseHandle"), 1u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, GetKeysOnADestroyedSetThrowsUnexpected) {
  CKtPropertySet set;
  set.Create();
  set.Destroy();
  framework_.ForgetCalls();
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(set.GetKeys()); }), 0xC1000001u);
  EXPECT_EQ(framework_.Traces(),
            std::vector{Error("hostkit: ERROR: in CKtPropertySet::GetKeys() Attempt to get keys on "
                              "NULL propset failed")});
  EXPECT_TRUE(framework_.CallNames().empty());
}

TEST_F(PropertySet, GetKeysThrowsUnexpectedForAnyStatusOfOpening) {
  for (const KtStatus status : {0xC1000001u, 0x8007000Eu, 0xC1000010u, 5u, 0x41000001u}) {
    framework_.ForgetTraces();
    framework_.FailCall("PsOpenPropset", 1, status);
    EXPECT_EQ(ThrownBy([&] { static_cast<void>(set_.GetKeys()); }), 0xC1000001u);
    EXPECT_EQ(
        framework_.Traces(),
        std::vector{Error("hostkit: ERROR: in CKtPropertySet::GetKeys() PsOpenPropset() failed")});
  }
}

TEST_F(PropertySet, GetKeysReleasesARecordThatComesWithASuccessOtherThanZero) {
  set_.AddProperty(Number("a"));
  set_.AddProperty(Number("b"));
  framework_.FailCall("PsFindNextProperty", 2, 0x41000012u);
  EXPECT_EQ(set_.GetKeys(), (std::vector<std::string>{"a"}));
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(PropertySet, GetKeysEndsAtTheFirstStatusThatIsNotZero) {
  for (const char* name : {"a", "b", "c"}) set_.AddProperty(Number(name));
  for (const KtStatus status : {5u, 0x41000001u}) {
    framework_.FailCall("PsFindNextProperty", 2, status);
    EXPECT_EQ(set_.GetKeys(), (std::vector<std::string>{"a"}));
    EXPECT_TRUE(fake::NothingKept());
  }
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySet, ReleasingAHandleLeavesTheSetEmpty) {
  CKtPropertySet set;
  set.Create();
  CKtPropertySet other(set.Release());
  EXPECT_EQ(set.Handle(), nullptr);
  EXPECT_NE(other.Handle(), nullptr);
  other.Destroy();
}

TEST_F(PropertySet, ScopedSetIsDestroyedAtTheEndOfItsScope) {
  CKtPropertySet set;
  set.Create();
  {
    kt::ScopedPropset scoped(set);
    kt::ScopedPropset moved(std::move(scoped));
    EXPECT_EQ(moved->Handle(), set.Handle());
    EXPECT_EQ((*moved).Handle(), set.Handle());
  }
  EXPECT_FALSE(framework_.HasPropset(set.Handle()));
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(PropertySet, ScopedSetTracesAFailingDestroyAndThrowsNothing) {
  CKtPropertySet set;
  set.Create();
  framework_.FailCall("PsDestroyPropset", 1, 5);
  { const kt::ScopedPropset scoped(set); }
  EXPECT_TRUE(
      fake::Traced(6, "hostkit: ERROR: in CKtPropertySet::Destroy() PsDestroyPropset() failed"));
}

}  // namespace
