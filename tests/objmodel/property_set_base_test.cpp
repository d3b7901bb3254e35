#include "objmodel/property_set_base.h"

#include <cstddef>

#include "fake/fake_test.h"
#include "objmodel/property_kinds.h"
#include "objmodel/property_set.h"
#include "objmodel/recording_properties.h"
#include "objmodel/thrown.h"

namespace {

constexpr KtStatus kNotThere = 0xC1000011u;

class PropertySetBase : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    set_ = CKtPropertySet(framework_.MakePropset());
  }
  CKtPropertySet set_;
};

TEST_F(PropertySetBase, MissingOptionalIntegerKeepsTheCallersDefault) {
  std::uint32_t value = 42;
  EXPECT_EQ(set_.GetProp("p", value, true), 42u);
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_EQ(ThrownBy([&] { set_.GetProp("p", value, false); }), kNotThere);
  EXPECT_EQ(value, 42u);
  EXPECT_EQ(framework_.TracesAt(4).size(), 1u);
  EXPECT_EQ(framework_.Traces().size(), 1u);
}

TEST_F(PropertySetBase, ReadingASignedNumberAsAnUnsignedOneThrowsWrongType) {
  set_.AddProp("p", std::int32_t{5}, 0);
  std::uint32_t value = 0;
  EXPECT_EQ(ThrownBy([&] { set_.GetProp("p", value, false); }), 0xC100003Au);
  EXPECT_TRUE(fake::Traced(
      6, "hostkit: ERROR: CKtPropertySet::GetProp() : Property p is not of TYPE_UINT32"));
}

TEST_F(PropertySetBase, ObjectIdGetterAcceptsAGuid) {
  set_.AddProp("p", kGuidOne, 0);
  KtObjId id{};
  EXPECT_TRUE(Same(set_.GetProp("p", id, false), KtObjId{kGuidOne}));
  set_.AddProp("list", std::vector<KtGuid>{kGuidOne, kGuidTwo}, 0);
  std::vector<KtObjId> ids;
  set_.GetProp("list", ids, false);
  ASSERT_EQ(ids.size(), 2u);
  EXPECT_TRUE(Same(ids[1].guid, kGuidTwo));
}

TEST_F(PropertySetBase, GuidGetterRefusesAnObjectId) {
  set_.AddProp("p", KtObjId{kGuidOne}, 0);
  KtGuid guid{};
  EXPECT_EQ(ThrownBy([&] { set_.GetProp("p", guid, false); }), 0xC100003Au);
  EXPECT_TRUE(fake::Traced(
      6, "hostkit: ERROR: CKtPropertySet::GetProp() : Property p is not of TYPE_GUID"));
  set_.AddProp("list", std::vector<KtObjId>{KtObjId{kGuidOne}}, 0);
  std::vector<KtGuid> guids;
  EXPECT_EQ(ThrownBy([&] { set_.GetProp("list", guids, false); }), 0xC100003Au);
  EXPECT_TRUE(fake::Traced(
      6, "hostkit: ERROR: CKtPropertySet::GetProp() : Property list is not or TYPE_GUIDZ"));
}

TEST_F(PropertySetBase, EmptyListOfSetsIsReleasedWithoutItsSetsToo) {
  set_.AddProp("p", std::vector<KtPropset>{}, 0);
  framework_.ForgetCalls();
  std::vector<KtPropset> values;
  set_.GetProp("p", values, false);
  EXPECT_EQ(framework_.CountOf("_KtFree"), 1u);
  EXPECT_EQ(framework_.CountOf("PsFreeProperty"), 0u);
}

TEST_F(PropertySetBase, GuidAndObjectIdGettersReturnTheDefaultByValueWhenOptionalAndMissing) {
  KtGuid guid = kGuidTwo;
  KtObjId id{kGuidOne};
  EXPECT_TRUE(Same(set_.GetProp("p", guid, true), kGuidTwo));
  EXPECT_TRUE(Same(set_.GetProp("p", id, true), KtObjId{kGuidOne}));
}

