#include "stress/timings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace stress {

void Timings::Add(const Timings& others) {
  times_.insert(times_.end(), others.times_.begin(), others.times_.end());
}

double Timings::Within(double part) const {
  if (times_.empty()) {
    return 0;
  }
  std::vector<double> times = times_;
  const double place = std::ceil(part * static_cast<double>(times.size())) - 1;
  const auto nth = times.begin() + static_cast<std::ptrdiff_t>(std::max(place, 0.0));
  std::nth_element(times.begin(), nth, times.end());
  return *nth;
}

std::string Timings::Text() const {
  char text[160];
  const int size =
      std::snprintf(std::data(text), std::size(text),
                    "%zu requests, half within %.2f ms, 90 %% %.2f, 99 %% %.2f, all %.2f",
                    times_.size(), Within(0.5), Within(0.9), Within(0.99), Within(1));
  return {std::data(text), static_cast<std::size_t>(size)};
}

}  // namespace stress
