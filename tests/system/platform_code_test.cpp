#include "system/platform_code.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace {

struct Row {
  const char* host;
  kt::MachineFacts machine;  // architecture, major version, service pack, emulated
  std::uint32_t code;
};

TEST(PlatformCode, IsAsTabledForEveryRow) {
  const std::vector<Row> rows{
      {"IA-64, version 6", {6, 6, 0, false}, 6},
      {"IA-64, version 6, service pack", {6, 6, 2, false}, 6},
      {"IA-64, version 5", {6, 5, 0, false}, 2},
      {"IA-64, version 10, service pack", {6, 10, 3, false}, 2},
      {"x64 emulated, version 6", {9, 6, 0, true}, 7},
      {"x64 emulated, version 5", {9, 5, 0, true}, 3},
      {"x64 emulated, version 10, service pack", {9, 10, 1, true}, 3},
      {"x64 native, version 6", {9, 6, 0, false}, 5},
      {"x64 native, version 10", {9, 10, 0, false}, 1},
      {"x64 native, version 6, service pack", {9, 6, 1, false}, 8},
      {"x64 native, version 5, service pack", {9, 5, 2, false}, 4},
      {"x86, version 6", {0, 6, 0, false}, 5},
      {"x86, version 5", {0, 5, 0, false}, 1},
      {"x86, version 6, service pack", {0, 6, 2, false}, 8},
      {"x86, version 5, service pack", {0, 5, 4, false}, 4},
      {"ARM64, version 10", {12, 10, 0, false}, 1},
      {"unknown, version 6, service pack", {0xFFFF, 6, 1, false}, 8},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(kt::PlatformCode(row.machine), row.code) << row.host;
  }
}

TEST(PlatformCode, IsSevenForAnEmulatedProcessOnX64OfVersion6WhateverItsServicePack) {
  for (std::uint32_t service_pack = 0; service_pack < 5; ++service_pack) {
    EXPECT_EQ(kt::PlatformCode({9, 6, service_pack, true}), 7u);
  }
}

TEST(PlatformCode, AsksForEmulationOnX64Only) {
  EXPECT_EQ(kt::PlatformCode({0, 6, 0, true}), 5u);
  EXPECT_EQ(kt::PlatformCode({6, 6, 0, true}), 6u);
}

}  // namespace
