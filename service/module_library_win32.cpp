#include <windows.h>

#include "module_error.h"
#include "module_library.h"
#include "system_message_win32.h"

namespace ktsvc {
ModuleLibrary::ModuleLibrary(const ModuleFile& file)
    : handle_(LoadLibraryExW(file.path().c_str(), nullptr,
                             LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32)) {
  if (handle_ == nullptr) {
    throw ModuleError("the system's loader refused it: " + SystemMessage(GetLastError()),
                      "What a module is linked with must stand in its own folder or in the "
                      "system's; nowhere else is looked.");
  }
}

ModuleLibrary::~ModuleLibrary() {
  if (handle_ != nullptr) {
    FreeLibrary(static_cast<HMODULE>(handle_));
  }
}

void* ModuleLibrary::Find(const char* name) const noexcept {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

bool ModuleLibrary::Attach() {
  return true;
}

void ModuleLibrary::Detach() {}

}  // namespace ktsvc
