#include "base/text.h"

#include <gtest/gtest.h>

#include "base/status.h"
#include "fake/fake_test.h"

namespace {

class TextTest : public fake::FrameworkTest {};

TEST_F(TextTest, WidensAndNarrowsBackTextBeyondTheBasicPlane) {
  const std::string text = "disk \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x92\xBE";
  const KtWString wide = kt::Widen(text);
  EXPECT_EQ(wide.size(), 11u);  // the last character takes two units
  EXPECT_EQ(kt::Narrow(wide), text);
}

TEST_F(TextTest, GivesTheEmptyTextForNullAndEmptyInput) {
  EXPECT_EQ(kt::Narrow(static_cast<const KtWchar*>(nullptr)), "");
  EXPECT_EQ(kt::Narrow(KtWString()), "");
  EXPECT_EQ(kt::Widen(static_cast<const char*>(nullptr)), KtWString());
  EXPECT_EQ(kt::Widen(""), KtWString());
}

TEST_F(TextTest, WidensEachByteThatIsNoPartOfACharacterToAMark) {
  EXPECT_EQ(kt::Widen("caf\xE9"), KT_W("caf\uFFFD"));
  EXPECT_EQ(kt::Widen("a\xC3"), KT_W("a\uFFFD"));
  EXPECT_EQ(kt::Widen("\xE2\x82z"), KT_W("\uFFFD\uFFFDz"));
  EXPECT_EQ(kt::Widen("\x80 \xC3\xA9 \xF0\x9F\x92\xBE"), KT_W("\uFFFD \u00E9 \U0001F4BE"));
}

TEST_F(TextTest, WidensOverlongFormsSurrogatesAndValuesBeyondTheLastToMarks) {
  EXPECT_EQ(kt::Widen("\xC0\xAF"), KT_W("\uFFFD\uFFFD"));
  EXPECT_EQ(kt::Widen("\xE0\x9F\x80"), KT_W("\uFFFD\uFFFD\uFFFD"));
  EXPECT_EQ(kt::Widen("\xED\xA0\x80"), KT_W("\uFFFD\uFFFD\uFFFD"));
  EXPECT_EQ(kt::Widen("\xF0\x8F\x80\x80"), KT_W("\uFFFD\uFFFD\uFFFD\uFFFD"));
  EXPECT_EQ(kt::Widen("\xF4\x90\x80\x80"), KT_W("\uFFFD\uFFFD\uFFFD\uFFFD"));
  EXPECT_EQ(kt::Widen("\xF5"), KT_W("\uFFFD"));
}

TEST_F(TextTest, NarrowsEachSurrogateWithoutItsPairToAMark) {
  const KtWchar high[] = {'a', 0xD800, 'b', 0};
  const KtWchar low[] = {0xDC00, 0xD83D, 0xDCBE, 0};
  const KtWchar last[] = {'a', 0xDBFF, 0};
  EXPECT_EQ(kt::Narrow(high),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(kt::Narrow(low), "\xEF\xBF\xBD\xF0\x9F\x92\xBE");
  EXPECT_EQ(kt::Narrow(last), "a\xEF\xBF\xBD");
}

TEST_F(TextTest, GivesTheEmptyTextWhenTheFrameworkRefusesWellFormedText) {
  fake::Framework& framework = fake::Framework::Get();
  for (const std::size_t refused : {1u, 2u}) {  // the measuring twice, or the conversion
    framework.FailCall("Ktmbstowcs", refused, 0);
    if (refused == 1) framework.FailCall("Ktmbstowcs", 2, 0);
    EXPECT_EQ(kt::Widen("abc"), KtWString());
  }
}

TEST_F(TextTest, ThrowsOutOfMemoryAfterOneLineWhenThereIsNoBuffer) {
  fake::Framework::Get().FailCall("_KtAlloc", 1, 0);
  EXPECT_THROW(
      {
        try {
          static_cast<void>(kt::Widen("abc"));
        } catch (KtStatus status) {
          EXPECT_EQ(status, E_OUTOFMEMORY);
          throw;
        }
      },
      KtStatus);
  EXPECT_EQ(fake::Framework::Get().Traces().size(), 1u);
  fake::Framework::Get().ClearFailures();
}

TEST_F(TextTest, WritesAGuidInUpperCaseWithBraces) {
  const KtGuid guid{0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
  EXPECT_EQ(kt::GuidText(guid), "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}");
}

TEST_F(TextTest, GivesTheEmptyTextForAGuidWhenTheFrameworkHasNoMemory) {
  fake::Framework::Get().FailCall("KtGUIDToString", 1, 0);
  EXPECT_EQ(kt::GuidText(KtGuid{}), "");
  fake::Framework::Get().ClearFailures();
}

}  // namespace
