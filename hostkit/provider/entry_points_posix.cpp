#include "provider/api_table.h"
#include "provider/entry_points.h"
#include "provider/module_state.h"

// The loader of the service calls this. Constructors have run in dlopen by then and destructors run
// in dlclose, so there is no run-time library to start or to end here.
int DllInit(void* instance, std::uint32_t reason, void* reserved) {
  constexpr std::uint32_t kDetach = 0;
  constexpr std::uint32_t kAttach = 1;
  if (reason == kAttach) {
    kt::GetApiState().instance = instance;
  } else if (reason == kDetach) {
    if (reserved == nullptr) kt::ReleaseModule();
    kt::GetApiState().instance = nullptr;
  }
  return 1;
}
