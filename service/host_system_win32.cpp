#include <windows.h>
// windows.h must stand first.
#include <shellapi.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "host_system.h"

namespace ktsvc {
namespace {

std::system_error LastError(const char* what) {
  return {static_cast<int>(GetLastError()), std::system_category(), what};
}

struct FreeLocal {
  void operator()(wchar_t** block) const noexcept { LocalFree(static_cast<void*>(block)); }
};

}  // namespace

std::string_view ModuleSuffix() noexcept {
  return ".dll";
}

std::string_view PathSeparators() noexcept {
  return "/\\:";
}

std::string_view SystemName() noexcept {
  return "Windows";
}

std::filesystem::path ProgramFile() {
  std::wstring name(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
    if (size == 0) {
      throw LastError("the program's own file name cannot be read");
    }
    if (size < name.size()) {
      name.resize(size);
      return name;
    }
    name.resize(name.size() * 2);
  }
}

std::vector<std::string> CommandLineWords(int /*argc*/, const char* const* /*argv*/) {
  // argv is in the code page of the system; the wide command line holds every character.
  int count = 0;
  const std::unique_ptr<wchar_t*, FreeLocal> wide(CommandLineToArgvW(GetCommandLineW(), &count));
  if (wide == nullptr) {
    throw LastError("the command line cannot be read");
  }
  std::vector<std::string> words;
  for (int i = 1; i < count; ++i) {
    words.push_back(PathText(std::filesystem::path(wide.get()[i])));
  }
  return words;
}

bool RegistryIsAFolder() noexcept {
  return false;
}

void UseRegistryFolder(const std::filesystem::path& /*folder*/) {
  throw std::logic_error("the registry is the system's");
}

void PrepareOutput() {
  SetConsoleOutputCP(CP_UTF8);
}

void LimitLibrarySearch() {
  if (SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32) == FALSE) {
    throw LastError("the search for libraries cannot be limited");
  }
}

// The run-time library has no one answer here.
bool IsReaderGone(int error) noexcept {
  return error == EPIPE || error == EINVAL;
}

std::uint64_t ProcessNumber() noexcept {
  return GetCurrentProcessId();
}

}  // namespace ktsvc
