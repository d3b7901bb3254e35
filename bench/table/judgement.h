// The rule that turns what was measured into the table: ratios to the floor of the same run, and
// whether each wish holds.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/table/rows.h"
#include "bench/table/samples.h"

namespace kt::bench {

struct JudgedContestant {
  std::string label;
  std::string benchmark;
  bool ours = false;
  std::optional<Measured> measured;  // nothing: it was not in this run
  std::optional<double> ratio;       // of its median to the floor's
};

enum class Verdict { kHolds, kMissed, kNotMeasured };

struct JudgedWish {
  std::string text;
  Verdict verdict = Verdict::kNotMeasured;
  double reached = 0;  // in the wish's own terms; 0 when it was not measured
  bool times = true;   // whether that is a ratio, or a number in the row's unit
};

struct JudgedRow {
  std::string id;
  std::string title;
  std::string unit;
  std::vector<JudgedContestant> contestants;
  std::vector<JudgedWish> wishes;
};

// Rows of which nothing was measured are left out.
std::vector<JudgedRow> Judge(const std::vector<Row>& rows, const Samples& samples);

}  // namespace kt::bench