TEST_F(PropertySetBase, BoolIsWrittenAndReadAsAByteAndNeverAsAnInteger) {
  set_.AddProp("p", true, 0);
  EXPECT_EQ(set_.GetPropType("p"), TYPE_BOOLEAN);
  bool value = false;
  EXPECT_TRUE(set_.GetProp("p", value, false));
  EXPECT_TRUE(value);
  set_.AddProp("p", false, 0);
  EXPECT_FALSE(set_.GetProp("p", value, false));
  value = true;
  EXPECT_TRUE(set_.GetProp("missing", value, true));
}

template <typename T>
concept CanBeSet = requires(CKtPropertySetBase& set, T value) {
  set.AddProp("p", value, 0);
};
static_assert(CanBeSet<bool> && CanBeSet<cuvo_bool> && CanBeSet<std::int32_t>);
static_assert(!CanBeSet<char> && !CanBeSet<short> && !CanBeSet<std::uint16_t>);
static_assert(!CanBeSet<float> && !CanBeSet<double> && !CanBeSet<KtWchar>);
static_assert(!CanBeSet<void*> && !CanBeSet<std::nullptr_t>);

TEST_F(PropertySetBase, SecondSpellingsWriteTheSameRecord) {
  const KtTime time{77};
  const std::int32_t number = -3;
  const std::uint32_t unsigned_number = 3;
  const KtObjId id{kGuidTwo};
  set_.AddProp("time", &time, 0);
  set_.AddProp("guid", &kGuidOne, 0);
  set_.AddProp("id", &id, 0);
  set_.AddProp("number", &number, 0);
  set_.AddProp("unsigned", &unsigned_number, 0);
  KtTime time_back{};
  KtGuid guid_back{};
  KtObjId id_back{};
  std::int32_t number_back = 0;
  std::uint32_t unsigned_back = 0;
  EXPECT_EQ(set_.GetProp("time", time_back, false).value, 77u);
  EXPECT_TRUE(Same(set_.GetProp("guid", guid_back, false), kGuidOne));
  EXPECT_TRUE(Same(set_.GetProp("id", id_back, false), id));
  EXPECT_EQ(set_.GetPropType("id"), TYPE_KTOBJID);
  EXPECT_EQ(set_.GetProp("number", number_back, false), -3);
  EXPECT_EQ(set_.GetProp("unsigned", unsigned_back, false), 3u);
}

TEST_F(PropertySetBase, SecondSpellingsRefuseNull) {
  const auto refuses = [&](auto* value) {
    framework_.ForgetTraces();
    EXPECT_EQ(ThrownBy([&] { set_.AddProp("p", value, 0); }), 0x80070057u);
    EXPECT_EQ(framework_.TracesAt(6).size(), 1u);
    EXPECT_TRUE(framework_.PropertiesOf(set_.Handle()).empty());
  };
  refuses(static_cast<const KtTime*>(nullptr));
  refuses(static_cast<const KtGuid*>(nullptr));
  refuses(static_cast<const KtObjId*>(nullptr));
  refuses(static_cast<const std::int32_t*>(nullptr));
  refuses(static_cast<const std::uint32_t*>(nullptr));
}

TEST_F(PropertySetBase, LengthsOfScalarsAreTheSizesOfTheirValues) {
  RecordingProperties recording;
  const auto length = [&](const auto& value) {
    recording.AddProp("p", value, 0);
    return recording.length_;
  };
  EXPECT_EQ(length(true), 1u);
  EXPECT_EQ(length(std::int32_t{1}), 4u);
  EXPECT_EQ(length(std::uint32_t{1}), 4u);
  EXPECT_EQ(length(std::int64_t{1}), 8u);
  EXPECT_EQ(length(std::uint64_t{1}), 8u);
  EXPECT_EQ(length(KtTime{1}), 8u);
  EXPECT_EQ(length(kGuidOne), 16u);
  EXPECT_EQ(length(KtObjId{}), 16u);
  EXPECT_EQ(length(framework_.MakePropset()), 16u) << "a fixed number, not the size of a handle";
  EXPECT_EQ(length(KtI18NFormatString{}), 40u);
  EXPECT_EQ(length(kMessageOne), 32u + 7 + 1);
  EXPECT_EQ(length(CKtI18N(kMessageOne)), 32u + 7 + 1);
}

