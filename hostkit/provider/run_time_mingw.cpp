// MinGW-w64's run-time library, linked into the module. It was made for programs and for libraries
// that stay: what it takes at its start it keeps. A module that is loaded and unloaded for ever
// gives back two of these things itself. What stays is the thread library's record of a thread that
// has seen an exception in the module, 1.5 KiB for each time that it is loaded: nothing reaches it.
#include "provider/run_time.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>

extern "C" BOOL WINAPI DllMainCRTStartup(HANDLE instance, DWORD reason, LPVOID reserved);

// Of the C++ library, which no header declares.
namespace __gnu_cxx {
void __freeres();
}

namespace {

// The slots of thread-local storage that the module's libraries have allocated. The thread library
// takes one with the first exception and never frees it; a process has about a thousand, and the
// thread library ends the process when there are none left.
constinit std::array<DWORD, 8> g_slots{};
constinit std::atomic<std::size_t> g_slot_count{0};

DWORD WINAPI AllocateSlot() {
  using Function = DWORD(WINAPI*)();
  const auto allocate = reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "TlsAlloc")));
  const DWORD slot = allocate();
  if (slot == TLS_OUT_OF_INDEXES) return slot;
  const std::size_t place = g_slot_count.fetch_add(1);
  if (place < g_slots.size()) g_slots[place] = slot;
  return slot;
}

void FreeSlots() noexcept {
  const std::size_t count = g_slot_count.exchange(0);
  for (std::size_t i = 0; i < count && i < g_slots.size(); ++i) TlsFree(g_slots[i]);
}

}  // namespace

// Stands in the module for the import of that name, so that the libraries' calls come by here.
extern "C" DWORD(WINAPI* const __imp_TlsAlloc)() = &AllocateSlot;

namespace kt {

void NotifyRunTime(void* instance, std::uint32_t reason, void* reserved) noexcept {
  static_cast<void>(DllMainCRTStartup(instance, reason, reserved));
  if (reason != DLL_PROCESS_DETACH || reserved != nullptr) return;
  // Memory that the C++ library sets aside for exceptions that find none: 72 KiB.
  __gnu_cxx::__freeres();
  FreeSlots();
}

}  // namespace kt
