// EXPECT_EQ(ThrownBy([&] { ... }), status): the bare 32-bit status that the call throws, 0 when it
// throws nothing.
#pragma once

#include <cstdint>

template <typename Call>
std::uint32_t ThrownBy(Call&& call) {
  try {
    call();
  } catch (std::uint32_t status) {
    return status;
  }
  return 0;
}
