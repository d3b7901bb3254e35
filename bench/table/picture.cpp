#include <algorithm>
#include <cmath>
#include <cstdio>

#include "bench/table/reports.h"

namespace kt::bench {
namespace {

constexpr double kLabelWidth = 380;
constexpr double kBarWidth = 420;
constexpr double kWidth = 970;
constexpr double kLine = 20;

std::string Escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string Number(double value) {
  std::string text(32, '\0');
  text.resize(static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%.1f", value)));
  return text;
}

std::string Text(double x, double y, const char* style, const std::string& text) {
  return "<text x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" class=\"" + style + "\">" +
         Escaped(text) + "</text>\n";
}

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
              (contestant.ours ? "#1f6feb" : "#9aa4af") + "\"/>\n";
      body += Text(
          end + 6, y, "label",
          RatioText(*contestant.ratio) + "  " + NumberText(contestant.measured->median, row.unit));
      y += kLine;
    }
    y += kLine / 2;
  }
  if (body.empty()) return "";
  const std::string one = Number(Place(1));
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(kWidth) + "\" height=\"" +
         Number(y) + "\" viewBox=\"0 0 " + Number(kWidth) + " " + Number(y) +
         "\">\n<style>text{font-family:sans-serif;font-size:12px;fill:#24292f}"
         ".title{font-weight:bold}.ours{font-weight:bold;fill:#1f6feb}</style>\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n" +
         Text(10, 18, "label",
              "Median of one run as a multiple of the floor (the line), logarithmic. "
              "Shorter is better.") +
         body + "<line x1=\"" + one + "\" x2=\"" + one + "\" y1=\"26\" y2=\"" + Number(y - 10) +
         "\" stroke=\"#cf222e\" stroke-dasharray=\"3 3\"/>\n</svg>\n";
}

}  // namespace kt::bench
