#include "base/trace.h"

#include <gtest/gtest.h>

#include "fake/fake_test.h"

namespace {

class TraceTest : public fake::FrameworkTest {};

TEST_F(TraceTest, TheGateLetsASuccessPassWithoutALine) {
  EXPECT_NO_THROW(kt::ThrowIfFailed(KTSTATUS_UNCHANGED, kt::kError, "%S: never"));
  EXPECT_TRUE(fake::Framework::Get().Traces().empty());
}

TEST_F(TraceTest, TheGateTracesOnceWithTheModulesNameAndThrowsTheBareStatus) {
  try {
    kt::ThrowIfFailed(KTERROR_NO_OBJECT, kt::kWarning, "%S: no %s here, %x", "disk", 0xABu);
    FAIL() << "nothing was thrown";
  } catch (std::uint32_t status) {
    EXPECT_EQ(status, KTERROR_NO_OBJECT);
  }
  const auto traces = fake::Framework::Get().Traces();
  ASSERT_EQ(traces.size(), 1u);
  EXPECT_EQ(traces[0].level, kt::kWarning);
  EXPECT_EQ(traces[0].text, "hostkit: no disk here, ab");
}

TEST_F(TraceTest, ThePlainGateLeavesTheModulesNameOut) {
  EXPECT_THROW(kt::ThrowIfFailedPlain(KTERROR_NO_OBJECT, kt::kError, "ERROR: %s", "type"),
               std::uint32_t);
  ASSERT_EQ(fake::Framework::Get().Traces().size(), 1u);
  EXPECT_EQ(fake::Framework::Get().Traces()[0].text, "ERROR: type");
}

}  // namespace
