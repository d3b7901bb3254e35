// The names that the contestants of the row "a notice" subscribe to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/module/words.h"

namespace kt::bench {

// Half of them exact, half patterns; in the middle those that match.
inline std::vector<std::string> SubscriptionNames(std::uint32_t count) {
  std::vector<std::string> names;
  for (std::uint32_t i = 0; i < count - kMatches; ++i) {
    if (i == count / 2) names.insert(names.end(), kMatches, kMatching);
    const std::string number = std::to_string(i);
    names.push_back(i % 2 == 0 ? "bench.exact" + number + ".disk.changed"
                               : "bench.volume" + number + ".*.changed");
  }
  return names;
}

// For those that know exact names only: as many, and the matching ones by the name that is raised.
inline std::vector<std::string> ExactNames(std::uint32_t count) {
  std::vector<std::string> names(kMatches, kWarmName);
  for (std::uint32_t i = kMatches; i < count; ++i) {
    names.push_back("bench.exact" + std::to_string(i) + ".disk.changed");
  }
  return names;
}

}  // namespace kt::bench
