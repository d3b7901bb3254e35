// kt::Platform is all that the module asks of the operating system, in the module's own words.
//
// win32_platform.cpp and posix_platform.cpp answer it, a test puts an object of its own in place.
// Nothing above this folder knows which system it runs on.
//
// Threads:   any member from any thread. LastError() belongs to the calling thread.
// Ownership: keys and credentials are closed by whoever opened them, once.
// Failure:   nothing throws. Registry operations return 0 or the system's error number; the others
//            return false and leave the number in LastError(). A lack of memory is one of those
//            numbers.
#pragma once

#include <cstdint>

#include "base/text.h"
#include "ktbus3/ktbus3.h"

namespace kt {

// A key of the registry that was opened for reading. Null when closed.
using RegistryKey = struct RegistryKeyHandle*;

// The right to change the privileges of this process. Null when closed.
using Credentials = struct CredentialsHandle*;

enum class KeyAccess {
  kRead,        // values and subkeys
  kQueryValue,  // values alone
};

enum class ServiceAction { kStart, kStop };

// The exit code of a command that still runs.
inline constexpr std::uint32_t kStillActive = 0x103;

struct MachineFacts {
  std::uint32_t architecture = 0;        // of the processor: 0 x86, 6 IA-64, 9 x64, 12 ARM64
  std::uint32_t major_version = 0;       // of the operating system
  std::uint32_t service_pack_major = 0;  // 0 for none
  bool emulated = false;                 // a 32-bit process on a 64-bit system
};

class Platform {
 public:
  Platform() = default;
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
  virtual ~Platform() = default;

  // ---- Registry, below HKEY_LOCAL_MACHINE. Key paths are separated by backslashes on every
  // system; names compare without regard to case.

  // Opens a key that exists. `key` is written on success only.
  virtual std::uint32_t OpenKey(const KtWchar* path, KeyAccess access, RegistryKey& key) = 0;

  // The size of a text value in bytes: UTF-16, terminator included where the value has one.
  virtual std::uint32_t QueryValueSize(RegistryKey key, const KtWchar* name,
                                       std::uint32_t& size) = 0;

  // Reads a value. `size`: on entry the bytes that `buffer` can take, on return the value's size.
  // A value that does not fit is an error.
  virtual std::uint32_t ReadValue(RegistryKey key, const KtWchar* name, void* buffer,
                                  std::uint32_t& size) = 0;

  virtual void CloseKey(RegistryKey key) noexcept = 0;

  // ---- Commands

  // The command line that starts or stops the shadow-copy provider service on this system. It
  // stays valid as long as the platform does.
  virtual const KtWchar* ShadowCopyCommand(ServiceAction action) = 0;

  // Starts a command line and does not wait for it: no window, no inherited handles, the caller's
  // environment and folder. True once the process exists. `exit_code` is then the code as it is
  // straight after the start, kStillActive as a rule. Nothing remains to be closed or waited for.
  virtual bool StartCommand(const KtWchar* command_line, std::uint32_t& exit_code) = 0;

  // The reason of the last failure on this thread, as the system numbers it.
  virtual std::uint32_t LastError() = 0;

  // ---- The machine

  virtual MachineFacts Machine() = 0;

  // ---- Restart, in steps, each of which can fail by itself

  virtual bool OpenCredentials(Credentials& credentials) = 0;
  virtual bool FindRestartPrivilege(std::uint64_t& privilege) = 0;
  // May succeed and still leave an error in LastError(): not all privileges were assigned.
  virtual bool EnablePrivilege(Credentials credentials, std::uint64_t privilege) = 0;
  // Restarts the machine at once; applications are not asked. True once it was issued.
  virtual bool ForceRestart() = 0;
  virtual void CloseCredentials(Credentials credentials) noexcept = 0;
};

// The platform in force: the system that this is built for, or what a test has put in its place.
[[nodiscard]] Platform& HostPlatform() noexcept;

// The system that this is built for. Constructed at load, without any effect.
[[nodiscard]] Platform& NativePlatform() noexcept;

// Puts a platform in force while it lives. For tests; one at a time.
class PlatformOverride {
 public:
  explicit PlatformOverride(Platform& platform) noexcept;
  ~PlatformOverride();
  PlatformOverride(const PlatformOverride&) = delete;
  PlatformOverride& operator=(const PlatformOverride&) = delete;
};

}  // namespace kt
