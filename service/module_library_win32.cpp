#include <windows.h>

#include <string>

#include "host_system.h"
#include "module_error.h"
#include "module_library.h"

namespace ktsvc {
namespace {

// The system's words for an error, without the line end that they come with.
std::string SystemMessage(DWORD code) {
  std::wstring text(512, L'\0');
  const DWORD size =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                     text.data(), static_cast<DWORD>(text.size()), nullptr);
  text.resize(size);
  text.erase(text.find_last_not_of(L"\r\n .") + 1);
  const std::size_t place = text.find(L"%1");  // where the system wants the file's name
  if (place != std::wstring::npos) {
    text.replace(place, 2, L"the file");
  }
  return text.empty() ? "no words for it" : PathText(std::filesystem::path(text));
}

}  // namespace

ModuleLibrary::ModuleLibrary(const std::filesystem::path& absoluteFile)
    : handle_(LoadLibraryExW(absoluteFile.c_str(), nullptr,
                             LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32 |
                                 LOAD_LIBRARY_SEARCH_APPLICATION_DIR)) {
  if (handle_ == nullptr) {
    const DWORD code = GetLastError();
    throw ModuleError(
        "the system's loader refused it: " + SystemMessage(code) + " (error " +
            std::to_string(code) + ")",
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
