// Verdict: what a soak has come to, as text and as JSON.
//
// Threads: a value and pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "property_json.h"
#include "soak/sample.h"
#include "soak/series.h"

namespace soak {

struct Verdict {
  struct Row {
    const Column* column = nullptr;
    double life = 0;
    Judgement judgement;
  };

  double seconds = 0;  // that the load was on
  std::size_t samples = 0;
  Sample last;  // its counts are those of the whole run
  std::uint64_t seed = 0;
  bool interrupted = false;
  bool judged = true;     // false: growth was not asked for
  std::vector<Row> rows;  // by life and column
  std::vector<std::string> faults;
  std::uint64_t faultCount = 0;  // more than are told

  [[nodiscard]] bool Passed() const;
};

// The judged columns of each life; not its memory where the allocator told nothing of it.
std::vector<Verdict::Row> JudgeAll(const std::vector<Sample>& samples);

std::string VerdictText(const Verdict& verdict);
ktsvc::Json VerdictJson(const Verdict& verdict);

}  // namespace soak