TEST_F(PropertySetBase, LengthsOfTextsAreInBytesWithTheTerminator) {
  RecordingProperties recording;
  recording.AddProp("p", "abc", 0);
  EXPECT_EQ(recording.length_, 4u);
  recording.AddProp("p", std::string(), 0);
  EXPECT_EQ(recording.length_, 1u);
  recording.AddProp("p", KT_W("abc"), 0);
  EXPECT_EQ(recording.type_, TYPE_WSTR);
  EXPECT_EQ(recording.length_, 8u) << "two for each unit on every target";
  recording.AddProp("p", KtWString(), 0);
  EXPECT_EQ(recording.length_, 2u);
}

TEST_F(PropertySetBase, SetHandleIsTheValueFieldItself) {
  RecordingProperties recording;
  const KtPropset nested = framework_.MakePropset();
  recording.AddProp("p", nested, 0);
  EXPECT_EQ(recording.value_, static_cast<const void*>(nested));
}

TEST_F(PropertySetBase, NullTextIsTheEmptyText) {
  set_.AddProp("narrow", static_cast<const char*>(nullptr), 0);
  set_.AddProp("wide", static_cast<const KtWchar*>(nullptr), 0);
  set_.AddProp("message", KtI18NDef{kGuidOne, 1, 0, nullptr}, 0);
  std::string narrow = "before";
  KtWString wide = KT_W("before");
  EXPECT_EQ(set_.GetProp("narrow", narrow, false), "");
  EXPECT_TRUE(set_.GetProp("wide", wide, false).empty());
  cuvo_property* found = nullptr;
  set_.GetProp("message", found, false);
  EXPECT_EQ(found->length, 33u);
  CKtI18N message;
  EXPECT_EQ(CKtPropertySetBase::GetProp("message", message, found).Name(), "");
  set_.AddProp("messages", std::vector{KtI18NDef{kGuidOne, 1, 0, nullptr}}, 0);
  set_.AddProp("formats", std::vector{KtI18NFormatString{}}, 0);
  std::vector<CKtI18N> messages;
  EXPECT_EQ(set_.GetProp("messages", messages, false).at(0).Name(), "");
}

TEST_F(PropertySetBase, TextWithoutATerminatorEndsWithItsRecord) {
  set_.AddProp("narrow", "abcdef", 0);
  set_.AddProp("wide", KT_W("abcdef"), 0);
  const TamperedProperties three(set_.Handle(), [](cuvo_property& record) { record.length = 3; });
  const TamperedProperties none(set_.Handle(), [](cuvo_property& record) { record.length = 0; });
  std::string narrow;
  KtWString wide;
  EXPECT_EQ(three.GetProp("narrow", narrow, false), "abc");
  EXPECT_EQ(three.GetProp("wide", wide, false), KT_W("a")) << "half a unit is none";
  EXPECT_EQ(none.GetProp("narrow", narrow, false), "");
  EXPECT_TRUE(none.GetProp("wide", wide, false).empty());
}

TEST_F(PropertySetBase, NullTextInAListIsTheEmptyText) {
  set_.AddProp("narrow", std::vector<std::string>{"a", "b"}, 0);
  set_.AddProp("wide", std::vector<KtWString>{KT_W("a"), KT_W("b")}, 0);
  const TamperedProperties tampered(
      set_.Handle(), [](cuvo_property& record) { static_cast<void**>(record.value)[0] = nullptr; });
  std::vector<std::string> narrow;
  std::vector<KtWString> wide;
  EXPECT_EQ(tampered.GetProp("narrow", narrow, false), (std::vector<std::string>{"", "b"}));
  EXPECT_EQ(tampered.GetProp("wide", wide, false), (std::vector<KtWString>{KT_W(""), KT_W("b")}));
}

