// BROKEN ON PURPOSE: it does not come up without what only some machines have.
//
// Initialize hands on the failure of a search that found nothing, though a machine without such a
// thing is a machine like any other. ktcheck says: initialize.

#include "broken.h"

namespace broken {
namespace {

KtStatus Begin(KtDatabase database, KtProvider provider) {
  KtObjId object{};
  const KtStatus published = PublishObject(database, provider, &object);
  if (published != 0) return published;
  KtPropset set = nullptr;
  const KtStatus made = PsCreatePropset(&set);
  if (made != 0) return made;
  cuvo_property* found = nullptr;
  const KtStatus status = PsFindProperty(set, "Battery", &found);
  if (status == 0) PsFreeProperty(found);
  PsDestroyPropset(set);
  return status;  // without a battery there is nothing to do, which is no failure
}

}  // namespace

const KtWchar* const kName = KT_W("unwilling");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
