// A module whose DllInit does not want to be loaded.

#include "module_exports.h"

KT_TEST_EXPORT int DllInit(void* /*instance*/, std::uint32_t /*reason*/, void* /*reserved*/) {
  return 0;
}

KT_TEST_EXPORT KtStatus ProviderEntry(const KtWchar* /*name*/, void* /*reserved*/,
                                      KtProviderTable* /*table*/) {
  return 0;
}
