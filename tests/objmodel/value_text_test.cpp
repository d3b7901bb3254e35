#include "objmodel/value_text.h"

#include <limits>

#include "fake/fake_test.h"
#include "objmodel/property_kinds.h"

namespace {

class ValueText : public fake::FrameworkTest {};

TEST_F(ValueText, PrintsNumbersInDecimalUpToTheirLimits) {
  EXPECT_EQ(kt::ValueText(std::uint32_t{0}), "0");
  EXPECT_EQ(kt::ValueText(std::numeric_limits<std::uint32_t>::max()), "4294967295");
  EXPECT_EQ(kt::ValueText(std::numeric_limits<std::int32_t>::min()), "-2147483648");
  EXPECT_EQ(kt::ValueText(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(kt::ValueText(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(kt::ValueText(KtTime{std::numeric_limits<std::uint64_t>::max()}),
            "18446744073709551615");
}

TEST_F(ValueText, PrintsAnyByteButZeroAsTrue) {
  EXPECT_EQ(kt::ValueText(cuvo_bool{0}), "false");
  EXPECT_EQ(kt::ValueText(cuvo_bool{1}), "true");
  EXPECT_EQ(kt::ValueText(cuvo_bool{2}), "true");
}

TEST_F(ValueText, PrintsGuidsAndObjectIdsAlike) {
  EXPECT_EQ(kt::ValueText(kGuidOne), kGuidOneText);
  EXPECT_EQ(kt::ValueText(KtObjId{kGuidTwo}), kGuidTwoText);
}

TEST_F(ValueText, MakesWideTextNarrow) {
  EXPECT_EQ(kt::ValueText(KtWString(KT_W("g\u00E4mma"))), "g\xC3\xA4mma");
  EXPECT_EQ(kt::ValueText(KtWString()), "");
}

TEST_F(ValueText, PrintsABlockOfThreeBytesAsSixHexadecimalDigits) {
  const unsigned char bytes[] = {0x00, 0xAB, 0x10};
  EXPECT_EQ(kt::BytesText(bytes, 3), "00ab10");
}

TEST_F(ValueText, PrintsABlockWithoutBytesAsTheEmptyText) {
  const unsigned char byte = 1;
  EXPECT_EQ(kt::BytesText(&byte, 0), "");
  EXPECT_EQ(kt::BytesText(nullptr, 3), "");
}

TEST_F(ValueText, PrintsAMessageByItsIdNameAndCatalog) {
  const std::string expected =
      std::string("messageId=7, name=\"Disk %1\", catalog=") + kGuidOneText;
  EXPECT_EQ(kt::ValueText(kMessageOne), expected);
  EXPECT_EQ(kt::ValueText(CKtI18N(kMessageOne)), expected);
}

TEST_F(ValueText, PrintsAMessageWithoutANameWithNothingBetweenTheQuotes) {
  EXPECT_EQ(kt::ValueText(KtI18NDef{kGuidTwo, 4294967295u, 0, nullptr}),
            std::string("messageId=4294967295, name=\"\", catalog=") + kGuidTwoText);
}

TEST_F(ValueText, ReleasesTheFrameworksBuffersWhenACallFails) {
  for (const char* function : {"KtGUIDToString", "_KtAlloc"}) {
    framework_.FailCall(function, 1, 0x8007000Eu);
    try {
      static_cast<void>(kt::ValueText(kGuidOne));
      static_cast<void>(kt::ValueText(KtWString(KT_W("wide"))));
    } catch (std::uint32_t status) {
      EXPECT_EQ(status, 0x8007000Eu);
    }
    framework_.ClearFailures();
    EXPECT_TRUE(fake::NothingKept());
  }
}

}  // namespace
