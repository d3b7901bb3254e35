// Who this module is, and the two handles that the host gave it.
//
// kModuleName is one of the two hooks of the toolkit: every module defines it once (the other hook,
// the function that makes the provider object, is in provider/provider.h).
#pragma once

#include "ktbus3/ktbus3.h"

namespace kt {

// The provider's name, zero-terminated: what ProviderEntry is asked for and what every trace line
// of the toolkit begins with. Defined by the module, never null.
extern const KtWchar* const kModuleName;

inline const KtWchar* ModuleName() noexcept {
  return kModuleName;
}

// The database handle (first argument of every object call) and the provider handle (given to the
// database lock, owner of registered interfaces). Null until the host has called Initialize; never
// cleared afterwards. Any thread.
[[nodiscard]] KtDatabase DatabaseHandle() noexcept;
[[nodiscard]] KtProvider ProviderHandle() noexcept;

// Stores both, the database first. Each is replaced at once, the two of them are not: a thread that
// reads meanwhile may see the new database beside the old provider, but never the other way round
// when it asks for the provider first. The host gives both before it sends requests, so that only a
// second Initialize with other handles can be seen half-way.
void SetHandles(KtDatabase database, KtProvider provider) noexcept;

}  // namespace kt
