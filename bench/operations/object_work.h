// The objects of the row "objects on the bus": which sizes, and what they hold.
#pragma once

#include <array>
#include <cstdint>

namespace kt::bench {

inline constexpr std::array<std::uint32_t, 4> kObjectCounts{1'000, 10'000, 100'000, 1'000'000};

// Each object has these two.
inline constexpr const char* kSizeName = "size";
inline constexpr const char* kPathName = "device_path";
inline constexpr const char* kPathValue = "/dev/disk/by-id/0";

}  // namespace kt::bench
