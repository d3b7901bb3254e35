// BROKEN ON PURPOSE: it writes past a record.
//
// It makes room for a longer text by writing it over the value of a record that it has found. A
// record is exactly as long as what is in it. ktcheck says: overrun.

#include <cstring>

#include "broken.h"

namespace broken {
namespace {

KtStatus Rename(KtPropset set) {
  constexpr const char* kLonger = "a name that is longer by far than the first one";
  cuvo_property* found = nullptr;
  const KtStatus status = PsFindProperty(set, "Name", &found);
  if (status != 0) return status;
  std::memcpy(found->value, kLonger, std::strlen(kLonger) + 1);  // past the end of the record
  const cuvo_property longer{
      "Name", TYPE_STR, 0, static_cast<std::uint32_t>(std::strlen(kLonger) + 1), 0, found->value};
  const KtStatus renamed = PsSetProperty(set, &longer);
  PsFreeProperty(found);
  return renamed;
}

KtStatus Begin(KtDatabase database, KtProvider provider) {
  KtPropset set = nullptr;
  const KtStatus made = PsCreatePropset(&set);
  if (made != 0) return made;
  char name[] = "short name, 16.";
  const cuvo_property property{"Name", TYPE_STR, 0, sizeof(name), 0, name};
  KtStatus status = PsAddProperty(set, &property);
  if (status == 0) status = Rename(set);
  PsDestroyPropset(set);
  return status == 0 ? Initialize(database, provider) : status;
}

}  // namespace

const KtWchar* const kName = KT_W("overrunning");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
