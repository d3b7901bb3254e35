// What the words of the command line ask for.
//
// Threads: plain values.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "ktcheck/bench.h"

namespace ktcheck {

// Exit statuses of the program.
inline constexpr int kExitPassed = 0;
inline constexpr int kExitFindings = 1;
inline constexpr int kExitWrongWords = 2;
inline constexpr int kExitNoVerdict = 3;

struct Options {
  CheckOptions check;
  std::vector<std::string> only;   // names of checks; none: all
  std::filesystem::path registry;  // empty: an empty one
  std::filesystem::path replay;    // empty: no replay
  bool json = false;
  bool quiet = false;

  // For the process of one check.
  std::string one;
  std::filesystem::path report;
  std::uint64_t parent = 0;  // the number of the process that started it
};

}  // namespace ktcheck
