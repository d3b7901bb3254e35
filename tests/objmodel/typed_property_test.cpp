// The typed getters and setters, one test for all kinds.

#include "base/status.h"
#include "fake/fake_test.h"
#include "objmodel/property_kinds.h"
#include "objmodel/property_set.h"
#include "objmodel/recording_properties.h"
#include "objmodel/thrown.h"

namespace {

constexpr KtStatus kNotThere = 0xC1000011u;

// A set with one property of the kind, put there by its setter, and one of another type.
template <typename T>
class TypedProperties : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    set_ = CKtPropertySet(framework_.MakePropset());
    set_.AddProp("other", static_cast<const void*>("x"), 1, 0);  // bytes: no typed getter's type
    framework_.ForgetCalls();
  }

  fake::Property Stored(const char* name) {
    for (const fake::Property& each : framework_.PropertiesOf(set_.Handle())) {
      if (each.name == name) return each;
    }
    return {};
  }

  CKtPropertySet set_;
};

template <typename T>
class ScalarProperty : public TypedProperties<T> {};
template <typename T>
class ListProperty : public TypedProperties<T> {};

using ScalarTypes = AsTypes<kt::ScalarKinds>::type;
using ListTypes = AsTypes<kt::ListKinds>::type;
TYPED_TEST_SUITE(ScalarProperty, ScalarTypes, KindName);
TYPED_TEST_SUITE(ListProperty, ListTypes, KindName);

// ---- Scalars

TYPED_TEST(ScalarProperty, IsReadBackAsItWasWritten) {
  for (const TypeParam& sample : {Sample<TypeParam>::One(), Sample<TypeParam>::Two()}) {
    EXPECT_FALSE(kt::StatusFails(this->set_.AddProp("p", sample, 0)));
    TypeParam value{};
    EXPECT_TRUE(Same<TypeParam>(this->set_.GetProp("p", value, false), sample));
    EXPECT_TRUE(Same(value, sample));
  }
  EXPECT_TRUE(fake::NothingTraced());
}

TYPED_TEST(ScalarProperty, IsWrittenUnderItsCodeWithTheCallersFlags) {
  this->set_.AddProp("p", Sample<TypeParam>::One(), 5);
  EXPECT_EQ(this->Stored("p").type, Sample<TypeParam>::kCode);
  EXPECT_EQ(this->Stored("p").flags, 5u);
  EXPECT_EQ(this->set_.GetPropType("p"), Sample<TypeParam>::kCode);
  EXPECT_EQ(this->set_.GetPropFlags("p"), 5u);
}

TYPED_TEST(ScalarProperty, LeavesTheOutputAloneAndTracesNothingWhenOptionalAndMissing) {
  TypeParam value = Sample<TypeParam>::One();
  EXPECT_TRUE(Same<TypeParam>(this->set_.GetProp("p", value, true), Sample<TypeParam>::One()));
  EXPECT_TRUE(Same(value, Sample<TypeParam>::One()));
  EXPECT_TRUE(fake::NothingTraced());
}

TYPED_TEST(ScalarProperty, ThrowsTheFrameworksStatusAndTracesAtLevelFourWhenMissing) {
  TypeParam value = Sample<TypeParam>::One();
  EXPECT_EQ(ThrownBy([&] { this->set_.GetProp("p", value, false); }), kNotThere);
  EXPECT_EQ(this->framework_.Traces(),
            std::vector{fake::Warning(
                "hostkit: ERROR: CKtPropertySet::FindProperty() : Unable to find property p")});
  EXPECT_TRUE(Same(value, Sample<TypeParam>::One()));
}

