#include <windows.h>

#include <cstring>
#include <new>
#include <string>

#include "platform/platform.h"

namespace kt {
namespace {

// The module's handles are the system's, under names of the module's own.
HKEY NativeKey(RegistryKey key) noexcept {
  return reinterpret_cast<HKEY>(key);
}

HANDLE NativeToken(Credentials credentials) noexcept {
  return reinterpret_cast<HANDLE>(credentials);
}

class Win32Platform final : public Platform {
 public:
  std::uint32_t OpenKey(const KtWchar* path, KeyAccess access, RegistryKey& key) override {
    const REGSAM rights = access == KeyAccess::kRead ? KEY_READ : KEY_QUERY_VALUE;
    HKEY opened = nullptr;
    const LSTATUS result = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, rights, &opened);
    if (result == ERROR_SUCCESS) key = reinterpret_cast<RegistryKey>(opened);
    return static_cast<std::uint32_t>(result);
  }

  std::uint32_t QueryValueSize(RegistryKey key, const KtWchar* name, std::uint32_t& size) override {
    return Query(key, name, nullptr, size);
  }

  std::uint32_t ReadValue(RegistryKey key, const KtWchar* name, void* buffer,
                          std::uint32_t& size) override {
    return Query(key, name, buffer, size);
  }

  void CloseKey(RegistryKey key) noexcept override { RegCloseKey(NativeKey(key)); }

  const KtWchar* ShadowCopyCommand(ServiceAction action) override {
    return action == ServiceAction::kStart ? L"Cmd.exe /C net start \"Tormeld VSS PROVIDER\""
                                           : L"Cmd.exe /C net stop \"Tormeld VSS PROVIDER\"";
  }

  bool StartCommand(const KtWchar* command_line, std::uint32_t& exit_code) override {
    std::wstring writable;  // the system may write into it
    try {
      writable = command_line;
    } catch (const std::bad_alloc&) {
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return false;
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, writable.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                       nullptr, &startup, &process) == 0) {
      return false;
    }
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    exit_code = code;
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
  }

  std::uint32_t LastError() override { return GetLastError(); }

  MachineFacts Machine() override {
    MachineFacts facts;
    SYSTEM_INFO system{};
    GetNativeSystemInfo(&system);
    facts.architecture = system.wProcessorArchitecture;
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) != 0) {
      facts.major_version = version.dwMajorVersion;
      facts.service_pack_major = version.wServicePackMajor;
    }
    BOOL emulated = FALSE;
    facts.emulated = IsWow64Process(GetCurrentProcess(), &emulated) != 0 && emulated != FALSE;
    return facts;
  }

  bool OpenCredentials(Credentials& credentials) override {
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token) == 0) {
      return false;
    }
    credentials = reinterpret_cast<Credentials>(token);
    return true;
  }

  bool FindRestartPrivilege(std::uint64_t& privilege) override {
    LUID luid{};
    if (LookupPrivilegeValueW(nullptr, L"SeShutdownPrivilege", &luid) == 0) return false;
    static_assert(sizeof luid == sizeof privilege);
    std::memcpy(&privilege, &luid, sizeof luid);
    return true;
  }

  bool EnablePrivilege(Credentials credentials, std::uint64_t privilege) override {
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    std::memcpy(&privileges.Privileges[0].Luid, &privilege, sizeof privilege);
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    return AdjustTokenPrivileges(NativeToken(credentials), FALSE, &privileges, 0, nullptr,
                                 nullptr) != 0;
  }

  bool ForceRestart() override { return ExitWindowsEx(EWX_REBOOT | EWX_FORCE, 0) != 0; }

  void CloseCredentials(Credentials credentials) noexcept override {
    CloseHandle(NativeToken(credentials));
  }

 private:
  static std::uint32_t Query(RegistryKey key, const KtWchar* name, void* buffer,
                             std::uint32_t& size) {
    DWORD type = REG_SZ;
    DWORD bytes = size;
    const LSTATUS result =
        RegQueryValueExW(NativeKey(key), name, nullptr, &type, static_cast<LPBYTE>(buffer), &bytes);
    if (result == ERROR_SUCCESS) size = bytes;
    return static_cast<std::uint32_t>(result);
  }
};

Win32Platform g_platform;

}  // namespace

Platform& NativePlatform() noexcept {
  return g_platform;
}

}  // namespace kt
