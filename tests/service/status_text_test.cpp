#include "status_text.h"

#include <gtest/gtest.h>

namespace ktsvc {
namespace {

TEST(StatusText, NamesAndExplainsAKnownStatus) {
  EXPECT_EQ(StatusText(0xC1000005U),
            "0xC1000005 KTERROR_WRONG_PROVIDER (asked for a provider of another name)");
}

TEST(StatusText, GivesTheNumberAloneForAnUnknownStatus) {
  EXPECT_EQ(StatusText(0xC1FFFFFFU), "0xC1FFFFFF");
}

TEST(StatusText, AlwaysWritesEightDigits) {
  EXPECT_EQ(StatusHex(5), "0x00000005");
}

TEST(StatusName, IsEmptyForAnUnknownStatus) {
  EXPECT_EQ(StatusName(0xC10000C9U), "KTERROR_PROVIDER_SHUTTING_DOWN");
  EXPECT_EQ(StatusName(0x12345678U), "");
}

}  // namespace
}  // namespace ktsvc
