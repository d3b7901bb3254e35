#include <windows.h>

#include <bit>

#include "bus/attribution.h"

namespace kt::bus {

std::optional<ModuleRange> FindModuleRange(const void* address) {
  HMODULE module = nullptr;
  if (GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<const wchar_t*>(address), &module) == 0) {
    return std::nullopt;
  }
  const auto base = std::bit_cast<std::uintptr_t>(module);
  const auto* const dos = std::bit_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* const header =
      std::bit_cast<const IMAGE_NT_HEADERS*>(base + static_cast<std::uintptr_t>(dos->e_lfanew));
  return ModuleRange{base, base + header->OptionalHeader.SizeOfImage};
}

}  // namespace kt::bus
