// Values: every type goes in and comes out whole, in one block; what is malformed is refused.
#include <limits>
#include <string>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

class PropertyValueTest : public BusTest {
 protected:
  void SetUp() override {
    BusTest::SetUp();
    set_ = NewSet();
  }
  void TearDown() override {
    PsDestroyPropset(set_);
    BusTest::TearDown();
  }
  KtStatus Add(std::uint32_t type, std::uint32_t length, const void* value) {
    const cuvo_property record = Record("v", type, length, value);
    return PsAddProperty(set_, &record);
  }
  Found Value() { return Find(set_, "v"); }

  KtPropset set_ = nullptr;
};

struct FixedCase {
  std::uint32_t type;
  std::uint32_t width;
};
constexpr std::array kFixedCases{
    FixedCase{TYPE_BOOLEAN, 1}, FixedCase{TYPE_INT32, 4},    FixedCase{TYPE_UINT32, 4},
    FixedCase{TYPE_INT64, 8},   FixedCase{TYPE_UINT64, 8},   FixedCase{TYPE_GUID, 16},
    FixedCase{TYPE_TIME, 8},    FixedCase{TYPE_KTOBJID, 16},
};

class FixedValue : public PropertyValueTest, public testing::WithParamInterface<FixedCase> {};

TEST_P(FixedValue, ComesBackAsItWentIn) {
  std::array<unsigned char, 16> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(0xF0 + i);
  ASSERT_EQ(Add(GetParam().type, GetParam().width, bytes.data()), kOk);
  const Found found = Value();
  EXPECT_EQ(found->type, GetParam().type);
  ASSERT_EQ(found->length, GetParam().width);
  EXPECT_EQ(std::memcmp(found->value, bytes.data(), GetParam().width), 0);
}

TEST_P(FixedValue, OfAnotherLengthIsRefused) {
  const std::array<unsigned char, 32> bytes{};
  EXPECT_EQ(Add(GetParam().type, 0, bytes.data()), kInvalid);
  EXPECT_EQ(Add(GetParam().type, GetParam().width - 1, bytes.data()), kInvalid);
  EXPECT_EQ(Add(GetParam().type, GetParam().width + 1, bytes.data()), kInvalid);
}

TEST_P(FixedValue, ThatIsNullIsRefused) {
  EXPECT_EQ(Add(GetParam().type, GetParam().width, nullptr), kInvalid);
  EXPECT_EQ(Add(GetParam().type, 0, nullptr), kInvalid);
}

TEST_P(FixedValue, ListComesBackElementByElement) {
  std::vector<unsigned char> bytes(GetParam().width * 5U);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 3);
  ASSERT_EQ(Add(GetParam().type | 0x80000000U, 5, bytes.data()), kOk);
  const Found found = Value();
  EXPECT_EQ(found->type, GetParam().type | 0x80000000U);
  ASSERT_EQ(found->length, 5U);
  EXPECT_EQ(std::memcmp(found->value, bytes.data(), bytes.size()), 0);
}

INSTANTIATE_TEST_SUITE_P(AllTypes, FixedValue, testing::ValuesIn(kFixedCases),
                         [](const auto& row) { return "Type" + std::to_string(row.param.type); });

class ListType : public PropertyValueTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(ListType, WithoutElementsIsValidAndHasANullValue) {
  ASSERT_EQ(Add(GetParam(), 0, nullptr), kOk);
  const Found found = Value();
  EXPECT_EQ(found->type, GetParam());
  EXPECT_EQ(found->length, 0U);
  EXPECT_EQ(found->value, nullptr);
}

TEST_P(ListType, WithElementsButANullValueIsRefused) {
  EXPECT_EQ(Add(GetParam(), 1, nullptr), kInvalid);
}

INSTANTIATE_TEST_SUITE_P(AllTypes, ListType,
                         testing::Values(TYPE_BOOLEANZ, TYPE_INT32Z, TYPE_UINT32Z, TYPE_INT64Z,
                                         TYPE_UINT64Z, TYPE_STRZ, TYPE_WSTRZ, TYPE_GUIDZ,
                                         TYPE_PROPSETZ, TYPE_KTOBJIDZ, TYPE_I18NZ,
                                         TYPE_I18NFORMATSTRINGZ, TYPE_TIMEZ));

class UnknownType : public PropertyValueTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(UnknownType, IsRefused) {
  const std::array<unsigned char, 64> bytes{};
  EXPECT_EQ(Add(GetParam(), 8, bytes.data()), kInvalid);
  EXPECT_EQ(Add(GetParam(), 0, nullptr), kInvalid);
}

