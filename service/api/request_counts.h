// RequestCounts: how many requests got which status.
//
// Threads: any member from any thread.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace ktsvc::api {

class RequestCounts {
 public:
  static constexpr unsigned kLowest = 100;
  static constexpr unsigned kHighest = 599;

  void Add(unsigned status) noexcept {
    if (status >= kLowest && status <= kHighest) {
      counts_[status - kLowest].fetch_add(1, std::memory_order_relaxed);
    }
  }

  [[nodiscard]] std::uint64_t Of(unsigned status) const noexcept {
    return counts_[status - kLowest].load(std::memory_order_relaxed);
  }

 private:
  std::array<std::atomic<std::uint64_t>, std::size_t{kHighest} - kLowest + 1> counts_{};
};

}  // namespace ktsvc::api
