#include "bench/table/samples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string_view>

namespace kt::bench {
namespace {

using nlohmann::json;

// Between the two values next to the place.
double At(const std::vector<double>& sorted, double place) {
  const auto below = static_cast<std::size_t>(place);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  const double part = place - static_cast<double>(below);
  return sorted[below] * (1 - part) + sorted[above] * part;
}

// What Google Benchmark appends to a name to say how it was run.
std::string PlainName(std::string name) {
  constexpr std::array<std::string_view, 5> kEndings{"/iterations:1", "/real_time", "/manual_time",
                                                     "/process_time", "/threads:2"};
  for (bool again = true; again;) {
    again = false;
    for (const std::string_view ending : kEndings) {
      if (name.size() > ending.size() &&
          name.compare(name.size() - ending.size(), ending.size(), ending) == 0) {
        name.resize(name.size() - ending.size());
        again = true;
      }
    }
  }
  return name;
}

double Nanoseconds(const json& run, const char* clock) {
  const std::string unit = run.value("time_unit", "ns");
  const double factor = unit == "s" ? 1e9 : unit == "ms" ? 1e6 : unit == "us" ? 1e3 : 1;
  return run.at(clock).get<double>() * factor;
}

// The clock stands in the name, where it is not the CPU time of the thread.
double ValueOf(const json& run) {
  if (run.contains("figure")) return run.at("figure").get<double>();
  const auto name = run.at("run_name").get<std::string>();
  const bool wall = name.find("/real_time") != std::string::npos ||
                    name.find("/manual_time") != std::string::npos;
  return Nanoseconds(run, wall ? "real_time" : "cpu_time");
}

}  // namespace

Measured Summary(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const double last = static_cast<double>(values.size() - 1);
  const double median = At(values, last / 2);
  const double middle = At(values, last * 3 / 4) - At(values, last / 4);
  return {median, median == 0 ? 0 : middle / 2 / std::abs(median), values.size()};
}

void Samples::Add(const json& result) {
  try {
    for (const json& run : result.at("benchmarks")) {
      if (run.value("run_type", "iteration") != "iteration") continue;
      const std::string name = PlainName(run.at("run_name").get<std::string>());
      if (run.value("error_occurred", false)) {
        const std::string fault = name + ": " + run.value("error_message", "failed");
        if (std::find(faults_.begin(), faults_.end(), fault) == faults_.end()) {
          faults_.push_back(fault);
        }
        continue;
      }
      values_[name].push_back(ValueOf(run));
    }
  } catch (const json::exception& error) {
    throw std::runtime_error(std::string("not a result of Google Benchmark: ") + error.what());
  }
}

std::optional<Measured> Samples::Find(const std::string& name) const {
  const auto found = values_.find(name);
  if (found == values_.end()) return std::nullopt;
  return Summary(found->second);
}

}  // namespace kt::bench
