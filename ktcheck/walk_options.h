// Which controls are sent to a module.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ktcheck {

// The control that restarts the machine.
inline constexpr std::uint32_t kRestart = 11001;

struct CodeRange {
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  bool alone = false;  // named by itself, and not as a part of a range
};

// "1,5-7" as ranges; nothing when it makes no sense.
std::optional<std::vector<CodeRange>> RangesOf(const std::string& text);

struct WalkOptions {
  std::vector<CodeRange> codes{{0, 63}, {11000, 11063}, {12000, 12063}, {20000, 20063}};
  std::vector<std::uint32_t> left_out{kRestart};
  std::uint64_t seed = 1;

  // Whether somebody named the code by itself, who will know that the module has it.
  [[nodiscard]] bool IsNamed(std::uint32_t code) const {
    return std::any_of(codes.begin(), codes.end(),
                       [&](const CodeRange& range) { return range.alone && range.first == code; });
  }

  // Whether the code may be sent.
  [[nodiscard]] bool MaySend(std::uint32_t code) const {
    return std::find(left_out.begin(), left_out.end(), code) == left_out.end();
  }
};

}  // namespace ktcheck
