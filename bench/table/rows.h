// The rows of the table, as bench/rows.json says them, and what each wishes for.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kt::bench {

// One line of a row: who did the work, and the benchmark that measured it.
struct Contestant {
  std::string label;
  std::string benchmark;
  bool ours = false;
  bool peer = false;  // needs a package that may be missing
};

// A wish about numbers of one run:
//   kAtMost   left / right is at most `factor`
//   kFaster   right / left is at least `factor`: left is that many times as fast
//   kGrowth   left / left_from is at most right / right_from times `factor`
//   kBelow    left is at most `factor`, in the row's unit
struct Wish {
  enum class Kind { kAtMost, kFaster, kGrowth, kBelow };
  Kind kind = Kind::kAtMost;
  double factor = 1;
  std::string left;
  std::string right;
  std::string left_from;
  std::string right_from;
  std::string text;  // for people: "at most 5x the floor"
};

struct Row {
  std::string id;
  std::string title;
  std::string unit;                     // "ns", or that of a figure
  std::vector<Contestant> contestants;  // ours first
  std::string floor;                    // the benchmark that ratios refer to; may be empty
  std::vector<Wish> wishes;
};

// Throws std::runtime_error with the place of what is wrong.
std::vector<Row> ReadRows(const nlohmann::json& document);

}  // namespace kt::bench
