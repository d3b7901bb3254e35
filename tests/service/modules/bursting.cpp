// A module whose ProviderEntry lets an exception out.

#include <stdexcept>

#include "module_exports.h"

KT_TEST_EXPORT int DllInit(void* /*instance*/, std::uint32_t /*reason*/, void* /*reserved*/) {
  return 1;
}

KT_TEST_EXPORT KtStatus ProviderEntry(const KtWchar* /*name*/, void* /*reserved*/,
                                      KtProviderTable* /*table*/) {
  throw std::runtime_error("thrown by a test");
}
