// BROKEN ON PURPOSE: it keeps the database lock.
//
// While it publishes under the lock, one call fails and the function returns without unlocking.
// Everybody else who needs the lock waits from then on. ktcheck says: lock-kept, and leak for the
// lock itself.

#include "broken.h"

namespace broken {
namespace {

KtStatus Begin(KtDatabase database, KtProvider provider) {
  const KtStatus locked = DbLockDatabase(provider);
  if (locked != 0) return locked;
  KtObjId object{};
  const KtStatus published = PublishObject(database, provider, &object);
  if (published != 0) return published;  // here the lock is kept
  return DbUnlockDatabase(provider);
}

}  // namespace

const KtWchar* const kName = KT_W("clinging");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
