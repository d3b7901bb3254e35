// The 1,024 names of the row "one typed read", in an order by chance.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/support/order.h"

namespace kt::bench {

inline constexpr std::uint32_t kProperties = 1'024;

// What is common to the contestants: each has Read(index), the value of that property, which is its
// index.
template <typename Contestant>
class PropertyReadWork {
 public:
  bool Works() { return Read(0) == 0 && Read(1'023) == 1'023; }
  void Run() { benchmark::DoNotOptimize(Read(order_.Next())); }

 protected:
  PropertyReadWork() : order_(kProperties) {
    for (std::uint32_t i = 0; i < kProperties; ++i) {
      names_.push_back("property." + std::to_string(i) + ".value");
    }
  }
  [[nodiscard]] const std::string& Name(std::size_t index) const { return names_[index]; }

 private:
  std::uint32_t Read(std::size_t index) { return static_cast<Contestant*>(this)->Read(index); }

  std::vector<std::string> names_;
  Order order_;
};

}  // namespace kt::bench