INSTANTIATE_TEST_SUITE_P(Codes, UnknownType,
                         testing::Values(0U, 12U, 13U, 14U, 15U, 18U, 0x10000U, 0x10003U,
                                         0x80000000U, 0x80000008U, 0x8000000EU, 0xFFFFFFFFU));

TEST_F(PropertyValueTest, TextLengthCountsBytesAndTheTerminator) {
  ASSERT_EQ(Add(TYPE_STR, 4, "abc"), kOk);
  const Found found = Value();
  EXPECT_EQ(found->length, 4U);
  EXPECT_EQ(TextOf(found), "abc");
}

TEST_F(PropertyValueTest, TextIsBoundedByItsLengthWhereTheTerminatorIsMissing) {
  ASSERT_EQ(Add(TYPE_STR, 2, "abc"), kOk);
  EXPECT_EQ(TextOf(Value()), "ab");
  EXPECT_EQ(Value()->length, 3U);
}

TEST_F(PropertyValueTest, TextEndsAtItsTerminatorWhateverTheLengthSays) {
  ASSERT_EQ(Add(TYPE_STR, 6, "ab\0cd"), kOk);
  EXPECT_EQ(TextOf(Value()), "ab");
  EXPECT_EQ(Value()->length, 3U);
}

TEST_F(PropertyValueTest, TextOfLengthZeroIsTheEmptyText) {
  ASSERT_EQ(Add(TYPE_STR, 0, nullptr), kOk);
  EXPECT_EQ(TextOf(Value()), "");
  EXPECT_EQ(Value()->length, 1U);
}

TEST_F(PropertyValueTest, TextThatIsNullWithALengthIsRefused) {
  EXPECT_EQ(Add(TYPE_STR, 1, nullptr), kInvalid);
  EXPECT_EQ(Add(TYPE_WSTR, 2, nullptr), kInvalid);
  EXPECT_EQ(Add(TYPE_BINARY, 1, nullptr), kInvalid);
  EXPECT_EQ(Add(TYPE_I18N, 33, nullptr), kInvalid);
  EXPECT_EQ(Add(TYPE_I18NFORMATSTRING, 40, nullptr), kInvalid);
}

TEST_F(PropertyValueTest, WideTextLengthIsTwoBytesToAUnitOnEveryTarget) {
  const KtWchar* const text = KT_W("a\u20AC");
  ASSERT_EQ(Add(TYPE_WSTR, 6, text), kOk);
  const Found found = Value();
  EXPECT_EQ(found->length, 6U);
  EXPECT_EQ(std::basic_string<KtWchar>(static_cast<const KtWchar*>(found->value)), text);
}

TEST_F(PropertyValueTest, WideTextIsBoundedByItsLength) {
  ASSERT_EQ(Add(TYPE_WSTR, 4, KT_W("abc")), kOk);
  EXPECT_EQ(Value()->length, 6U);
}

TEST_F(PropertyValueTest, WideTextOfAnOddLengthIsRefused) {
  EXPECT_EQ(Add(TYPE_WSTR, 3, KT_W("abc")), kInvalid);
}

TEST_F(PropertyValueTest, ABlockOfBytesKeepsZeros) {
  ASSERT_EQ(Add(TYPE_BINARY, 3, "\0\xAB\x10"), kOk);
  const Found found = Value();
  ASSERT_EQ(found->length, 3U);
  EXPECT_EQ(std::memcmp(found->value, "\0\xAB\x10", 3), 0);
}

TEST_F(PropertyValueTest, AnEmptyBlockHasANullValue) {
  ASSERT_EQ(Add(TYPE_BINARY, 0, nullptr), kOk);
  EXPECT_EQ(Value()->length, 0U);
  EXPECT_EQ(Value()->value, nullptr);
}

TEST_F(PropertyValueTest, APropertySetIsTheHandleItselfWithLength16) {
  const KtPropset nested = NewSet();
  EXPECT_EQ(AddSet(set_, "v", nested), kOk);
  const Found found = Value();
  EXPECT_EQ(found->length, 16U);
  EXPECT_NE(found->value, nested);
  PsDestroyPropset(nested);
}

TEST_F(PropertyValueTest, ANullPropertySetStaysNull) {
  EXPECT_EQ(AddSet(set_, "v", nullptr), kOk);
  const Found found = Value();
  EXPECT_EQ(found->length, 16U);
  EXPECT_EQ(found->value, nullptr);
}

