// The text form of a property and of a whole set.

#include "objmodel/property_text.h"
#include "fake/fake_test.h"
#include "objmodel/property_kinds.h"
#include "objmodel/property_set.h"
#include "objmodel/thrown.h"

namespace {

using fake::Error;
using fake::Warning;

class PropertyText : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    set_ = CKtPropertySet(framework_.MakePropset());
  }

  // The text of a property "p" with that value.
  template <typename T>
  std::string TextOf(const T& value, bool show_type) {
    const CKtPropertySet fresh(framework_.MakePropset());
    CKtPropertySet set(fresh);
    set.AddProp("p", value, 0);
    return set.ToString("p", false, show_type);
  }

  template <typename T>
  void Prints(const T& value, const std::string& prefix, const std::string& text) {
    const fake::Ledger before = framework_.Outstanding();
    EXPECT_EQ(TextOf(value, false), text);
    EXPECT_EQ(TextOf(value, true), prefix + text);
    EXPECT_EQ(framework_.Outstanding(), before);
  }

  CKtPropertySet set_;
};

TEST_F(PropertyText, PrintsAnUnsignedNumberWithItsTypeOnRequest) {
  Prints(std::uint32_t{7}, "(TYPE_UINT32) ", "7");
}

TEST_F(PropertyText, PrintsEveryOtherNumberWithItsTypeOnRequest) {
  Prints(std::int32_t{-7}, "(TYPE_INT32) ", "-7");
  Prints(std::uint64_t{5'000'000'000u}, "(TYPE_UINT64) ", "5000000000");
  Prints(std::int64_t{-5'000'000'000}, "(TYPE_INT64) ", "-5000000000");
  Prints(KtTime{5'000'000'000u}, "(TYPE_TIME) ", "5000000000");
}

TEST_F(PropertyText, PrintsABooleanByteOfTwoAsTrue) {
  Prints(cuvo_bool{2}, "(TYPE_BOOLEAN) ", "true");
  Prints(cuvo_bool{0}, "(TYPE_BOOLEAN) ", "false");
}

TEST_F(PropertyText, PrintsTexts) {
  Prints(std::string("abc"), "(TYPE_STR) ", "abc");
  Prints(KtWString(KT_W("g\u00E4mma")), "(TYPE_WSTR) ", "g\xC3\xA4mma");
  Prints(KtWString(), "(TYPE_WSTR) ", "");
}

TEST_F(PropertyText, PrintsABlockOfThreeBytes) {
  const unsigned char bytes[] = {0x00, 0xAB, 0x10};
  set_.AddProp("p", static_cast<const void*>(bytes), 3, 0);
  EXPECT_EQ(set_.ToString("p", false, false), "00ab10");
  EXPECT_EQ(set_.ToString("p", false, true), "(TYPE_BINARY) 00ab10");
}

TEST_F(PropertyText, PrintsAGuidWithItsTypeAsThePrefixAlone) {
  EXPECT_EQ(TextOf(kGuidOne, false), kGuidOneText);
  EXPECT_EQ(TextOf(kGuidOne, true), "(TYPE_GUID) ");
}

TEST_F(PropertyText, PrintsAnObjectIdAsAGuid) {
  Prints(KtObjId{kGuidOne}, "(TYPE_KTOBJID) ", kGuidOneText);
}

TEST_F(PropertyText, PrintsAMessage) {
  Prints(kMessageOne, "(TYPE_I18N) ",
         std::string("messageId=7, name=\"Disk %1\", catalog=") + kGuidOneText);
}

TEST_F(PropertyText, PrintsANestedSetWholeAndDestroysIt) {
  CKtPropertySet nested(framework_.MakePropset());
  nested.AddProp("a", std::uint32_t{1}, 0);
  EXPECT_EQ(TextOf(nested.Handle(), false), "{a = 1}");
  EXPECT_EQ(TextOf(nested.Handle(), true), "(TYPE_PROPSET) {a = (TYPE_UINT32) 1}");
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(PropertyText, ReleasesTheRecordOfANestedSetWithoutTheSet) {
  set_.AddProp("p", framework_.MakePropset(), 0);
  framework_.ForgetCalls();
  EXPECT_EQ(set_.ToString("p", false, false), "{}");
  EXPECT_EQ(framework_.CountOf("_KtFree"), 1u);
  EXPECT_EQ(framework_.CountOf("PsDestroyPropset"), 1u);
  EXPECT_EQ(framework_.CountOf("PsFreeProperty"), 1u) << "of the look-up of the type";
}

TEST_F(PropertyText, DestroysANestedSetThatCannotBePrinted) {
  CKtPropertySet nested(framework_.MakePropset());
  nested.AddProp("times", std::vector{KtTime{1}}, 0);
  EXPECT_EQ(ThrownBy([&] { TextOf(nested.Handle(), false); }), 0xC100003Au);
  EXPECT_TRUE(fake::NothingKept());
  EXPECT_EQ(ThrownBy([&] {
              TextOf(std::vector{nested.Handle(), nested.Handle(), nested.Handle()}, false);
            }),
            0xC100003Au);
  EXPECT_TRUE(fake::NothingKept());
}

// Between the look-up of the type and that of the value, somebody else may have replaced it.
TEST_F(PropertyText, RefusesAValueWhoseTypeChangesMeanwhile) {
  set_.AddProp("p", std::uint32_t{5}, 0);
  EXPECT_EQ(ThrownBy([&] { static_cast<void>(kt::PropertyText(set_, "p", TYPE_PROPSET, false)); }),
            0xC100003Au);
  EXPECT_EQ(ThrownBy([&] {
              static_cast<void>(kt::PropertyText(set_, "p", TYPE_I18NFORMATSTRING, false));
            }),
            0xC100003Au);
  EXPECT_EQ(framework_.TracesAt(6).size(), 2u);
  EXPECT_TRUE(fake::NothingKept());
}

// Hands out its records a byte too short.
class ShortRecords : public CKtPropertySet {
 public:
  using CKtPropertySet::CKtPropertySet;
  using CKtPropertySet::GetProp;

  bool GetProp(const char* name, cuvo_property*& found, bool optional) const override {
    const bool there = CKtPropertySet::GetProp(name, found, optional);
    if (there) --found->length;
    return there;
  }
};

TEST_F(PropertyText, RefusesAFormatStringThatIsTooShort) {
  set_.AddProp("p", KtI18NFormatString{kMessageOne, nullptr}, 0);
  const ShortRecords tampered(set_.Handle());
  EXPECT_EQ(ThrownBy([&] { tampered.ToString("p", false, false); }), 0xC100003Au);
  EXPECT_EQ(framework_.TracesAt(6).size(), 1u);
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(PropertyText, PrintsAFormatStringWithItsInsertions) {
  CKtI18NFM message(kMessageOne);
  I18nAddInsertionString(message.Insertions(), 1, "A");
  Prints(message, "(TYPE_I18NFORMATSTRING) ",
         std::string("FormatSpec={messageId=7, name=\"Disk %1\", catalog=") + kGuidOneText +
             "}, Insertions={{p1 = A}}");
}

TEST_F(PropertyText, PrintsAFormatStringWithoutAnInsertionSetWithEmptyBraces) {
  Prints(KtI18NFormatString{kMessageOne, nullptr}, "(TYPE_I18NFORMATSTRING) ",
         std::string("FormatSpec={messageId=7, name=\"Disk %1\", catalog=") + kGuidOneText +
             "}, Insertions={}");
}

TEST_F(PropertyText, PrintsInsertionsWithoutTheirTypes) {
  CKtI18NFM message(kMessageOne);
  I18nAddInsertionString(message.Insertions(), 1, "A");
  EXPECT_THAT(TextOf(message, true), ::testing::EndsWith("{p1 = A}}"));
}

TEST_F(PropertyText, KeepsTheSeparatorAfterTheLastElementOfAList) {
  Prints(std::vector<std::uint32_t>{1, 2}, "(TYPE_UINT32Z) ", "{1, 2, }");
  Prints(std::vector<std::uint32_t>{}, "(TYPE_UINT32Z) ", "{}");
}

TEST_F(PropertyText, PrintsEveryKindOfList) {
  Prints(std::vector<std::string>{"a", "b"}, "(TYPE_STRZ) ", "{a, b, }");
  Prints(std::vector<KtWString>{KT_W("a"), KT_W("b")}, "(TYPE_WSTRZ) ", "{a, b, }");
  Prints(std::vector<std::int32_t>{-1, 2}, "(TYPE_INT32Z) ", "{-1, 2, }");
  Prints(std::vector<std::int64_t>{-1, 2}, "(TYPE_INT64Z) ", "{-1, 2, }");
  Prints(std::vector<std::uint64_t>{1, 2}, "(TYPE_UINT64Z) ", "{1, 2, }");
  Prints(std::vector<cuvo_bool>{2, 0}, "(TYPE_BOOLEANZ) ", "{true, false, }");
  const std::string guids = std::string("{") + kGuidOneText + ", " + kGuidTwoText + ", }";
  Prints(std::vector<KtGuid>{kGuidOne, kGuidTwo}, "(TYPE_GUIDZ) ", guids);
  Prints(std::vector<KtObjId>{{kGuidOne}, {kGuidTwo}}, "(TYPE_KTOBJIDZ) ", guids);
  Prints(std::vector<KtI18NDef>{kMessageOne}, "(TYPE_I18NZ) ",
         std::string("{messageId=7, name=\"Disk %1\", catalog=") + kGuidOneText + ", }");
}

TEST_F(PropertyText, PrintsEverySetOfAListAndDestroysIt) {
  CKtPropertySet nested(framework_.MakePropset());
  nested.AddProp("a", std::uint32_t{1}, 0);
  const std::vector sets{nested.Handle(), nested.Handle()};
  EXPECT_EQ(TextOf(sets, false), "{{a = 1}, {a = 1}, }");
  EXPECT_EQ(TextOf(sets, true), "(TYPE_PROPSETZ) {{a = (TYPE_UINT32) 1}, {a = (TYPE_UINT32) 1}, }");
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(PropertyText, FailsForAListOfTimesWithTheLineOfTheListOfNumbers) {
  set_.AddProp("p", std::vector{KtTime{1}}, 0);
  for (const bool optional : {false, true}) {
    framework_.ForgetTraces();
    EXPECT_EQ(ThrownBy([&] { set_.ToString("p", optional, false); }), 0xC100003Au);
    EXPECT_EQ(framework_.Traces(),
              std::vector{Error("hostkit: ERROR: CKtPropertySet::GetProp() : Property p is not of "
                                "TYPE_UINT64Z")});
  }
}

TEST_F(PropertyText, PrintsAListOfFormatStringsAsTheEmptyTextEvenWithItsType) {
  Prints(std::vector<KtI18NFormatString>{{kMessageOne, nullptr}}, "", "");
}

TEST_F(PropertyText, PrintsUnknownTypesAsTheEmptyText) {
  struct UnknownType : CKtPropertySet {
    using CKtPropertySet::CKtPropertySet;
    std::uint32_t GetPropType(const char*) const override { return type; }
    std::uint32_t type = 14;
  };
  set_.AddProp("p", 1, 0);
  UnknownType unknown(set_.Handle());
  for (const std::uint32_t type : {0u, 14u, 12345u, 0x80000008u}) {
    unknown.type = type;
    EXPECT_EQ(unknown.ToString("p", false, true), "");
  }
}

TEST_F(PropertyText, IsEmptyAndNothingTracedForAMissingOptionalProperty) {
  EXPECT_EQ(set_.ToString("p", true, true), "");
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(PropertyText, TracesTwiceAndThrowsForAMissingProperty) {
  EXPECT_EQ(ThrownBy([&] { set_.ToString("p", false, false); }), 0xC1000011u);
  EXPECT_EQ(
      framework_.Traces(),
      (std::vector{
          Warning("hostkit: ERROR: CKtPropertySet::FindProperty() : Unable to find property p"),
          Error("hostkit: ERROR: CKtPropertySet::ToString(propId), property (p) doesn't exist "
                "in this property set, and isOptionalProp=cuvo_false.")}));
}

TEST_F(PropertyText, ReadsAnOptionalPropertyThatIsThere) {
  set_.AddProp("p", std::uint32_t{7}, 0);
  EXPECT_EQ(set_.ToString("p", true, true), "(TYPE_UINT32) 7");
}

TEST_F(PropertyText, OfAWholeSetWithoutPropertiesIsAPairOfBraces) {
  EXPECT_EQ(set_.ToString(false), "{}");
  EXPECT_EQ(set_.ToString(true), "{}");
}

TEST_F(PropertyText, OfAWholeSetDropsTheLastSeparator) {
  set_.AddProp("Name", "x", 0);
  EXPECT_EQ(set_.ToString(false), "{Name = x}");
  set_.AddProp("Size", std::uint32_t{5}, 0);
  EXPECT_EQ(set_.ToString(false), "{Name = x, Size = 5}");
}

TEST_F(PropertyText, OfAWholeSetShowsTypesOnRequest) {
  set_.AddProp("a", std::uint32_t{1}, 0);
  EXPECT_EQ(set_.ToString(true), "{a = (TYPE_UINT32) 1}");
}

TEST_F(PropertyText, OfAWholeSetKeepsTheSeparatorInsideALastList) {
  set_.AddProp("a", std::vector<std::uint32_t>{1, 2}, 0);
  EXPECT_EQ(set_.ToString(false), "{a = {1, 2, }}");
}

TEST_F(PropertyText, OfAnEmptyHandleThrowsUnexpected) {
  const CKtPropertySet empty;
  EXPECT_EQ(ThrownBy([&] { empty.ToString(false); }), 0xC1000001u);
}

}  // namespace
