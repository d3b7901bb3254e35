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

TEST_F(TextTest, GivesTheEmptyTextForMalformedInput) {
  EXPECT_EQ(kt::Widen("a\xC3"), KtWString());
  const KtWchar lone[] = {'a', 0xD800, 0};
  EXPECT_EQ(kt::Narrow(lone), "");
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