TEST_F(PropertyValueTest, ADestroyedPropertySetIsRefusedWhereverItStands) {
  const KtPropset stale = NewSet();
  PsDestroyPropset(stale);
  EXPECT_EQ(AddSet(set_, "v", stale), kNoObject);
  const std::array<KtPropset, 2> list{nullptr, stale};
  EXPECT_EQ(Add(TYPE_PROPSETZ, 2, list.data()), kNoObject);
  const KtI18NFormatString format{{{}, 1, 0, "x"}, stale};
  EXPECT_EQ(Add(TYPE_I18NFORMATSTRING, 40, &format), kNoObject);
  EXPECT_EQ(Add(TYPE_I18NFORMATSTRINGZ, 1, &format), kNoObject);
  EXPECT_EQ(Find(set_, "v"), nullptr);
}

TEST_F(PropertyValueTest, APropertySetOfAnotherLengthIsRefused) {
  EXPECT_EQ(Add(TYPE_PROPSET, 8, nullptr), kInvalid);
}

TEST_F(PropertyValueTest, TextsOfAListAreCopiedIntoTheBlock) {
  std::string first = "first";
  const std::array<const char*, 3> list{first.c_str(), "", "third"};
  ASSERT_EQ(Add(TYPE_STRZ, 3, list.data()), kOk);
  first = "xxxxx";
  const Found found = Value();
  ASSERT_EQ(found->length, 3U);
  std::array<const char*, 3> out{};
  std::memcpy(out.data(), found->value, sizeof(out));
  EXPECT_STREQ(out[0], "first");
  EXPECT_STREQ(out[1], "");
  EXPECT_STREQ(out[2], "third");
}

TEST_F(PropertyValueTest, WideTextsOfAListAreCopiedIntoTheBlock) {
  const std::array<const KtWchar*, 2> list{KT_W("\u00E4"), KT_W("")};
  ASSERT_EQ(Add(TYPE_WSTRZ, 2, list.data()), kOk);
  const Found found = Value();
  std::array<const KtWchar*, 2> out{};
  std::memcpy(out.data(), found->value, sizeof(out));
  EXPECT_EQ(std::basic_string<KtWchar>(out[0]), KT_W("\u00E4"));
  EXPECT_EQ(std::basic_string<KtWchar>(out[1]), KT_W(""));
}

TEST_F(PropertyValueTest, ANullTextInAListIsRefused) {
  const std::array<const char*, 2> narrow{"a", nullptr};
  EXPECT_EQ(Add(TYPE_STRZ, 2, narrow.data()), kInvalid);
  const std::array<const KtWchar*, 1> wide{nullptr};
  EXPECT_EQ(Add(TYPE_WSTRZ, 1, wide.data()), kInvalid);
}

TEST_F(PropertyValueTest, AMessageKeepsCatalogIdAndText) {
  const KtI18NDef message{kInterfaceA, 42, 0, "Disk %1"};
  ASSERT_EQ(Add(TYPE_I18N, 32 + 8, &message), kOk);
  const Found found = Value();
  EXPECT_EQ(found->length, 40U);
  const auto out = ValueOf<KtI18NDef>(found);
  EXPECT_EQ(std::memcmp(&out.catalog, &kInterfaceA, 16), 0);
  EXPECT_EQ(out.messageId, 42U);
  EXPECT_NE(out.name, message.name);
  EXPECT_STREQ(out.name, "Disk %1");
}

TEST_F(PropertyValueTest, AMessageWithoutATextHasTheEmptyText) {
  const KtI18NDef message{kInterfaceA, 42, 0, nullptr};
  ASSERT_EQ(Add(TYPE_I18N, 33, &message), kOk);
  EXPECT_STREQ(ValueOf<KtI18NDef>(Value()).name, "");
  EXPECT_EQ(Value()->length, 33U);
}

TEST_F(PropertyValueTest, AMessageShorterThanItsDefinitionIsRefused) {
  const KtI18NDef message{kInterfaceA, 42, 0, "x"};
  EXPECT_EQ(Add(TYPE_I18N, 31, &message), kInvalid);
}

TEST_F(PropertyValueTest, MessagesOfAListKeepTheirTexts) {
  const std::array<KtI18NDef, 2> list{KtI18NDef{kInterfaceA, 1, 0, "one"},
                                      KtI18NDef{kInterfaceB, 2, 0, "two"}};
  ASSERT_EQ(Add(TYPE_I18NZ, 2, list.data()), kOk);
  std::array<KtI18NDef, 2> out{};
  const Found found = Value();
  std::memcpy(out.data(), found->value, sizeof(out));
  EXPECT_STREQ(out[0].name, "one");
  EXPECT_STREQ(out[1].name, "two");
  EXPECT_EQ(out[1].messageId, 2U);
}

