#include "soak/series.h"

#include <algorithm>

namespace soak {
namespace {

constexpr double kSecondsInHour = 3600;

// Without the warm-up, each piece as the medians of its times and values.
std::vector<Point> PiecesOf(const std::vector<Point>& points) {
  if (points.empty()) {
    return {};
  }
  const double length = points.back().seconds - points.front().seconds;
  const double begin = points.front().seconds + std::min(length * kWarmUp, kLongestWarmUp);
  const auto first = std::find_if(points.begin(), points.end(),
                                  [begin](const Point& point) { return point.seconds >= begin; });
  const auto count = static_cast<std::size_t>(points.end() - first);
  const std::size_t pieces = std::min(count, kPieces);
  std::vector<Point> result;
  for (std::size_t i = 0; i < pieces; ++i) {
    std::vector<double> times;
    std::vector<double> values;
    for (std::size_t j = count * i / pieces; j < count * (i + 1) / pieces; ++j) {
      times.push_back(first[static_cast<std::ptrdiff_t>(j)].seconds);
      values.push_back(first[static_cast<std::ptrdiff_t>(j)].value);
    }
    result.push_back({Median(std::move(times)), Median(std::move(values))});
  }
  return result;
}

// A second.
double SlopeOf(const std::vector<Point>& pieces) {
  std::vector<double> slopes;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    for (std::size_t j = i + 1; j < pieces.size(); ++j) {
      if (const double time = pieces[j].seconds - pieces[i].seconds; time > 0) {
        slopes.push_back((pieces[j].value - pieces[i].value) / time);
      }
    }
  }
  return Median(std::move(slopes));
}

// Of the pieces from one part of them to another.
double LevelOf(const std::vector<Point>& pieces, std::size_t from, std::size_t to) {
  std::vector<double> values;
  for (std::size_t i = from; i < to; ++i) {
    values.push_back(pieces[i].value);
  }
  return Median(std::move(values));
}

}  // namespace

double Median(std::vector<double> values) {
  if (values.empty()) {
    return 0;
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 != 0) {
    return *middle;
  }
  return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

Judgement Judge(const std::vector<Point>& points, const Allowance& allowance) {
  const std::vector<Point> pieces = PiecesOf(points);
  Judgement result;
  if (pieces.size() < kFewest) {
    return result;
  }
  const std::size_t quarter = pieces.size() / 4;
  const double time = pieces.back().seconds - pieces.front().seconds;
  const double slope = SlopeOf(pieces);
  result.judged = true;
  result.before = LevelOf(pieces, quarter, 2 * quarter);
  result.after = LevelOf(pieces, pieces.size() - quarter, pieces.size());
  result.hourly = slope * kSecondsInHour;
  result.rise = slope * time;
  result.allowed =
      allowance.floor + allowance.part * result.before + allowance.hourly * time / kSecondsInHour;
  result.grows = result.rise > result.allowed && result.after - result.before > result.allowed / 2;
  return result;
}

}  // namespace soak
