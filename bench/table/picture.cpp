#include <algorithm>
#include <cmath>

#include "bench/table/reports.h"
#include "bench/table/svg.h"

namespace kt::bench {
namespace {

using svg::Number;
using svg::Text;

constexpr double kLabelWidth = 380;
constexpr double kBarWidth = 420;
constexpr double kWidth = 970;
constexpr double kLine = 20;

bool HasRatio(const JudgedRow& row) {
  return std::any_of(row.contestants.begin(), row.contestants.end(),
                     [](const auto& contestant) { return contestant.ratio.has_value(); });
}

// A hundredth of the floor to ten thousand times of it; the floor itself has a line.
double Place(double ratio) {
  const double part = (std::log10(std::clamp(ratio, 0.01, 10'000.0)) + 2) / 6;
  return kLabelWidth + part * kBarWidth;
}

}  // namespace

std::string Picture(const std::vector<JudgedRow>& rows) {
  std::string body;
  double y = 40;
  for (const JudgedRow& row : rows) {
    if (!HasRatio(row)) continue;
    body += Text(10, y, "title", row.title);
    y += kLine;
    for (const JudgedContestant& contestant : row.contestants) {
      if (!contestant.ratio || !contestant.measured) continue;
      const double end = Place(*contestant.ratio);
      body += Text(24, y, contestant.ours ? "ours" : "label", contestant.label);
      body += "<rect x=\"" + Number(kLabelWidth) + "\" y=\"" + Number(y - 11) + "\" width=\"" +
              Number(std::max(1.0, end - kLabelWidth)) + "\" height=\"13\" fill=\"" +
              std::string(contestant.ours ? svg::kOurs : svg::kOthers) + "\"/>\n";
      body += Text(
          end + 6, y, "label",
          RatioText(*contestant.ratio) + "  " + NumberText(contestant.measured->median, row.unit));
      y += kLine;
    }
    y += kLine / 2;
  }
  if (body.empty()) return "";
  const std::string one = Number(Place(1));
  return svg::Document(kWidth, y,
                       Text(10, 18, "label",
                            "Median of one run as a multiple of the floor (the line), logarithmic. "
                            "Shorter is better.") +
                           body + "<line x1=\"" + one + "\" x2=\"" + one + "\" y1=\"26\" y2=\"" +
                           Number(y - 10) + "\" stroke=\"#cf222e\" stroke-dasharray=\"3 3\"/>\n");
}

}  // namespace kt::bench
