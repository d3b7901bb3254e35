// The number of a machine's architecture.
#pragma once

#include <cstdint>
#include <string_view>

namespace kt {

// By the name that the kernel gives the machine (`uname -m`): 9 x86_64, 6 ia64, 12 aarch64, 5 the
// other arms, 0 i386 to i686, 0xFFFF any other. The numbers are the ones that clients know, those
// of PROCESSOR_ARCHITECTURE_... on Windows.
constexpr std::uint32_t ArchitectureCode(std::string_view machine) noexcept {
  if (machine == "x86_64") return 9;
  if (machine == "ia64") return 6;
  if (machine == "aarch64") return 12;
  if (machine.substr(0, 3) == "arm") return 5;
  if (machine.size() == 4 && machine[0] == 'i' && machine.substr(2) == "86") return 0;
  return 0xFFFF;
}

}  // namespace kt
