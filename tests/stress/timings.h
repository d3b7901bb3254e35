// Timings: how long requests took, and how that is spread.
//
// Threads: one at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace stress {

class Timings {
 public:
  void Add(std::chrono::duration<double, std::milli> time) { times_.push_back(time.count()); }
  void Add(const Timings& others);

  [[nodiscard]] std::size_t Count() const noexcept { return times_.size(); }

  // The time, in milliseconds, that this part of them (0 to 1) did not exceed; 0 for none.
  [[nodiscard]] double Within(double part) const;

  // "12345 requests, half within 0.81 ms, 90 % 2.10, 99 % 4.87, all 12.00".
  [[nodiscard]] std::string Text() const;

 private:
  std::vector<double> times_;
};

}  // namespace stress
