// BROKEN ON PURPOSE: it refuses names that are not its own in a way of its own.
//
// The table is filled in before the name is looked at, and the status says that something failed,
// and not that this is another provider. ktcheck says: wrong-refusal.

#define BROKEN_OWN_ENTRY
#include "broken.h"

namespace broken {

const KtWchar* const kName = KT_W("grumbling");
const KtProviderTable kTable{Control, Initialize, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken

BROKEN_EXPORT KtStatus ProviderEntry(const KtWchar* name, void* /*reserved*/,
                                     KtProviderTable* table) {
  *table = broken::kTable;
  return std::basic_string<KtWchar>(name) == broken::kName ? 0 : 0xC1000001;
}
