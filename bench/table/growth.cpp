#include "bench/table/growth.h"

#include <algorithm>
#include <stdexcept>

namespace kt::bench {
namespace {

using nlohmann::json;

// "objects-read/*/kt" of a size.
std::string NameOf(std::string benchmark, unsigned size) {
  const std::size_t star = benchmark.find('*');
  if (star == std::string::npos) {
    throw std::runtime_error("\"" + benchmark + "\" has no * for the size");
  }
  return benchmark.replace(star, 1, std::to_string(size));
}

Curve ReadCurve(const json& line, const std::vector<unsigned>& sizes, const Samples& samples) {
  Curve curve{line.at(0).get<std::string>(), line.size() > 2 && line.at(2) == "ours", {}};
  for (const unsigned size : sizes) {
    const auto measured = samples.Find(NameOf(line.at(1).get<std::string>(), size));
    if (measured) curve.points.push_back({static_cast<double>(size), measured->median});
  }
  return curve;
}

Growth ReadGrowth(const json& growth, const Samples& samples) {
  Growth read{growth.at("title").get<std::string>(), {}};
  auto sizes = growth.at("sizes").get<std::vector<unsigned>>();
  std::sort(sizes.begin(), sizes.end());
  if (sizes.empty() || sizes.front() == 0) throw std::runtime_error("a size is at least 1");
  for (const json& line : growth.at("curves")) {
    Curve curve = ReadCurve(line, sizes, samples);
    if (curve.points.size() > 1) read.curves.push_back(std::move(curve));
  }
  return read;
}

}  // namespace

std::vector<Growth> ReadGrowths(const json& document, const Samples& samples) {
  std::vector<Growth> growths;
  std::size_t place = 0;
  for (const json& growth : document.value("growths", json::array())) {
    ++place;
    try {
      Growth read = ReadGrowth(growth, samples);
      if (!read.curves.empty()) growths.push_back(std::move(read));
    } catch (const std::exception& error) {
      throw std::runtime_error("growth " + std::to_string(place) + ": " + error.what());
    }
  }
  return growths;
}

}  // namespace kt::bench
