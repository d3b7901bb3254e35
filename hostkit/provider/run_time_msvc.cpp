#include "provider/run_time.h"

#include <windows.h>

extern "C" BOOL WINAPI _DllMainCRTStartup(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace kt {

void NotifyRunTime(void* instance, std::uint32_t reason, void* reserved) noexcept {
  static_cast<void>(_DllMainCRTStartup(static_cast<HINSTANCE>(instance), reason, reserved));
}

}  // namespace kt
