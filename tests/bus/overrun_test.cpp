// Memory of the framework that is written past its end. (The address sanitizer ends the program at
// the first such byte, so this file is left out with it.)
#include <map>
#include <string>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

class OverrunTest : public BusTest {
 protected:
  // The kind's overruns of the host since the last call.
  static std::uint64_t New(const char* kind) {
    static std::map<std::string, std::uint64_t> seen;
    const std::uint64_t now = Row("", kind).overruns;
    const std::uint64_t fresh = now - seen[kind];
    seen[kind] = now;
    return fresh;
  }
  void SetUp() override {
    BusTest::SetUp();
    New("blocks");
    New("records");
  }
};

TEST_F(OverrunTest, IsToldWhenTheBlockIsReleased) {
  auto* const block = static_cast<char*>(_KtAlloc(10));
  ASSERT_NE(block, nullptr);
  block[10] = 'x';
  EXPECT_EQ(New("blocks"), 0U);
  _KtFree(block);
  EXPECT_EQ(New("blocks"), 1U);
  EXPECT_TRUE(HasTrace(6, "ktbus3: 10 bytes at "));
  EXPECT_TRUE(HasTrace(6, "(blocks), handed out to the host, were written past their end"));
}

TEST_F(OverrunTest, IsNothingThatFillsTheBlockToItsLastByte) {
  auto* const block = static_cast<char*>(_KtAlloc(10));
  ASSERT_NE(block, nullptr);
  std::memset(block, 'x', 10);
  _KtFree(block);
  EXPECT_EQ(New("blocks"), 0U);
}

TEST_F(OverrunTest, IsSeenFarBehindTheBlockToo) {
  auto* const block = static_cast<char*>(_KtAlloc(0));
  ASSERT_NE(block, nullptr);
  block[31] = 'x';
  _KtFree(block);
  EXPECT_EQ(New("blocks"), 1U);
}

TEST_F(OverrunTest, OfARecordIsToldForRecords) {
  const KtPropset set = NewSet();
  AddUint32(set, "a", 1);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set, "a", &found), kOk);
  static_cast<std::uint32_t*>(found->value)[1] = 1;
  EXPECT_EQ(PsFreeProperty(found), kOk);
  EXPECT_EQ(New("records"), 1U);
  EXPECT_EQ(PsDestroyPropset(set), kOk);
}

TEST_F(OverrunTest, CountsInTheAccountThatTheMemoryStandsIn) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta-overrun");
  char* block = nullptr;
  beta.get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    block = static_cast<char*>(_KtAlloc(1));
    return kOk;
  };
  EXPECT_EQ(KtBusProviderGetAttr(beta.handle(), 0, 0, 0, 0), kOk);
  block[1] = 'x';
  const std::uint64_t before = Sum().overruns;
  _KtFree(block);
  EXPECT_EQ(Sum("beta-overrun").overruns, 1U);
  EXPECT_EQ(Sum().overruns, before + 1);
}

}  // namespace
}  // namespace bus_test
