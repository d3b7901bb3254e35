// bench_names: the names of all programs' benchmarks on standard input, one a line; says where they
// and the rows differ.
//
//   bench_names ROWS [--peers-left-out]
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

#include "bench/table/names.h"

namespace {

int Run(const std::vector<std::string_view>& words) {
  if (words.empty() || words.size() > 2 || (words.size() == 2 && words[1] != "--peers-left-out")) {
    throw std::runtime_error("bench_names ROWS [--peers-left-out] < names");
  }
  std::ifstream stream{std::string(words[0])};
  if (!stream) throw std::runtime_error(std::string(words[0]) + ": cannot be read");
  std::set<std::string> entered;
  for (std::string name; std::getline(std::cin, name);) entered.insert(name);
  std::vector<kt::bench::Row> rows;
  try {
    rows = kt::bench::ReadRows(nlohmann::json::parse(stream));
  } catch (const std::exception& error) {
    throw std::runtime_error(std::string(words[0]) + ": " + error.what());
  }
  const auto faults = kt::bench::CompareNames(rows, entered, words.size() == 2);
  for (const std::string& fault : faults) std::cout << fault << "\n";
  std::cout << rows.size() << " rows, " << entered.size() << " benchmarks, " << faults.size()
            << " faults\n";
  return faults.empty() && !entered.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "bench_names: %s\n", error.what()));
    return 2;
  }
}
