#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "bench/table/growth.h"
#include "bench/table/reports.h"
#include "bench/table/svg.h"

namespace kt::bench {
namespace {

using svg::Number;
using svg::Text;

constexpr double kFieldWidth = 480;
constexpr double kFieldHeight = 260;
constexpr double kLeft = 70;    // of a field: what the axis is labelled with
constexpr double kRight = 150;  // where the curves' labels stand
constexpr double kTop = 30;
constexpr double kBottom = 40;
constexpr double kHead = 30;  // of the picture
constexpr double kLabelHeight = 14;
constexpr double kLeast = 1e-3;  // what is less, of sizes and nanoseconds, is drawn there

// The whole powers of ten around what is there, as exponents.
struct Range {
  int low = std::numeric_limits<int>::max();
  int high = std::numeric_limits<int>::min();

  void Take(double value) {
    value = std::max(value, kLeast);
    low = std::min(low, static_cast<int>(std::floor(std::log10(value))));
    high = std::max({high, static_cast<int>(std::ceil(std::log10(value))), low + 1});
  }
  [[nodiscard]] double Part(double value) const {
    return (std::log10(std::max(value, kLeast)) - low) / (high - low);
  }
};

std::string SizeText(double size) {
  std::string text = std::to_string(static_cast<unsigned long long>(size));
  for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, ",");
  return text;
}

class Field {
 public:
  Field(const Growth& growth, double x, double y) : growth_(growth), x_(x), y_(y) {
    for (const Curve& curve : growth.curves) {
      for (const Point& point : curve.points) {
        sizes_.Take(point.size);
        times_.Take(point.median);
      }
    }
  }

  [[nodiscard]] std::string Drawn() const {
    std::string drawn = Text(x_ + 10, y_ + 18, "title", growth_.title);
    // Numbers of seven digits have room beside one another in up to five steps.
    for (int at = sizes_.low; at <= sizes_.high; at += (sizes_.high - sizes_.low) / 6 + 1) {
      const double size = std::pow(10, at);
      drawn += Line(PlaceX(size), Bottom(), PlaceX(size), y_ + kTop);
      drawn += Text(PlaceX(size) - 12, Bottom() + 16, "label", SizeText(size));
    }
    for (int at = times_.low; at <= times_.high; ++at) {
      const double time = std::pow(10, at);
      drawn += Line(x_ + kLeft, PlaceY(time), Right(), PlaceY(time));
      drawn += Text(x_ + 10, PlaceY(time) + 4, "label", NumberText(time, "ns"));
    }
    for (const Curve& curve : growth_.curves) drawn += Drawn(curve);
    return drawn + Labels();
  }

 private:
  [[nodiscard]] double Bottom() const { return y_ + kFieldHeight - kBottom; }
  [[nodiscard]] double Right() const { return x_ + kFieldWidth - kRight; }
  [[nodiscard]] double PlaceX(double size) const {
    return x_ + kLeft + sizes_.Part(size) * (kFieldWidth - kLeft - kRight);
  }
  [[nodiscard]] double PlaceY(double time) const {
    return Bottom() - times_.Part(time) * (kFieldHeight - kTop - kBottom);
  }

  static std::string Line(double from_x, double from_y, double to_x, double to_y) {
    return "<line x1=\"" + Number(from_x) + "\" y1=\"" + Number(from_y) + "\" x2=\"" +
           Number(to_x) + "\" y2=\"" + Number(to_y) + "\" stroke=\"#e3e6ea\"/>\n";
  }

  [[nodiscard]] std::string Drawn(const Curve& curve) const {
    const std::string colour(curve.ours ? svg::kOurs : svg::kOthers);
    std::string places;
    std::string dots;
    for (const Point& point : curve.points) {
      const std::string x = Number(PlaceX(point.size));
      const std::string y = Number(PlaceY(point.median));
      places.append(places.empty() ? "" : " ").append(x).append(",").append(y);
      dots.append("<circle cx=\"").append(x).append("\" cy=\"").append(y);
      dots.append("\" r=\"3\" fill=\"").append(colour).append("\"/>\n");
    }
    return "<polyline points=\"" + places + "\" fill=\"none\" stroke-width=\"2\" stroke=\"" +
           colour + "\"/>\n" + dots;
  }

  // Each at the height of its curve's end and below the one before it, none below the field.
  [[nodiscard]] std::string Labels() const {
    std::vector<std::pair<double, const Curve*>> ends;
    for (const Curve& curve : growth_.curves) {
      ends.emplace_back(PlaceY(curve.points.back().median), &curve);
    }
    std::sort(ends.begin(), ends.end());
    double above = y_;
    for (auto& [place, curve] : ends) above = place = std::max(place, above + kLabelHeight);
    double below = Bottom() + kLabelHeight;
    for (auto end = ends.rbegin(); end != ends.rend(); ++end) {
      below = end->first = std::min(end->first, below - kLabelHeight);
    }
    std::string labels;
    for (const auto& [place, curve] : ends) {
      labels += Text(Right() + 8, place + 4, curve->ours ? "ours" : "label",
                     curve->label + ", " + NumberText(curve->points.back().median, "ns"));
    }
    return labels;
  }

  const Growth& growth_;
  double x_;
  double y_;
  Range sizes_;
  Range times_;
};

}  // namespace

std::string GrowthPicture(const std::vector<Growth>& growths) {
  if (growths.empty()) return "";
  std::string body = Text(10, 18, "label",
                          "Median of one run by the number of things that there are, both "
                          "logarithmic. Flatter is better.");
  double y = kHead;
  bool left = true;
  for (const Growth& growth : growths) {
    body += Field(growth, left ? 0 : kFieldWidth, y).Drawn();
    if (!left) y += kFieldHeight;
    left = !left;
  }
  return svg::Document(2 * kFieldWidth, left ? y : y + kFieldHeight, body);
}

}  // namespace kt::bench
