#include <windows.h>
// windows.h must stand first.
#include <psapi.h>

#include "host_system.h"
#include "ktcheck/call_stack.h"

namespace ktcheck {

CallStack CaptureStack() noexcept {
  std::array<void*, std::tuple_size_v<decltype(CallStack::frames)>> addresses{};
  const USHORT count =
      CaptureStackBackTrace(1, static_cast<DWORD>(addresses.size()), addresses.data(), nullptr);
  CallStack stack;
  // A return address stands behind the call; the byte before it belongs to the call.
  for (std::size_t i = 0; i < count; ++i) {
    stack.frames[stack.size++] = reinterpret_cast<std::uintptr_t>(addresses[i]) - 1;
  }
  return stack;
}

void PrepareStacks() {}

std::optional<CodePlace> PlaceOf(std::uintptr_t address) {
  HMODULE module = nullptr;
  constexpr DWORD kFlags =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  MODULEINFO info{};
  if (GetModuleHandleExW(kFlags, reinterpret_cast<LPCWSTR>(address), &module) == FALSE ||
      GetModuleInformation(GetCurrentProcess(), module, &info, sizeof(info)) == FALSE) {
    return std::nullopt;
  }
  std::wstring name(32768, L'\0');
  name.resize(GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size())));
  const auto begin = reinterpret_cast<std::uintptr_t>(info.lpBaseOfDll);
  return CodePlace{begin, begin + info.SizeOfImage, begin,
                   ktsvc::PathText(std::filesystem::path(name))};
}

}  // namespace ktcheck
