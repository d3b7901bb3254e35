// Reading text values of the registry.
#pragma once

#include <cstdint>

#include "base/text.h"
#include "platform/platform.h"

namespace kt {

// Closes the key at the end of a scope. Holds null until a key was opened into it.
class KeyGuard {
 public:
  KeyGuard() = default;
  KeyGuard(const KeyGuard&) = delete;
  KeyGuard& operator=(const KeyGuard&) = delete;
  ~KeyGuard() { Close(); }

  // Opens below HKEY_LOCAL_MACHINE; returns the platform's error number.
  [[nodiscard]] std::uint32_t Open(const KtWchar* path, KeyAccess access);
  void Close() noexcept;
  [[nodiscard]] RegistryKey get() const noexcept { return key_; }

 private:
  RegistryKey key_ = nullptr;
};

// Reads one text value and returns the registry's error number. The third argument is not read.
//
// A value is taken up to its first zero unit, or whole when it has none. A value of size 0 and a
// lack of memory count as success with `out` unchanged, after a line at level 6.
std::uint32_t QueryRegistry(RegistryKey key, const KtWchar* value_name, std::uint32_t reserved,
                            KtWString& out);

}  // namespace kt