TYPED_TEST(ScalarProperty, RefusesAnotherTypeWithItsOwnLine) {
  for (const bool optional : {false, true}) {
    this->framework_.ForgetTraces();
    TypeParam value = Sample<TypeParam>::One();
    EXPECT_EQ(ThrownBy([&] { this->set_.GetProp("other", value, optional); }), 0xC100003Au);
    EXPECT_EQ(this->framework_.Traces(),
              std::vector{fake::Error(WrongTypeText<TypeParam>("other"))});
    EXPECT_TRUE(Same(value, Sample<TypeParam>::One()));
    EXPECT_TRUE(fake::NothingKept());
  }
}

TYPED_TEST(ScalarProperty, ReleasesItsRecordWithTheFunctionForRecords) {
  this->set_.AddProp("p", Sample<TypeParam>::One(), 0);
  this->framework_.ForgetCalls();
  TypeParam value{};
  this->set_.GetProp("p", value, false);
  EXPECT_EQ(this->framework_.CallNames(),
            (std::vector<std::string>{"PsFindProperty", "PsFreeProperty"}));
}

TYPED_TEST(ScalarProperty, ReplacesTheValueThatIsThere) {
  this->set_.AddProp("p", Sample<TypeParam>::One(), 0);
  this->set_.AddProp("p", Sample<TypeParam>::Two(), 0);
  TypeParam value{};
  this->set_.GetProp("p", value, false);
  EXPECT_TRUE(Same(value, Sample<TypeParam>::Two()));
}

TYPED_TEST(ScalarProperty, RefusesARecordTooShortForItsType) {
  if constexpr (!std::is_same_v<TypeParam, std::string> && !std::is_same_v<TypeParam, KtWString>) {
    this->set_.AddProp("p", Sample<TypeParam>::One(), 0);
    const TamperedProperties tampered(
        this->set_.Handle(), [](cuvo_property& record) { record.length = sizeof(TypeParam) - 1; });
    TypeParam value = Sample<TypeParam>::Two();
    EXPECT_EQ(ThrownBy([&] { tampered.GetProp("p", value, false); }), 0xC100003Au);
    EXPECT_TRUE(fake::Traced(6, WrongTypeText<TypeParam>("p")));
    EXPECT_TRUE(Same(value, Sample<TypeParam>::Two()));
  }
}

TYPED_TEST(ScalarProperty, ReadsNothingThroughANullValue) {
  this->set_.AddProp("p", Sample<TypeParam>::One(), 0);
  const TamperedProperties tampered(this->set_.Handle(),
                                    [](cuvo_property& record) { record.value = nullptr; });
  TypeParam value = Sample<TypeParam>::One();
  const std::uint32_t thrown = ThrownBy([&] { tampered.GetProp("p", value, false); });
  if constexpr (std::is_same_v<TypeParam, std::string> || std::is_same_v<TypeParam, KtWString>) {
    EXPECT_EQ(thrown, 0u);
    EXPECT_TRUE(value.empty()) << "no text is the empty text";
  } else {
    EXPECT_EQ(thrown, 0xC100003Au);
    EXPECT_TRUE(fake::Traced(6, WrongTypeText<TypeParam>("p")));
  }
}

// ---- Lists

TYPED_TEST(ListProperty, IsReadBackAsItWasWritten) {
  const auto samples = Samples<TypeParam>();
  EXPECT_FALSE(kt::StatusFails(this->set_.AddProp("p", samples, 0)));
  std::vector<TypeParam> values;
  EXPECT_EQ(&this->set_.GetProp("p", values, false), &values);
  EXPECT_TRUE(SameLists(values, samples));
  EXPECT_TRUE(fake::NothingTraced());
  Dispose(values);
}

TYPED_TEST(ListProperty, IsWrittenUnderItsCodeWithTheNumberOfElementsAndTheCallersFlags) {
  const auto samples = Samples<TypeParam>();
  this->set_.AddProp("p", samples, 9);
  EXPECT_EQ(this->Stored("p").type, Sample<TypeParam>::kListCode);
  EXPECT_EQ(this->Stored("p").length, 2u);
  EXPECT_EQ(this->Stored("p").flags, 9u);
}

