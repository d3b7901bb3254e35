// A module whose ProviderEntry finds no memory.

#include "module_exports.h"

KT_TEST_EXPORT int DllInit(void* /*instance*/, std::uint32_t /*reason*/, void* /*reserved*/) {
  return 1;
}

KT_TEST_EXPORT KtStatus ProviderEntry(const KtWchar* /*name*/, void* /*reserved*/,
                                      KtProviderTable* /*table*/) {
  return 0x8007000EU;
}
