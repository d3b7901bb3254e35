#include "system/registry_reader.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "base/owned.h"
#include "base/trace.h"

namespace kt {
namespace {

FrameworkWideText AllocateBytes(std::uint32_t size) {
  return FrameworkWideText(static_cast<KtWchar*>(_KtAlloc(size)));
}

}  // namespace

std::uint32_t KeyGuard::Open(const KtWchar* path, KeyAccess access) {
  Close();
  return HostPlatform().OpenKey(path, access, key_);
}

void KeyGuard::Close() noexcept {
  if (RegistryKey key = std::exchange(key_, nullptr)) HostPlatform().CloseKey(key);
}

std::uint32_t QueryRegistry(RegistryKey key, const KtWchar* value_name, std::uint32_t /*reserved*/,
                            KtWString& out) {
  std::uint32_t size = 0;
  if (const std::uint32_t error = HostPlatform().QueryValueSize(key, value_name, size)) {
    // This line alone takes the name as narrow text. Where that cannot be made, the line is the
    // same.
    try {
      KtTrace(kError, "hostkit - QueryRegistry - RegQueryValueEx(%s) failed.",
              Narrow(value_name).c_str());
    } catch (...) {
      KtTrace(kError, "hostkit - QueryRegistry - RegQueryValueEx(%S) failed.", value_name);
    }
    return error;
  }
  if (size == 0) {
    KtTrace(kError, "hostkit - QueryRegistry - RegQueryValueEx(%S) Failed. dataSize < 0",
            value_name);
    return 0;
  }
  const FrameworkWideText value = AllocateBytes(size);
  if (value == nullptr) {
    KtTrace(kError, "hostkit - QueryRegistry - RegQueryValueEx(%S), KtAlloc buffer failed.",
            value_name);
    return 0;
  }
  const FrameworkWideText copy = AllocateBytes(size);
  if (copy == nullptr) {
    KtTrace(kError, "hostkit - QueryRegistry - RegQueryValueEx(%S), KtAlloc databuffer failed.",
            value_name);
    return 0;
  }
  if (const std::uint32_t error = HostPlatform().ReadValue(key, value_name, value.get(), size)) {
    KtTrace(kError, "hostkit - QueryRegistry - RegQueryValueEx(%S) failed.", value_name);
    return error;
  }
  // Up to the first zero, or all of it: nothing makes whoever wrote the value terminate it.
  const KtWchar* const begin = value.get();
  const KtWchar* const end = begin + size / sizeof(KtWchar);
  const KtWchar* const zero = std::find(begin, end, KtWchar{});
  std::copy(begin, zero == end ? end : zero + 1, copy.get());
  out.assign(copy.get(), static_cast<std::size_t>(zero - begin));
  // Both texts are the same; `out` is the one that is sure to be terminated.
  KtTrace(kWarning, "hostkit - QueryRegistry(%S): databuffer = %S, dataBuffer = %S", value_name,
          out.c_str(), out.c_str());
  return 0;
}

}  // namespace kt
