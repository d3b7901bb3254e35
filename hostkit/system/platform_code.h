// The number by which clients know this host's platform.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace kt {

inline constexpr std::uint32_t kArchitectureIa64 = 6;
inline constexpr std::uint32_t kArchitectureX64 = 9;

// The architecture decides first (IA-64, then x64 under 32-bit emulation), the service pack
// between the two codes that remain; each has one code for major version 6 and one for any other.
constexpr std::uint32_t PlatformCode(const MachineFacts& machine) noexcept {
  const bool six = machine.major_version == 6;
  if (machine.architecture == kArchitectureIa64) return six ? 6 : 2;
  if (machine.architecture == kArchitectureX64 && machine.emulated) return six ? 7 : 3;
  if (machine.service_pack_major == 0) return six ? 5 : 1;
  return six ? 8 : 4;
}

}  // namespace kt
