#include "module/surroundings.h"

#include <windows.h>

#include <bit>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr char kProduct[] = "SOFTWARE\\Tormeld";

[[noreturn]] void Give(const char* what) {
  std::fprintf(stderr, "%s: error %lu\n", what, GetLastError());
  std::abort();
}

}  // namespace

void* LoadLibraryFile(const char* file) {
  const HMODULE library = LoadLibraryA(file);
  if (library == nullptr) Give(file);
  return library;
}

void* FindExport(void* library, const char* name) {
  const FARPROC found = GetProcAddress(static_cast<HMODULE>(library), name);
  if (found == nullptr) Give(name);
  return std::bit_cast<void*>(found);
}

void UnloadLibraryFile(void* library) {
  if (FreeLibrary(static_cast<HMODULE>(library)) == 0) Give("FreeLibrary");
}

Surroundings::Surroundings() {
  ClearRegistry();
}

Surroundings::~Surroundings() {
  ClearRegistry();
}

void Surroundings::SetValue(const std::string& key, const std::string& name,
                            const std::string& text) {
  HKEY opened = nullptr;
  if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &opened,
                      nullptr) != ERROR_SUCCESS) {
    Give(key.c_str());
  }
  const LSTATUS status =
      RegSetValueExA(opened, name.c_str(), 0, REG_SZ, std::bit_cast<const BYTE*>(text.c_str()),
                     static_cast<DWORD>(text.size() + 1));
  RegCloseKey(opened);
  if (status != ERROR_SUCCESS) Give(name.c_str());
}

void Surroundings::ClearRegistry() {
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, kProduct);
}

std::string Surroundings::StartCommand() {
  return "Cmd.exe /C net start \"Tormeld VSS PROVIDER\"";
}

std::string Surroundings::StopCommand() {
  return "Cmd.exe /C net stop \"Tormeld VSS PROVIDER\"";
}

void Surroundings::FindNoCommands() {}

void Surroundings::FindCommands() {}

std::vector<std::string> Surroundings::Commands(std::size_t /*count*/) {
  return {};
}