TEST_F(PropertySetBase, ArraysArePassedAsTheyAre) {
  RecordingProperties recording;
  const auto passes = [&](const auto* array, std::uint32_t code) {
    recording.AddProp("p", array, 2, 4);
    EXPECT_EQ(recording.value_, static_cast<const void*>(array));
    EXPECT_EQ(recording.length_, 2u);
    EXPECT_EQ(recording.flags_, 4u);
    EXPECT_EQ(recording.type_, code);
  };
  const char* const narrow[] = {"a", "b"};
  const KtWchar* const wide[] = {KT_W("a"), KT_W("b")};
  const std::uint64_t u64[] = {1, 2};
  const std::int64_t i64[] = {1, 2};
  const std::uint32_t u32[] = {1, 2};
  const std::int32_t i32[] = {1, 2};
  const cuvo_bool bytes[] = {1, 0};
  passes(&narrow[0], TYPE_STRZ);
  passes(&wide[0], TYPE_WSTRZ);
  passes(&u64[0], TYPE_UINT64Z);
  passes(&i64[0], TYPE_INT64Z);
  passes(&u32[0], TYPE_UINT32Z);
  passes(&i32[0], TYPE_INT32Z);
  passes(&bytes[0], TYPE_BOOLEANZ);
}

TEST_F(PropertySetBase, RawRecordIsPassedAsItIs) {
  RecordingProperties recording;
  int value = 0;
  recording.answer_ = 0x41000001u;
  EXPECT_EQ(recording.AddProp("p", 14u, 1u, 2u, static_cast<void*>(&value)), 0x41000001u);
  EXPECT_EQ(recording.type_, 14u);
  EXPECT_EQ(recording.flags_, 1u);
  EXPECT_EQ(recording.length_, 2u);
  EXPECT_EQ(recording.value_, &value);
}

TEST_F(PropertySetBase, TextSettersTraceAndThrowAStatusThatComesBackFailing) {
  RecordingProperties recording;
  recording.answer_ = 0xC1000010u;
  EXPECT_EQ(ThrownBy([&] { recording.AddProp("p", std::string("x"), 0); }), 0xC1000010u);
  EXPECT_EQ(ThrownBy([&] { recording.AddProp("p", KtWString(KT_W("x")), 0); }), 0xC1000010u);
  EXPECT_EQ(
      framework_.Traces(),
      (std::vector{
          fake::Error("hostkit: ERROR: CKtPropertySetBase::AddProp(), Failed to add property p of "
                      "type string"),
          fake::Error("hostkit: ERROR: CKtPropertySetBase::AddProp(), Failed to add property p of "
                      "type wstring")}));
}

TEST_F(PropertySetBase, TextSettersTraceOneLineForOneFailure) {
  framework_.FailCall("PsAddProperty", 1, 5);
  EXPECT_EQ(ThrownBy([&] { set_.AddProp("p", std::string("x"), 0); }), 5u);
  EXPECT_EQ(framework_.Traces().size(), 1u);
}

TEST_F(PropertySetBase, OtherSettersReturnAFailingStatusUntraced) {
  RecordingProperties recording;
  recording.answer_ = 0xC1000010u;
  EXPECT_EQ(recording.AddProp("p", "x", 0), 0xC1000010u);
  EXPECT_EQ(recording.AddProp("p", KT_W("x"), 0), 0xC1000010u);
  EXPECT_EQ(recording.AddProp("p", 1, 0), 0xC1000010u);
  EXPECT_EQ(recording.AddProp("p", std::vector<std::string>{"x"}, 0), 0xC1000010u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertySetBase, MissingPropertyHasNeitherTypeNorFlags) {
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(set_.GetPropType("p")); }), kNotThere);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(set_.GetPropFlags("p")); }), kNotThere);
  EXPECT_EQ(framework_.TracesAt(4).size(), 2u);
}

TEST_F(PropertySetBase, LookUpThatFindsNothingWithoutThrowingIsNotReadThrough) {
  const RecordingProperties nothing;
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(nothing.GetPropType("p")); }), 0xC1000001u);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(nothing.GetPropFlags("p")); }), 0xC1000001u);
}

