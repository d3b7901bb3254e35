// How the time of an operation grows with the number of things that there are, as bench/rows.json
// names it under "growths".
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/table/samples.h"

namespace kt::bench {

struct Point {
  double size = 0;    // how many things there are
  double median = 0;  // nanoseconds

  friend bool operator==(const Point&, const Point&) = default;
};

struct Curve {
  std::string label;
  bool ours = false;
  std::vector<Point> points;  // by size; sizes that were not measured are left out
};

struct Growth {
  std::string title;
  std::vector<Curve> curves;
};

// What was measured of each; a curve of fewer than two points, and a growth without a curve, are
// left out. Throws std::runtime_error with the place of what is wrong in the document.
std::vector<Growth> ReadGrowths(const nlohmann::json& document, const Samples& samples);

// A picture (SVG): a field for each growth, both axes logarithmic. Empty text when there is none.
std::string GrowthPicture(const std::vector<Growth>& growths);

}  // namespace kt::bench
