// The 1,024 names of the row "one typed read", in an order by chance.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/support/order.h"

namespace kt::bench {

inline constexpr std::uint32_t kProperties = 1'024;

class PropertyNames {
 public:
  PropertyNames() : order_(kProperties) {
    for (std::uint32_t i = 0; i < kProperties; ++i) {
      names_.push_back("property." + std::to_string(i) + ".value");
    }
  }
  [[nodiscard]] const std::string& Name(std::size_t index) const { return names_[index]; }
  std::size_t Next() noexcept { return order_.Next(); }

 private:
  std::vector<std::string> names_;
  Order order_;
};

}  // namespace kt::bench