TEST_F(PropertySetBase, FoundMessageIsConvertedAndItsRecordReleased) {
  set_.AddProp("p", kMessageTwo, 0);
  cuvo_property* found = nullptr;
  set_.GetProp("p", found, false);
  CKtI18N message;
  EXPECT_EQ(&CKtPropertySetBase::GetProp("p", message, found), &message);
  EXPECT_EQ(found, nullptr);
  EXPECT_TRUE(Same(message, CKtI18N(kMessageTwo)));
}

TEST_F(PropertySetBase, FoundMessageOfAnotherTypeIsRefusedAndItsRecordReleased) {
  set_.AddProp("p", 1, 0);
  cuvo_property* found = nullptr;
  set_.GetProp("p", found, false);
  CKtI18N message;
  EXPECT_EQ(ThrownBy([&] { CKtPropertySetBase::GetProp("p", message, found); }), 0xC100003Au);
  EXPECT_TRUE(fake::Traced(
      6, "hostkit: ERROR: CKtPropertySet::GetProp() : Property p is not of TYPE_I18N"));
  set_.GetProp("p", found, false);
  CKtI18NFM format;
  EXPECT_EQ(ThrownBy([&] { CKtPropertySetBase::GetProp("p", format, found); }), 0xC100003Au);
  EXPECT_TRUE(fake::Traced(
      6, "hostkit: ERROR: CKtPropertySet::GetProp() : Property p is not of TYPE_I18NFORMATSTRING"));
  EXPECT_EQ(found, nullptr);
}

TEST_F(PropertySetBase, FoundMessageTooShortOrWithoutAValueIsRefused) {
  set_.AddProp("i", kMessageOne, 0);
  set_.AddProp("f", KtI18NFormatString{kMessageOne, nullptr}, 0);
  for (const bool no_value : {false, true}) {
    const auto spoiled = [&](const char* name) {
      cuvo_property* found = nullptr;
      set_.GetProp(name, found, false);
      if (no_value) {
        found->value = nullptr;
      } else {
        found->length = 31;
      }
      return found;
    };
    cuvo_property* found = spoiled("i");
    CKtI18N message;
    EXPECT_EQ(ThrownBy([&] { CKtPropertySetBase::GetProp("i", message, found); }), 0xC100003Au);
    found = spoiled("f");
    CKtI18NFM format;
    EXPECT_EQ(ThrownBy([&] { CKtPropertySetBase::GetProp("f", format, found); }), 0xC100003Au);
  }
}

TEST_F(PropertySetBase, FoundFormatMessageIsADeepCopy) {
  CKtI18NFM source(kMessageOne);
  I18nAddInsertionString(source.Insertions(), 1, "A");
  set_.AddProp("p", source, 0);
  cuvo_property* found = nullptr;
  set_.GetProp("p", found, false);
  CKtI18NFM message;
  CKtPropertySetBase::GetProp("p", message, found);
  EXPECT_TRUE(Same(message, source));
  EXPECT_EQ(message.Format(), "Disk A");
}

TEST_F(PropertySetBase, ListOfMessagesIsAsItWasWhenACopyFails) {
  const auto samples = Samples<CKtI18NFM>();
  set_.AddProp("p", samples, 0);
  auto values = Samples<CKtI18NFM>();
  framework_.FailCall("PsCopyPropset", 2, 0x8007000Eu);
  EXPECT_EQ(ThrownBy([&] { set_.GetProp("p", values, false); }), 0x8007000Eu);
  EXPECT_TRUE(SameLists(values, samples));
}

TEST_F(PropertySetBase, GrowingAListOfMessagesCopiesNoneOfThem) {
  set_.AddProp("p", Samples<CKtI18NFM>(), 0);
  auto values = Samples<CKtI18NFM>();
  framework_.ForgetCalls();
  set_.GetProp("p", values, false);
  EXPECT_EQ(framework_.CountOf("PsCopyPropset"), 2u) << "only those that were read";
}

}  // namespace
