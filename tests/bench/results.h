// Results as Google Benchmark writes them, for tests of the table.
#pragma once

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "bench/table/samples.h"

namespace bench_test {

inline nlohmann::json Repetition(const std::string& name, double cpu_time, double real_time) {
  return {{"name", name},          {"run_name", name},       {"run_type", "iteration"},
          {"cpu_time", cpu_time},  {"real_time", real_time}, {"time_unit", "ns"},
          {"repetition_index", 0}, {"iterations", 1'000'000}};
}

// One repetition of each, by CPU time.
inline kt::bench::Samples SamplesOf(std::initializer_list<std::pair<const char*, double>> values) {
  nlohmann::json runs = nlohmann::json::array();
  for (const auto& [name, value] : values) runs.push_back(Repetition(name, value, value * 100));
  kt::bench::Samples samples;
  samples.Add({{"benchmarks", runs}});
  return samples;
}

}  // namespace bench_test
