// What the programs have measured: for each name the values of its repetitions.
//
// Values are nanoseconds of one operation by the clock that the benchmark was registered with, or
// the figure that it took, in the figure's own unit.
#pragma once

#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kt::bench {

struct Measured {
  double median = 0;
  double spread = 0;  // half the range of the middle half of the values, as a share of the median
  std::size_t values = 0;

  friend bool operator==(const Measured&, const Measured&) = default;
};

// The median of an even number of values is the mean of the middle two. There must be a value.
Measured Summary(std::vector<double> values);

class Samples {
 public:
  // Takes up the result of one program, as Google Benchmark writes it. Repetitions count; the
  // aggregates that it makes of them do not. A benchmark that said it failed is kept as a fault.
  // Throws std::runtime_error for a document that is none of its.
  void Add(const nlohmann::json& result);

  // A result that cannot be read.
  void AddFault(std::string fault) { faults_.push_back(std::move(fault)); }

  // Nothing when there is no value of that name.
  [[nodiscard]] std::optional<Measured> Find(const std::string& name) const;

  // "NAME: what it said", one for each benchmark that failed; and what AddFault() was told.
  [[nodiscard]] const std::vector<std::string>& faults() const noexcept { return faults_; }

 private:
  std::map<std::string, std::vector<double>> values_;
  std::vector<std::string> faults_;
};

}  // namespace kt::bench
