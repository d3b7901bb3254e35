#include "blockdev/devices/partition_type.h"

#include <gtest/gtest.h>

namespace kt::blockdev {
namespace {

TEST(OemPartitionType, IsWhatAMachineKeepsToItself) {
  for (const char* const type :
       {"c12a7328-f81f-11d2-ba4b-00a0c93ec93b", "e3c9e316-0b5c-4db8-817d-f92df00215ae",
        "de94bba4-06d1-4d40-a16a-bfd50179d6ac", "21686148-6449-6e6f-744e-656564454649",
        "bfbfafe7-a34f-448a-9a5b-6213eb736c22", "f4019732-066e-4e12-8273-346c5641494f",
        "d3bfe2de-3daf-11df-ba40-e3a556d89593", "0xef", "0x27", "0x12", "0xde"}) {
    EXPECT_TRUE(IsOemPartitionType(type)) << type;
  }
}

TEST(OemPartitionType, IsNoPlainPartitionsAndNoUnknownOne) {
  for (const char* const type :
       {"0fc63daf-8483-4772-8e79-3d69d8477de4", "0x83", "0x7", "0xe", ""}) {
    EXPECT_FALSE(IsOemPartitionType(type)) << type;
  }
}

}  // namespace
}  // namespace kt::blockdev