TEST_F(PropertyValueTest, AFormatStringCarriesAFreshCopyOfItsInsertions) {
  const KtPropset insertions = NewSet();
  I18nAddInsertionString(insertions, 1, "A");
  const KtI18NFormatString format{{kInterfaceA, 7, 0, "Disk %1"}, insertions};
  ASSERT_EQ(Add(TYPE_I18NFORMATSTRING, 40, &format), kOk);
  PsDestroyPropset(insertions);
  const Found found = Value();
  EXPECT_EQ(found->length, 40U);
  const auto out = ValueOf<KtI18NFormatString>(found);
  EXPECT_STREQ(out.message.name, "Disk %1");
  EXPECT_EQ(TextOf(Find(out.insertions, "p1")), "A");
}

TEST_F(PropertyValueTest, AFormatStringWithoutInsertionsKeepsNone) {
  const KtI18NFormatString format{{kInterfaceA, 7, 0, "x"}, nullptr};
  ASSERT_EQ(Add(TYPE_I18NFORMATSTRING, 40, &format), kOk);
  EXPECT_EQ(ValueOf<KtI18NFormatString>(Value()).insertions, nullptr);
}

TEST_F(PropertyValueTest, AFormatStringOfAnotherLengthIsRefused) {
  const KtI18NFormatString format{{kInterfaceA, 7, 0, "x"}, nullptr};
  EXPECT_EQ(Add(TYPE_I18NFORMATSTRING, 42, &format), kInvalid);
}

TEST_F(PropertyValueTest, FormatStringsOfAListCarryTheirInsertions) {
  const KtPropset insertions = NewSet();
  I18nAddInsertionString(insertions, 1, "A");
  const std::array<KtI18NFormatString, 2> list{
      KtI18NFormatString{{kInterfaceA, 1, 0, "one"}, insertions},
      KtI18NFormatString{{kInterfaceA, 2, 0, "two"}, nullptr}};
  ASSERT_EQ(Add(TYPE_I18NFORMATSTRINGZ, 2, list.data()), kOk);
  PsDestroyPropset(insertions);
  std::array<KtI18NFormatString, 2> out{};
  const Found found = Value();
  std::memcpy(out.data(), found->value, sizeof(out));
  EXPECT_EQ(TextOf(Find(out[0].insertions, "p1")), "A");
  EXPECT_EQ(out[1].insertions, nullptr);
}

TEST_F(PropertyValueTest, ARecordIsOneBlockForEveryShapeOfValue) {
  const KtPropset nested = NewSet();
  const std::array<const char*, 2> texts{"a", "bb"};
  const KtI18NFormatString format{{kInterfaceA, 1, 0, "one"}, nested};
  const std::array records{Record("1", TYPE_STR, 4, "abc"), Record("2", TYPE_STRZ, 2, texts.data()),
                           Record("3", TYPE_I18NFORMATSTRINGZ, 1, &format),
                           Record("4", TYPE_PROPSET, 16, nested)};
  for (const cuvo_property& record : records) ASSERT_EQ(PsAddProperty(set_, &record), kOk);
  for (const cuvo_property& record : records) {
    const auto before = Row("", "records").total + Row("", "blocks").total + Row("", "texts").total;
    const Found found = Find(set_, record.name);
    const auto after = Row("", "records").total + Row("", "blocks").total + Row("", "texts").total;
    EXPECT_EQ(after - before, 1U) << record.name;
  }
  PsDestroyPropset(nested);
}

TEST_F(PropertyValueTest, ALongTextAndALongListComeBackWhole) {
  const std::string text(1000000, 'x');
  const cuvo_property record =
      Record("text", TYPE_STR, static_cast<std::uint32_t>(text.size() + 1), text.c_str());
  ASSERT_EQ(PsAddProperty(set_, &record), kOk);
  EXPECT_EQ(TextOf(Find(set_, "text")), text);
  const std::vector<std::uint64_t> numbers(100000, std::numeric_limits<std::uint64_t>::max());
  ASSERT_EQ(Add(TYPE_UINT64Z, 100000, numbers.data()), kOk);
  EXPECT_EQ(std::memcmp(Value()->value, numbers.data(), 800000), 0);
}

}  // namespace
}  // namespace bus_test
