#include <string>

#include "base/module.h"
#include "base/status.h"
#include "provider/api_table.h"
#include "provider/entry_points.h"

namespace {

// Unit by unit, terminators included, stopping at the first difference.
bool SameName(const KtWchar* left, const KtWchar* right) noexcept {
  while (*left == *right && *left != 0) {
    ++left;
    ++right;
  }
  return *left == *right;
}

}  // namespace

KtStatus ProviderEntry(const KtWchar* name, void* /*reserved*/, KtProviderTable* table) {
  if (name == nullptr) return E_INVALIDARG;
  if (!SameName(name, kt::ModuleName())) return KTERROR_WRONG_PROVIDER;
  if (table == nullptr) return E_INVALIDARG;
  *table = KtProviderTable{__KtApiControl, __KtApiInitialize,   __KtApiShutdown,
                           __KtApiGetAttr, __KtApiChangeNotify, __KtApiVersion};
  return 0;
}
