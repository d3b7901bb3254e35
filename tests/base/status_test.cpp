#include "base/status.h"

#include <gtest/gtest.h>

extern "C" std::uint32_t ReadHeaderAsC(void);

namespace {

struct Row {
  KtStatus status;
  bool fails;
};

class StatusRule : public testing::TestWithParam<Row> {};

TEST_P(StatusRule, DecidesByTheFacilityWhichBitsTell) {
  EXPECT_EQ(kt::StatusFails(GetParam().status), GetParam().fails) << std::hex << GetParam().status;
}

INSTANTIATE_TEST_SUITE_P(
    Truths, StatusRule,
    testing::Values(Row{0, false}, Row{1, true}, Row{5, true}, Row{0x40000001, true},
                    Row{0x80000001, true}, Row{0xC1000001, true}, Row{0x81000001, false},
                    Row{0x41000012, false}, Row{0x01000012, false}, Row{0x8007000E, true},
                    Row{0x80070057, true}, Row{0x40070001, false}, Row{0x00070005, false},
                    Row{0xC0070005, true}, Row{0x4EEE0001, false}, Row{0x8EEE0001, true}));

TEST(FrameworkHeader, ReadsAsPlainC) {
  EXPECT_EQ(ReadHeaderAsC(), TYPE_TIMEZ);
}

}  // namespace
