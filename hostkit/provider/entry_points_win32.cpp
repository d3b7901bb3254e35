#include <windows.h>

#include "provider/api_table.h"
#include "provider/entry_points.h"
#include "provider/module_state.h"
#include "provider/run_time.h"

// The entry point of the PE file. Nothing of C++ that needs the run-time library may be touched
// before it was started or after it has ended; the state is constant-initialised for that reason.
int DllInit(void* instance, std::uint32_t reason, void* reserved) {
  if (reason == DLL_PROCESS_ATTACH) {
    kt::NotifyRunTime(instance, reason, reserved);
    kt::GetApiState().instance = instance;
    DisableThreadLibraryCalls(static_cast<HMODULE>(instance));
  } else if (reason == DLL_PROCESS_DETACH) {
    // A process that ends has stopped its other threads wherever they were, within a lock perhaps,
    // and takes the memory with it.
    if (reserved == nullptr) kt::ReleaseModule();
    kt::NotifyRunTime(instance, reason, reserved);
    kt::GetApiState().instance = nullptr;
  }
  return 1;
}
