#include <windows.h>

#include <system_error>

#include "module_error.h"
#include "module_library.h"

namespace ktsvc {

ModuleLibrary::ModuleLibrary(const std::filesystem::path& absoluteFile)
    : handle_(LoadLibraryExW(absoluteFile.c_str(), nullptr,
                             LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32 |
                                 LOAD_LIBRARY_SEARCH_APPLICATION_DIR)) {
  if (handle_ == nullptr) {
    const auto code = static_cast<int>(GetLastError());
    std::string reason = std::system_category().message(code);
    while (!reason.empty() && (reason.back() == '\r' || reason.back() == '\n')) {
      reason.pop_back();
    }
    throw ModuleError(
        "the system's loader refused it: " + reason + " (error " + std::to_string(code) + ")",
        "A module is a DLL for 64-bit Windows on x64, and what it is linked with must stand in its "
        "own folder, in the program's or in the system's.");
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