TYPED_TEST(ListProperty, IsAppendedToWhatTheCallerHas) {
  const auto samples = Samples<TypeParam>();
  this->set_.AddProp("p", samples, 0);
  std::vector<TypeParam> values;
  this->set_.GetProp("p", values, false);
  this->set_.GetProp("p", values, false);
  ASSERT_EQ(values.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_TRUE(Same(values[i], samples[i % 2])) << i;
  Dispose(values);
}

TYPED_TEST(ListProperty, PassesANullArrayAndNoCountWhenItIsEmpty) {
  RecordingProperties recording;
  recording.length_ = 77;
  recording.value_ = &recording;
  recording.AddProp("p", std::vector<TypeParam>{}, 0);
  EXPECT_EQ(recording.type_, Sample<TypeParam>::kListCode);
  EXPECT_EQ(recording.length_, 0u);
  EXPECT_EQ(recording.value_, nullptr);
}

TYPED_TEST(ListProperty, IsReadBackEmptyWhenItIsEmpty) {
  this->set_.AddProp("p", std::vector<TypeParam>{}, 0);
  std::vector<TypeParam> values;
  this->set_.GetProp("p", values, false);
  EXPECT_TRUE(values.empty());
}

TYPED_TEST(ListProperty, IsLeftAloneAndNothingTracedWhenOptionalAndMissing) {
  auto values = Samples<TypeParam>();
  this->set_.GetProp("p", values, true);
  EXPECT_EQ(values.size(), 2u);
  EXPECT_TRUE(fake::NothingTraced());
}

TYPED_TEST(ListProperty, ThrowsTheFrameworksStatusAndTracesAtLevelFourWhenMissing) {
  std::vector<TypeParam> values;
  EXPECT_EQ(ThrownBy([&] { this->set_.GetProp("p", values, false); }), kNotThere);
  EXPECT_EQ(this->framework_.Traces(),
            std::vector{fake::Warning(
                "hostkit: ERROR: CKtPropertySet::FindProperty() : Unable to find property p")});
}

TYPED_TEST(ListProperty, RefusesAnotherTypeWithItsOwnLine) {
  std::vector<TypeParam> values;
  EXPECT_EQ(ThrownBy([&] { this->set_.GetProp("other", values, false); }), 0xC100003Au);
  EXPECT_EQ(this->framework_.Traces(),
            std::vector{fake::Error(WrongListTypeText<TypeParam>("other"))});
  EXPECT_TRUE(fake::NothingKept());
}

TYPED_TEST(ListProperty, RefusesACountWithoutElements) {
  const auto samples = Samples<TypeParam>();
  this->set_.AddProp("p", samples, 0);
  const TamperedProperties tampered(this->set_.Handle(),
                                    [](cuvo_property& record) { record.value = nullptr; });
  std::vector<TypeParam> values;
  EXPECT_EQ(ThrownBy([&] { tampered.GetProp("p", values, false); }), 0xC100003Au);
  EXPECT_TRUE(fake::Traced(6, WrongListTypeText<TypeParam>("p")));
  EXPECT_TRUE(values.empty());
}

TYPED_TEST(ListProperty, ReleasesItsRecordWithTheFunctionForRecordsUnlessSetsPassToTheCaller) {
  const auto samples = Samples<TypeParam>();
  this->set_.AddProp("p", samples, 0);
  std::vector<TypeParam> values;
  values.reserve(2);
  this->framework_.ForgetCalls();
  this->set_.GetProp("p", values, false);
  const std::size_t by_kt_free = std::is_same_v<TypeParam, KtPropset> ? 1 : 0;
  EXPECT_EQ(this->framework_.CountOf("_KtFree"), by_kt_free);
  EXPECT_EQ(this->framework_.CountOf("PsFreeProperty"), 1 - by_kt_free);
  Dispose(values);
}

}  // namespace
